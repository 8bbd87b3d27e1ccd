#include "predicate_case.h"

#include <cstring>

namespace mipo::check {
namespace {

template <class Record>
void fill_with_noise(Record &record, Random &random) {
  auto *bytes = reinterpret_cast<ub1 *>(&record);
  for (std::size_t i = 0; i < sizeof record; ++i) bytes[i] = static_cast<ub1>(random.next());
}

template <class Record>
bool same(const Record &a, const Record &b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

std::string listed(const std::vector<std::string> &calls) {
  std::string text;
  for (const std::string &call : calls) text += "\n    " + call;
  return calls.empty() ? " none" : text;
}

std::string compare_bits(const ub8 *words, std::size_t word_count, const std::vector<bool> &expected) {
  for (std::size_t bit = 0; bit < 64 * word_count; ++bit) {
    const bool is = words[bit / 64] >> (bit % 64) & 1;
    if (bit >= expected.size() && is) return "bit " + std::to_string(bit) + ", behind the last row, is set; ";
    if (bit < expected.size() && is != expected[bit])
      return "bit " + std::to_string(bit) + " is " + (is ? "set" : "clear") + "; ";
  }
  return {};
}

} // namespace

std::vector<ub1> encode_byte_aligned(const std::vector<ub8> &codes, unsigned width) {
  std::vector<ub1> bytes;
  bytes.reserve(codes.size() * width / 8);
  for (const ub8 code : codes)
    for (unsigned shift = width; shift != 0; shift -= 8) bytes.push_back(static_cast<ub1>(code >> (shift - 8)));
  return bytes;
}

// High bit first. A reader may take words of 32 bits, and one word behind the last code's.
std::vector<ub1> encode_packed(const std::vector<ub8> &codes, unsigned width) {
  std::vector<ub1> bytes((codes.size() * width + 31) / 32 * 4 + 4, 0xb7);
  for (std::size_t bit = 0; bit < codes.size() * width; ++bit) {
    const bool is_set = codes[bit / width] >> (width - 1 - bit % width) & 1;
    const auto weight = static_cast<ub1>(0x80 >> bit % 8);
    bytes[bit / 8] = static_cast<ub1>(is_set ? bytes[bit / 8] | weight : bytes[bit / 8] & ~weight);
  }
  return bytes;
}

EncodeCodes *encoder_of_width(unsigned width) {
  return width == 8 || width == 16 || width == 32 || width == 64 ? encode_byte_aligned : encode_packed;
}

std::vector<ub8> bit_vector_words(const std::vector<bool> &bits, Random &random) {
  std::vector<ub8> words((bits.size() + 63) / 64);
  if (bits.size() % 64 != 0) words.back() = random.next() << bits.size() % 64;
  for (std::size_t bit = 0; bit < bits.size(); ++bit) words[bit / 64] |= ub8{bits[bit]} << (bit % 64);
  return words;
}

std::unique_ptr<GuardedBuffer> PredicateCase::source(const void *bytes, std::size_t size) {
  auto buffer = std::make_unique<GuardedBuffer>(size);
  if (size != 0) std::memcpy(buffer->data(), bytes, size);
  buffer->protect();
  return buffer;
}

PredicateCase::PredicateCase(const reference::PredicateCall &call, EncodeCodes *encode, Random &random)
    : has_ctx_(call.has_ctx), output_words_((call.codes.size() + 63) / 64) {
  const auto keep = [&](const void *bytes, std::size_t size) {
    sources_.push_back(source(bytes, size));
    return sources_.back()->data();
  };
  const auto keep_bits = [&](const std::optional<std::vector<bool>> &bits) -> const ub8 * {
    if (!bits) return nullptr;
    const std::vector<ub8> words = bit_vector_words(*bits, random);
    return reinterpret_cast<const ub8 *>(keep(words.data(), 8 * words.size()));
  };

  fill_with_noise(res_, random);
  fill_with_noise(src_, random);
  fill_with_noise(first_, random);
  fill_with_noise(second_, random);
  fill_with_noise(enc_, random);
  fill_with_noise(ctx_, random);

  // A selective call may not look at the rows behind the last selected one: they do not exist in memory.
  std::vector<ub8> codes = call.codes;
  if (call.selective())
    while (!codes.empty() && !(*call.selection)[codes.size() - 1]) codes.pop_back();
  const std::vector<ub1> bytes = encode(codes, call.width);

  src_.enc_ctx = &enc_;
  src_.filter_bv = keep_bits(call.filter);
  enc_.flags &= ~static_cast<ub4>(MIPO_BREP | MIPO_RLE);
  if (call.compressed) {
    enc_.flags |= MIPO_BREP;
    src_.data = nowhere_.data();
    src_.decomp_size = call.decomp_size;
    src_.decomp_hint = call.decomp_hint;
    src_.decomp_slot = &slot_;
    if (call.already_decompressed) initial_slot_ = slot_ = keep(bytes.data(), bytes.size());
    host_.stream = nowhere_.data();
    host_.slot = &slot_;
    host_.decompressed = bytes;
    host_.decode_result = call.decode_fails ? static_cast<ub4>(1 + random.below(1000)) : 0;
  } else {
    src_.data = keep(bytes.data(), bytes.size());
  }

  const auto rows = static_cast<ub4>(call.codes.size());
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
  (into_runs ? enc_.run_count : call.selective() ? src_.nrows : res_.nrows) = rows;

  // A narrow constant is a word of 32 bits.
  const std::size_t cell_bytes = call.width == 64 ? 8 : 4;
  first_.data = keep(&call.first, cell_bytes);
  second_.data = keep(&call.second, cell_bytes);
  if (!call.reads_constants) first_.data = second_.data = nowhere_.data();

  host_.ctx()->host_flags = call.host_flags;
  ctx_.host = call.compressed || call.run_length ? host_.ctx() : nullptr;
  ctx_.ones_vec = keep_bits(call.selection);
  ctx_.eval_flags =
      static_cast<ub2>((ctx_.eval_flags & ~MIPO_EVAL_SELECTIVE) | (call.selective_flag ? MIPO_EVAL_SELECTIVE : 0));
  ctx_.done_flags &= ~ub4{MIPO_DONE_PREDICATE};
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
  const mipo_enc_ctx enc_before = enc_;
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
  if (host_.calls != expected.calls)
    wrong += "callbacks:" + listed(host_.calls) + "\n  expected:" + listed(expected.calls) + "\n";
  if (wrong.empty() && !(same(res_, res_after) && same(src_, src_before) && same(first_, first_before) &&
                         same(second_, second_before) && same(enc_, enc_before) && same(ctx_, ctx_after)))
    wrong += "changed a field that is not its own; ";
  return wrong;
}

} // namespace mipo::check
