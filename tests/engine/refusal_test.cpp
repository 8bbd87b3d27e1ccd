// What is refused: each query with a part of the message and the place that it must point to.
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "engine/bind/plan_query.h"
#include "engine/query_data.h"
#include "engine/query_result.h"
#include "engine/sql/parser.h"
#include "engine/sql/query_error.h"
#include "mipo/host/csv.h"

namespace mipo::tests {
namespace {

struct Refusal {
  std::string sql; // '@' marks the place, and is taken out
  const char *message;
};

host::Table small_table() {
  return host::read_csv(scratch_file("small.csv", "name,Size,size,when,price\n"
                                                  "a,1,1,2001-01-01 10:00,1.50\n"
                                                  ",2,,2001-01-02 10:00,2\n"));
}

// Whatever the name, the small table; but u is the other one.
struct Tables {
  host::Table small = small_table();
  host::Table other = host::read_csv(scratch_file("other.csv", "id,twice,name,size,when\n"
                                                               "1,a,x,7,2001-01-01\n"
                                                               "2,a,y,8,\n"
                                                               ",b,,9,2001-01-02\n"));
};

// The first line of the description, "<line>:<column>: <message>", or nothing if the query is accepted.
std::string refusal_of(const std::string &sql, const Tables &tables) {
  static const host::Library library = host::Library::open();
  try {
    engine::QueryResult(library, engine::parse_query(sql), [&](const engine::TableName &name) -> const host::Table & {
      return name.name == "u" ? tables.other : tables.small;
    });
    return {};
  } catch (const engine::QueryError &error) {
    const std::string text = engine::describe(error, sql);
    return text.substr(0, text.find('\n'));
  }
}

void expect_refused(const std::vector<Refusal> &refusals) {
  const Tables tables;
  for (const Refusal &refusal : refusals) {
    std::string sql = refusal.sql;
    const std::size_t place = sql.find('@');
    ASSERT_NE(place, std::string::npos) << sql;
    sql.erase(place, 1);
    const std::string got = refusal_of(sql, tables);
    EXPECT_EQ(got.rfind("1:" + std::to_string(place + 1) + ": ", 0), 0u) << sql << "\n" << got;
    EXPECT_NE(got.find(refusal.message), std::string::npos) << sql << "\n" << got;
  }
}

TEST(QueryRefusal, ClausesByName) {
  expect_refused(
      {{"SELECT @DISTINCT ON (name) size FROM t", "DISTINCT ON is not supported yet"},
       {"SELECT name FROM t WHERE name = 'group' @GROUP BY DISTINCT name", "GROUP BY DISTINCT is not supported yet"},
       {"SELECT name FROM t GROUP BY name, @ROLLUP (size)", "ROLLUP is not supported yet"},
       {"SELECT name FROM t @FOR UPDATE", "FOR UPDATE"},
       {"SELECT name FROM t @WINDOW w AS (PARTITION BY name)", "WINDOW"},
       {"SELECT name FROM (@SELECT 1) u", "sub-select in FROM"},
       {"SELECT name FROM @t AS u(x)", "new column names"},
       {"SELECT name FROM t LIMIT @-1", "must not be negative"},
       {"SELECT name FROM t LIMIT 1 @+ 1", "LIMIT takes a whole number"},
       {"@INSERT INTO t VALUES (1)", "INSERT is not supported"},
       {"@EXPLAIN SELECT * FROM t", "--explain"},
       {"SELECT * FROM t; @SELECT * FROM t", "more than one statement"}});
}

TEST(QueryRefusal, Joins) {
  expect_refused({{"SELECT 1 FROM t @RIGHT JOIN u ON t.name = u.name", "RIGHT JOIN is"},
                  {"SELECT 1 FROM t JOIN u @USING (name)", "write ON"},
                  {"SELECT 1 FROM t CROSS @JOIN u", "a join without ON"},
                  {"SELECT 1 FROM t JOIN u ON t.name @< u.name", "an equality of two columns"},
                  {"SELECT 1 FROM t JOIN u ON t.name = u.name @AND t.size = u.size", "an equality of two columns"},
                  {"SELECT 1 FROM t JOIN u ON t.name @= t.size", "a column of u and one of the tables in front"},
                  {"SELECT 1 FROM t JOIN u ON t.name = @w.name", "the table w is not in FROM, which names t, u"},
                  {"SELECT 1 FROM t JOIN @t ON t.name = t.name", "two tables are named t"},
                  {"SELECT 1 FROM t JOIN u ON @name = u.name", "name may be a column of u"},
                  {"SELECT 1 FROM t JOIN u ON t.name = @name", "name is a column of several tables"},
                  {"SELECT 1 FROM t JOIN u ON t.name @= u.twice", "u.twice is not unique: two rows have a"},
                  {"SELECT 1 FROM t JOIN u ON t.name @= u.id", "have no values in common"},
                  {"SELECT @name FROM t JOIN u ON t.name = u.name", "name may be t.name or u.name"},
                  {"SELECT @u.name FROM t JOIN u AS w ON t.name = w.name", "which names t, w"},
                  {"SELECT u.id FROM t JOIN u ON t.name = u.name GROUP BY u.id, u.twice HAVING @u.size > 1",
                   "column u.size must stand in GROUP BY"}});
}

TEST(QueryRefusal, SubSelects) {
  expect_refused(
      {{"SELECT * FROM t WHERE size @IN (SELECT id, size FROM u)", "one column: this one gives 2"},
       {"SELECT * FROM t WHERE size @IN (SELECT count(*) FROM u)", "count is calculated"},
       {"SELECT * FROM t WHERE size @IN (SELECT name FROM u)", "have no values in common"},
       {"SELECT * FROM t WHERE size IN (SELECT id FROM u WHERE @price > 1)", "there is no column price"},
       {"SELECT * FROM t WHERE size IN (SELECT id FROM u WHERE name @IN (SELECT id + 1 FROM u) LIMIT 1)",
        "id + 1 is calculated"},
       {"SELECT * FROM t WHERE lower(name) @IN (SELECT name FROM u)", "upper() and lower() with a sub-select"},
       {"SELECT * FROM t WHERE size @+ 1 IN (SELECT id FROM u)", "calculations in WHERE"},
       {"SELECT count(*) FROM t HAVING @count(*) IN (SELECT id FROM u)", "IN with a sub-select takes a column"},
       {"SELECT * FROM t WHERE size @= ANY (SELECT id FROM u)", "sub-selects"}});
}

TEST(QueryRefusal, ExpressionsByName) {
  expect_refused({
      {"SELECT @'a' FROM t", "a string constant in this place"},
      {"SELECT size @/ 2 FROM t", "the operator / is not supported yet"},
      {"SELECT size @> 1 FROM t", "the operator > in this place"},
      {"SELECT 1 + @t.* FROM t", "* in this place"},
      {"SELECT size@::text FROM t", "casts"},
      {"SELECT * FROM t WHERE @length(name) = 1", "the function length"},
      {"SELECT * FROM t WHERE name LIKE @like_escape('a')", "the function like_escape"},
      {"SELECT * FROM t WHERE @other.upper(name) = 'A'", "the function upper"},
      {"SELECT * FROM t WHERE @lower(name, size) = 'a'", "lower takes one column"},
      {"SELECT * FROM t WHERE \"when\" > @date '2001-01-01'", "casts and typed constants"},
      {"SELECT * FROM t WHERE size @= ANY ('{1}')", "ANY"},
      {"SELECT * FROM t WHERE @EXISTS (SELECT 1)", "sub-selects"},
      {"SELECT * FROM t WHERE @CASE WHEN size = 1 THEN true END", "CASE"},
      {"SELECT * FROM t WHERE @(size, name) = (1, 'a')", "row values"},
      {"SELECT * FROM t WHERE size < @CURRENT_DATE", "CURRENT_DATE"},
      {"SELECT * FROM t WHERE size = @price", "comparing two columns"},
      {"SELECT * FROM t WHERE @1 = 1", "comparing two constants"},
      {"SELECT * FROM t WHERE size BETWEEN 1 AND @price", "a column in this place"},
      {"SELECT * FROM t WHERE (size = 1 @OR name = 'a') = (size = 2)", "a condition in the place of a value"},
      {"SELECT * FROM t WHERE @size", "expected a condition"},
  });
}

TEST(QueryRefusal, AggregatesByNameAndWhereTheyStand) {
  expect_refused({{"SELECT count(@DISTINCT size) FROM t", "DISTINCT in an aggregate is not supported yet"},
                  {"SELECT count(*) @FILTER (WHERE size > 1) FROM t", "FILTER is"},
                  {"SELECT count(*) @OVER () FROM t", "OVER is"},
                  {"SELECT @sum(*) FROM t", "only count takes *"},
                  {"SELECT sum(size * (@max(size) - 1)) FROM t", "max in sum"},
                  {"SELECT name FROM t GROUP BY name ORDER BY count(@count(*))", "count in count"},
                  {"SELECT * FROM t WHERE @count(*) > 1", "count belongs in HAVING"},
                  {"SELECT count(*) FROM t HAVING sum(size) > @count(*)", "comparing two expressions"},
                  {"SELECT count(*) FROM t HAVING min(name) = @\"a\"", "single quotes"},
                  {"SELECT count(*) FROM t GROUP BY @sum(size)", "GROUP BY"},
                  {"SELECT @sum(size) FROM t GROUP BY 1", "GROUP BY"},
                  {"SELECT name, @price, count(*) FROM t GROUP BY name", "GROUP BY"},
                  {"SELECT @* FROM t GROUP BY name", "GROUP BY"},
                  {"SELECT count(*) FROM t HAVING @name = 'a'", "GROUP BY"},
                  {"SELECT @sum(name) FROM t", "needs numbers"},
                  {"SELECT 1 + @name FROM t", "is not a number"},
                  {"SELECT count(*) FROM t HAVING sum(size) = @'a'", "cannot be compared with a string"},
                  {"SELECT count(*) FROM t HAVING max(name) > @1", "name"},
                  {"SELECT count(*) FROM t HAVING @sum(size) LIKE '1%'", "LIKE needs text"},
                  {"SELECT count(*) FROM t HAVING max(size) LIKE @'1%'", "LIKE is for text"},
                  {"SELECT sum(@nothing) FROM t", "there is no column nothing"}});
}

TEST(QueryRefusal, NumbersOfOutputColumns) {
  expect_refused({{"SELECT name FROM t ORDER BY @0", "the number of an output column, from 1"},
                  {"SELECT name FROM t ORDER BY name, @-1", "the number of an output column"},
                  {"SELECT name FROM t GROUP BY @1.5", "the number of an output column"},
                  {"SELECT name, size FROM t ORDER BY @3", "there is no output column 3"},
                  {"SELECT name, count(*) FROM t GROUP BY @4000000000", "there is no output column 4000000000"}});
}

TEST(QueryRefusal, NamesAndConstantsThatDoNotFitTheTable) {
  expect_refused(
      {{"SELECT @nothing FROM t", "there is no column nothing; the columns are name, Size, size, when, price"},
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
       {"SELECT * FROM t WHERE \"when\" > @'2001-02-30'", "when"}});
}

TEST(QueryRefusal, TextThatIsNotSqlPointsToTheFirstBadWord) {
  expect_refused({{"@SELEC * FROM t", "syntax error"},
                  {"SELECT * FROM t WHERE@", "syntax error at end of input"},
                  {"SELECT * FROM t WHERE name = @'a", "unterminated"},
                  {"SELECT @FROM t", "the list of columns is empty"},
                  {"SELECT name@", "FROM is missing"},
                  {"SELECT * FROM data@/flights.csv", "FROM \"data/flights.csv\""},
                  {"SELECT * FROM flights@-300k.csv.zst WHERE size = 1", "FROM \"flights-300k.csv.zst\""},
                  {"SELECT * FROM @flights.csv WHERE size = 1", "FROM \"flights.csv\""},
                  {"SELECT * FROM @'data/flights.csv'", "FROM \"data/flights.csv\""}});
  const Tables tables;
  EXPECT_NE(refusal_of("", tables).find("the query is empty"), std::string::npos);
  EXPECT_NE(refusal_of(" ; -- nothing", tables).find("the query is empty"), std::string::npos);
  EXPECT_NE(refusal_of("SELECT \xff FROM t", tables).find("not valid UTF-8"), std::string::npos);
  const auto repeated = [](const char *word) {
    std::string text;
    for (int i = 0; i < 2000; ++i) text += word;
    return text;
  };
  for (const std::string &deep :
       {"SELECT * FROM t WHERE " + repeated("NOT ") + "size = 1",
        "SELECT count(*) FROM t HAVING " + repeated("NOT ") + "count(*) = 1",
        "SELECT " + repeated("- ") + "size FROM t", "SELECT 1" + repeated(" + size") + " FROM t",
        "SELECT size FROM t ORDER BY sum(1" + repeated(" * size") + ")"}) {
    EXPECT_NE(refusal_of(deep, tables).find("nested too deeply"), std::string::npos) << deep.substr(0, 60);
  }
}

TEST(QueryRefusal, TheCaretStandsUnderThePlace) {
  const std::string sql = "SELECT *\n\tFROM \"é\" ORDER BY 0\nLIMIT 3";
  try {
    engine::parse_query(sql);
    FAIL();
  } catch (const engine::QueryError &error) {
    EXPECT_EQ(engine::describe(error, sql), "2:20: a constant in ORDER BY is the number of an output column, from 1\n"
                                            "  \tFROM \"é\" ORDER BY 0\n"
                                            "  \t                  ^");
  }
}

// Accepted, and to be read exactly: names beyond the length that SQL parsers cut at, and names by case.
TEST(QueryRefusal, NamesAreTakenWhole) {
  const std::string long_name = "/" + std::string(100, 'x') + "/a \"quoted\" file.csv";
  std::string quoted;
  for (const char byte : long_name) quoted.append(byte == '"' ? 2 : 1, byte);
  EXPECT_EQ(engine::parse_query("SELECT * FROM \"" + quoted + "\"").table.name, long_name);
  const std::string long_column(70, 'c');
  const engine::Query query = engine::parse_query("SELECT " + long_column + ", t." + long_column + " FROM t");
  for (const engine::OutputItem &item : query.output) {
    EXPECT_EQ(std::get<engine::ColumnName>(std::get<engine::Expression>(item.value).node).name, long_column);
  }
  EXPECT_THROW(engine::parse_query("SELECT a AS " + long_column + " FROM t"), engine::QueryError);

  const host::Table table = small_table();
  const engine::Plan plan = engine::plan_query(engine::parse_query("SELECT SIZE, \"Size\", Price FROM t"),
                                               [&](const engine::TableName &) -> const host::Table & { return table; });
  EXPECT_EQ(plan.output[0].value.column->values, table.find("size"));
  EXPECT_EQ(plan.output[1].value.column->values, table.find("Size"));
  EXPECT_EQ(plan.output[2].value.column->values, table.find("price"));
}

} // namespace
} // namespace mipo::tests
