#include "predicate_inputs.h"

#include <algorithm>

#include "check/column_data.h"

namespace mipo::check {

using namespace mipo::reference;

namespace {

// The numbers at which comparisons go wrong: both ends, the sign bit and its neighbours, and anything.
ub8 telling_number(unsigned bits, Random &random) {
  const ub8 greatest = greatest_number(bits), sign = greatest / 2 + 1;
  switch (random.below(8)) {
  case 0:
    return 0;
  case 1:
    return greatest;
  case 2:
    return sign;
  case 3:
    return sign - 1;
  case 4:
    return (1 + random.below(2)) & greatest;
  case 5:
    return greatest - random.below(3);
  case 6:
    return random.below(100) & greatest;
  default:
    return random.next() & greatest;
  }
}

void choose_constants(PredicateCall &call, const ColumnFormat &format, Random &random) {
  const ub8 greatest = greatest_number(call.bits);
  call.first = some_value(telling_number(call.bits, random), format, call.bits, random);
  const ub8 first = call.first.number;
  ub8 second;
  switch (random.below(6)) {
  case 0:
    second = first;
    break;
  case 1:
    second = (first + 1) & greatest;
    break;
  case 2:
    second = (first - 1) & greatest;
    break;
  case 3:
    second = (first + 2 + random.below(50)) & greatest;
    break;
  default:
    second = telling_number(call.bits, random);
  }
  call.second = some_value(second, format, call.bits, random);
  // The constant of a dynamic-packed column need not be a value that such a column can hold.
  if (format.counts == ColumnFormat::Counts::lengths && random.chance(20)) call.first.number = first | 1;
  if (random.chance(50) && call.second < call.first) std::swap(call.first, call.second);
}

// Half of them at or beside the constants and the ends.
std::vector<Value> choose_rows(std::size_t count, const PredicateCall &call, const ColumnFormat &format,
                               Random &random) {
  const ub8 greatest = greatest_number(call.bits), first = call.first.number, second = call.second.number;
  const ub8 near[] = {first,      first - 1,        first + 1,    second, second - 1,
                      second + 1, greatest / 2 + 1, greatest / 2, 0,      greatest};
  std::vector<Value> rows(count);
  for (Value &row : rows) {
    const ub8 number = (random.chance(50) ? near[random.below(std::size(near))] : random.next()) & greatest;
    const bool as_constant = format.counts != ColumnFormat::Counts::none && random.chance(10);
    row = !as_constant ? some_value(number, format, call.bits, random) : random.chance(50) ? call.first : call.second;
    if (format.counts == ColumnFormat::Counts::lengths) row.number = stored_bytes_of(row.number, row.count, call.bits);
  }
  return rows;
}

// Sets of all codes, or of those in use where there are many: a set has no bit after the last code.
void choose_set(PredicateCall &call, Random &random) {
  const std::size_t most = std::size_t{1} << std::min(call.bits, random.chance(5) ? 20u : 12u);
  const std::size_t codes = call.bits <= 12 ? most : 1 + random.below(most);
  const unsigned percent = random.chance(20) ? 100 : random.chance(20) ? 0 : random.chance(50) ? 50 : 4;
  call.set.resize(codes);
  for (std::size_t code = 0; code < codes; ++code) call.set[code] = random.chance(percent);
  for (Value &row : call.rows) row.number %= codes;
}

} // namespace

std::vector<bool> choose_selection(std::size_t rows, ub8 kind, Random &random) {
  std::vector<bool> selection(rows, kind == all);
  if (kind == sparse || kind == dense)
    for (std::size_t row = 0; row < rows; ++row) selection[row] = random.chance(kind == sparse ? 4 : 85);
  if (kind == exactly_8 || kind == exactly_16)
    for (std::size_t left = std::min<std::size_t>(rows, kind == exactly_8 ? 8 : 16); left != 0;)
      if (const std::size_t row = random.below(rows); !selection[row]) selection[row] = true, --left;
  if (kind == first_rows) std::fill_n(selection.begin(), rows / 3, true);
  return selection;
}

void choose_host(PredicateCall &call, const PredicateFamily &family, Random &random) {
  const bool compressed = call.compression.compressed;
  call.compression = some_compression(family.format_of(call.width).column(call.rows, call.bits).data.size(), random);
  call.compression.compressed = compressed;
  call.burst_nset = static_cast<ub4>(random.next());
  call.burst_result = static_cast<ub4>(random.next());
}

PredicateCall choose_call(const ListedKernel &kernel, const PredicateFamily &family, std::size_t rows, Random &random) {
  const ColumnFormat &format = family.format_of(kernel.bits());
  const std::vector<unsigned> stored = family.stored_bits(kernel.bits());
  PredicateCall call;
  call.operation = predicate_operation(kernel.operation);
  call.width = kernel.bits();
  call.bits = stored[random.below(stored.size())];
  call.name_tail = std::string("_") + family.name + "_" + std::to_string(call.width) + "bit" + family.suffix;
  call.reads_filter = call.reads_constants = !family.takes_set;
  if (call.width == 1 && !family.takes_set) {
    call.has_selective_path = false;
    call.reads_constants = one_bit_reads_constants(*call.operation, family.variant == MIPO_VARIANT_NULL_AWARE);
  }
  choose_constants(call, format, random);
  call.rows = choose_rows(rows, call, format, random);
  if (family.takes_set) choose_set(call, random);
  if (format.counts == ColumnFormat::Counts::trailing_zeros && call.bits != 8 && random.chance(30)) {
    call.shared_count = random.chance(50) ? call.first.count : static_cast<ub4>(random.below(4));
    for (Value &row : call.rows) row.count = *call.shared_count;
  }
  if (family.family == MIPO_FAMILY_DICT && call.width < 32 && random.chance(20)) {
    call.first.number |= random.next() << call.width & 0xffffffff;
    call.second.number |= random.next() << call.width & 0xffffffff;
  }
  call.has_ctx = random.chance(85);
  if (call.reads_filter && random.chance(40))
    call.filter = choose_selection(rows, random.chance(20) ? none : dense, random);
  if (call.has_ctx) {
    call.selective_flag = random.chance(60);
    if (random.chance(75)) call.selection = choose_selection(rows, random.below(selection_kinds), random);
    call.run_length = random.chance(20);
    call.compression.compressed = random.chance(20);
  }
  choose_host(call, family, random);
  return call;
}

PredicateCall choose_call_with_invalid_lengths(const ListedKernel &kernel, const PredicateFamily &family,
                                               std::size_t rows, Random &random) {
  constexpr std::size_t values_a_control_byte = 2, block_rows = 8;
  PredicateCall call = choose_call(kernel, family, rows, random);
  const std::size_t end = call.selective() ? rows : rows / block_rows * block_rows;
  for (std::size_t row = 0; row + values_a_control_byte <= end; row += values_a_control_byte) {
    const bool looked_at = call.selective() && ((*call.selection)[row] || (*call.selection)[row + 1]);
    if (!looked_at && random.chance(20)) call.rows[row + random.below(2)].count = static_cast<ub4>(8 + random.below(8));
  }
  choose_host(call, family, random);
  return call;
}

} // namespace mipo::check
