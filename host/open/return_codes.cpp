#include "mipo/host/return_codes.h"

#include <string>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

struct CodeDescription {
  ub4 code;
  std::string_view name;
  std::string_view text;
};

#define CODE(name, text) \
  { name, #name, text }
constexpr CodeDescription descriptions[] = {
    CODE(MIPO_DONE, "done"),
    CODE(MIPO_EMPTY, "done, and the result is empty"),
    CODE(MIPO_NO_KERNEL, "no kernel for this combination of forms"),
    CODE(MIPO_INDEX_FORM, "the table is in index form"),
    CODE(MIPO_NUMERIC_LIMIT, "a numeric limit was exceeded"),
    CODE(MIPO_DIVISION_BY_ZERO, "integer division by zero"),
    CODE(MIPO_PARTITION_FULL, "a partition is full; go on after giving it room"),
    CODE(MIPO_CAPACITY_EXHAUSTED, "the dictionary's capacity is exhausted"),
    CODE(MIPO_LAYOUT_OUT_OF_RANGE, "layout parameters out of range"),
    CODE(MIPO_OVERFLOW_MEMORY, "the overflow area lacks memory; go on after giving it some"),
    CODE(MIPO_LIST_MEMORY, "the list area lacks memory; go on after giving it some"),
    CODE(MIPO_UNKNOWN_MODE, "a mode that the table's shape does not know"),
    CODE(MIPO_PROBE_FULL, "the probe's output is full; go on after giving it room"),
    CODE(MIPO_SCAN_FULL, "the scan's output is full; go on after giving it room"),
    CODE(MIPO_TRANSPOSE_FULL, "the transpose's output is full; go on after giving it room"),
    CODE(MIPO_GATHER_FULL, "the gather's output is full; go on after giving it room"),
    CODE(MIPO_PARSE_FULL, "the parser's output is full; go on after giving it room"),
    CODE(MIPO_BAD_NUMBER, "a number could not be accepted"),
    CODE(MIPO_BAD_SYNTAX, "bad syntax, or a conversion that is not possible"),
    CODE(MIPO_COPY_FULL, "the copy's output is full; go on after giving it room"),
    CODE(MIPO_INVALID_PARAMETER, "invalid parameter"),
};
#undef CODE

const CodeDescription *find(ub4 code) noexcept {
  for (const CodeDescription &description : descriptions)
    if (description.code == code) return &description;
  return nullptr;
}

} // namespace

std::string_view code_name(ub4 code) noexcept {
  const CodeDescription *description = find(code);
  return description != nullptr ? description->name : "unknown code";
}

std::string_view code_text(ub4 code) noexcept {
  const CodeDescription *description = find(code);
  return description != nullptr ? description->text : "";
}

void throw_unless_answered(std::string_view kernel, ub4 code) {
  if (code == MIPO_DONE || code == MIPO_EMPTY) return;
  throw Error(std::string(kernel) + " returned " + std::string(code_name(code)) + ": " + std::string(code_text(code)));
}

} // namespace mipo::host
