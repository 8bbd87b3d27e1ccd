#include "predicate_case.h"

#include <cstring>

namespace mipo::check {
namespace {

std::string compare_bits(const ub8 *words, std::size_t word_count, const std::vector<bool> &expected) {
  for (std::size_t bit = 0; bit < 64 * word_count; ++bit) {
    const bool is = words[bit / 64] >> (bit % 64) & 1;
    if (bit >= expected.size() && is) return "bit " + std::to_string(bit) + ", after the last row, is set; ";
    if (bit < expected.size() && is != expected[bit])
      return "bit " + std::to_string(bit) + " is " + (is ? "set" : "clear") + "; ";
  }
  return {};
}

// The low byte is the width; the others are not looked at.
void tell_bits(mipo_enc_ctx &enc, unsigned bits) {
  enc.bits = (enc.bits & ~ub4{0xff}) | bits;
}

} // namespace

PredicateCase::PredicateCase(const reference::PredicateCall &call, const ColumnFormat &format, Random &random)
    : has_ctx_(call.has_ctx), output_words_((call.rows.size() + 63) / 64) {
  fill_with_noise(random, res_, src_, first_, second_, enc_, constant_enc_, ctx_);

  // A selective call may not look at the rows after the last selected one: they do not exist in memory.
  std::vector<reference::Value> rows = call.rows;
  if (call.selective())
    while (!rows.empty() && !(*call.selection)[rows.size() - 1]) rows.pop_back();
  StoredColumn column = format.column(rows, call.bits);
  if (call.shared_count) column.lens = {static_cast<ub1>(*call.shared_count)};

  src_.enc_ctx = &enc_;
  src_.lens = column.lens.empty() ? nowhere_.data() : sources_.keep(column.lens);
  src_.filter_bv = call.filter ? sources_.keep_bits(*call.filter, random) : nullptr;
  if (!call.reads_filter) src_.filter_bv = nowhere_.words();
  if (format.bits == ColumnFormat::Bits::told_by_column) tell_bits(enc_, call.bits);
  enc_.flags &= ~ub4{MIPO_RLE};
  if (format.counts == ColumnFormat::Counts::trailing_zeros && call.bits != 8) enc_.flags &= ~ub4{MIPO_TZ_CONST};
  if (call.shared_count) enc_.flags |= MIPO_TZ_CONST;
  data_.place(call.compression, column.data, src_, enc_, host_, random);

  const auto row_count = static_cast<ub4>(call.rows.size());
  const bool into_runs = call.run_length && !call.selective();
  if (call.run_length) {
    enc_.flags |= MIPO_RLE;
    enc_.burst = TestHost::burst;
    enc_.run_bv = nowhere_.words();
    host_.burst_res = &res_;
    host_.burst_src = &src_;
    host_.burst_nset = call.burst_nset;
    host_.burst_result = call.burst_result;
  }
  // Of the three row counts, one is meant; the others stay noise.
  (into_runs ? enc_.run_count : call.selective() ? src_.nrows : res_.nrows) = row_count;

  for (auto [vector, value] : {std::pair(&first_, &call.first), std::pair(&second_, &call.second)}) {
    const StoredColumn constant = format.constant(*value, call.bits);
    vector->data = call.reads_constants ? sources_.keep(constant.data) : nowhere_.data();
    vector->lens = constant.lens.empty() ? nowhere_.data() : sources_.keep(constant.lens);
    if (format.bits == ColumnFormat::Bits::told_by_constant) vector->enc_ctx = &constant_enc_;
  }
  tell_bits(constant_enc_, call.bits);
  if (!call.set.empty()) first_.bv = sources_.keep_bits(call.set, random);

  ctx_.host = call.compression.compressed || call.run_length ? host_.ctx() : nullptr;
  ctx_.ones_vec = call.selection ? sources_.keep_bits(*call.selection, random) : nullptr;
  ctx_.eval_flags =
      static_cast<ub2>((ctx_.eval_flags & ~MIPO_EVAL_SELECTIVE) | (call.selective_flag ? MIPO_EVAL_SELECTIVE : 0));
  ctx_.done_flags &= ~static_cast<ub4>(MIPO_DONE_PREDICATE | MIPO_DONE_SET);
  done_flags_before_ = ctx_.done_flags;
}

void PredicateCase::prepare(bool into_runs) {
  output_ = std::make_unique<GuardedBuffer>(8 * output_words_);
  res_.bv = into_runs ? nowhere_.words() : output_->words();
  if (into_runs) enc_.run_bv = output_->words();
  ctx_.done_flags = done_flags_before_;
  host_.calls.clear();
}

std::string PredicateCase::run(Shape shape, mipo_kernel kernel, const reference::PredicateOutcome &expected) {
  prepare(expected.into_runs);

  mipo_vec res_after = res_;
  const mipo_vec src_before = src_, first_before = first_, second_before = second_;
  const mipo_enc_ctx enc_before = enc_, constant_enc_before = constant_enc_;
  mipo_call_ctx ctx_after = ctx_;
  res_after.nset = expected.nset;
  if (has_ctx_) ctx_after.done_flags |= expected.done_flags;

  const ub4 code = call(shape, kernel);

  std::string wrong;
  if (code != expected.code) wrong += "returned " + std::to_string(code) + "; ";
  if (res_.nset != expected.nset)
    wrong += "nset is " + std::to_string(res_.nset) + ", not " + std::to_string(expected.nset) + "; ";
  wrong += compare_bits(output_->words(), output_words_, expected.bits);
  if (!output_->intact()) wrong += "wrote beside the output; ";
  if (ctx_.done_flags != ctx_after.done_flags) wrong += "done_flags are wrong; ";
  wrong += host_.difference_from(expected.calls);
  if (wrong.empty() &&
      !(same(res_, res_after) && same(src_, src_before) && same(first_, first_before) && same(second_, second_before) &&
        same(enc_, enc_before) && same(constant_enc_, constant_enc_before) && same(ctx_, ctx_after)))
    wrong += "changed a field that is not its own; ";
  return wrong;
}

} // namespace mipo::check
