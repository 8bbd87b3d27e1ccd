// Bit vectors: the algebra with its count, in the first- and the second-level cache, and the extraction of row numbers.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <immintrin.h>

#include <cstring>
#include <vector>

#include "data.h"
#include "harness.h"

namespace mipo::bench {
namespace {

// The loop to beat: counts in vector registers, by a table of nibbles and sums of absolute differences. It is about
// twice as fast as the scalar instruction.
template <class Operation>
ub4 combine_by_hand(ub8 *result, const ub8 *a, const ub8 *b, ub8 words, Operation operation) {
  const __m256i ones_of_nibble =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4));
  const __m256i nibble = _mm256_set1_epi8(15), zero = _mm256_setzero_si256();
  __m256i sum = zero;
  for (ub8 i = 0; i < words; i += 4) {
    const __m256i v = operation(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(a + i)),
                                _mm256_loadu_si256(reinterpret_cast<const __m256i *>(b + i)));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(result + i), v);
    const __m256i low = _mm256_shuffle_epi8(ones_of_nibble, _mm256_and_si256(v, nibble));
    const __m256i high = _mm256_shuffle_epi8(ones_of_nibble, _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble));
    sum = _mm256_add_epi64(sum, _mm256_sad_epu8(_mm256_add_epi8(low, high), zero));
  }
  return static_cast<ub4>(_mm256_extract_epi64(sum, 0) + _mm256_extract_epi64(sum, 1) + _mm256_extract_epi64(sum, 2) +
                          _mm256_extract_epi64(sum, 3));
}

struct Vectors {
  Pages a, b, c, result;
  ub4 count = 0;
  explicit Vectors(ub8 bits)
      : a(random_bits(bits, 0.5, 1)),
        b(random_bits(bits, 0.5, 2)),
        c(random_bits(bits, 0.5, 3)),
        result(bits / 8 + 64) {}
};

// One operation of one form: `call(count)` works on all of `v`. With a count it is held against the loop by hand.
template <class Call>
void measure_operation(const std::string &name, Vectors &v, ub8 bits, int vectors_moved, Limit limit, Call call) {
  const double bytes = static_cast<double>(bits) / 8 * vectors_moved;
  measure({name, double(bits), bytes, [&v, call] { call(&v.count); }}, std::move(limit));
}

void measure_algebra(const char *level, ub8 bits) {
  // Kept until the program ends: the measurements refer to it.
  auto &v = *new Vectors(bits);
  const mipo_specialized_ctx &r = record();
  const auto by_hand = [&](const char *name, auto operation) {
    const std::string full = fmt::format("{} by hand ({})", name, level);
    declare_limit({full, double(bits), double(bits) * 3 / 8, [&v, bits, operation] {
                     benchmark::DoNotOptimize(
                         combine_by_hand(v.result.words(), v.a.words(), v.b.words(), bits / 64, operation));
                   }});
    return full;
  };
  const std::string hand_and = by_hand("and", [](__m256i a, __m256i b) { return _mm256_and_si256(a, b); });
  const std::string hand_or = by_hand("or", [](__m256i a, __m256i b) { return _mm256_or_si256(a, b); });
  const std::string hand_andnot = by_hand("andnot", [](__m256i a, __m256i b) { return _mm256_andnot_si256(a, b); });

#define MEASURE(form, operation, moved, hand, at_least, ...)                                                     \
  measure_operation(fmt::format("mipo_" #form #operation "_dydi ({})", level), v, bits, moved, {hand, at_least}, \
                    [&v, &r, bits](ub4 *count) { r.mipo_##form##operation##_dydi(__VA_ARGS__, bits); })
#define MEASURE_FORM(form, unit)                                                                   \
  MEASURE(form, popcnt, 1, hand_and, 0, count, v.a.unit());                                        \
  MEASURE(form, not, 2, hand_and, 0, v.result.unit(), count, v.a.unit());                          \
  MEASURE(form, and, 3, hand_and, 0.9, v.result.unit(), count, v.a.unit(), v.b.unit());            \
  MEASURE(form, or, 3, hand_or, 0.9, v.result.unit(), count, v.a.unit(), v.b.unit());              \
  MEASURE(form, xor, 3, hand_or, 0.9, v.result.unit(), count, v.a.unit(), v.b.unit());             \
  MEASURE(form, andnot, 3, hand_andnot, 0.9, v.result.unit(), count, v.a.unit(), v.b.unit());      \
  MEASURE(form, and3, 4, hand_and, 0, v.result.unit(), count, v.a.unit(), v.b.unit(), v.c.unit()); \
  MEASURE(form, or3, 4, hand_or, 0, v.result.unit(), count, v.a.unit(), v.b.unit(), v.c.unit());   \
  MEASURE(form, xor3, 4, hand_or, 0, v.result.unit(), count, v.a.unit(), v.b.unit(), v.c.unit())
  MEASURE_FORM(lbiv, bytes);
  MEASURE_FORM(lbiwv, words);
#undef MEASURE_FORM
#undef MEASURE
  measure_operation(
      fmt::format("mipo_lbiwvand_dydi, no count ({})", level), v, bits, 3, {hand_and},
      [&v, &r, bits](ub4 *) { r.mipo_lbiwvand_dydi(v.result.words(), nullptr, v.a.words(), v.b.words(), bits); });

  const std::string fill = fmt::format("memset ({})", level);
  declare_limit({fill, double(bits), double(bits) / 8, [&v, bits] {
                   memset(v.result.bytes(), 0xff, bits / 8);
                   benchmark::ClobberMemory();
                 }});
  measure_operation(fmt::format("mipo_lbiwvset_range_dydi ({})", level), v, bits, 1, {fill},
                    [&v, &r, bits](ub4 *) { r.mipo_lbiwvset_range_dydi(v.result.words(), 3, bits - 3); });
  measure_operation(fmt::format("mipo_lbivclr_range_dydi ({})", level), v, bits, 1, {fill},
                    [&v, &r, bits](ub4 *) { r.mipo_lbivclr_range_dydi(v.result.bytes(), 3, bits - 3); });
}

// Positions of the set bits of each byte, eight to a row.
const ub4 (*byte_positions())[8] {
  static ub4 table[256][8];
  for (unsigned byte = 0; byte < 256; ++byte)
    for (unsigned bit = 0, found = 0; bit < 8; ++bit)
      if (byte >> bit & 1) table[byte][found++] = bit;
  return table;
}

ub8 ones_by_table(const ub8 *words, ub8 bits, ub4 *rows) {
  static const auto table = byte_positions();
  ub4 *out = rows;
  for (ub8 i = 0; i < bits / 64; ++i) {
    ub8 word = words[i];
    for (ub4 shift = 0; shift < 64; shift += 8, word >>= 8) {
      const __m256i positions = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(table[word & 0xff]));
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(out),
                          _mm256_add_epi32(positions, _mm256_set1_epi32(static_cast<int>(64 * i + shift))));
      out += _mm_popcnt_u64(word & 0xff);
    }
  }
  return static_cast<ub8>(out - rows);
}

ub8 ones_by_trailing_zeros(const ub8 *words, ub8 bits, ub4 *rows) {
  ub4 *out = rows;
  for (ub8 i = 0; i < bits / 64; ++i)
    for (ub8 word = words[i]; word != 0; word &= word - 1)
      *out++ = static_cast<ub4>(64 * i + static_cast<ub8>(_tzcnt_u64(word)));
  return static_cast<ub8>(out - rows);
}

void measure_ones() {
  constexpr ub8 bits = 3000000 / 64 * 64;
  constexpr ub8 batch = 256;
  static std::vector<ub4> rows(bits + 8);
  const mipo_specialized_ctx &entries = record();

  for (const int percent : {1, 18, 50, 95, 100}) {
    auto &vector = *new Pages(random_bits(bits, percent / 100.0));
    const ub8 *words = vector.words();
    const std::string table = fmt::format("row numbers by table, {} %", percent);
    const std::string zeros = fmt::format("row numbers by trailing zeros, {} %", percent);
    declare_limit({table, double(bits), double(bits) / 8,
                   [=] { benchmark::DoNotOptimize(ones_by_table(words, bits, rows.data())); }});
    declare_limit({zeros, double(bits), double(bits) / 8,
                   [=] { benchmark::DoNotOptimize(ones_by_trailing_zeros(words, bits, rows.data())); }});

    const auto extract = [&entries, words](ub8 capacity) {
      mipo_lbiv_ictx it;
      entries.mipo_lbiwv_ictx_ini2_dydi(&it, words, bits, 0, 0);
      while (entries.mipo_lbiwvones_dydi(&it, rows.data(), capacity) == capacity) {
      }
      benchmark::ClobberMemory();
    };
    const auto steps = [words](auto begin, auto next, ub8 end) {
      mipo_lbiv_ictx it;
      begin(&it, words, bits, 0, 0);
      ub8 sum = 0;
      for (ub8 row = next(&it); row != end; row = next(&it)) sum += row;
      benchmark::DoNotOptimize(sum);
    };
    measure({fmt::format("mipo_lbiwviter_dydi, {} %", percent), double(bits), double(bits) / 8,
             [=, &entries] { steps(entries.mipo_lbiwv_ictx_ini2_dydi, entries.mipo_lbiwviter_dydi, MIPO_LBIWV_END); }},
            {zeros});
    const bool dense = percent == 50 || percent == 95;
    measure({fmt::format("mipo_lbiwvones_dydi, one call, {} %", percent), double(bits), double(bits) / 8,
             [=] { extract(bits + 8); }},
            {percent < 18 ? zeros : table, dense ? 1 / 1.3 : 0});
    measure({fmt::format("mipo_lbiwvones_dydi, batches of 256, {} %", percent), double(bits), double(bits) / 8,
             [=] { extract(batch); }},
            {zeros, percent == 1 ? 1 / 1.2 : 0});
  }
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
  measure_algebra("L1", 64 << 10);   // 3 x 8 KiB
  measure_algebra("L2", 1024 << 10); // 3 x 128 KiB
  measure_ones();
  return run(argc, argv, "Bit vectors (rows are bits)");
}
