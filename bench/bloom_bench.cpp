// Bloom filters of four sizes against the best of three loops written by hand: scalar, gathered, and gathered with the
// next rows fetched ahead; selections of 1 and 10 % of the rows likewise. Hashing with a function that does nothing, to
// see what the way to the bytes costs.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <immintrin.h>

#include <bit>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "data.h"
#include "harness.h"

namespace mipo::bench {
namespace {

constexpr ub4 rows_in_a_row = 64 << 10,
              rows_to_select_from = 4 << 20; // so many that no branch predictor learns them by heart

struct ProbeOperands {
  const ub4 rows;
  Pages filter, hashes{rows * std::size_t{8}}, bits{rows / 8}, selection;
  mipo_enc_ctx hash_encoding{}, filter_encoding{};
  mipo_vec result{}, column{}, filter_vec{};
  mipo_call_ctx ctx{};
  ub4 first_and_last[2];

  ProbeOperands(std::size_t bytes, unsigned hash_bits, double density)
      : rows(density < 1 ? rows_to_select_from : rows_in_a_row),
        filter(bytes),
        selection(random_bits(rows, density, 7)) {
    fill_random(filter.bytes(), bytes, 3);
    fill_random(hashes.bytes(), hashes.size(), 4);
    filter_encoding.bloom_mask = static_cast<ub4>(bytes * 8 - 1);
    filter_vec.bv = filter.words();
    filter_vec.enc_ctx = &filter_encoding;
    hash_encoding.flags = MIPO_HASHED;
    hash_encoding.bits = hash_bits;
    column.data = hashes.bytes();
    column.enc_ctx = &hash_encoding;
    column.nrows = rows;
    result.bv = bits.words();
    result.data = first_and_last;
    if (density < 1) ctx.ones_vec = selection.words();
  }
  ProbeOperands(const ProbeOperands &) = delete;

  ub4 call() { return record().mipo_bloom_dydi(&result, &column, &filter_vec, &ctx, 1); }
};

struct ByHand {
  const ub1 *hashes, *filter;
  ub8 *bits;
  ub4 mask;
  ub4 count = 0, first = ~ub4{0}, last = 0;

  explicit ByHand(ProbeOperands &operands)
      : hashes(operands.hashes.bytes()),
        filter(operands.filter.bytes()),
        bits(operands.bits.words()),
        mask(operands.filter_encoding.bloom_mask) {}

  template <unsigned hash_bits>
  ub4 position(ub4 row) const {
    ub4 hash;
    std::memcpy(&hash, hashes + std::size_t{row} * hash_bits / 8 + (hash_bits / 8 - 4), sizeof hash);
    return __builtin_bswap32(hash) & mask;
  }
  template <unsigned hash_bits>
  __m256i positions(ub4 row) const {
    const auto *at = reinterpret_cast<const __m256i *>(hashes + std::size_t{row} * hash_bits / 8);
    __m256i eight = _mm256_loadu_si256(at);
    if (hash_bits == 64)
      eight = _mm256_permute4x64_epi64(
          _mm256_castps_si256(
              _mm256_shuffle_ps(_mm256_castsi256_ps(eight), _mm256_castsi256_ps(_mm256_loadu_si256(at + 1)), 0xdd)),
          0xd8);
    const __m256i swap =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
    return _mm256_and_si256(_mm256_shuffle_epi8(eight, swap), _mm256_set1_epi32(static_cast<int>(mask)));
  }
  void store(ub4 row, ub8 word) {
    bits[row / 64] |= word;
    if (word == 0) return;
    count += static_cast<ub4>(std::popcount(word));
    if (first == ~ub4{0}) first = row + static_cast<ub4>(std::countr_zero(word));
    last = row + 63 - static_cast<ub4>(std::countl_zero(word));
  }
  void tell() const {
    benchmark::DoNotOptimize(count + first + last);
    benchmark::ClobberMemory();
  }
};

template <unsigned hash_bits>
[[gnu::noinline]] void scalar_loop(ProbeOperands &operands) {
  ByHand loop(operands);
  for (ub4 row = 0; row < operands.rows; row += 64) {
    ub8 word = 0;
    for (ub4 i = 0; i < 64; ++i) {
      const ub4 position = loop.position<hash_bits>(row + i);
      word |= ub8(loop.filter[position >> 3] >> (position & 7) & 1) << i;
    }
    loop.store(row, word);
  }
  loop.tell();
}

template <unsigned hash_bits, ub4 ahead>
[[gnu::noinline]] void gather_loop(ProbeOperands &operands) {
  ByHand loop(operands);
  for (ub4 row = 0; row < operands.rows; row += 64) {
    ub8 word = 0;
    for (ub4 i = 0; i < 64; i += 8) {
      if (ahead != 0 && row + i + ahead + 8 <= operands.rows) {
        alignas(32) ub4 later[8];
        _mm256_store_si256(reinterpret_cast<__m256i *>(later), loop.positions<hash_bits>(row + i + ahead));
        for (const ub4 position : later) __builtin_prefetch(loop.filter + (position >> 3));
      }
      const __m256i position = loop.positions<hash_bits>(row + i);
      const __m256i words =
          _mm256_i32gather_epi32(reinterpret_cast<const int *>(loop.filter), _mm256_srli_epi32(position, 5), 4);
      const __m256i top = _mm256_sllv_epi32(words, _mm256_andnot_si256(position, _mm256_set1_epi32(31)));
      word |= ub8(static_cast<ub4>(_mm256_movemask_ps(_mm256_castsi256_ps(top)))) << i;
    }
    loop.store(row, word);
  }
  loop.tell();
}

template <unsigned hash_bits, bool fetches_ahead>
[[gnu::noinline]] void selected_loop(ProbeOperands &operands) {
  constexpr ub4 batch = 128;
  ByHand loop(operands);
  ub4 numbers[batch + 64];
  const ub8 *selection = operands.selection.words();
  for (ub4 word = 0; word < operands.rows / 64;) {
    ub4 found = 0;
    for (; word < operands.rows / 64 && found < batch; ++word)
      for (ub8 left = selection[word]; left != 0; left &= left - 1)
        numbers[found++] = word * 64 + static_cast<ub4>(std::countr_zero(left));
    if (fetches_ahead)
      for (ub4 i = 0; i < found; ++i) __builtin_prefetch(loop.filter + (loop.position<hash_bits>(numbers[i]) >> 3));
    for (ub4 i = 0; i < found; ++i) {
      const ub4 position = loop.position<hash_bits>(numbers[i]), row = numbers[i];
      if ((loop.filter[position >> 3] >> (position & 7) & 1) == 0) continue;
      loop.bits[row / 64] |= ub8{1} << row % 64;
      ++loop.count;
      if (loop.first == ~ub4{0}) loop.first = row;
      loop.last = row;
    }
  }
  loop.tell();
}

template <unsigned hash_bits>
void measure_filter(std::size_t bytes, double density) {
  const auto operands = std::make_shared<ProbeOperands>(bytes, hash_bits, density);
  const std::string what =
      fmt::format("{} bits, {}{}", hash_bits,
                  bytes < 1 << 20 ? fmt::format("{} KiB", bytes >> 10) : fmt::format("{} MiB", bytes >> 20),
                  density < 1 ? fmt::format(", {} %", 100 * density) : "");
  const double count = operands->rows * density;
  using Loop = void (*)(ProbeOperands &);
  const std::vector<std::pair<const char *, Loop>> loops =
      density < 1 ? std::vector<std::pair<const char *, Loop>>{{"scalar", selected_loop<hash_bits, false>},
                                                               {"scalar ahead", selected_loop<hash_bits, true>}}
                  : std::vector<std::pair<const char *, Loop>>{{"scalar", scalar_loop<hash_bits>},
                                                               {"gather", gather_loop<hash_bits, 0>},
                                                               {"gather ahead", gather_loop<hash_bits, 64>}};
  for (const auto &[name, loop] : loops) {
    const std::string limit = fmt::format("{}, {}", name, what);
    declare_limit({limit, count, count * hash_bits / 8, [operands, loop = loop] { loop(*operands); }});
    measure({fmt::format("Bloom, {}, {}", what, name), count, count * hash_bits / 8,
             [operands] { benchmark::DoNotOptimize(operands->call()); }},
            {limit, 0.85});
  }
}

// A column of symbols in one of the forms, and seeds.
struct HashOperands {
  Pages values{rows_in_a_row * 16 + 64}, lengths{rows_in_a_row * 2}, codes{rows_in_a_row * 4 + 64},
      offsets{(1 << 12) * 4 + 8}, hashes{rows_in_a_row * 8};
  ub8 seed = 1;
  ub2 symbol_length = __builtin_bswap16(8);
  mipo_enc_ctx encoding{}, seed_encoding{};
  mipo_vec result{}, column{}, seeds{};

  HashOperands(ub4 form, ub4 bits, bool variable) {
    for (ub4 row = 0; row < rows_in_a_row; ++row) {
      reinterpret_cast<ub2 *>(lengths.bytes())[row] = 8;
      if (form == MIPO_LV) values.bytes()[row * 10] = 8;
      const ub8 address = reinterpret_cast<ub8>(values.bytes());
      if (form == MIPO_LP) {
        codes.bytes();
        std::memcpy(records.bytes() + row * 10 + 2, &address, sizeof address);
        records.bytes()[row * 10] = 8;
      }
      if (form == MIPO_LP_SEP) std::memcpy(records.bytes() + row * 8, &address, sizeof address);
    }
    fill_random(codes.bytes(), codes.size());
    if (form == MIPO_CODES)
      for (ub4 row = 0; row < rows_in_a_row; ++row) reinterpret_cast<ub4 *>(codes.bytes())[row] %= 1 << 12;
    for (ub4 code = 0; code <= 1 << 12; ++code)
      reinterpret_cast<ub4 *>(offsets.bytes())[code] = __builtin_bswap32(code * 8);
    encoding.flags = form;
    encoding.bits = bits;
    encoding.sym_base = reinterpret_cast<ub8>(values.bytes());
    encoding.sym_varlen = variable;
    encoding.sym_len = &symbol_length;
    encoding.sym_offs = reinterpret_cast<const ub4 *>(offsets.bytes());
    seed_encoding.flags = MIPO_HASHED;
    const bool coded = form == MIPO_PACKED || form == MIPO_CODES;
    column.data = coded ? codes.bytes() : form == MIPO_LP || form == MIPO_LP_SEP ? records.bytes() : values.bytes();
    column.lens = lengths.bytes();
    column.nrows = rows_in_a_row;
    column.enc_ctx = &encoding;
    seeds.data = &seed;
    seeds.nrows = 1;
    seeds.enc_ctx = &seed_encoding;
    result.data = hashes.bytes();
  }
  HashOperands(const HashOperands &) = delete;

  static ub8 nothing(const void *, ub8, ub8 seed) { return seed; }
  void call() { benchmark::DoNotOptimize(record().mipo_hash_dydi(&result, &column, &seeds, nothing, 0)); }

  Pages records{rows_in_a_row * 10 + 64};
};

void measure_hashing() {
  struct Case {
    const char *name;
    ub4 form, bits;
    bool variable;
    double at_least;
  };
  constexpr Case cases[] = {{"codes", MIPO_CODES, 32, false, 0},
                            {"packed codes of 12 bits", MIPO_PACKED, 12, false, 0.5},
                            {"codes, symbols of many lengths", MIPO_CODES, 32, true, 0},
                            {"packed codes, symbols of many lengths", MIPO_PACKED, 12, true, 0},
                            {"fixed", MIPO_FIXED, 64, false, 0},
                            {"lengths apart", MIPO_LV_SEP, 0, false, 0},
                            {"lengths ahead", MIPO_LV, 0, false, 0},
                            {"addresses, lengths apart", MIPO_LP_SEP, 0, false, 0},
                            {"addresses", MIPO_LP, 0, false, 0}};
  const auto plain = std::make_shared<HashOperands>(MIPO_CODES, 32, false);
  declare_limit({"hash of codes", double(rows_in_a_row), rows_in_a_row * 4.0, [=] { plain->call(); }});
  for (const Case &each : cases) {
    const auto operands = std::make_shared<HashOperands>(each.form, each.bits, each.variable);
    measure({fmt::format("hash, {}", each.name), double(rows_in_a_row), rows_in_a_row * 8.0, [=] { operands->call(); }},
            {"hash of codes", each.at_least});
  }
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
  for (const std::size_t kib : {16, 256, 4 << 10, 128 << 10})
    for (const double density : {1.0, 0.1, 0.01}) {
      measure_filter<32>(kib << 10, density);
      measure_filter<64>(kib << 10, density);
    }
  measure_hashing();
  return run(argc, argv, "Bloom filters and hashing");
}
