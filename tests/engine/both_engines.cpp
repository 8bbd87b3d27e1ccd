#include "engine/both_engines.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "engine/sql/parser.h"

namespace mipo::tests {
namespace {

double number_of(const Cell &cell) {
  return std::strtod(cell.text->c_str(), nullptr);
}

bool are_same(const Cell &ours, const Cell &theirs) {
  if (!ours.text || !theirs.text) return !ours.text && !theirs.text;
  if (!theirs.real) return *ours.text == *theirs.text;
  char *end = nullptr;
  const double got = std::strtod(ours.text->c_str(), &end), expected = number_of(theirs);
  constexpr double tolerance = 1e-12;
  return *end == '\0' && std::abs(got - expected) <= tolerance * std::max(std::abs(got), std::abs(expected));
}

bool are_same(const ResultRows &ours, const ResultRows &theirs) {
  return std::equal(ours.begin(), ours.end(), theirs.begin(), theirs.end(), [](const auto &a, const auto &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const Cell &x, const Cell &y) { return are_same(x, y); });
  });
}

// By the exact columns, then by those of floating-point numbers, which may be off by a little.
void sort_rows(ResultRows &rows, const std::vector<bool> &real) {
  std::sort(rows.begin(), rows.end(), [&](const auto &a, const auto &b) {
    for (std::size_t i = 0; i < real.size(); ++i)
      if (!real[i] && a[i].text != b[i].text) return a[i].text < b[i].text;
    for (std::size_t i = 0; i < real.size(); ++i) {
      if (!real[i]) continue;
      if (!a[i].text || !b[i].text) {
        if (a[i].text.has_value() != b[i].text.has_value()) return b[i].text.has_value();
      } else if (number_of(a[i]) != number_of(b[i])) {
        return number_of(a[i]) < number_of(b[i]);
      }
    }
    return false;
  });
}

std::string printed(const ResultRows &rows) {
  constexpr std::size_t most_rows = 12;
  std::string text = fmt::format("{} rows", rows.size());
  for (std::size_t i = 0; i < std::min(rows.size(), most_rows); ++i) {
    text += '\n';
    for (const Cell &cell : rows[i]) text += cell.text.value_or("NULL") + " | ";
  }
  return text;
}

} // namespace

BothEngines::BothEngines(const std::string &declaration, const std::string &csv, const std::string &file,
                         const host::CsvOptions &options, const std::string &name)
    : first_(name), library_(host::Library::open()) {
  add(declaration, csv, file, options, name);
}

void BothEngines::add(const std::string &declaration, const std::string &csv, const std::string &file,
                      const host::CsvOptions &options, const std::string &name) {
  const std::string path = scratch_file(file, csv);
  tables_.emplace(name, FileTable{path, host::read_csv(path, options)});
  sqlite_.add(declaration, csv, name);
}

void BothEngines::read_again(const std::string &name, const host::CsvOptions &options) {
  FileTable &known = tables_.at(name);
  known.table = host::read_csv(known.file, options);
}

engine::QueryResult BothEngines::answered(const std::string &sql, unsigned threads) const {
  const auto find = [&](const engine::TableName &name) -> const host::Table & {
    const auto found = tables_.find(name.name);
    return (found != tables_.end() ? found : tables_.find(first_))->second.table;
  };
  return {library_, engine::parse_query(sql), find, threads};
}

void BothEngines::expect_same_rows(const std::string &column, const std::string &clause,
                                   const std::string &sqlite_clause) const {
  const auto expected = sqlite_.rows(first_, sqlite_clause);
  const engine::QueryResult got = answered("SELECT " + column + " FROM flights " + clause, 1);
  EXPECT_EQ(got.output().numbers(), expected) << clause << "\n" << table().row_count << " rows in all";
  if (sqlite_clause.find("LIMIT") == std::string::npos) {
    const ResultRows count = result("SELECT count(*) FROM flights " + clause, 1);
    EXPECT_EQ(count.at(0).at(0).text, std::to_string(expected.size())) << clause;
  }
}

ResultRows BothEngines::result(const std::string &sql, unsigned threads) const {
  const engine::QueryResult answered = this->answered(sql, threads);
  ResultRows rows;
  for (std::size_t i = 0; i < answered.output().rows(); ++i) {
    std::vector<Cell> &row = rows.emplace_back();
    for (std::size_t column = 0; column < answered.plan().output.size(); ++column) {
      const engine::Value value = answered.output().value(i, column);
      Cell &cell = row.emplace_back();
      if (!value.is_null()) value.append_to(cell.text.emplace());
    }
  }
  return rows;
}

void BothEngines::expect_same_result(const std::string &sql, Order order, unsigned threads) const {
  ResultRows expected = sqlite_.result(sql), got;
  ASSERT_NO_THROW(got = result(sql, threads)) << sql;
  if (order == Order::any && !expected.empty()) {
    std::vector<bool> real(expected.front().size());
    for (const auto &row : expected)
      for (std::size_t i = 0; i < real.size(); ++i) real[i] = real[i] || row[i].real;
    sort_rows(expected, real);
    if (!got.empty() && got.front().size() == real.size()) sort_rows(got, real);
  }
  EXPECT_TRUE(are_same(got, expected)) << sql << "\nour answer: " << printed(got)
                                       << "\nSQLite's: " << printed(expected);
}

} // namespace mipo::tests
