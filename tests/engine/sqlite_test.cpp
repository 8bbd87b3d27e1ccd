// The same conditions, answered by the kernels and by SQLite, must select the same rows.
#include <array>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "engine/both_engines.h"
#include "engine/query_data.h"

namespace mipo::tests {
namespace {

const std::string declaration = "departure TEXT, delay INTEGER, distance INTEGER, origin TEXT, destination TEXT";

// The flights with all fields filled, and with gaps; read once.
const std::array<BothEngines, 2> &flights_tables() {
  static const std::array<BothEngines, 2> tables{BothEngines(declaration, flights_text(), "flights.csv"),
                                                 BothEngines(declaration, flights_with_gaps(), "gaps.csv")};
  return tables;
}

// Where the two dialects differ, the second text is SQLite's.
struct Clause {
  std::string ours;
  std::optional<std::string> sqlite = std::nullopt;
};

const Clause whole_clauses[] = {{""},
                                {"LIMIT 0"},
                                {"LIMIT 7"},
                                {"LIMIT 5000000"},
                                {"LIMIT ALL", ""},
                                {"LIMIT NULL", ""},
                                {"FETCH FIRST 3 ROWS ONLY", "LIMIT 3"},
                                {"WHERE delay > 100 LIMIT 1025"},
                                {"WHERE delay > 100 LIMIT 0"},
                                {"LIMIT 3 OFFSET 5"},
                                {"LIMIT 3 OFFSET 5000000"},
                                {"WHERE delay > 100 LIMIT 50 OFFSET 20"},
                                {"WHERE delay > 100 OFFSET 20 ROWS", "WHERE delay > 100 LIMIT -1 OFFSET 20"},
                                {"WHERE delay > 100 OFFSET NULL LIMIT 4", "WHERE delay > 100 LIMIT 4"},
                                {"WHERE delay = +10", "WHERE delay = 10"},
                                {"WHERE departure >= '2001-06-30'", "WHERE departure >= '2001-06-30 00:00'"},
                                {"WHERE departure <= '2001-01-01T00:30'", "WHERE departure <= '2001-01-01 00:30'"}};

// In both dialects.
const char *const conditions[] = {
    // One comparison: values in the dictionary, at its ends, between its values and beyond them.
    "delay = 0", "delay = -80", "delay = 1575", "delay = -79", "delay = 100000", "delay <> 0", "delay != -80",
    "delay <> 1575", "delay <> 99999", "delay < -80", "delay <= -80", "delay > 1575", "delay >= 1575", "delay < 1576",
    "delay >= -81", "delay < 99999999999999", "delay > -99999999999999", "60 < delay", "-5 >= delay", "0 = delay",
    "0 <> delay", "delay > 1.5", "delay >= -1.5", "delay = 1.5", "delay <> 1.5", "delay < .5", "delay = 1e1",
    "delay = '10'", "delay = - -10", "delay > -(-10)", "delay = - /* minutes */ 10", "DELAY < 0 AND Distance < 100",
    "\"delay\" < -30", "flights.delay < -30",
    // Text and time.
    "origin = 'SFO'", "origin <> 'SFO'", "origin < 'B'", "origin >= 'YUM'", "origin > 'YUM'", "origin = 'sfo'",
    "origin = ''", "origin > ''", "origin BETWEEN 'O' AND 'OZ'", "departure < '2001-01-02 00:00'",
    "departure = '2001-03-04 12:30'", "departure > '2001-03-04 12:30:30'",
    "departure BETWEEN '2001-05-01' AND '2001-05-02 00:00'",
    // Ranges and lists.
    "delay BETWEEN 10 AND 60", "delay NOT BETWEEN 10 AND 60", "delay BETWEEN 60 AND 10", "delay NOT BETWEEN 60 AND 10",
    "delay BETWEEN -1000 AND 100000", "delay BETWEEN 5 AND 5", "NOT delay BETWEEN 10 AND 60",
    "origin IN ('SFO', 'OAK', 'SJC')", "origin NOT IN ('SFO', 'OAK', 'SJC', 'nowhere')", "origin IN ('nowhere')",
    "delay IN (1, 2, 3, 3, 2, 1, -80, 5000)", "delay NOT IN (1, 2, 3)",
    // Patterns, and letters of one case.
    "origin LIKE 'S%'", "origin NOT LIKE 'S%'", "origin LIKE 'SF%' AND destination NOT LIKE 'L%'", "origin LIKE 'SFO'",
    "origin LIKE 'nowhere'", "origin LIKE ''", "origin LIKE '%'", "origin NOT LIKE '%'", "origin LIKE '%O'",
    "origin LIKE '_A_'", "origin LIKE '%A%A%'", "origin LIKE 'Z%'", "origin LIKE 's%'", "origin LIKE '____'",
    "origin LIKE 'S\\%%' ESCAPE '\\'", "origin LIKE '!S!FO' ESCAPE '!'", "origin LIKE NULL", "NOT origin LIKE NULL",
    "origin LIKE 'S%' OR origin IS NULL", "upper(origin) = 'SFO'", "lower(origin) = 'sfo'", "lower(origin) = 'SFO'",
    "lower(origin) <> 'sfo'", "'m' < lower(origin)", "lower(origin) IN ('sfo', 'oak', NULL)",
    "lower(origin) NOT IN ('sfo', 'oak')", "lower(origin) BETWEEN 'm' AND 'o'", "lower(origin) LIKE 's%'",
    "upper(origin) NOT LIKE '%o'",
    // Rows without value, and NULL as a constant.
    "delay IS NULL", "delay IS NOT NULL", "NOT delay IS NULL", "delay = NULL", "delay <> NULL", "NOT delay = NULL",
    "NULL < delay", "delay IN (1, NULL)", "delay NOT IN (1, NULL)", "NOT (delay NOT IN (1, NULL))",
    "delay BETWEEN 1 AND NULL", "delay NOT BETWEEN 1 AND NULL", "delay NOT BETWEEN NULL AND 1",
    "delay = 0 OR delay IS NULL", "delay <> 0 OR delay IS NULL", "delay < 0 OR delay IS NULL",
    "delay = -80 OR delay IS NULL", "delay >= -80 OR delay IS NULL", "lower(origin) IS NULL",
    "delay > 0 AND delay IS NULL", "NOT (delay < 0 OR delay IS NULL)", "NOT (delay > 0 AND distance > 1000)",
    "delay IS NULL AND distance IS NULL AND origin IS NULL", "delay IS NULL OR distance IS NOT NULL",
    // AND, OR, NOT within each other.
    "distance > 1000 AND delay BETWEEN 10 AND 60", "distance > 1000 AND delay > 10 AND delay < 60",
    "delay > 10 AND distance > 1000 AND delay <= 60 AND distance <= 2000",
    "delay >= 10 AND delay < 60 OR delay > 100 AND delay <= 200", "delay > 60 OR distance > 2500",
    "origin = 'SFO' AND destination = 'LAX' AND delay > 30",
    "origin = 'ANC' AND destination = 'FAI' AND departure < '2001-02-01 00:00' AND delay <> 0",
    "origin = 'SFO' AND (destination = 'LAX' OR delay > 120)",
    "(origin = 'SFO' OR destination = 'SFO') AND (delay > 60 OR distance < 100)",
    "NOT (origin = 'SFO' OR destination = 'SFO' OR delay < 0)", "NOT (NOT (delay > 0))",
    "NOT (delay > 0 AND NOT (distance > 500 OR NOT origin IN ('ATL', 'ORD')))", "delay < 0 AND delay > 0",
    "delay < 0 OR delay >= 0", "(delay = 1 OR (delay = 2 OR (delay = 3 OR distance = 337))) AND origin <> 'LAX'",
    "delay > 1000 AND origin = 'nowhere' AND (distance > 0 OR destination < 'M')"};

const std::vector<Clause> &clauses() {
  static const std::vector<Clause> all = [] {
    std::vector<Clause> made(std::begin(whole_clauses), std::end(whole_clauses));
    for (const char *condition : conditions) made.push_back({std::string("WHERE ") + condition});
    return made;
  }();
  return all;
}

TEST(QuerySqlite, SelectsTheSameRows) {
  for (const BothEngines &flights : flights_tables()) {
    for (const Clause &clause : clauses()) {
      flights.expect_same_rows("delay", clause.ours, clause.sqlite.value_or(clause.ours));
      if (HasFailure()) return;
    }
  }
}

const char *const aggregate_lists[] = {"min(delay)", "max(delay), min(delay)", "count(*), max(departure)",
                                       "min(origin), max(origin), max(distance), count(*)"};
const char *const aggregate_conditions[] = {"",
                                            "WHERE delay > 60",
                                            "WHERE origin LIKE 'S%' AND distance < 400",
                                            "WHERE delay IS NULL",
                                            "WHERE delay = 100000",
                                            "WHERE departure >= '2001-02-01' OR destination = 'LAX'"};

void expect_same_extremes(const BothEngines &engines) {
  for (const char *list : aggregate_lists)
    for (const char *where : aggregate_conditions)
      engines.expect_same_result(fmt::format("SELECT {} FROM flights {}", list, where));
}

TEST(QuerySqlite, FindsTheSameExtremes) {
  for (const BothEngines &flights : flights_tables()) expect_same_extremes(flights);
}

// Whatever the encoding of the columns, the answers are the same. Texts have dictionaries always.
TEST(QuerySqlite, EveryEncodingGivesTheSameAnswers) {
  const std::string all = flights_with_gaps();
  std::size_t end = 0;
  for (int lines = 0; lines < 3000; ++lines) end = all.find('\n', end) + 1;
  const std::string csv = all.substr(0, end);
  BothEngines engines(declaration, csv, "encoded.csv");
  for (const char *form : {"dict", "dict:20", "dict:24", "dict:32", "dict:64", "fixed", "fixed:64", "tz", "tz-const",
                           "dynp", "dynp-tz", "dynp:64", "dynp-tz:64"})
    for (const char *runs : {"", "+runs8", "+runs16", "+starts"})
      for (const char *compression : {"", "+zstd"}) {
        const std::string suffix = fmt::format("{}{}", runs, compression), text = form + suffix;
        const std::string of_texts = (std::string_view(form).starts_with("dict") ? form : "dict") + suffix;
        host::CsvOptions options;
        for (const char *column : {"departure", "delay", "distance"})
          options.encodings[column] = host::parse_encoding(text);
        for (const char *column : {"origin", "destination"}) options.encodings[column] = host::parse_encoding(of_texts);
        engines.read_again(options);
        ASSERT_EQ(engines.table().find("delay")->data.has_runs(), *runs != 0) << text;
        for (const Clause &clause : clauses()) {
          engines.expect_same_rows("delay", clause.ours, clause.sqlite.value_or(clause.ours));
          ASSERT_FALSE(HasFailure()) << text;
        }
        expect_same_extremes(engines);
        ASSERT_FALSE(HasFailure()) << text;
      }
}

// Dictionaries that use every code of 8 bits, hold one value or none: where a constant beyond the last code would wrap.
TEST(QuerySqlite, DictionariesWithoutASpareCode) {
  const auto numbers = [](int first, int last, const char *more) {
    std::string csv = "id,n\n";
    for (int i = first; i <= last; ++i) csv += fmt::format("{},{}\n", i, i);
    return csv + more;
  };
  const struct {
    std::string csv;
    int bits;
  } tables[] = {{numbers(0, 255, ""), 8},       {numbers(1, 255, "0,\n"), 8}, {numbers(0, 256, ""), 9},
                {numbers(1, 256, "0,\n"), 9},   {numbers(7, 7, ""), 1},       {numbers(7, 7, "8,\n"), 1},
                {numbers(7, 6, "8,\n9,\n"), 1}, {numbers(7, 6, ""), 1}};
  host::CsvOptions options;
  options.encodings["n"] = host::parse_encoding("dict");
  int number = 0;
  for (const auto &[csv, bits] : tables) {
    const std::string file = fmt::format("full{}.csv", number++);
    const BothEngines engines("id INTEGER, n INTEGER", csv, file, options);
    EXPECT_EQ(engines.table().find("n")->data.bits(), bits) << file;
    for (const int value : {-1, 0, 1, 6, 7, 8, 254, 255, 256, 257, 511, 512, 65536}) {
      for (const char *const op : {"=", "<>", "<", "<=", ">", ">="}) {
        for (const char *const form : {"WHERE n {} {}", "WHERE NOT n {} {}", "WHERE n {} {} OR n IS NULL"}) {
          const std::string clause = fmt::format(fmt::runtime(form), op, value);
          engines.expect_same_rows("id", clause, clause);
          if (HasFailure()) return;
        }
      }
    }
  }
}

// Conditions put together by chance, with constants drawn from the data, from beside it and from beyond it.
class RandomCondition {
public:
  RandomCondition(std::mt19937 &random, const host::Table &table) : random_(random), table_(table) {}

  std::string make(int depth) {
    if (depth == 0 || below(4) == 0) return leaf();
    if (below(5) == 0) return fmt::format("NOT ({})", make(depth - 1));
    const char *const joint = below(2) == 0 ? " AND " : " OR ";
    std::string text = fmt::format("({}", make(depth - 1));
    for (unsigned parts = 1 + below(3); parts > 0; --parts) text += joint + make(depth - 1);
    return text + ")";
  }

private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  std::string leaf() {
    const host::Column &column = table_.columns[below(static_cast<unsigned>(table_.columns.size()))];
    static constexpr const char *operators[] = {"=", "<>", "<", "<=", ">", ">="};
    const char *const maybe_not = below(2) == 0 ? "NOT " : "";
    switch (below(10)) {
    case 0:
      return fmt::format("{} IS {}NULL", column.name, maybe_not);
    case 1:
      return fmt::format("{} {}BETWEEN {} AND {}", column.name, maybe_not, constant(column), constant(column));
    case 2:
      return fmt::format("{} {}IN ({}, {}, {})", column.name, maybe_not, constant(column), constant(column),
                         constant(column));
    case 3:
      return fmt::format("{} {} {}", constant(column), operators[below(6)], column.name);
    default:
      return fmt::format("{} {} {}", column.name, operators[below(6)], constant(column));
    }
  }

  std::string constant(const host::Column &column) {
    if (below(15) == 0) return "NULL";
    const host::Domain &domain = column.domain();
    ub8 code = domain.first_code() + random_() % (domain.code_count() - domain.first_code());
    if (below(8) == 0) code = below(2) == 0 ? domain.first_code() : domain.code_count() - 1;
    const std::string value = domain.value(code);
    if (column.type().kind != host::ValueKind::integer) {
      const bool beside = below(6) == 0 && column.type().kind == host::ValueKind::text;
      return fmt::format("'{}{}'", value, beside ? "x" : "");
    }
    return std::to_string(std::stoll(value) + (below(3) == 0 ? static_cast<int>(below(3)) - 1 : 0));
  }

  std::mt19937 &random_;
  const host::Table &table_;
};

TEST(QuerySqlite, RandomConditionsSelectTheSameRows) {
  const unsigned seed = std::random_device{}();
  std::mt19937 random(seed);
  for (int i = 0; i < 120 && !HasFailure(); ++i) {
    const BothEngines &flights = flights_tables()[i % 8 == 0 ? 0 : 1];
    const std::string clause = fmt::format("WHERE {}", RandomCondition(random, flights.table()).make(1 + i % 4));
    flights.expect_same_rows("delay", clause, clause);
  }
  if (HasFailure()) std::cerr << "seed " << seed << '\n';
}

// The kernels that a condition is answered with, in order. Row numbers are not asked for.
struct ExpectedKernels {
  const char *where;
  std::vector<std::string> filled, gaps; // without the prefix mipo_
};

TEST(QuerySqlite, EveryConditionTakesItsKernel) {
  const ExpectedKernels cases[] = {{"delay = 0", {"eq_dict_9bit"}, {"eq_dict_9bit_null"}},
                                   {"delay = -79", {"lt_dict_9bit"}, {"lt_dict_9bit_null"}},
                                   {"delay <> 0", {"ne_dict_9bit"}, {"ne_dict_9bit_null"}},
                                   {"delay <> 0 OR delay IS NULL", {"ne_dict_9bit"}, {"ne_dict_9bit"}},
                                   {"delay < 0", {"lt_dict_9bit"}, {"lt_dict_9bit_null"}},
                                   {"delay <= 0", {"le_dict_9bit"}, {"le_dict_9bit_null"}},
                                   {"delay > 0", {"gt_dict_9bit"}, {"gt_dict_9bit_null"}},
                                   {"NOT delay < 0", {"ge_dict_9bit"}, {"ge_dict_9bit_null"}},
                                   {"delay > 0 AND delay < 60", {"gt_lt_dict_9bit"}, {"gt_lt_dict_9bit_null"}},
                                   {"60 >= delay AND 0 < delay", {"gt_le_dict_9bit"}, {"gt_le_dict_9bit_null"}},
                                   {"delay >= 0 AND NOT delay >= 60", {"ge_lt_dict_9bit"}, {"ge_lt_dict_9bit_null"}},
                                   {"delay BETWEEN 0 AND 60", {"ge_le_dict_9bit"}, {"ge_le_dict_9bit_null"}},
                                   {"delay IS NULL", {"lt_dict_9bit"}, {"eq_dict_9bit"}},
                                   {"delay IS NOT NULL", {"ge_dict_9bit"}, {"ge_dict_9bit_null"}},
                                   {"delay < 0 OR delay IS NULL", {"lt_dict_9bit"}, {"lt_dict_9bit"}},
                                   {"delay <= 0 OR delay IS NULL OR delay > 5", {"set_dict_9bit"}, {"set_dict_9bit"}},
                                   {"origin IN ('SFO', 'SJC')", {"set_dict_8bit"}, {"set_dict_8bit"}},
                                   {"origin LIKE 'S%'", {"ge_lt_dict_8bit"}, {"ge_lt_dict_8bit_null"}},
                                   {"origin LIKE '_A%'", {"set_dict_8bit"}, {"set_dict_8bit"}},
                                   {"departure IS NULL", {"lt_fixed_32bit"}, {"lbiwvnot_dydi"}},
                                   {"departure >= '2001-02-01' AND (delay = 1 OR distance = 337)",
                                    {"ge_fixed_32bit", "eq_dict_9bit", "eq_dict_11bit", "lbiwvor_dydi"},
                                    {"ge_fixed_32bit", "eq_dict_9bit_null", "eq_dict_11bit_null", "lbiwvor_dydi"}}};
  for (const ExpectedKernels &expected : cases) {
    for (std::size_t i = 0; i < 2; ++i) {
      std::vector<std::string> names;
      for (const engine::KernelProfile &step :
           flights_tables()[i].calls(fmt::format("SELECT count(*) FROM flights WHERE {}", expected.where)))
        names.push_back(step.name.substr(std::string("mipo_").size()));
      EXPECT_EQ(names, i == 0 ? expected.filled : expected.gaps) << expected.where << " on table " << i;
    }
  }
}

TEST(QuerySqlite, ConjunctsSeeTheRowsSoFarAndGoSelectiveWhenFewAreLeft) {
  const BothEngines &flights = flights_tables()[0];
  const auto steps = flights.calls("SELECT delay FROM flights WHERE distance > 1000 AND delay > 600 "
                                   "AND (origin < 'M' OR destination < 'M') AND delay < 700 LIMIT 2");
  ASSERT_EQ(steps.size(), 6u); // distance, delay, origin, destination, or, row numbers
  EXPECT_EQ(steps[0].rows_in, flights.table().row_count);
  for (const std::size_t reader : {1u, 2u, 3u}) {
    EXPECT_EQ(steps[reader].rows_in, steps[reader == 1 ? 0 : 1].rows_out) << reader;
    EXPECT_LE(steps[reader].rows_out, steps[reader].rows_in) << reader;
  }
  EXPECT_FALSE(steps[1].selective);
  EXPECT_TRUE(steps[2].selective);
  EXPECT_TRUE(steps[3].selective);
  EXPECT_EQ(steps[3].rows_read, steps[3].rows_in);
  EXPECT_EQ(steps[5].rows_in, steps[4].rows_out);
}

} // namespace
} // namespace mipo::tests
