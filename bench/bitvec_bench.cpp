// Bit vectors: the algebra with its count, in the first- and the second-level cache, and the extraction of row numbers.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <immintrin.h>

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

void measure_algebra(const char *level, ub8 bits) {
  // Kept until the program ends: the measurements refer to it.
  auto &v = *new Vectors(bits);
  const mipo_specialized_ctx &entries = record();
  const auto by_hand = [&](const char *name, auto operation) {
    const std::string full = fmt::format("{} by hand ({})", name, level);
    declare_limit({full, double(bits), double(bits) * 3 / 8, [&v, bits, operation] {
                     benchmark::DoNotOptimize(
                         combine_by_hand(v.result.words(), v.a.words(), v.b.words(), bits / 64, operation));
                   }});
    return full;
  };
  const std::string by_hand_and = by_hand("and", [](__m256i a, __m256i b) { return _mm256_and_si256(a, b); });
  const std::string by_hand_or = by_hand("or", [](__m256i a, __m256i b) { return _mm256_or_si256(a, b); });
  const std::string by_hand_andnot = by_hand("andnot", [](__m256i a, __m256i b) { return _mm256_andnot_si256(a, b); });

  const auto name = [&](const char *entry) { return fmt::format("{} ({})", entry, level); };
  const auto two = [&](const char *entry, auto function, ub4 *count, Limit limit) {
    measure({name(entry), double(bits), double(bits) * 3 / 8,
             [&v, function, count, bits] { function(v.result.words(), count, v.a.words(), v.b.words(), bits); }},
            std::move(limit));
  };
  two("mipo_lbiwvand_dydi", entries.mipo_lbiwvand_dydi, &v.count, {by_hand_and, 0.9});
  two("mipo_lbiwvor_dydi", entries.mipo_lbiwvor_dydi, &v.count, {by_hand_or, 0.9});
  two("mipo_lbiwvandnot_dydi", entries.mipo_lbiwvandnot_dydi, &v.count, {by_hand_andnot, 0.9});
  two("mipo_lbiwvxor_dydi", entries.mipo_lbiwvxor_dydi, &v.count, {by_hand_and});
  two("mipo_lbiwvand_dydi, no count", entries.mipo_lbiwvand_dydi, nullptr, {by_hand_and});

  const auto bytes = [&v](Pages Vectors::*pages) { return (v.*pages).bytes(); };
  measure({name("mipo_lbivand_dydi"), double(bits), double(bits) * 3 / 8,
           [&v, &entries, bytes, bits] {
             entries.mipo_lbivand_dydi(bytes(&Vectors::result), &v.count, bytes(&Vectors::a), bytes(&Vectors::b), bits);
           }},
          {by_hand_and, 0.9});
  const auto three = [&](const char *entry, auto function) {
    measure(
        {name(entry), double(bits), double(bits) * 4 / 8,
         [&v, function, bits] { function(v.result.words(), &v.count, v.a.words(), v.b.words(), v.c.words(), bits); }},
        {by_hand_and});
  };
  three("mipo_lbiwvand3_dydi", entries.mipo_lbiwvand3_dydi);
  three("mipo_lbiwvor3_dydi", entries.mipo_lbiwvor3_dydi);
  three("mipo_lbiwvxor3_dydi", entries.mipo_lbiwvxor3_dydi);
  measure({name("mipo_lbiwvnot_dydi"), double(bits), double(bits) * 2 / 8,
           [&v, &entries, bits] { entries.mipo_lbiwvnot_dydi(v.result.words(), &v.count, v.a.words(), bits); }},
          {by_hand_and});
  measure({name("mipo_lbiwvpopcnt_dydi"), double(bits), double(bits) / 8,
           [&v, &entries, bits] { entries.mipo_lbiwvpopcnt_dydi(&v.count, v.a.words(), bits); }},
          {by_hand_and});
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
