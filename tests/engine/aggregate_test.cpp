// Groups, aggregates, calculations and orders: the answers must be SQLite's.
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "engine/bind/plan_query.h"
#include "engine/both_engines.h"
#include "engine/plan/plan.h"
#include "engine/query_data.h"
#include "engine/sql/parser.h"

namespace mipo::tests {
namespace {

using Order = BothEngines::Order;

// Prices are quarters, whose sums have no rounding in binary: two that are equal are so in SQLite too.
const std::string facts_declaration =
    "id INTEGER, n INTEGER, m INTEGER, price REAL, cents REAL, t TEXT, u TEXT, d TEXT";

host::CsvOptions facts_options() {
  using enum host::ValueKind;
  host::CsvOptions options;
  options.kinds = {{"id", integer},    {"n", integer}, {"m", integer}, {"price", decimal},
                   {"cents", decimal}, {"t", text},    {"u", text},    {"d", date_time}};
  return options;
}

struct FactsForm {
  int rows;
  int missing_percent;
  std::int64_t widest_n, widest_m;
  unsigned texts; // that are different
};

std::string facts(const FactsForm &form) {
  static constexpr const char *texts[] = {"ab", "a", "b", "B", "é", "a b", "0", "10", "zz%"};
  std::mt19937_64 random(20010704);
  const auto below = [&](std::uint64_t limit) { return random() % limit; };
  const auto signed_below = [&](std::int64_t limit) {
    return static_cast<std::int64_t>(below(static_cast<std::uint64_t>(2 * limit + 1))) - limit;
  };
  std::string csv = "id,n,m,price,cents,t,u,d\n";
  for (int id = 1; id <= form.rows; ++id) {
    const std::int64_t quarters = signed_below(200);
    const std::uint64_t text = below(form.texts);
    const std::string fields[] = {std::to_string(signed_below(form.widest_n)),
                                  std::to_string(signed_below(form.widest_m)),
                                  fmt::format("{:.2f}", static_cast<double>(quarters) / 4),
                                  fmt::format("{}.{:02}", below(1000), below(100)),
                                  text < std::size(texts) ? texts[text] : fmt::format("text {}", text),
                                  below(3) == 0 ? "even" : "odd",
                                  fmt::format("2001-01-{:02} {:02}:30", 1 + below(4), below(24))};
    csv += std::to_string(id);
    for (const std::string &field : fields) {
      csv += ',';
      if (below(100) >= static_cast<unsigned>(form.missing_percent)) csv += field;
    }
    csv += '\n';
  }
  return csv;
}

const FactsForm gaps{400, 25, 3, 500, 6};

const std::map<std::string, BothEngines> &facts_tables() {
  static const std::map<std::string, BothEngines> tables = [] {
    const std::pair<const char *, FactsForm> forms[] = {
        {"filled", {300, 0, 2, 500, 5}},        {"gaps", gaps},
        {"one row", {1, 0, 3, 500, 6}},         {"one row without values", {1, 100, 3, 500, 6}},
        {"no rows", {0, 0, 3, 500, 6}},         {"one value", {70, 0, 0, 0, 1}},
        {"no values", {70, 100, 3, 500, 6}},    {"large numbers", {300, 5, 1000, 1'000'000'000, 6}},
        {"many groups", {4000, 3, 60, 20, 250}}};
    std::map<std::string, BothEngines> read;
    for (const auto &[name, form] : forms) {
      read.try_emplace(name, facts_declaration, facts(form), fmt::format("facts {}.csv", name), facts_options(),
                       "facts");
    }
    return read;
  }();
  return tables;
}

void expect_same_on_all_tables(const std::string &sql, Order order = Order::any) {
  for (const auto &[name, table] : facts_tables()) {
    SCOPED_TRACE(name);
    table.expect_same_result(sql, order);
  }
}

std::string joined(const std::string &first, const std::string &second) {
  return first.empty() || second.empty() ? first + second : first + ", " + second;
}

const char *const key_lists[] = {"", "n", "t", "d", "price", "t, n", "n, u", "t, u, n", "d, t, n"};
const char *const aggregate_lists[] = {"count(*)",
                                       "count(n), count(price), count(t), count(d)",
                                       "sum(m), avg(m)",
                                       "min(m), max(m), min(t), max(t), min(d), max(d)",
                                       "sum(price), avg(price), min(price), max(price), sum(cents), avg(cents)",
                                       "sum(m * n), sum(m + 1), avg(m - n), sum(price * n), count(m + n)",
                                       "min(m * n), max(m - 2 * n), min(price - n), sum(-m), avg(2 * cents - 0.5)",
                                       "sum(n * n), avg((n + 1) * (n - 1) * 3)",
                                       "sum(m) - 2 * count(*) + max(n), -sum(n), max(price) * min(n), 7"};
const char *const conditions[] = {"", "WHERE m > 0", "WHERE t LIKE 'a%' OR n IS NULL", "WHERE m = 7000000"};

TEST(QueryAggregate, GroupsOfNoneToThreeColumnsHaveTheSameAggregates) {
  for (const char *keys : key_lists)
    for (const char *aggregates : aggregate_lists)
      for (const char *where : conditions) {
        const std::string grouping = *keys != '\0' ? fmt::format("GROUP BY {}", keys) : "";
        expect_same_on_all_tables(fmt::format("SELECT {} FROM facts {} {}", joined(keys, aggregates), where, grouping));
        ASSERT_FALSE(HasFailure());
      }
}

const char *const having[] = {
    // Numbers.
    "count(*) > 5", "5 < count(*)", "count(*) * 2 - 1 >= 9", "sum(m) BETWEEN -1000 AND 1000", "avg(m) >= 0.5",
    "-1.5 > avg(m)", "NOT (count(*) <> 1)", "sum(m) + 2 * count(*) > 100 OR min(price) < 0", "max(price) = 49.75",
    "min(m * n) < -100 AND max(price) > 10.1", "sum(price) > 100.25", "max(n) <= -0.5", "sum(m) > 123456789012",
    // Texts and dates.
    "max(t) LIKE 'a%'", "NOT max(t) LIKE '_'", "min(t) IN ('a', 'ab', 'nothing')", "max(d) >= '2001-01-04'",
    // What is unknown.
    "sum(m) NOT BETWEEN -1000 AND NULL", "min(t) > 'a' OR min(t) IS NULL", "min(d) IS NULL",
    "sum(m) IS NOT NULL AND NOT count(n) = 0", "count(*) IN (1, 2, 13, 14, 300, NULL)", "count(*) NOT IN (1, NULL)",
    "sum(m) = NULL", "NOT sum(m) < NULL", "count(*) > 3 AND (max(n) = 1 OR NOT (min(m) > -100 OR min(n) IS NULL))"};

TEST(QueryAggregate, HavingChoosesTheSameGroups) {
  for (const char *keys : {"", "n", "t, u", "d"})
    for (const char *condition : having) {
      const std::string grouping = *keys != '\0' ? fmt::format("GROUP BY {}", keys) : "";
      expect_same_on_all_tables(
          fmt::format("SELECT {} FROM facts {} HAVING {}", joined(keys, "count(*), sum(m)"), grouping, condition));
      ASSERT_FALSE(HasFailure());
    }
  for (const char *of_keys : {"t <> 'a'", "lower(t) = 'b'", "upper(t) LIKE 'A%'", "t IS NULL OR n > 0",
                              "n BETWEEN -1 AND 1", "n + 1 > 1", "t IN ('a', 'b') AND count(*) > 1", "NOT n * n = 4"})
    expect_same_on_all_tables(fmt::format("SELECT n, t, max(id) FROM facts GROUP BY t, n HAVING {}", of_keys));
}

const char *const row_ranges[] = {
    "", "LIMIT 0", "LIMIT 1", "LIMIT 3 OFFSET 2", "LIMIT 1000000 OFFSET 5", "LIMIT 5 OFFSET 1000000"};

// Every order ends in what tells any two rows apart.
void expect_same_orders(const std::string &select, const std::vector<const char *> &orders) {
  for (const char *order : orders)
    for (const char *range : row_ranges)
      expect_same_on_all_tables(fmt::format("{} ORDER BY {} {}", select, order, range), Order::told);
}

TEST(QueryAggregate, OrdersAndRangesOfGroupsAreTheSame) {
  expect_same_orders("SELECT t, n AS number, sum(m) AS total, count(*) FROM facts GROUP BY n, t",
                     {"t, n", "t DESC, n DESC", "t ASC NULLS LAST, number DESC NULLS FIRST",
                      "t DESC NULLS LAST, n NULLS LAST", "count(*) DESC, t, n", "4, 1 DESC, 2",
                      "total DESC NULLS LAST, 2, t", "sum(m) - count(*), number, t", "avg(m) DESC, t, n",
                      "-max(price) NULLS LAST, min(d) DESC, max(t), t, n",
                      "min(d) DESC NULLS FIRST, max(u) NULLS LAST, n * n, n, t"});
  expect_same_orders("SELECT max(m), d FROM facts WHERE n > -2 GROUP BY d HAVING count(*) > 1",
                     {"1 DESC, 2", "d", "sum(n) * 2, d"});
}

TEST(QueryAggregate, OrdersAndRangesOfRowsAreTheSame) {
  expect_same_orders("SELECT id, n, m AS number FROM facts",
                     {"id", "id DESC", "m DESC NULLS LAST, id", "number, 1 DESC", "n + m, id",
                      "-n NULLS LAST, price DESC, 1", "t NULLS LAST, u DESC NULLS FIRST, d DESC, id",
                      "price * n DESC, cents NULLS LAST, id"});
  expect_same_orders("SELECT t, d, id FROM facts WHERE n IS NOT NULL AND t >= 'a'", {"1, 2 DESC, 3", "u, n, id"});
}

TEST(QueryAggregate, DistinctRowsAreTheSame) {
  for (const char *select : {"t", "n, t", "n, n", "d AS x", "n + 1", "n * n, u", "price", "7", "NULL, u"}) {
    expect_same_on_all_tables(fmt::format("SELECT DISTINCT {} FROM facts", select));
    expect_same_on_all_tables(fmt::format("SELECT DISTINCT {} FROM facts WHERE m > 0", select));
  }
  for (const char *grouped :
       {"count(*) FROM facts GROUP BY t", "t, max(n) FROM facts GROUP BY t, u", "count(*) FROM facts",
        "sum(n) + count(*), u FROM facts GROUP BY t, u HAVING count(*) > 1", "n FROM facts GROUP BY n, t"})
    expect_same_on_all_tables(fmt::format("SELECT DISTINCT {}", grouped));
  expect_same_orders("SELECT DISTINCT n FROM facts", {"n", "n DESC NULLS LAST", "1"});
  expect_same_orders("SELECT DISTINCT -n AS negative, t FROM facts", {"t, negative DESC", "2 DESC, 1"});
  expect_same_orders("SELECT DISTINCT u, count(*) FROM facts GROUP BY u, t", {"count(*) DESC, u", "1, 2"});
}

const char *const single_queries[] = {
    "SELECT * FROM facts", "SELECT id, m + n, -m, m * (n - 1), price * 2, price - n, 2 * cents - 0.25 FROM facts",
    "SELECT m - (n - 1) - 2, - -m, +n, -(m + n) * 2, m * -3, n - -(+2) FROM facts WHERE u = 'even'",
    "SELECT 1, 2.5, NULL, n FROM facts", "SELECT 1 + 2 FROM facts", "SELECT n + NULL, id FROM facts",
    "SELECT facts.n, facts.* FROM facts", "SELECT f.n, sum(f.m) FROM facts AS f GROUP BY f.n HAVING max(f.id) > 3",
    // Names for columns and for groups; a name that is a column's too.
    "SELECT t AS kind, count(*) AS rows_of_kind FROM facts GROUP BY kind",
    "SELECT count(*), t, n FROM facts GROUP BY 2, 3", "SELECT N, Sum(M) FROM facts GROUP BY n",
    "SELECT n, t AS n2, COUNT(*) FROM facts GROUP BY n2, 1, n", "SELECT t AS u, count(*) FROM facts GROUP BY t",
    // Keys or aggregates that are not printed; several times the same.
    "SELECT t FROM facts GROUP BY t, n", "SELECT sum(n) FROM facts GROUP BY t", "SELECT 7 FROM facts GROUP BY t",
    "SELECT sum(m), sum(m), sum(m) + 0, avg(m), count(m) FROM facts",
    "SELECT n, n, n + n, n * count(*) FROM facts GROUP BY n",
    "SELECT count(*) * count(*) - count(*), 7, NULL FROM facts",
    // Without rows, and of constants.
    "SELECT max(n), sum(price), avg(m), count(*), min(t), count(d) FROM facts WHERE id < 0",
    "SELECT n, max(m) FROM facts WHERE id < 0 GROUP BY n", "SELECT count(*) FROM facts HAVING count(*) > 0",
    "SELECT max(n) FROM facts HAVING max(n) IS NULL", "SELECT 7 FROM facts GROUP BY t HAVING count(*) > 2",
    "SELECT n FROM facts GROUP BY n HAVING n = 1000", "SELECT count(7), sum(2), min(3), max(1.5), avg(4) FROM facts",
    "SELECT count(NULL), sum(NULL), sum(n * 0), avg(n - n) FROM facts",
    "SELECT n, sum(3), count(1) FROM facts GROUP BY n", "SELECT count(*) FROM facts LIMIT 0",
    "SELECT count(*) FROM facts LIMIT 1 OFFSET 1", "SELECT sum(m) FROM facts ORDER BY 1",
    "SELECT max(n) FROM facts ORDER BY count(*) DESC"};

TEST(QueryAggregate, SingleQueriesHaveTheSameAnswer) {
  for (const char *sql : single_queries) expect_same_on_all_tables(sql);
}

TEST(QueryAggregate, NamesOfOutputColumnsStandBeforeColumnsInOrderByAlone) {
  expect_same_on_all_tables("SELECT -n AS m, id FROM facts ORDER BY m, id", Order::told);
  expect_same_on_all_tables("SELECT -n AS m, id FROM facts ORDER BY m + 1, id", Order::told);
  expect_same_on_all_tables("SELECT n AS t, t AS n, count(*) FROM facts GROUP BY t, n ORDER BY t, n", Order::told);
}

TEST(QueryAggregate, AllColumnsOfRowsAndGroupsAreTheSame) {
  const BothEngines engines("n INTEGER, t TEXT", "n,t\n1,a\n,b\n1,a\n,\n2,\n,b\n1,b\n,\n", "pairs.csv");
  for (const char *sql : {"SELECT DISTINCT * FROM flights", "SELECT *, n FROM flights GROUP BY n, t",
                          "SELECT *, count(*) FROM flights GROUP BY t, n HAVING count(*) > 1"})
    engines.expect_same_result(sql);
  engines.expect_same_result("SELECT DISTINCT * FROM flights ORDER BY n DESC, t NULLS LAST", Order::told);
}

TEST(QueryAggregate, OutputColumnsAreNamedAsTheyAreCalculated) {
  const BothEngines engines("a INTEGER, b INTEGER, c INTEGER, Big INTEGER", "a,b,c,Big\n1,2,3,4\n", "names.csv");
  const std::pair<const char *, const char *> cases[] = {{"COUNT ( * )", "count"},
                                                         {"Sum((a)*flights.B)", "sum(a * b)"},
                                                         {"((a+b)+c) - (a-b) * BIG", "a + b + c - (a - b) * Big"},
                                                         {"a - (b - c) - (a * b)", "a - (b - c) - a * b"},
                                                         {"(a * b) * (c * a) * (b + 1)", "a * b * (c * a) * (b + 1)"},
                                                         {"-a * (- 2.50) - NULL", "(0 - a) * -2.50 - NULL"},
                                                         {"avg(big) - -(+3)", "avg(Big) - -3"}};
  const auto one_table = [&](const engine::TableName &) -> const host::Table & { return engines.table(); };
  for (const auto &[written, name] : cases) {
    const engine::Query query = engine::parse_query(fmt::format("SELECT {} FROM flights", written));
    EXPECT_EQ(engine::plan_query(query, one_table).output.front().name, name);
  }
}

// Whatever the encoding of the columns, the answers are the same.
TEST(QueryAggregate, EveryEncodingGivesTheSameAnswers) {
  BothEngines engines(facts_declaration, facts(gaps), "encoded facts.csv", facts_options(), "facts");
  const char *const queries[] = {
      "SELECT count(*), count(n), sum(m), avg(price), min(d), max(t) FROM facts",
      "SELECT n, count(*), sum(m), min(m), max(price) FROM facts GROUP BY n",
      "SELECT t, n, avg(m), sum(cents), max(d), min(u) FROM facts WHERE m > -100 GROUP BY t, n",
      "SELECT d, u, count(m) FROM facts WHERE t IS NOT NULL GROUP BY d, u HAVING count(*) < 3",
      "SELECT price, t, max(n) FROM facts GROUP BY t, price",
      "SELECT sum(m * n), avg(price - m), min(-n), max(m * 2 + price), count(n + m) FROM facts WHERE u = 'odd'",
      "SELECT m, sum(n * n) FROM facts GROUP BY m HAVING sum(n) > 0 AND max(d) > '2001-01-02'",
      "SELECT DISTINCT n, t FROM facts WHERE price > 0",
      "SELECT DISTINCT d FROM facts",
      "SELECT id, m + n, d, t FROM facts ORDER BY price DESC NULLS LAST, d, id LIMIT 20 OFFSET 3"};
  for (const char *form : {"dict", "dict:20", "dict:24", "dict:32", "dict:64", "fixed", "fixed:64", "tz", "tz-const",
                           "dynp", "dynp-tz", "dynp:64", "dynp-tz:64"})
    for (const char *runs : {"", "+runs8", "+runs16", "+starts"})
      for (const char *compression : {"", "+zstd"}) {
        const std::string suffix = fmt::format("{}{}", runs, compression);
        const std::string of_texts = (std::string_view(form).starts_with("dict") ? form : "dict") + suffix;
        host::CsvOptions options = facts_options();
        for (const auto &[column, kind] : facts_options().kinds)
          options.encodings[column] = host::parse_encoding(kind == host::ValueKind::text ? of_texts : form + suffix);
        engines.read_again(options);
        for (const char *sql : queries) {
          const bool ordered = std::string_view(sql).find("ORDER BY") != std::string_view::npos;
          engines.expect_same_result(sql, ordered ? Order::told : Order::any);
        }
        ASSERT_FALSE(HasFailure()) << form << suffix;
      }
}

// More rows than are aggregated at once, more than one thread, groups by the ten thousand.
TEST(QueryAggregate, ManyRowsAndThreadsGiveTheSameAnswers) {
  const BothEngines engines("departure TEXT, delay INTEGER, distance INTEGER, origin TEXT, destination TEXT",
                            flights_with_gaps(), "grouped gaps.csv");
  for (const char *sql :
       {"SELECT count(*), sum(delay), avg(distance), min(departure), max(origin) FROM flights",
        "SELECT origin, count(*), avg(delay), min(delay), max(delay) FROM flights GROUP BY origin",
        "SELECT origin, destination, count(*), sum(distance * delay) FROM flights GROUP BY origin, destination",
        "SELECT departure, count(*), max(destination) FROM flights GROUP BY departure",
        "SELECT origin, delay, count(distance) FROM flights GROUP BY origin, delay",
        "SELECT destination, sum(delay - 10), min(departure) FROM flights WHERE distance > 1000 AND delay > 0 "
        "GROUP BY destination HAVING count(*) > 20",
        "SELECT DISTINCT origin, distance FROM flights WHERE delay IS NULL"})
    for (const unsigned threads : {1u, 3u}) engines.expect_same_result(sql, Order::any, threads);
  engines.expect_same_result("SELECT origin, destination, avg(delay) AS late FROM flights GROUP BY origin, destination "
                             "HAVING count(delay) >= 10 ORDER BY late DESC, 1, 2 LIMIT 30",
                             Order::told, 2);
}

} // namespace
} // namespace mipo::tests
