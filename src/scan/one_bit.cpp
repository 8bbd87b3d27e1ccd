// mipo_<operation>_dict_1bit[_null]
#include "scan/one_bit.h"

#include "scan/define_predicate.h"

namespace mipo::scan {
namespace {

// The stream's bits in the order of a bit vector (its first bit is a byte's top one), complemented if `complement` is
// all ones. Whole bytes; returns the ones among them. Whole blocks are counted as the stream has them, since reversing
// and counting both begin with the same half bytes.
ub4 copy_bit_reversed(const ub1 *stream, ub1 *out, ub8 bytes, ub8 complement) {
  bitvec::BlockCounter counter;
  const auto mask = simd::broadcast(complement);
  ub8 at = 0;
  for (; at + simd::block_bytes <= bytes; at += simd::block_bytes)
    simd::for_block(
        [&](size_t i) __attribute__((always_inline)) {
          const ub8 place = at + i * simd::vector_bytes;
          const auto bits = simd::load<ub1>(stream + place);
          simd::store<ub8>(out + place, (simd::Vector<ub8>)simd::reverse_bits(bits) ^ mask);
          return bits;
        },
        [&](auto... vectors) __attribute__((always_inline)) { counter.add(vectors...); });
  ub4 count = complement == 0 ? counter.total() : static_cast<ub4>(8 * at) - counter.total();
  for (; at < bytes; ++at) {
    ub8 byte = stream[at];
    byte = (byte & 0x0f) << 4 | byte >> 4;
    byte = (byte & 0x33) << 2 | (byte >> 2 & 0x33);
    byte = (byte & 0x55) << 1 | (byte >> 1 & 0x55);
    out[at] = static_cast<ub1>(byte ^ complement);
    count += simd::population_count(out[at]);
  }
  return count;
}

template <unsigned bits, mipo_variant>
struct OneBit {
  static_assert(bits == 1);

  static ub4 run(const PredicateCall &call) {
    const Output output = block_output(call.res, call.src);
    const void *base = column::column_base(call.src, call.ctx, call.labels.block);
    const OneBitAnswer answer = one_bit_answer(call.operation, call.null_aware, call.low, call.high);
    const ub4 count = write_one_bit_answer(answer, base, output);
    return finish_block_path(predicate_policy, output, count, call.res, call.src, call.ctx);
  }
};

} // namespace

ub4 write_one_bit_answer(OneBitAnswer answer, const void *base, Output output) {
  if (answer == OneBitAnswer::none || answer == OneBitAnswer::all)
    return fill_rows(output, answer == OneBitAnswer::all);
  const ub4 rows = output.rows;
  if (rows == 0) return 0;
  auto *out = reinterpret_cast<ub1 *>(output.bits);
  const ub8 bytes = (static_cast<ub8>(rows) + 7) / 8, word_bytes = (static_cast<ub8>(rows) + 63) / 64 * 8;
  const ub8 complement = answer == OneBitAnswer::inverted ? ~ub8{0} : 0;
  const ub4 count = copy_bit_reversed(static_cast<const ub1 *>(base), out, bytes, complement);
  memset(out + bytes, 0, word_bytes - bytes);
  if (rows % 64 == 0) return count;
  // What the last byte holds above the last row has been counted with it.
  ub8 &last = output.bits[rows / 64];
  const ub8 above = last & ~bitvec::low_bits(rows % 64);
  last ^= above;
  return count - simd::population_count(above);
}

} // namespace mipo::scan

extern "C" {
DICT_ONE_BIT_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::OneBit)
}
