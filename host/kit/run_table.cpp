#include "run_table.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace mipo::host {
namespace {

static_assert(std::endian::native == std::endian::little, "numbers are stored with their bytes swapped");

constexpr ub4 runs_per_first_row = 32; // between the runs whose first rows are kept

constexpr ub1 swapped(ub1 number) {
  return number;
}
constexpr ub2 swapped(ub2 number) {
  return __builtin_bswap16(number);
}
constexpr ub4 swapped(ub4 number) {
  return __builtin_bswap32(number);
}

// Calls take(first row, rows) for each run.
template <class Take>
void for_each_run(std::span<const ub4> rows, ub8 longest, Take take) {
  for (std::size_t first = 0; first < rows.size();) {
    const std::size_t limit = first + std::min<ub8>(longest, rows.size() - first);
    std::size_t end = first + 1;
    while (end < limit && rows[end] == rows[first]) ++end;
    take(static_cast<ub4>(first), static_cast<ub4>(end - first));
    first = end;
  }
}

} // namespace

ub8 longest_run(RunForm form) noexcept {
  switch (form) {
  case RunForm::lengths_8:
    return std::numeric_limits<ub1>::max();
  case RunForm::lengths_16:
    return std::numeric_limits<ub2>::max();
  case RunForm::none:
  case RunForm::starts:
    break;
  }
  return std::numeric_limits<ub4>::max();
}

ub8 count_runs(std::span<const ub4> rows, ub8 longest) {
  ub8 runs = 0;
  for_each_run(rows, longest, [&runs](ub4, ub4) { ++runs; });
  return runs;
}

std::size_t run_bytes(RunForm form, ub8 runs) noexcept {
  switch (form) {
  case RunForm::none:
    break;
  case RunForm::lengths_8:
    return runs;
  case RunForm::lengths_16:
    return 2 * runs;
  case RunForm::starts:
    return 4 * (runs + 1);
  }
  return 0;
}

template <class Unit>
Unit RunTable::unit(std::size_t i) const noexcept {
  return swapped(reinterpret_cast<const Unit *>(extents_.data())[i]);
}

template <class Unit>
void RunTable::store(std::span<const ub4> numbers) {
  auto *const out = reinterpret_cast<Unit *>(extents_.data());
  for (std::size_t i = 0; i < numbers.size(); ++i) out[i] = swapped(static_cast<Unit>(numbers[i]));
}

RunTable::RunTable(std::span<const ub4> rows, RunForm form) : form_(form) {
  std::vector<ub4> lengths, starts;
  for_each_run(rows, longest_run(form), [&](ub4 first, ub4 length) {
    if (values_.size() % runs_per_first_row == 0) first_rows_.push_back(first);
    values_.push_back(rows[first]);
    starts.push_back(first);
    lengths.push_back(length);
    has_long_runs_ = has_long_runs_ || length > longest_run(RunForm::lengths_8);
  });
  starts.push_back(static_cast<ub4>(rows.size()));
  run_count_ = static_cast<ub4>(values_.size());
  extents_ = AlignedBuffer(run_bytes(form, run_count_));
  switch (form) {
  case RunForm::none:
    break;
  case RunForm::lengths_8:
    store<ub1>(lengths);
    break;
  case RunForm::lengths_16:
    store<ub2>(lengths);
    break;
  case RunForm::starts:
    store<ub4>(starts);
    break;
  }
}

ub4 RunTable::length(ub4 run) const noexcept {
  switch (form_) {
  case RunForm::lengths_8:
    return unit<ub1>(run);
  case RunForm::lengths_16:
    return unit<ub2>(run);
  case RunForm::none:
  case RunForm::starts:
    break;
  }
  return unit<ub4>(run + 1) - unit<ub4>(run);
}

ub4 RunTable::run_of(ub4 row) const noexcept {
  const auto above = std::ranges::upper_bound(first_rows_, row);
  const auto known = static_cast<std::size_t>(above - first_rows_.begin()) - 1;
  auto run = static_cast<ub4>(known * runs_per_first_row);
  for (ub4 end = first_rows_[known] + length(run); end <= row; end += length(run)) ++run;
  return run;
}

void RunTable::describe(mipo_enc_ctx &enc_ctx) const noexcept {
  enc_ctx.run_count = run_count_;
  if (form_ == RunForm::starts) {
    enc_ctx.run_starts = reinterpret_cast<const ub4 *>(extents_.data());
    enc_ctx.run_len_bits = has_long_runs_ ? 16 : 8; // what lengths would take: there is a kernel for either
  } else {
    enc_ctx.run_lens = extents_.data();
    enc_ctx.run_len_bits = form_ == RunForm::lengths_8 ? 8 : 16;
  }
}

} // namespace mipo::host
