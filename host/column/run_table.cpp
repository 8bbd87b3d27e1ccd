#include "host/column/run_table.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

namespace mipo::host {
namespace {

static_assert(std::endian::native == std::endian::little, "numbers are stored with their bytes swapped");

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

std::size_t RunTable::index_bytes(ub8 runs) noexcept {
  return (runs + index_step - 1) / index_step * sizeof(ub4);
}

std::span<const ub4> RunTable::first_rows() const noexcept {
  return {reinterpret_cast<const ub4 *>(first_rows_.data()), first_rows_.size() / sizeof(ub4)};
}

RunTable::RunTable(RunForm form, ub4 run_count, bool has_long_runs, AlignedBuffer extents,
                   AlignedBuffer first_rows) noexcept
    : form_(form),
      run_count_(run_count),
      has_long_runs_(has_long_runs),
      extents_(std::move(extents)),
      first_rows_(std::move(first_rows)) {
}

RunTable::RunTable(std::span<const ub4> rows, RunForm form) : form_(form) {
  std::vector<ub4> lengths, starts, first_rows;
  for_each_run(rows, longest_run(form), [&](ub4 first, ub4 length) {
    if (values_.size() % index_step == 0) first_rows.push_back(first);
    values_.push_back(rows[first]);
    starts.push_back(first);
    lengths.push_back(length);
    has_long_runs_ = has_long_runs_ || length > longest_run(RunForm::lengths_8);
  });
  starts.push_back(static_cast<ub4>(rows.size()));
  run_count_ = static_cast<ub4>(values_.size());
  extents_ = AlignedBuffer(run_bytes(form, run_count_));
  first_rows_ = AlignedBuffer(index_bytes(run_count_));
  std::ranges::copy(std::as_bytes(std::span(first_rows)), first_rows_.data());
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
  ub4 run = 0;
  runs_of({&row, 1}, {&run, 1});
  return run;
}

void RunTable::runs_of(std::span<const ub4> rows, std::span<ub4> runs) const noexcept {
  if (rows.empty()) return;
  const std::span<const ub4> first_rows = this->first_rows();
  const auto above = std::ranges::upper_bound(first_rows, rows.front());
  const auto known = static_cast<std::size_t>(above - first_rows.begin()) - 1;
  auto run = static_cast<ub4>(known * index_step);
  ub4 end = first_rows[known] + length(run);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    while (end <= rows[i]) end += length(++run);
    runs[i] = run;
  }
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
