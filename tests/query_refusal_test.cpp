// What is refused: each query with a part of the message and the place that it must point to.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mipo/host/csv.h"
#include "plan.h"
#include "query_data.h"
#include "query_error.h"
#include "sql_parser.h"

namespace mipo::tests {
namespace {

struct Refusal {
  std::string sql; // '@' marks the place, and is taken out
  const char *message;
};

// The first line of the description, "<line>:<column>: <message>", or nothing if the query is accepted.
std::string refusal_of(const std::string &sql, const host::Table &table) {
  try {
    tools::plan_query(tools::parse_query(sql), table);
    return {};
  } catch (const tools::QueryError &error) {
    const std::string text = tools::describe(error, sql);
    return text.substr(0, text.find('\n'));
  }
}

host::Table small_table() {
  return host::read_csv(scratch_file("small.csv", "name,Size,size,when,price\n"
                                                  "a,1,1,2001-01-01 10:00,1.50\n"
                                                  ",2,,2001-01-02 10:00,2\n"));
}

void expect_refused(const std::vector<Refusal> &refusals) {
  const host::Table table = small_table();
  for (const Refusal &refusal : refusals) {
    std::string sql = refusal.sql;
    const std::size_t place = sql.find('@');
    ASSERT_NE(place, std::string::npos) << sql;
    sql.erase(place, 1);
    const std::string got = refusal_of(sql, table);
    EXPECT_EQ(got.rfind("1:" + std::to_string(place + 1) + ": ", 0), 0u) << sql << "\n" << got;
    EXPECT_NE(got.find(refusal.message), std::string::npos) << sql << "\n" << got;
  }
}

TEST(QueryRefusal, ClausesByName) {
  expect_refused({
      {"SELECT name FROM t @ORDER BY name", "ORDER BY is not supported yet"},
      {"SELECT name FROM t @GROUP BY name", "GROUP BY is not supported yet"},
      {"SELECT name FROM t WHERE name = 'group' @GROUP BY name ORDER BY 1", "GROUP BY"},
      {"SELECT name FROM t @HAVING name = 'a'", "HAVING"},
      {"SELECT @DISTINCT name FROM t", "DISTINCT"},
      {"SELECT name FROM t @OFFSET 3", "OFFSET"},
      {"SELECT name FROM t LIMIT 3 @OFFSET 3", "OFFSET"},
      {"SELECT name @INTO u FROM t", "SELECT INTO"},
      {"SELECT name FROM t @FOR UPDATE", "FOR UPDATE"},
      {"SELECT name FROM t @WINDOW w AS (PARTITION BY name)", "WINDOW"},
      {"@WITH u AS (SELECT 1) SELECT * FROM u", "WITH"},
      {"SELECT name FROM t @UNION ALL SELECT name FROM t", "UNION"},
      {"@VALUES (1)", "VALUES"},
      {"SELECT name FROM t @JOIN u ON t.a = u.a", "JOIN"},
      {"SELECT name FROM t, @u", "more than one table"},
      {"SELECT name FROM (@SELECT 1) u", "sub-select in FROM"},
      {"SELECT name FROM @range(1)", "a function in FROM"},
      {"SELECT name FROM t @TABLESAMPLE system (3)", "TABLESAMPLE"},
      {"SELECT name FROM @ONLY t", "ONLY"},
      {"SELECT name FROM @t AS u(x)", "new column names"},
      {"SELECT name FROM t LIMIT @-1", "must not be negative"},
      {"SELECT name FROM t LIMIT @1.5", "whole number"},
      {"SELECT name FROM t LIMIT 1 @+ 1", "whole number"},
      {"@INSERT INTO t VALUES (1)", "INSERT is not supported"},
      {"@DELETE FROM t", "DELETE is not supported"},
      {"@CREATE TABLE u (a int)", "CREATE is not supported"},
      {"@EXPLAIN SELECT * FROM t", "--explain"},
      {"SELECT * FROM t; @SELECT * FROM t", "more than one statement"},
  });
}

TEST(QueryRefusal, ExpressionsByName) {
  expect_refused({
      {"SELECT @sum(size) FROM t", "the function sum is not supported yet"},
      {"SELECT @count(size) FROM t", "only count(*)"},
      {"SELECT @count(*) FILTER (WHERE size > 1) FROM t", "count(*)"},
      {"SELECT @count(*) OVER () FROM t", "count(*)"},
      {"SELECT name, @count(*) FROM t", "count(*) beside other columns"},
      {"SELECT @1 FROM t", "a constant in this place"},
      {"SELECT size @+ 1 FROM t", "operator +"},
      {"SELECT size@::text FROM t", "casts"},
      {"SELECT * FROM t WHERE @length(name) = 1", "the function length"},
      {"SELECT * FROM t WHERE lower(@upper(name)) = 'a'", "the function upper in this place"},
      {"SELECT * FROM t WHERE name LIKE @like_escape('a')", "the function like_escape"},
      {"SELECT * FROM t WHERE @other.upper(name) = 'A'", "the function upper"},
      {"SELECT * FROM t WHERE @lower(name, size) = 'a'", "lower takes one column"},
      {"SELECT name, min(@size) FROM t", "min and max beside columns"},
      {"SELECT min(size @+ 1) FROM t", "operator +"},
      {"SELECT @max(DISTINCT size) FROM t", "this form of max"},
      {"SELECT * FROM t WHERE size = 1 @+ 2", "operator +"},
      {"SELECT * FROM t WHERE @-size = 1", "operator -"},
      {"SELECT * FROM t WHERE size @== 1", "write ="},
      {"SELECT * FROM t WHERE size @% 2 = 1", "operator %"},
      {"SELECT * FROM t WHERE size = @$1", "parameters"},
      {"SELECT * FROM t WHERE \"when\" > @date '2001-01-01'", "casts and typed constants"},
      {"SELECT * FROM t WHERE name @NOT ILIKE 'a%'", "ILIKE"},
      {"SELECT * FROM t WHERE size @IS DISTINCT FROM 1", "IS DISTINCT FROM"},
      {"SELECT * FROM t WHERE size @BETWEEN SYMMETRIC 2 AND 1", "BETWEEN SYMMETRIC"},
      {"SELECT * FROM t WHERE size @= ANY ('{1}')", "ANY"},
      {"SELECT * FROM t WHERE size @IN (SELECT 1)", "sub-selects"},
      {"SELECT * FROM t WHERE @EXISTS (SELECT 1)", "sub-selects"},
      {"SELECT * FROM t WHERE @CASE WHEN size = 1 THEN true END", "CASE"},
      {"SELECT * FROM t WHERE @coalesce(size, 1) = 1", "COALESCE"},
      {"SELECT * FROM t WHERE @(size, name) = (1, 'a')", "row values"},
      {"SELECT * FROM t WHERE size = 1 @IS TRUE", "IS TRUE"},
      {"SELECT * FROM t WHERE name = 'a' @COLLATE \"C\"", "COLLATE"},
      {"SELECT * FROM t WHERE size < @CURRENT_DATE", "CURRENT_DATE"},
      {"SELECT * FROM t WHERE size = @price", "comparing two columns"},
      {"SELECT * FROM t WHERE @1 = 1", "comparing two constants"},
      {"SELECT * FROM t WHERE size IN (1, @price)", "a column in this place"},
      {"SELECT * FROM t WHERE size BETWEEN 1 AND @price", "a column in this place"},
      {"SELECT * FROM t WHERE @1 BETWEEN 0 AND size", "a constant in this place"},
      {"SELECT * FROM t WHERE (size = 1 @OR name = 'a') = (size = 2)", "a condition in the place of a value"},
      {"SELECT * FROM t WHERE @size", "expected a condition"},
      {"SELECT * FROM t WHERE NOT @true", "expected a condition"},
      {"SELECT * FROM t WHERE size = @true", "TRUE and FALSE"},
      {"SELECT * FROM t WHERE size = @x'1f'", "this kind of constant"},
      {"SELECT * FROM t WHERE (1 @+ size) IS NULL", "operator +"},
  });
}

TEST(QueryRefusal, NamesAndConstantsThatDoNotFitTheTable) {
  expect_refused({
      {"SELECT @nothing FROM t", "there is no column nothing; the columns are name, Size, size, when, price"},
      {"SELECT name FROM t WHERE @\"Name\" = 'a'", "without quotes it would be name"},
      {"SELECT name FROM t WHERE name = @\"a\"", "single quotes"},
      {"SELECT @u.name FROM t", "u is not in FROM"},
      {"SELECT @t.name FROM t AS u", "t is not in FROM"},
      {"SELECT @u.* FROM t", "u is not in FROM"},
      {"SELECT @a.t.name FROM t", "schema"},
      {"SELECT @t.* AS x FROM t", "a name of its own"},
      {"SELECT * FROM t WHERE size = @'abc'", "is not a number"},
      {"SELECT * FROM t WHERE size IN (1, 2, @'x')", "is not a number"},
      {"SELECT * FROM t WHERE size BETWEEN 1 AND @''", "is not a number"},
      {"SELECT * FROM t WHERE @'abc' < price", "price"},
      {"SELECT * FROM t WHERE name = @1", "name"},
      {"SELECT * FROM t WHERE lower(name) = @1", "name"},
      {"SELECT * FROM t WHERE upper(@size) = 'A'", "column size has no letters: it is integer"},
      {"SELECT * FROM t WHERE size LIKE @'1%'", "LIKE is for text, and the column is integer"},
      {"SELECT * FROM t WHERE name LIKE @1", "between single quotes"},
      {"SELECT * FROM t WHERE name LIKE 'a%' ESCAPE @'ab'", "single character"},
      {"SELECT * FROM t WHERE name LIKE @'a!' ESCAPE '!'", "ends with its escape character"},
      {"SELECT * FROM t WHERE name > @-1.5", "name"},
      {"SELECT * FROM t WHERE \"when\" > @2001", "when"},
      {"SELECT * FROM t WHERE \"when\" > @'yesterday'", "when"},
      {"SELECT * FROM t WHERE \"when\" > @'2001-02-30'", "when"},
  });
}

TEST(QueryRefusal, TextThatIsNotSqlPointsToTheFirstBadWord) {
  expect_refused({
      {"@SELEC * FROM t", "syntax error"},
      {"SELECT * FROM t WHERE@", "syntax error at end of input"},
      {"SELECT * FROM t WHERE name = @'a", "unterminated"},
      {"SELECT @FROM t", "the list of columns is empty"},
      {"SELECT name@", "FROM is missing"},
      {"SELECT * FROM data@/flights.csv", "FROM \"data/flights.csv\""},
      {"SELECT * FROM flights@-300k.csv.zst WHERE size = 1", "FROM \"flights-300k.csv.zst\""},
      {"SELECT * FROM @flights.csv WHERE size = 1", "FROM \"flights.csv\""},
      {"SELECT * FROM @'data/flights.csv'", "FROM \"data/flights.csv\""},
  });
  const host::Table table = small_table();
  EXPECT_NE(refusal_of("", table).find("the query is empty"), std::string::npos);
  EXPECT_NE(refusal_of(" ; -- nothing", table).find("the query is empty"), std::string::npos);
  EXPECT_NE(refusal_of("SELECT \xff FROM t", table).find("not valid UTF-8"), std::string::npos);
  std::string deep = "SELECT * FROM t WHERE ";
  for (int i = 0; i < 2000; ++i) deep += "NOT ";
  EXPECT_NE(refusal_of(deep + "size = 1", table).find("nested too deeply"), std::string::npos);
}

TEST(QueryRefusal, TheCaretStandsUnderThePlace) {
  const std::string sql = "SELECT *\n\tFROM \"é\" ORDER BY 1\nLIMIT 3";
  try {
    tools::parse_query(sql);
    FAIL();
  } catch (const tools::QueryError &error) {
    EXPECT_EQ(tools::describe(error, sql), "2:11: ORDER BY is not supported yet\n"
                                           "  \tFROM \"é\" ORDER BY 1\n"
                                           "  \t         ^");
  }
}

// Accepted, and to be read exactly: names beyond the length that SQL parsers cut at, and names by case.
TEST(QueryRefusal, NamesAreTakenWhole) {
  const std::string long_name = "/" + std::string(100, 'x') + "/a \"quoted\" file.csv";
  std::string quoted;
  for (const char byte : long_name) quoted.append(byte == '"' ? 2 : 1, byte);
  EXPECT_EQ(tools::parse_query("SELECT * FROM \"" + quoted + "\"").table.name, long_name);
  const std::string long_column(70, 'c');
  const tools::Query query = tools::parse_query("SELECT " + long_column + ", t." + long_column + " FROM t");
  EXPECT_EQ(query.output[0].column.name, long_column);
  EXPECT_EQ(query.output[1].column.name, long_column);
  EXPECT_THROW(tools::parse_query("SELECT a AS " + long_column + " FROM t"), tools::QueryError);

  const host::Table table = small_table();
  const tools::Plan plan = tools::plan_query(tools::parse_query("SELECT SIZE, \"Size\", Price FROM t"), table);
  EXPECT_EQ(plan.output[0].column, table.find("size"));
  EXPECT_EQ(plan.output[1].column, table.find("Size"));
  EXPECT_EQ(plan.output[2].column, table.find("price"));
}

} // namespace
} // namespace mipo::tests
