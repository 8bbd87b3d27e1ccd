#include "engine/run/group_sums.h"

#include <algorithm>
#include <cstddef>

#include "mipo/host/return_codes.h"

namespace mipo::engine {

GroupSum::GroupSum(const host::Library &library, const std::string &condition)
    : kernel_(host::entry(library, &mipo_specialized_ctx::mipo_gby_sum_dydi)),
      profile_(entry_step("mipo_gby_sum_dydi", offsetof(mipo_specialized_ctx, mipo_gby_sum_dydi), condition)) {
}

void GroupSum::add(std::vector<sb8> &totals, const void *integers, ub4 bits, ub4 count, const ub4 *groups) {
  mipo_enc_ctx enc_ctx{};
  enc_ctx.num_type = MIPO_NUM_INTEGER;
  enc_ctx.flags = MIPO_NATIVE;
  enc_ctx.bits = bits;
  mipo_vec values{}, acc{};
  values.data = const_cast<void *>(integers);
  values.nrows = count;
  values.enc_ctx = &enc_ctx;
  acc.data = totals.data();
  const mipo_group_sum_options options{};
  const Stopwatch stopwatch;
  const ub4 code = kernel_(&acc, &values, groups != nullptr ? &groups : nullptr, &options, nullptr);
  host::throw_unless_answered(profile_.name, code);
  profile_.add(stopwatch, count, count);
}

InputSums::InputSums(const host::Library &library, const AggregateInput &input, ub8 groups, ub4 chunk,
                     ChunkCodes &codes, InputBuffers &buffers)
    : buffers_(buffers),
      values_(make_chunk_values(library, input, chunk, codes)),
      totals_(input, groups),
      sum_(library, (input.wants_sum ? "sum" : "count") + input.text),
      count_(library, "count" + input.text),
      wide_(row_step("wide sums", "sum" + input.text)),
      extremes_(row_step("extremes", input.text)) {
}

void InputSums::take(ChunkRows &rows, const ub4 *groups) {
  values_->read(rows);
  if (totals_.input->adds()) add(rows, groups);
  if (totals_.input->has_extremes()) {
    values_->ordered(rows, buffers_.ordered.data());
    take_extremes(rows.count(), groups);
  }
}

void InputSums::add(const ChunkRows &rows, const ub4 *groups) {
  const bool counts_apart = totals_.input->form != AggregateInput::Form::together;
  values_->words(rows, buffers_.words.data(), counts_apart ? buffers_.present.data() : nullptr);
  if (totals_.input->form == AggregateInput::Form::wide)
    add_wide(rows.count(), groups);
  else
    sum_.add(totals_.words, buffers_.words.data(), 64, rows.count(), groups);
  if (counts_apart) count_.add(totals_.counts, buffers_.present.data(), 8, rows.count(), groups);
}

void InputSums::add_wide(ub4 count, const ub4 *groups) {
  const Stopwatch stopwatch;
  for (ub4 i = 0; i < count; ++i) totals_.wide[groups != nullptr ? groups[i] : 0] += buffers_.words[i];
  wide_.add(stopwatch, count, count);
}

void InputSums::take_extremes(ub4 count, const ub4 *groups) {
  const Stopwatch stopwatch;
  for (ub4 i = 0; i < count; ++i) {
    const ub8 code = buffers_.ordered[i];
    if (code == ColumnCodes::no_value) continue;
    const ub4 group = groups != nullptr ? groups[i] : 0;
    if (totals_.input->wants_least) totals_.least[group] = std::min(totals_.least[group], code);
    if (totals_.input->wants_greatest) totals_.greatest[group] = std::max(totals_.greatest[group], code + 1);
  }
  extremes_.add(stopwatch, count, count);
}

void InputSums::profile(std::vector<KernelProfile> &calls) const {
  values_->profile(calls);
  for (const KernelProfile *call : {&sum_.profile(), &wide_, &count_.profile(), &extremes_}) calls.push_back(*call);
}

} // namespace mipo::engine
