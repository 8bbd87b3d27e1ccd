// Joins and sub-selects, answered through translation tables and by SQLite.
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "engine/both_engines.h"
#include "engine/plan/bound_column.h"
#include "engine/query_data.h"
#include "engine/run/translation.h"

namespace mipo::tests {
namespace {

const std::string flights_declaration =
    "departure TEXT, delay INTEGER, distance INTEGER, origin TEXT, destination TEXT";

// Some states are missing, two have no region, one has no airport.
const std::string states = "code,region,people,since\n"
                           "CA,West,33.90,1850-09-09\nTX,South,20.90,1845-12-29\nNY,,19.00,1788-07-26\n"
                           "FL,South,16.00,1845-03-03\nIL,,12.40,1818-12-03\nWA,West,5.90,1889-11-11\n"
                           "HI,West,1.20,1959-08-21\nXX,Nowhere,,\n,Empty,,\n";

// Some of the minutes that flights are late, as numbers.
std::string minutes() {
  std::string text = "minutes,word,worth\n";
  for (int minute = -20; minute < 90; minute += minute % 3 == 0 ? 2 : 1)
    text += fmt::format("{}.0,{},{}\n", minute, minute % 5 == 0 ? "" : fmt::format("m{}", minute % 7), minute * 1000);
  return text;
}

std::string first_lines(const std::string &text, std::size_t lines) {
  std::size_t end = 0;
  for (; lines > 0; --lines) end = text.find('\n', end) + 1;
  return text.substr(0, end);
}

void add_other_tables(BothEngines &engines) {
  engines.add("iata TEXT, name TEXT, city TEXT, state TEXT, country TEXT, latitude REAL, longitude REAL",
              airports_text(), "airports.csv", {}, "airports");
  engines.add("code TEXT, region TEXT, people REAL, since TEXT", states, "states.csv", {}, "states");
  engines.add("minutes REAL, word TEXT, worth INTEGER", minutes(), "minutes.csv", {}, "minutes");
}

BothEngines &engines() {
  static BothEngines made = [] {
    BothEngines both(flights_declaration, first_lines(flights_with_gaps(), 15000), "joined flights.csv");
    add_other_tables(both);
    return both;
  }();
  return made;
}

const std::string from_airports = " FROM flights JOIN airports a ON origin = a.iata ";
const std::string left_airports = " FROM flights LEFT JOIN airports a ON a.iata = origin ";
const std::string both_airports =
    " FROM flights JOIN airports o ON origin = o.iata LEFT JOIN airports AS d ON destination = d.iata ";
const std::string from_states =
    " FROM flights f JOIN airports a ON f.origin = a.iata LEFT JOIN states s ON s.code = a.state ";
const std::string from_minutes = " FROM flights LEFT JOIN minutes m ON delay = m.minutes ";

TEST(QueryJoin, TheSameRowsGroupsAndTotals) {
  for (const std::string &sql : std::vector<std::string>{
           "SELECT count(*)" + from_airports,
           "SELECT count(*), count(a.iata), count(state), count(delay)" + left_airports,
           "SELECT departure, origin, city, latitude" + from_airports + "WHERE delay > 300",
           "SELECT departure, a.city, a.state, d.name"
           " FROM flights LEFT JOIN airports a ON origin = a.iata JOIN airports d ON destination = d.iata "
           "WHERE delay > 200",
           "SELECT *" + left_airports + "WHERE delay > 400",
           "SELECT a.*, delay" + left_airports + "WHERE delay > 400",
           "SELECT flights.*" + from_airports + "WHERE delay > 400 AND a.state = 'CA'",
           "SELECT state, count(*), avg(delay), min(delay), max(departure)" + from_airports + "GROUP BY state",
           "SELECT a.state, count(*), sum(distance)" + left_airports + "GROUP BY a.state",
           "SELECT o.state, d.state, count(*), avg(delay)" + both_airports + "GROUP BY o.state, d.state",
           "SELECT o.city, destination, count(*), sum(delay)" + both_airports + "GROUP BY o.city, destination",
           "SELECT destination, d.city, origin, o.state, count(*)" + both_airports +
               "WHERE distance > 1500 GROUP BY destination, d.city, origin, o.state",
           "SELECT departure, o.state, count(*)" + both_airports + "WHERE delay > 150 GROUP BY departure, o.state",
           "SELECT DISTINCT o.state, d.state" + both_airports,
           "SELECT DISTINCT city" + from_airports + "WHERE state IN ('CA', 'NV')",
           "SELECT count(*)" + from_airports + "WHERE a.state = 'TX'",
           "SELECT count(*)" + from_airports + "WHERE a.state <> 'TX' AND a.city LIKE 'S%' AND origin > 'M'",
           "SELECT count(*)" + from_airports + "WHERE a.state = 'TX' OR a.city LIKE 'S%' OR delay > 100",
           "SELECT count(*)" + from_airports + "WHERE NOT (a.state = 'TX' OR upper(a.city) LIKE 'S%')",
           "SELECT count(*)" + from_airports + "WHERE latitude < 35.5 AND longitude BETWEEN -120 AND -100.25",
           "SELECT count(*)" + left_airports + "WHERE a.state IS NULL",
           "SELECT count(*)" + left_airports + "WHERE a.state IS NOT NULL AND delay IS NULL",
           "SELECT count(*)" + left_airports + "WHERE a.state <> 'CA'",
           "SELECT count(*)" + left_airports + "WHERE a.state = 'CA' OR a.iata IS NULL",
           "SELECT count(*)" + left_airports + "WHERE NOT (a.state = 'CA' AND a.iata IS NULL)",
           "SELECT min(city), max(city), min(latitude), max(latitude), avg(longitude), count(latitude)" + left_airports,
           "SELECT origin, max(a.name), min(a.longitude), sum(a.latitude)" + left_airports + "GROUP BY origin",
           "SELECT count(*), count(region), count(s.code), min(since), max(people)" + from_states,
           "SELECT region, count(*), sum(people), avg(people), min(since)" + from_states + "GROUP BY region",
           "SELECT s.code, a.state, region, count(*)" + from_states + "GROUP BY s.code, a.state, region",
           "SELECT count(*)" + from_states + "WHERE region IS NULL AND s.code IS NOT NULL",
           "SELECT count(*)" + from_states + "WHERE NOT (region IS NOT NULL)",
           "SELECT count(*)" + from_states + "WHERE NOT (region NOT IN (SELECT iata FROM airports WHERE state = 'no'))",
           "SELECT count(*)" + from_states + "WHERE NOT (region IN (SELECT iata FROM airports WHERE state = 'no'))",
           "SELECT count(*)" + from_states + "WHERE region = 'West' AND people > 2 AND since < '1889-01-01'",
           "SELECT origin, since, people, delay" + from_states + "WHERE people < 6 AND delay > 60",
           "SELECT count(*), sum(worth), min(word), max(m.minutes)" + from_minutes,
           "SELECT word, count(*), sum(worth - delay * 1000)" + from_minutes + "GROUP BY word",
           "SELECT word, delay, minutes" + from_minutes + "WHERE word > 'm3' AND distance > 2000",
           "SELECT sum(worth * 2 + distance), count(worth + distance)" + from_minutes + "WHERE origin < 'D'",
           "SELECT max(word), count(*), s.region FROM flights JOIN minutes m ON delay = minutes JOIN airports a "
           "ON destination = a.iata JOIN states s ON a.state = s.code WHERE word <> 'm1' GROUP BY s.region",
           "SELECT a.city, b.city FROM airports a JOIN airports b ON a.iata = b.iata WHERE a.state = 'HI'",
           "SELECT state, count(*), avg(delay) AS late" + from_airports +
               "GROUP BY state HAVING count(*) > 100 AND state IN (SELECT code FROM states)"}) {
    engines().expect_same_result(sql);
  }
}

TEST(QueryJoin, TheOrderOfJoinedValues) {
  for (const std::string &sql : std::vector<std::string>{
           "SELECT a.city, departure, origin, delay, distance, destination" + from_airports +
               "WHERE delay > 120 ORDER BY a.state DESC, city, departure, delay, distance, destination",
           "SELECT departure, delay, a.latitude, origin, distance, destination" + left_airports +
               "WHERE delay > 150 ORDER BY a.latitude NULLS LAST, departure, delay, distance, destination LIMIT 40",
           "SELECT city, count(*)" + left_airports + "GROUP BY city ORDER BY 2 DESC, city LIMIT 12 OFFSET 3",
           "SELECT region, s.code, count(*)" + from_states + "GROUP BY region, s.code ORDER BY region, s.code"})
    engines().expect_same_result(sql, BothEngines::Order::told);
}

TEST(QueryJoin, SubSelectsAsSqlHasThem) {
  for (const char *where :
       {"origin IN (SELECT iata FROM airports WHERE state = 'CA')",
        "origin NOT IN (SELECT iata FROM airports WHERE state = 'CA')",
        "origin NOT IN (SELECT iata FROM airports WHERE state = 'CA') OR origin IS NULL",
        "NOT origin NOT IN (SELECT iata FROM airports WHERE latitude > 40)",
        "origin IN (SELECT iata FROM airports WHERE state = 'ZZ')",
        "origin NOT IN (SELECT iata FROM airports WHERE state = 'ZZ')",
        "NOT (origin IN (SELECT iata FROM airports WHERE state = 'ZZ'))",
        "origin IN (SELECT iata FROM airports WHERE iata = 'SFO')",
        "origin IN (SELECT destination FROM flights WHERE delay > 200)",
        "origin NOT IN (SELECT destination FROM flights WHERE delay > 200)",
        "origin NOT IN (SELECT destination FROM flights WHERE delay > 200 AND destination IS NOT NULL)",
        "NOT (origin NOT IN (SELECT destination FROM flights WHERE destination IS NULL))",
        "origin IN (SELECT origin FROM flights GROUP BY origin HAVING count(*) > 200)",
        "origin IN (SELECT max(iata) FROM airports GROUP BY state)",
        "origin IN (SELECT iata FROM airports WHERE state IN (SELECT code FROM states WHERE region = 'West'))",
        "origin IN (SELECT iata FROM airports a JOIN states s ON a.state = s.code WHERE region = 'South')",
        "origin IN (SELECT iata FROM airports ORDER BY latitude LIMIT 300)",
        "origin IN (SELECT iata FROM airports WHERE state = 'CA') AND destination IN (SELECT iata FROM airports "
        "WHERE state = 'TX') AND origin <> 'SFO'",
        "origin IN (SELECT iata FROM airports WHERE state = 'CA') OR delay IN (SELECT minutes FROM minutes)",
        "delay NOT IN (SELECT minutes FROM minutes WHERE word IS NULL) AND distance > 1000",
        "distance IN (SELECT delay FROM flights)",
        "departure IN (SELECT max(departure) FROM flights WHERE delay > 20 GROUP BY origin)"})
    engines().expect_same_result(
        fmt::format("SELECT count(*), sum(delay), min(departure) FROM flights WHERE {}", where));
  engines().expect_same_result(
      "SELECT a.state, count(*)" + left_airports +
      "WHERE a.state NOT IN (SELECT code FROM states WHERE code IS NOT NULL) GROUP BY a.state");
}

// By dictionaries and by numbers, with runs and compressed: the kernels read codes, or the program does.
TEST(QueryJoin, EveryEncodingOfTheKeys) {
  BothEngines small(flights_declaration, first_lines(flights_with_gaps(), 5000), "encoded joins.csv");
  add_other_tables(small);
  const struct {
    const char *texts, *numbers;
  } encodings[] = {{"dict:9", "fixed:32"},        {"dict:20", "dynp"},           {"dict:32", "tz"},
                   {"dict+runs8", "dict+starts"}, {"dict+zstd", "dynp-tz+zstd"}, {"dict:24", "fixed+runs16+zstd"},
                   {"dict:64", "dict:64"}};
  for (const auto &[texts, numbers] : encodings) {
    host::CsvOptions options;
    for (const char *column : {"origin", "destination"}) options.encodings[column] = host::parse_encoding(texts);
    for (const char *column : {"delay", "distance"}) options.encodings[column] = host::parse_encoding(numbers);
    small.read_again(options);
    host::CsvOptions of_minutes;
    for (const char *column : {"minutes", "worth"}) of_minutes.encodings[column] = host::parse_encoding(numbers);
    small.read_again("minutes", of_minutes);
    for (const std::string &sql : std::vector<std::string>{
             "SELECT o.state, d.state, count(*), avg(delay)" + both_airports + "GROUP BY o.state, d.state",
             "SELECT word, d.state, count(*), sum(worth + delay), max(d.longitude) FROM flights LEFT JOIN minutes "
             "ON minutes = delay LEFT JOIN airports d ON destination = d.iata GROUP BY word, d.state",
             "SELECT city, word, delay FROM flights JOIN minutes ON delay = minutes JOIN airports ON origin = iata "
             "WHERE city < 'L' AND word > 'm4'",
             "SELECT count(*), min(origin) FROM flights WHERE delay IN (SELECT minutes FROM minutes WHERE worth > "
             "3000) "
             "AND origin NOT IN (SELECT iata FROM airports WHERE latitude > 35)"})
      small.expect_same_result(sql);
    ASSERT_FALSE(HasFailure()) << texts << ' ' << numbers;
  }
}

TEST(QueryJoin, ManyRowsAndThreads) {
  BothEngines many(flights_declaration, flights_with_gaps(), "many joins.csv");
  add_other_tables(many);
  for (const std::string &sql : std::vector<std::string>{
           "SELECT o.state, d.state, count(*), avg(delay), min(o.city)" + both_airports + "GROUP BY o.state, d.state",
           "SELECT count(*), sum(distance)" + from_states + "WHERE region <> 'West' AND delay > 0",
           "SELECT departure, city" + from_airports + "WHERE delay > 200 AND state NOT IN (SELECT code FROM states)"})
    for (const unsigned threads : {1u, 3u}) many.expect_same_result(sql, BothEngines::Order::any, threads);
}

// Queries take threads for millions of rows only: here they are asked for.
TEST(QueryJoin, TablesAreLookedUpTheSameOnAnyThreads) {
  const host::Library library = host::Library::open();
  const host::Table table = host::read_csv(scratch_file("lookups.csv", flights_with_gaps()));
  host::Result some(table.row_count), few(table.row_count);
  for (ub4 row = 0; row < table.row_count; ++row) {
    some.bits().set(row, row % 5 < 3);
    few.bits().set(row, row % 9000 < 17);
  }
  for (host::Result *rows : {&some, &few}) rows->vec()->nset = rows->bits().count();
  for (const char *name : {"origin", "departure"}) {
    const engine::BoundColumn column = engine::own_column(*table.find(name), name);
    const ub8 codes = std::min<ub8>(engine::index_count(column.domain()), engine::most_join_codes);
    std::vector<bool> members(codes);
    for (ub8 code = 0; code < codes; ++code) members[code] = code * 2654435761u % 7 < 3;
    const auto lookup = host::TranslationTable::of_members(members);
    for (const host::Result *within : {static_cast<host::Result *>(nullptr), &some, &few}) {
      ub4 expected = 0;
      std::vector<bool> rows(table.row_count);
      for (ub4 row = 0; row < table.row_count; ++row) {
        const std::optional<ub8> code = column.code(row);
        const ub8 index = code ? *code - engine::index_base(column.domain()) : 0;
        // Rows without value in dictionaries have a code like any other.
        const bool has_code = code || column.domain().has_null();
        rows[row] = has_code && index < codes && members[index] && (within == nullptr || within->bits().test(row));
        expected += rows[row];
      }
      for (const unsigned threads : {1u, 2u, 3u}) {
        std::vector<engine::KernelProfile> steps;
        const host::Result found = engine::rows_in_table(library, lookup, column, within, threads, "", steps);
        EXPECT_EQ(found.count(), expected) << name << threads;
        for (ub4 row = 0; row < table.row_count; ++row) ASSERT_EQ(found.bits().test(row), rows[row]) << name << row;
      }
    }
  }
}

// The kernels that a query is answered with, without the prefix mipo_.
std::set<std::string> kernels_of(const std::string &sql) {
  std::set<std::string> names;
  for (const engine::KernelProfile &step : engines().calls(sql))
    if (step.kind == engine::KernelProfile::Kind::kernel) names.insert(step.name.substr(5));
  return names;
}

TEST(QueryJoin, TranslationsTakeTheirKernels) {
  const struct {
    std::string sql;
    const char *kernel, *none;
  } cases[] = {
      {"SELECT count(*) FROM flights WHERE origin IN (SELECT iata FROM airports WHERE state = 'CA')", "set_dict_8bit",
       "xlate_sim_bit"},
      // One code, or one range of them, is no matter for a table.
      {"SELECT count(*) FROM flights WHERE origin IN (SELECT iata FROM airports WHERE iata = 'SFO')",
       "eq_dict_8bit_null", "set_dict_8bit"},
      {"SELECT count(*)" + from_airports + "WHERE state = 'CA'", "set_dict_8bit", "xlate_sim_ub1_c2d"},
      {"SELECT city" + from_airports + "LIMIT 5", "xlate_sim_ub1_c2d", "xlate_groupkey_ub1_c2d"},
      {"SELECT region" + from_states + "LIMIT 5", "xlate_sim_nib_c2d", "xlate_sim_ub1_c2d"},
      {"SELECT state, count(*)" + from_airports + "GROUP BY state", "xlate_groupkey_ub1_c2d", "groupkey_dydi"},
      {"SELECT region, count(*)" + from_states + "GROUP BY region", "xlate_groupkey_nib_c2d", "xlate_sim_ub1_c2d"}};
  for (const auto &[sql, kernel, none] : cases) {
    const std::set<std::string> names = kernels_of(sql);
    EXPECT_TRUE(names.contains(kernel)) << sql << fmt::format("{}", fmt::join(names, " "));
    EXPECT_FALSE(names.contains(none)) << sql;
  }
  // Every partner is there: nothing is left to be tested.
  EXPECT_TRUE(kernels_of("SELECT count(*) FROM airports a JOIN airports b ON a.iata = b.iata").empty());
}

} // namespace
} // namespace mipo::tests
