// What the program prints and returns, in this process and as the built file.
#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "engine/query_data.h"
#include "program/interruption.h"
#include "program/program.h"

namespace mipo::tests {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int code = 0;
  std::string out, err;
};

Outcome run(std::vector<const char *> arguments) {
  arguments.insert(arguments.begin(), "mipo");
  std::ostringstream out, err;
  Outcome outcome;
  outcome.code = program::run_program(static_cast<int>(arguments.size()), arguments.data(), out, err);
  outcome.out = out.str();
  outcome.err = err.str();
  return outcome;
}

// Runs the built program through the shell; standard error is left out unless `arguments` redirect it.
Outcome run_file(const std::string &arguments) {
  Outcome outcome;
  std::FILE *pipe = ::popen((std::string("'" MIPO_TEST_PROGRAM "' ") + arguments).c_str(), "r");
  std::array<char, 4096> bytes;
  while (const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), pipe))
    outcome.out.append(bytes.data(), count);
  const int status = ::pclose(pipe);
  outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

std::string file_bytes(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

// Fields that need quotes, empty ones, characters that act on a terminal, text wider in bytes than in characters.
const char *const odd_csv = "name,n,price,when\r\n"
                            "\"a, b\",1,1.50,2001-01-01 10:00\r\n"
                            "\"say \"\"x\"\"\",,20,\r\n"
                            "\"two\nlines\x1b[31m\",-3,,2001-01-02 00:00\r\n"
                            "é,40,-0.05,2001-01-03 09:30\r\n";

std::string odd_file() {
  return scratch_file("odd.csv", odd_csv);
}

TEST(QueryProgram, PrintsTablesForPeople) {
  const std::string table = "t=" + odd_file();
  const Outcome outcome = run({"query", "--table", table.c_str(), "SELECT * FROM t"});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "name                 n  price  when\n"
                         "------------------  --  -----  ----------------\n"
                         "a, b                 1   1.50  2001-01-01 10:00\n"
                         "say \"x\"                 20.00\n"
                         "two\\nlines\\x1b[31m  -3         2001-01-02 00:00\n"
                         "é                   40  -0.05  2001-01-03 09:30\n"
                         "(4 rows)\n");
}

TEST(QueryProgram, CsvReadsBackAsItWas) {
  const std::string first = "SELECT * FROM \"" + odd_file() + "\"";
  const Outcome once = run({"query", "--format", "csv", first.c_str()});
  EXPECT_EQ(once.out, "name,n,price,when\n"
                      "\"a, b\",1,1.50,2001-01-01 10:00\n"
                      "\"say \"\"x\"\"\",,20.00,\n"
                      "\"two\nlines\x1b[31m\",-3,,2001-01-02 00:00\n"
                      "é,40,-0.05,2001-01-03 09:30\n");
  const std::string second = "SELECT * FROM \"" + scratch_file("again.csv", once.out) + "\"";
  EXPECT_EQ(run({"query", "--format", "csv", second.c_str()}).out, once.out);

  // A NULL row is still a row when it is the only column.
  const std::string column = "SELECT n FROM \"" + odd_file() + "\"";
  EXPECT_EQ(run({"query", "--format", "csv", column.c_str()}).out, "n\n1\n\"\"\n-3\n40\n");
}

TEST(QueryProgram, JsonHasNumbersAndNulls) {
  const std::string table = "t=" + odd_file();
  const Outcome rows =
      run({"query", "--table", table.c_str(), "--format", "json", "SELECT n, price AS p, name FROM t"});
  EXPECT_EQ(nlohmann::json::parse(rows.out),
            nlohmann::json::parse(R"([{"n": 1, "p": 1.5, "name": "a, b"}, {"n": null, "p": 20, "name": "say \"x\""},
                                      {"n": -3, "p": null, "name": "two\nlines\u001b[31m"},
                                      {"n": 40, "p": -0.05, "name": "é"}])"));
  const Outcome empty = run({"query", "--table", table.c_str(), "--format", "json", "SELECT n FROM t WHERE n > 99"});
  EXPECT_EQ(nlohmann::json::parse(empty.out), nlohmann::json::array());
  const Outcome twice = run({"query", "--table", table.c_str(), "--format", "json", "SELECT n, n FROM t"});
  EXPECT_EQ(twice.code, 1);
  EXPECT_TRUE(contains(twice.err, "mipo: query: two columns of the result are named n")) << twice.err;
}

TEST(QueryProgram, ExplanationsKeepTheOutputReadableForPrograms) {
  const std::string table = "t=" + odd_file();
  const char *const sql = "SELECT count(*) AS many FROM t WHERE n > 0 AND price < 20";
  const Outcome json =
      run({"query", "--table", table.c_str(), "--encode", "price=dict", "--format", "json", "--explain", sql});
  const nlohmann::json parsed = nlohmann::json::parse(json.out);
  EXPECT_EQ(parsed.at("rows"), nlohmann::json::parse(R"([{"many": 2}])"));
  const nlohmann::json &explain = parsed.at("explain");
  ASSERT_EQ(explain.at("steps").size(), 2u);
  const nlohmann::json &step = explain.at("steps")[1];
  EXPECT_EQ(step.at("kernel"), "mipo_lt_dict_2bit_null");
  EXPECT_EQ(step.at("key"), 4257);
  EXPECT_EQ(step.at("condition"), "price < 20");
  EXPECT_EQ(step.at("rows_in"), 2);
  EXPECT_EQ(step.at("rows_out"), 2);
  EXPECT_EQ(step.at("selective"), false);
  EXPECT_EQ(explain.at("reading").at(0).at("rows"), 4);
  EXPECT_GT(explain.at("kernel_seconds").get<double>(), 0);

  const Outcome csv =
      run({"query", "--table", table.c_str(), "--encode", "price=dict", "--format", "csv", "--explain", sql});
  EXPECT_EQ(csv.out, "many\n2\n");
  EXPECT_TRUE(contains(csv.err, "mipo_lt_dict_2bit_null")) << csv.err;
  const Outcome people = run({"query", "--table", table.c_str(), "--encode", "price=dict", "--explain", sql});
  EXPECT_TRUE(contains(people.out, "(1 row)") && contains(people.out, "mipo_lt_dict_2bit_null")) << people.out;
}

TEST(QueryProgram, TypesCanBeGiven) {
  const std::string table = "t=" + scratch_file("types.csv", "a,b\n10,1\n9,2.5\n");
  const char *const sql = "SELECT a FROM t WHERE a < '9'";
  EXPECT_EQ(run({"query", "--table", table.c_str(), "--format", "csv", sql}).out, "a\n");
  EXPECT_EQ(run({"query", "--table", table.c_str(), "--type", "a=text", "--format", "csv", sql}).out, "a\n10\n");
  const Outcome bad = run({"query", "--table", table.c_str(), "--type", "b=integer", sql});
  EXPECT_EQ(bad.code, 1);
  EXPECT_TRUE(contains(bad.err, "types.csv:3:") && contains(bad.err, "2.5")) << bad.err;
}

TEST(QueryProgram, DescribesHowColumnsAreStored) {
  std::string csv = "number,word,day\n";
  for (int i = 0; i < 4000; ++i) csv += fmt::format("{},{},{}\n", i * 7919, i / 1000, i % 3 == 0 ? "" : "2001-01-01");
  const std::string file = scratch_file("stored.csv", csv);
  const Outcome json = run({"describe", "--format", "json", "--type", "word=text", file.c_str()});
  ASSERT_EQ(json.code, 0) << json.err;
  const nlohmann::json columns = nlohmann::json::parse(json.out);
  const struct {
    const char *name, *type, *encoding;
    int without_value, distinct, bits;
  } expected[] = {{"number", "integer", "fixed:32", 0, 4000, 32},
                  {"word", "text", "dict:2+runs16", 0, 4, 2},
                  {"day", "date", "dict:1", 1334, 1, 1}};
  for (std::size_t i = 0; i < 3; ++i) {
    const nlohmann::json &column = columns.at(i);
    const nlohmann::json told = {column.at("column"),        column.at("type"),     column.at("rows"),
                                 column.at("without_value"), column.at("distinct"), column.at("encoding"),
                                 column.at("bits")};
    const auto &[name, type, encoding, without_value, distinct, bits] = expected[i];
    EXPECT_EQ(told, nlohmann::json({name, type, 4000, without_value, distinct, encoding, bits}));
  }
  const Outcome people =
      run({"describe", "--encode", "number=dynp:32+zstd", "--encode", "word=dict:8+starts", file.c_str()});
  EXPECT_TRUE(contains(people.out, "dynp:32+zstd") && contains(people.out, "dict:8+starts") &&
              contains(people.out, "4000 rows, 3 columns"))
      << people.out;
}

// The explanation names the kernel that expanded runs, and the decompressed column is read for output.
TEST(QueryProgram, EncodingsCanBeGiven) {
  std::string csv = "a,b\n";
  for (int i = 0; i < 600; ++i) csv += fmt::format("{},{}\n", i / 100, i);
  const std::string table = "t=" + scratch_file("given.csv", csv);
  const Outcome json =
      run({"query", "--table", table.c_str(), "--encode", "a=dict+runs8+zstd", "--encode", "b=tz-const", "--format",
           "json", "--explain", "SELECT b, a FROM t WHERE a = 3 AND b < 302"});
  ASSERT_EQ(json.code, 0) << json.err;
  const nlohmann::json parsed = nlohmann::json::parse(json.out);
  EXPECT_EQ(parsed.at("rows"), nlohmann::json::parse(R"([{"b": 300, "a": 3}, {"b": 301, "a": 3}])"));
  const nlohmann::json &steps = parsed.at("explain").at("steps");
  EXPECT_EQ(steps[0].at("kernel"), "mipo_eq_dict_3bit");
  EXPECT_EQ(steps[0].at("expanded_by"), "mipo_burst_rle_8bit");
  EXPECT_EQ(steps[1].at("kernel"), "mipo_lt_fixed_16bit_tz");
  EXPECT_FALSE(steps[1].contains("expanded_by"));
}

TEST(QueryProgram, ColumnFilesStandForTheFilesTheyAreMadeOf) {
  const std::string csv = odd_file(), packed = csv + ".mipo";
  const Outcome pack = run({"pack", csv.c_str(), packed.c_str(), "--encode", "n=fixed", "--format", "json"});
  ASSERT_EQ(pack.code, 0) << pack.err;
  EXPECT_EQ(nlohmann::json::parse(pack.out).at("rows"), 4);
  for (const char *sql : {"SELECT * FROM t", "SELECT count(*), sum(n), min(name) FROM t WHERE price < 20",
                          "SELECT name FROM t WHERE n IS NULL OR name LIKE '%\"%'"}) {
    const std::string from_csv = "t=" + csv, from_packed = "t=" + packed;
    const Outcome wanted = run({"query", "--encode", "n=fixed", "--table", from_csv.c_str(), sql});
    EXPECT_EQ(run({"query", "--table", from_packed.c_str(), sql}).out, wanted.out) << sql;
  }
  const Outcome described = run({"describe", packed.c_str()});
  EXPECT_EQ(described.out, run({"describe", "--encode", "n=fixed", csv.c_str()}).out);
  EXPECT_TRUE(contains(run({"verify", packed.c_str()}).out, " is sound: 4 rows, 4 columns, "));

  const struct {
    std::vector<const char *> arguments;
    const char *message;
  } refusals[] = {
      {{"describe", "--type", "n=text", packed.c_str()}, ": is a column file: types and encodings were settled"},
      {{"verify", csv.c_str()}, ": is not a column file; mipo pack makes one of a CSV file"},
      {{"pack", csv.c_str(), csv.c_str()}, ": cannot be packed into itself"},
      {{"pack", csv.c_str(), "/nowhere/to.mipo"}, "/nowhere/to.mipo: its folder cannot be opened: No such file"},
      {{"pack", "/nowhere/from.csv", packed.c_str()}, "/nowhere/from.csv: "}};
  for (const auto &[arguments, message] : refusals) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.code, 1) << message;
    EXPECT_TRUE(contains(outcome.err, message)) << outcome.err;
  }
  EXPECT_EQ(run({"pack", csv.c_str()}).code, 2);

  // A byte of the column `price` altered: other columns are as good as before.
  std::string bytes = file_bytes(packed);
  const std::size_t at = bytes.find("a, b");
  ASSERT_NE(at, bytes.npos);
  bytes[at] = 'A';
  const std::string altered = "t=" + scratch_file("altered.mipo", bytes);
  EXPECT_EQ(run({"query", "--table", altered.c_str(), "SELECT sum(n) FROM t"}).code, 0);
  const Outcome damaged = run({"query", "--table", altered.c_str(), "SELECT name FROM t"});
  EXPECT_EQ(damaged.code, 1);
  EXPECT_TRUE(contains(damaged.err, "column name: its symbols have been altered")) << damaged.err;
}

TEST(QueryProgram, AnInterruptedPackLeavesNoFile) {
  for (const auto &[signal, code] : {std::pair(SIGINT, 130), std::pair(SIGTERM, 143)}) {
    const program::Interruptible interruptible;
    EXPECT_NO_THROW(interruptible.check());
    std::raise(signal);
    try {
      interruptible.check();
      ADD_FAILURE() << "signal " << signal << " passed over";
    } catch (const program::Interrupted &interrupted) {
      EXPECT_EQ(interrupted.exit_code(), code);
    }
  }
  // A reader that waits for its input, and is killed.
  const std::filesystem::path folder = std::filesystem::path(odd_file()).parent_path() / "interrupted";
  std::filesystem::create_directories(folder);
  const std::string pipe = folder / "pipe", packed = folder / "packed.mipo";
  ::mkfifo(pipe.c_str(), 0600);
  const Outcome killed = run_file("pack '" + pipe + "' '" + packed + "' & child=$!; exec 3>'" + pipe +
                                  "'; printf 'a,b\\n1,2\\n' >&3; kill -TERM $child; wait $child; echo $?");
  EXPECT_EQ(killed.out, "143\n");
  for (const auto &entry : std::filesystem::directory_iterator(folder)) EXPECT_EQ(entry.path(), pipe);
}

TEST(QueryProgram, ExitCodesAndMessages) {
  struct Case {
    std::vector<const char *> arguments;
    int code;
    const char *err;
  };
  const std::string table = "t=" + odd_file();
  const Case cases[] = {
      {{}, 2, "mipo: "},
      {{"frobnicate"}, 2, "mipo: "},
      {{"query"}, 2, "sql"},
      {{"query", "--frobnicate", "SELECT"}, 2, "--frobnicate"},
      {{"query", "--format", "xml", "SELECT"}, 2, "xml is not one of table, csv, json"},
      {{"query", "--table", "t", "SELECT"}, 2, "NAME=VALUE"},
      {{"query", "--table", "t=a", "--table", "t=b", "SELECT"}, 2, "bound twice"},
      {{"query", "--type", "a=blob", "SELECT"}, 2, "blob is not one of"},
      {{"query", "--encode", "a=blob", "SELECT"}, 2, "'blob' is no encoding"},
      {{"query", "--encode", "a=dict:33", "SELECT"}, 2, "33"},
      {{"query", "--table", table.c_str(), "--encode", "x=dict", "SELECT n FROM t"}, 1, "column 'x'"},
      {{"query", "--table", table.c_str(), "--encode", "name=fixed", "SELECT n FROM t"}, 1, "dictionary only"},
      {{"describe", "no/such.csv"}, 1, "no/such.csv"},
      {{"describe"}, 2, "file"},
      {{"info", "--format", "csv"}, 2, "csv is not one of table, json"},
      {{"query", "SELECT * FROM t"}, 1, "mipo: query:1:15: there is no table t: bind it to a file with --table t=FILE"},
      {{"query", "SELECT * FROM \"no/such.csv\""}, 1, "mipo: query:1:15: there is no file no/such.csv"},
      {{"query", "--table", "t=no/such.csv", "SELECT * FROM t"}, 1, "no/such.csv"},
      {{"query", "--table", table.c_str(), "SELECT * FROM t FOR UPDATE"}, 1, "mipo: query:1:17: FOR UPDATE"},
      {{"kernels", "frobnicate"}, 1, "mipo: no kernel's name matches \"frobnicate\""},
      {{"query", "--table", table.c_str(), "SELECT count(*) FROM T LIMIT 0"}, 0, ""}};
  for (const Case &expected : cases) {
    const Outcome outcome = run(expected.arguments);
    std::string line;
    for (const char *argument : expected.arguments) line += std::string(" ") + argument;
    EXPECT_EQ(outcome.code, expected.code) << line << "\n" << outcome.err;
    EXPECT_TRUE(contains(outcome.err, expected.err)) << line << "\n" << outcome.err;
    if (expected.code != 0) {
      EXPECT_EQ(outcome.out, "") << line;
    }
  }
}

TEST(QueryProgram, HelpHasExamplesForEveryCommand) {
  for (const char *command : {"", "query", "pack", "verify", "info", "kernels"}) {
    std::vector<const char *> arguments = {"--help"};
    if (*command != '\0') arguments.insert(arguments.begin(), command);
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_TRUE(contains(outcome.out, "Examples:")) << outcome.out;
  }
}

TEST(QueryProgram, ListsKernelsInTheOrderOfTheirWidths) {
  const Outcome all = run({"kernels", "--format", "csv"});
  EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 1 + 925);
  const Outcome some = run({"kernels", "--format", "json", "mipo_eq_dict_*bit"});
  std::vector<std::string> names;
  for (const nlohmann::json &kernel : nlohmann::json::parse(some.out)) names.push_back(kernel.at("name"));
  ASSERT_EQ(names.size(), 23u);
  EXPECT_EQ(names[1], "mipo_eq_dict_2bit");
  EXPECT_EQ(names[22], "mipo_eq_dict_64bit");
  EXPECT_EQ(nlohmann::json::parse(run({"kernels", "--format", "json", "mipo_eq_dict_8bit"}).out)[0],
            nlohmann::json::parse(R"({"key": 928, "name": "mipo_eq_dict_8bit", "family": "dict", "present": true})"));
  const Outcome part = run({"kernels", "eq_dict_8bit"});
  EXPECT_TRUE(contains(part.out, " 928  mipo_eq_dict_8bit ") && contains(part.out, "5024  mipo_eq_dict_8bit_null"))
      << part.out;
}

TEST(QueryProgram, InfoTellsTheRecord) {
  const nlohmann::json info = nlohmann::json::parse(run({"info", "--format", "json"}).out);
  EXPECT_EQ(info.at("record").at("magic"), 0xc16182c0);
  EXPECT_EQ(info.at("entries").at("of"), 73);
  EXPECT_EQ(info.at("kernels").at("of"), 925);
  EXPECT_GE(info.at("kernels").at("present"), 40);
  EXPECT_TRUE(contains(run({"info"}).out, info.at("level").get<std::string>() + " ("));
}

TEST(QueryProgram, TheBuiltFileDoesTheSame) {
  EXPECT_EQ(run_file("--version").out.rfind("mipo ", 0), 0u);
  EXPECT_EQ(run_file("2>/dev/null").code, 2);
  const Outcome count = run_file("query --format csv 'SELECT count(*) FROM \"" MIPO_TEST_FLIGHTS "\"'");
  EXPECT_EQ(count.code, 0);
  EXPECT_EQ(count.out, "count\n300000\n");
  const Outcome bad = run_file("query 'SELECT * FROM flights FOR UPDATE' 2>&1");
  EXPECT_EQ(bad.code, 1);
  EXPECT_EQ(bad.out, "mipo: query:1:23: FOR UPDATE and FOR SHARE are not supported yet\n"
                     "  SELECT * FROM flights FOR UPDATE\n"
                     "                        ^\n");
  EXPECT_EQ(run_file("query 'SELECT origin FROM \"" MIPO_TEST_FLIGHTS "\"' 2>&1 >/dev/full").code, 1);
}

// Commands of a shell, with the program as $mipo in an empty folder.
TEST(QueryProgram, InputsComeFromAnywhereAndNothingIsLost) {
  const fs::path folder = fs::temp_directory_path() / fmt::format("mipo_shell_{}", ::getpid());
  fs::create_directories(folder);
  const struct {
    const char *script, *out;
    int code = 0;
  } cases[] = {
      {"(echo x; seq 200000) | $mipo query --table t=/dev/stdin 'SELECT count(*), max(x) FROM t'", "200000,200000"},
      {"seq 3 | gzip | $mipo query --no-header --table t=- 'SELECT sum(c1) FROM t'", "6"},
      {"$mipo query --table t=<(echo x; sleep 0.1; echo 5) --table u=<(echo y; echo 5) "
       "'SELECT count(*) FROM t JOIN u ON x = y'",
       "1"},
      {"mkfifo p; (echo x; seq 9) > p & $mipo query 'SELECT sum(x) FROM \"p\"'", "45"},
      {"$mipo query 'SELECT count(*) FROM \"-\" a JOIN \"/dev/stdin\" b ON a.x = b.x' <<< $'x\n1\n2'", "2"},
      {"$mipo query 'SELECT 1 FROM \"-\"' </dev/null", "is empty", 1},
      {"seq 9 > a.csv; cp a.csv b.csv; $mipo pack a.csv b.csv; cmp a.csv b.csv", "no column file; --force", 0},
      {"$mipo pack --force a.csv b.csv >/dev/null; $mipo pack a.csv b.csv > /dev/null; "
       "cat b.csv | $mipo query 'SELECT count(*) FROM \"-\"'",
       "8"},
      {"$mipo query 'SELECT count(*) FROM \"-\"' < b.csv", "8"},
      {"head -c 300 b.csv | $mipo query 'SELECT count(*) FROM \"-\"'", "standard input: is cut off", 1},
      {"cat a.csv | $mipo pack - c.mipo; $mipo pack a.csv .", ".: is a directory", 1},
      {"$mipo query --null X --delimiter ';' 'SELECT count(*) FROM \"b.csv\"'", "those of CSV files", 1},
      {"(echo n; seq 50000; echo N/A; seq 10) > na.csv; $mipo query 'SELECT sum(n) FROM \"na.csv\"'",
       "but for 'N/A' in line 50002: --null 'N/A'", 1},
      {"$mipo query 'SELECT n FROM \"na.csv\" WHERE n > 5'", "--null 'N/A'", 1},
      {"$mipo query --null N/A 'SELECT sum(n), count(*) FROM \"na.csv\"'", "1250025055,50011"},
      {"printf 'a;b\\n1;2\\n' | $mipo describe --format table -", "parted by semicolon"},
      {"$mipo describe --delimiter ab a.csv", "not one character", 2}};
  for (const auto &c : cases) {
    std::string script = c.script;
    for (std::size_t at = 0; (at = script.find("query ", at)) != std::string::npos;)
      script.insert(at += 6, "--format csv ");
    std::ofstream(folder / "script") << "mipo='" MIPO_TEST_PROGRAM "'\ncd '" << folder.string() << "'\n"
                                     << script << '\n';
    const Outcome outcome = run_file("--version >/dev/null; bash '" + (folder / "script").string() + "' 2>&1");
    EXPECT_EQ(outcome.code, c.code) << script << "\n" << outcome.out;
    EXPECT_TRUE(contains(outcome.out, c.out)) << script << "\n" << outcome.out;
  }
  fs::remove_all(folder);
}

TEST(QueryProgram, TablesAreCutToTheTerminal) {
  std::string csv = "number,a rather long name,last\n";
  for (int i = 0; i < 1200; ++i) csv += fmt::format("{},{},{}\n", i, std::string(30, 'x'), i);
  const std::string table = "t=" + scratch_file("wide.csv", csv);
  const auto lines = [&](std::optional<std::size_t> width, std::vector<const char *> more) {
    std::vector<const char *> arguments = {"mipo", "query", "--table", table.c_str(), "SELECT * FROM t"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    std::ostringstream out, err;
    program::run_program(static_cast<int>(arguments.size()), arguments.data(), out, err, width);
    return out.str();
  };
  const std::string cut = lines(40, {});
  EXPECT_EQ(std::count(cut.begin(), cut.end(), '\n'), 2 + 1000 + 2);
  EXPECT_TRUE(contains(cut, "\n... without columns last and 200 more rows: --all shows them\n(1200 rows)\n")) << cut;
  EXPECT_TRUE(contains(lines(20, {}), "number\n------\n     0\n")) << lines(20, {});
  for (const std::string &whole : {lines(40, {"--all"}), lines(std::nullopt, {})})
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 2 + 1200 + 1);
  const std::string json = lines(40, {"--format", "json"});
  EXPECT_EQ(nlohmann::json::parse(json).size(), 1200u);
}

} // namespace
} // namespace mipo::tests
