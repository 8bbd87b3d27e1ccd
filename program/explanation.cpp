#include "program/explanation.h"

#include <algorithm>
#include <functional>

#include <fmt/format.h>
#include <fmt/ostream.h>

#include "engine/sql/characters.h"
#include "program/output_table.h"

namespace mipo::program {

using namespace engine;
namespace {

// Longer conditions are cut in the table; JSON has them whole.
constexpr std::size_t condition_characters = 60;

std::string shortened(const std::string &text) {
  const std::string_view shown = first_characters(text, condition_characters);
  return shown.size() == text.size() ? text : std::string(shown) + "...";
}

// 3000000 as "3,000,000".
std::string grouped(ub8 number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, 1, ',');
  return text;
}

double rate(double amount, double seconds) {
  return seconds > 0 ? amount / seconds : 0;
}

struct StepColumn {
  RelationColumn head;
  std::function<std::string(const KernelProfile &, std::size_t)> text;
};

const char *mapping_name(host::TableMapping mapping) {
  switch (mapping) {
  case host::TableMapping::simple:
    return "simple";
  case host::TableMapping::offset:
    return "offset";
  case host::TableMapping::indirect:
    break;
  }
  return "indirect";
}

int entry_bits(const TranslationUsed &translation) {
  return static_cast<int>(translation.width);
}

// Shown if some step has a translation table.
const StepColumn table_column = {{"table", CellKind::text}, [](const KernelProfile &step, std::size_t) {
                                   if (!step.translation) return std::string("-");
                                   const TranslationUsed &table = *step.translation;
                                   return fmt::format("{}, {} bit{}, {} B", mapping_name(table.mapping),
                                                      entry_bits(table), entry_bits(table) == 1 ? "" : "s",
                                                      grouped(table.bytes));
                                 }};

const std::vector<StepColumn> &step_columns() {
  static const std::vector<StepColumn> columns = {
      {{"step", CellKind::number},
       [](const KernelProfile &, std::size_t number) { return std::to_string(number + 1); }},
      {{"kernel", CellKind::text},
       [](const KernelProfile &step, std::size_t) {
         return step.expanded_by.empty() ? step.name : fmt::format("{} + {}", step.name, step.expanded_by);
       }},
      {{"key", CellKind::number},
       [](const KernelProfile &step, std::size_t) {
         if (step.kind == KernelProfile::Kind::row_by_row) return std::string("-");
         return step.kind == KernelProfile::Kind::entry ? fmt::format("slot {}", step.key) : std::to_string(step.key);
       }},
      {{"condition", CellKind::text}, [](const KernelProfile &step, std::size_t) { return shortened(step.condition); }},
      {{"rows in", CellKind::number}, [](const KernelProfile &step, std::size_t) { return grouped(step.rows_in); }},
      {{"rows out", CellKind::number}, [](const KernelProfile &step, std::size_t) { return grouped(step.rows_out); }},
      {{"selective", CellKind::truth},
       [](const KernelProfile &step, std::size_t) { return std::string(step.selective ? "yes" : "no"); }},
      {{"ms", CellKind::number},
       [](const KernelProfile &step, std::size_t) { return fmt::format("{:.3f}", step.seconds * 1e3); }},
      {{"Mrows/s", CellKind::number},
       [](const KernelProfile &step, std::size_t) {
         return fmt::format("{:.0f}", rate(static_cast<double>(step.rows_read), step.seconds) / 1e6);
       }},
  };
  return columns;
}

void write_reading(std::ostream &out, const Reading &reading) {
  const double megabytes = static_cast<double>(reading.text_bytes) / 1e6;
  const std::string rows = fmt::format("{} rows, {} columns", grouped(reading.rows), reading.columns);
  if (reading.mapped)
    fmt::print(out, "mapped {}: {} in {:.3f} ms\n", reading.file, rows, reading.seconds * 1e3);
  else
    fmt::print(out, "read {}: {:.1f} MB of text, {} in {:.3f} s ({:.0f} MB/s)\n", reading.file, megabytes, rows,
               reading.seconds, rate(megabytes, reading.seconds));
}

JsonValue reading_json(const Reading &reading) {
  return JsonValue::Object{
      {"file", reading.file},
      {"text_bytes", reading.text_bytes},
      {"rows", reading.rows},
      {"columns", reading.columns},
      {"mapped", reading.mapped},
      {"seconds", reading.seconds},
      {"megabytes_per_second", rate(static_cast<double>(reading.text_bytes) / 1e6, reading.seconds)}};
}

} // namespace

void write_explanation(std::ostream &out, const Explanation &explanation) {
  for (const Reading &reading : explanation.readings) write_reading(out, reading);
  const std::vector<KernelProfile> &steps = explanation.calls;
  if (!steps.empty()) {
    OutputTable relation;
    std::vector<StepColumn> columns = step_columns();
    const bool translates =
        std::any_of(steps.begin(), steps.end(), [](const KernelProfile &step) { return step.translation; });
    if (translates) columns.push_back(table_column);
    for (const StepColumn &column : columns) relation.columns.push_back(column.head);
    relation.row_count = steps.size();
    relation.append_cell = [&](std::string &cell, std::size_t row, std::size_t column) {
      cell += columns[column].text(steps[row], row);
      return true;
    };
    write_table(out, relation);
  }
  fmt::print(out, "kernels: {:.3f} ms in all, library level {}\n", total_seconds(explanation.calls) * 1e3,
             explanation.level);
}

JsonValue explanation_json(const Explanation &explanation) {
  JsonValue::Array readings;
  for (const Reading &reading : explanation.readings) readings.push_back(reading_json(reading));
  JsonValue::Array steps;
  for (const KernelProfile &step : explanation.calls) {
    JsonValue::Object entry;
    entry.emplace_back("kernel", step.name);
    if (step.kind != KernelProfile::Kind::row_by_row)
      entry.emplace_back(step.kind == KernelProfile::Kind::entry ? "slot" : "key", step.key);
    if (!step.expanded_by.empty()) entry.emplace_back("expanded_by", step.expanded_by);
    if (const auto &table = step.translation) {
      entry.emplace_back("table", JsonValue::Object{{"mapping", mapping_name(table->mapping)},
                                                    {"entry_bits", entry_bits(*table)},
                                                    {"bytes", table->bytes}});
    }
    entry.emplace_back("condition", step.condition);
    entry.emplace_back("rows_in", step.rows_in);
    entry.emplace_back("rows_out", step.rows_out);
    entry.emplace_back("selective", step.selective);
    entry.emplace_back("seconds", step.seconds);
    entry.emplace_back("rows_per_second", rate(static_cast<double>(step.rows_read), step.seconds));
    steps.push_back(std::move(entry));
  }
  return JsonValue::Object{
      {"reading", std::move(readings)},
      {"level", explanation.level},
      {"steps", std::move(steps)},
      {"kernel_seconds", total_seconds(explanation.calls)},
  };
}

} // namespace mipo::program
