// Bloom filters: every shape of filter and hash against a model that tests one row at a time, in filters of which no
// byte more exists than the masks lead to.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "check/guarded_sources.h"
#include "check/levels.h"

namespace {

using namespace mipo::check;

constexpr ub4 none = 0xffffffff;

class Filter {
public:
  Filter(bool segmented, unsigned percent, Random &random) {
    fill_with_noise(random, vec, enc);
    vec.enc_ctx = &enc;
    enc.bloom_two_level = segmented ? static_cast<ub1>(1 + random.below(255)) : 0;
    const ub4 mask_bits = static_cast<ub4>(random.below(15));
    enc.bloom_mask = random.chance(85) ? (1u << mask_bits) - 1 : static_cast<ub4>(random.below(5000));
    ub4 shift = static_cast<ub4>(random.below(12));
    if (segmented && random.chance(20)) { // segments told apart by the highest bits
      shift = 29;
      enc.bloom_mask |= 0xe0000000;
    }
    enc.bloom_shift = shift | static_cast<ub4>(random.below(9)) << 5; // counts modulo 32
    enc.bloom_word_mask = (1u << std::min(shift, 15u)) - 1;
    const ub4 arrays = segmented ? (enc.bloom_mask >> shift) + 1 : 1;
    const ub4 greatest_bit = segmented ? std::min(enc.bloom_word_mask, enc.bloom_mask) : enc.bloom_mask;
    std::vector<const ub1 *> addresses;
    for (ub4 i = 0; i < arrays; ++i) {
      std::vector<bool> bits(greatest_bit + 1);
      std::vector<ub1> bytes(greatest_bit / 8 + 1);
      for (std::size_t bit = 0; bit < bits.size(); ++bit)
        if ((bits[bit] = random.chance(percent))) bytes[bit / 8] |= static_cast<ub1>(1 << bit % 8);
      arrays_.push_back(std::move(bits));
      addresses.push_back(sources_.keep(bytes));
    }
    vec.bv = segmented ? reinterpret_cast<ub8 *>(sources_.keep(addresses))
                       : reinterpret_cast<ub8 *>(const_cast<ub1 *>(addresses.front()));
    segmented_ = segmented;
  }

  bool passes(ub4 hash) const {
    const ub4 masked = hash & enc.bloom_mask;
    if (!segmented_) return arrays_[0][masked];
    return arrays_[masked >> (enc.bloom_shift & 31)][masked & enc.bloom_word_mask];
  }

  mipo_vec vec;
  mipo_enc_ctx enc;

private:
  bool segmented_;
  std::vector<std::vector<bool>> arrays_;
  GuardedSources sources_;
};

std::string difference(ub4 rows, Random &random) {
  const Filter filter(random.chance(50), random.chance(20) ? 0 : random.chance(50) ? 50 : 10, random);
  const bool wide = random.chance(50), selective = random.chance(50), refused = random.chance(5);
  const ub4 first_row = random.chance(40) ? 0 : static_cast<ub4>(random.below(rows + 1));
  std::vector<ub4> hashes(rows);
  std::vector<ub1> stored;
  for (ub4 &hash : hashes) {
    hash = static_cast<ub4>(random.next());
    for (unsigned byte = 0; wide && byte < 4; ++byte) stored.push_back(static_cast<ub1>(random.next()));
    for (unsigned byte = 4; byte-- > 0;) stored.push_back(static_cast<ub1>(hash >> 8 * byte));
  }
  std::vector<bool> selected(rows);
  const unsigned percent = random.chance(30) ? 100 : static_cast<unsigned>(random.below(100));
  for (ub4 row = 0; row < rows; ++row) selected[row] = random.chance(percent);
  GuardedSources sources;
  mipo_vec column, res;
  mipo_enc_ctx enc;
  mipo_call_ctx ctx;
  fill_with_noise(random, column, res, enc, ctx);
  column.data = sources.keep(stored);
  column.nrows = rows;
  column.enc_ctx = &enc;
  enc.flags |= MIPO_HASHED;
  if (refused) enc.flags &= ~ub4{MIPO_HASHED};
  const auto low_byte = static_cast<ub4>(wide ? random.below(256) & ~ub8{32} : 32); // all but 32 are 64 bits
  enc.bits = enc.bits << 8 | low_byte;
  ctx.first_row = first_row;
  ctx.ones_vec = selective ? sources.keep_bits(selected, random) : nullptr;

  for (const Level &level : levels())
    for (const ub4 kind : {1u, 2u, 0u}) {
      running(level.name);
      const GuardedBuffer bits((rows + 63) / 64 * 8), ends(8);
      const auto is_tested = [&](ub4 row) { return row >= first_row && row < rows && (!selective || selected[row]); };
      for (ub4 row = 0; row < 8 * bits.size(); ++row) // bits of other rows stay
        if (is_tested(row)) bits.data()[row / 8] &= static_cast<ub1>(~(1 << row % 8));
      std::vector<ub1> expected_bits(bits.data(), bits.data() + bits.size());
      std::array<ub4, 2> expected_ends = {none, none}, got_ends;
      ub4 passed = 0;
      for (ub4 row = 0; row < rows && !refused; ++row) {
        if (!is_tested(row) || !filter.passes(hashes[row])) continue;
        expected_bits[row / 8] |= static_cast<ub1>(1 << row % 8);
        ++passed;
        expected_ends = {std::min(expected_ends[0], row), row};
      }
      res.bv = bits.words();
      res.data = ends.data();
      mipo_vec res_after = res;
      mipo_call_ctx ctx_after = ctx, ctx_of_call = ctx;
      if (!refused) res_after.nset = passed;
      if (!refused && selective) ctx_after.done_flags |= MIPO_DONE_BLOOM;
      const ub4 code = level.record->mipo_bloom_dydi(&res, &column, &filter.vec, &ctx_of_call, kind);
      std::memcpy(got_ends.data(), ends.data(), 8);
      std::string wrong;
      if (code != (refused ? 2u : passed == 0 ? 1u : 0u)) wrong += "the code is " + std::to_string(code) + "; ";
      if (!bits.intact() || !ends.intact()) wrong += "wrote beside a result; ";
      if (!std::equal(expected_bits.begin(), expected_bits.end(), bits.data())) wrong += "wrong bits; ";
      if (got_ends != (refused ? std::array<ub4, 2>{0xa5a5a5a5, 0xa5a5a5a5} : expected_ends)) wrong += "wrong ends; ";
      if (!same(res, res_after) || !same(ctx_of_call, ctx_after)) wrong += "nset is " + std::to_string(res.nset) + "; ";
      if (!wrong.empty())
        return wrong + "at level " + level.name + ", kind " + std::to_string(kind) + ", rows " +
               std::to_string(first_row) + " to " + std::to_string(rows) + (selective ? ", selective" : "") +
               (wide ? ", wide" : "") + ", mask " + std::to_string(filter.enc.bloom_mask);
    }
  return "";
}

TEST(BloomTest, RowsPassWhoseBitIsSet) {
  report_faults();
  Random random;
  for (const ub4 rows : {0u, 1u, 7u, 8u, 15u, 16u, 63u, 64u, 65u, 100u, 128u, 256u, 257u, 512u, 700u})
    for (int repeat = 0; repeat < 60; ++repeat) ASSERT_EQ(difference(rows, random), "") << "seed " << test_seed();
}

} // namespace
