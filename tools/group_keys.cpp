#include "group_keys.h"

#include <algorithm>
#include <cstddef>

#include "mipo/host/translation_table.h"
#include "translation.h"

namespace mipo::tools {
namespace {

// Kernels unpack up to this many codes behind the ones that are wanted: so they always see room left.
constexpr ub4 spare = 64;

// The stored columns of all places, each once.
std::vector<const RowColumn *> columns_to_read(const KeySpace &keys, std::vector<std::size_t> &of_place) {
  std::vector<const RowColumn *> columns;
  for (std::size_t place = 0; place < keys.places(); ++place) {
    const RowColumn &column = keys.column(place);
    const auto same = std::find_if(columns.begin(), columns.end(),
                                   [&](const RowColumn *other) { return &other->stored() == &column.stored(); });
    of_place.push_back(static_cast<std::size_t>(same - columns.begin()));
    if (same == columns.end()) columns.push_back(&column);
  }
  return columns;
}

} // namespace

DigitTables::DigitTables(const host::Library &library, const KeySpace &keys, std::vector<Step> &steps) {
  if (keys.method() != KeySpace::Method::folding) return;
  for (std::size_t place = 0; place < keys.places(); ++place) {
    const std::vector<ub4> digits = keys.digits_by_code(place);
    const host::TranslationTable table{std::span(digits)};
    std::vector<ub4> codes(digits.size());
    for (std::size_t code = 0; code < codes.size(); ++code) codes[code] = static_cast<ub4>(code);
    std::vector<std::byte> entries(host::handed_out_bytes(codes.size(), table.width()) + 1);
    steps.push_back(hand_out(library, table, codes, entries.data(), "digits of " + keys.column(place).name));
    tables_.push_back({std::move(entries), table.group_key_key()});
  }
}

GroupKeys::GroupKeys(const host::Library &library, const KeySpace &keys, const DigitTables &digits, ub4 chunk)
    : library_(library), keys_(keys), digits_(digits), numbers_(chunk + spare) {
  if (keys.method() == KeySpace::Method::codes) {
    further_codes_.resize(chunk + spare);
    for (std::size_t place = 0; place < keys.places(); ++place)
      columns_.push_back(keys.column(place).stored().data.vec());
  }
  if (keys.method() == KeySpace::Method::folding) {
    for (const RowColumn *column : columns_to_read(keys, codes_of_place_))
      codes_.push_back(std::make_unique<ColumnCodes>(library, *column, chunk));
  }
}

std::vector<Step> GroupKeys::blank_steps(const KeySpace &keys, const DigitTables &digits) {
  std::string names;
  for (std::size_t place = 0; place < keys.places(); ++place)
    names += (names.empty() ? "" : ", ") + keys.column(place).name;
  switch (keys.method()) {
  case KeySpace::Method::codes:
    return {entry_step("mipo_groupkey_dydi", offsetof(mipo_specialized_ctx, mipo_groupkey_dydi), "GROUP BY " + names)};
  case KeySpace::Method::row_by_row:
    return {row_step("group keys", "GROUP BY " + names)};
  case KeySpace::Method::folding:
    break;
  }
  std::vector<Step> steps;
  std::vector<std::size_t> of_place;
  for (const RowColumn *column : columns_to_read(keys, of_place))
    steps.push_back(codes_step(*column, "codes of " + column->stored().name));
  for (std::size_t place = 0; place < keys.places(); ++place)
    steps.push_back(kernel_step(digits[place].key, "GROUP BY " + keys.column(place).name));
  return steps;
}

void GroupKeys::read(ChunkRows &rows, std::span<Step> steps) {
  if (keys_.method() == KeySpace::Method::folding) {
    fold(rows, steps);
    return;
  }
  const Stopwatch stopwatch;
  if (keys_.method() == KeySpace::Method::codes)
    read_codes(rows);
  else
    std::transform(rows.numbers().begin(), rows.numbers().end(), numbers_.begin(),
                   [&](ub4 row) { return static_cast<ub4>(keys_.number(row)); });
  steps.front().add(stopwatch, rows.count(), rows.end() - rows.begin());
}

void GroupKeys::read_codes(ChunkRows &rows) {
  for (mipo_vec &column : columns_) column.nrows = rows.end();
  mipo_vec out{}, further{};
  out.data = numbers_.data();
  further.data = further_codes_.data();
  out.nrows = further.nrows = static_cast<ub4>(numbers_.size());
  mipo_call_ctx ctx = rows.call();
  if (!keys_.shifts()) ctx.eval_flags |= MIPO_EVAL_MULTIPLY_KEYS;
  mipo_group_range range{};
  const ub4 code = host::entry(library_, &mipo_specialized_ctx::mipo_groupkey_dydi)(
      &out, &range, columns_.data(), static_cast<ub4>(columns_.size()), &further, &ctx);
  rows.throw_if_reported();
  if (code != MIPO_DONE || out.nset != rows.count())
    throw host::Error("the kernel for group keys answered " + std::string(host::code_name(code)));
}

void GroupKeys::fold(ChunkRows &rows, std::span<Step> steps) {
  std::fill_n(numbers_.begin(), rows.count(), 0);
  for (std::size_t i = 0; i < codes_.size(); ++i) codes_[i]->read(rows, steps[i]);
  for (std::size_t place = 0; place < keys_.places(); ++place) {
    mipo_vec numbers{}, codes{};
    numbers.data = numbers_.data();
    codes.data = const_cast<ub4 *>(codes_[codes_of_place_[place]]->unpacked());
    codes.nrows = rows.count();
    mipo_call_ctx ctx{};
    ctx.xlate_out = const_cast<std::byte *>(digits_[place].entries.data());
    ctx.xlate_mult = keys_.weight(place);
    const auto kernel = library_.xlate(digits_[place].key);
    const Stopwatch stopwatch;
    kernel(&numbers, &codes, nullptr, &ctx);
    steps[codes_.size() + place].add(stopwatch, rows.count(), rows.count());
  }
}

} // namespace mipo::tools
