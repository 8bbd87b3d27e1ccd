// Hashing of columns: which bytes, how many, with which seed and in which order the host's function is asked for, in
// every form that a column has.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "check/column_format.h"
#include "check/guarded_sources.h"
#include "check/levels.h"

namespace {

using namespace mipo::check;
using mipo::reference::Value;

struct Asked {
  ub8 address, length, seed;
  friend bool operator==(const Asked &, const Asked &) = default;
};
std::vector<Asked> asked;

ub8 hash_of(const Asked &call) {
  return call.address * 3 + call.length * 5 + call.seed;
}
ub8 host_hash(const void *value, ub8 length, ub8 seed) {
  asked.push_back({reinterpret_cast<ub8>(value), length, seed});
  return hash_of(asked.back());
}

enum class Seeds { one, per_row, refused };

// Forms from the one that decides first on.
constexpr ub4 forms[] = {MIPO_FIXED, MIPO_PACKED, MIPO_CODES, MIPO_LV_SEP, MIPO_LV, MIPO_LP_SEP, MIPO_LP};

// A column of one form, and the addresses and lengths that its rows have.
class HashedColumn {
public:
  HashedColumn(std::size_t form, ub4 rows, Random &random) {
    fill_with_noise(random, vec, enc);
    vec.enc_ctx = &enc;
    vec.nrows = rows;
    for (const ub4 flag : forms) enc.flags &= ~flag;
    enc.flags |= forms[form];
    for (std::size_t further = form + 1; further < std::size(forms); ++further)
      if (random.chance(30)) enc.flags |= forms[further];
    switch (forms[form]) {
    case MIPO_FIXED:
      enc.bits = static_cast<ub4>(random.below(random.chance(80) ? 70 : 5000)); // whole bytes count
      vec.data = sources_.keep(std::vector<ub1>(ub8{rows} * (enc.bits / 8)));
      for (ub4 row = 0; row < rows; ++row) add(vec.data, row * ub8{enc.bits / 8}, enc.bits / 8);
      break;
    case MIPO_PACKED:
    case MIPO_CODES:
      place_codes(forms[form] == MIPO_PACKED, rows, random);
      break;
    case MIPO_LP:
    case MIPO_LP_SEP:
      place_addresses(forms[form] == MIPO_LP, rows, random);
      break;
    default:
      place_chain(forms[form] == MIPO_LV, rows, random);
    }
  }

  mipo_vec vec;
  mipo_enc_ctx enc;
  std::vector<Asked> values; // without their seeds

private:
  void add(const void *base, ub8 offset, ub8 length) {
    values.push_back({reinterpret_cast<ub8>(base) + offset, length, 0});
  }

  void place_codes(bool packed, ub4 rows, Random &random) {
    enc.bits = static_cast<ub4>(1 + random.below(32));
    const ub8 greatest = std::min<ub8>(greatest_number(enc.bits), 500);
    std::vector<ub4> codes(rows);
    std::vector<ub1> stream((ub8{rows} * enc.bits + 31) / 32 * 4 + 4); // the next word is read
    for (ub4 row = 0; row < rows; ++row) {
      codes[row] = static_cast<ub4>(random.below(greatest + 1));
      for (ub4 bit = 0; bit < enc.bits; ++bit) {
        const ub8 at = ub8{row} * enc.bits + bit;
        if (codes[row] >> (enc.bits - 1 - bit) & 1) stream[at / 8] |= static_cast<ub1>(0x80 >> at % 8);
      }
    }
    vec.data = packed ? static_cast<void *>(sources_.keep(stream)) : sources_.keep(codes);
    enc.sym_base = random.next();
    enc.sym_varlen = random.chance(50) ? 0 : 1 + static_cast<ub4>(random.below(9));
    const auto length = static_cast<ub2>(random.below(300));
    std::vector<ub4> offsets = {0};
    for (ub8 code = 0; code <= greatest; ++code)
      offsets.push_back(offsets.back() + static_cast<ub4>(random.below(70000)));
    for (const ub4 code : codes) {
      const bool fixed = enc.sym_varlen == 0;
      values.push_back({enc.sym_base + (fixed ? ub8{code} * length : offsets[code]),
                        fixed ? length : static_cast<ub2>(offsets[code + 1] - offsets[code]), 0});
    }
    for (ub4 &offset : offsets) offset = __builtin_bswap32(offset);
    enc.sym_len = sources_.keep(std::vector<ub2>{__builtin_bswap16(length)});
    enc.sym_offs = sources_.keep(offsets);
  }

  void place_addresses(bool records, ub4 rows, Random &random) {
    std::vector<ub1> data;
    std::vector<ub2> lengths;
    const auto append = [&data](const auto &field) {
      const auto *bytes = reinterpret_cast<const ub1 *>(&field);
      data.insert(data.end(), bytes, bytes + sizeof field);
    };
    for (ub4 row = 0; row < rows; ++row) {
      const ub8 address = random.next();
      lengths.push_back(static_cast<ub2>(random.next()));
      if (records) append(lengths.back());
      append(address);
      values.push_back({address, lengths.back(), 0});
    }
    vec.data = sources_.keep(data);
    if (!records) vec.lens = sources_.keep(lengths);
  }

  void place_chain(bool lengths_ahead, ub4 rows, Random &random) {
    std::vector<ub1> data;
    std::vector<ub2> lengths;
    std::vector<ub8> offsets;
    for (ub4 row = 0; row < rows; ++row) {
      lengths.push_back(static_cast<ub2>(random.below(random.chance(80) ? 9 : 600)));
      if (lengths_ahead)
        data.insert(data.end(), {static_cast<ub1>(lengths.back()), static_cast<ub1>(lengths.back() >> 8)});
      offsets.push_back(data.size());
      data.resize(data.size() + lengths.back());
    }
    vec.data = sources_.keep(data);
    if (!lengths_ahead) vec.lens = sources_.keep(lengths);
    for (ub4 row = 0; row < rows; ++row) add(vec.data, offsets[row], lengths[row]);
  }

  GuardedSources sources_;
};

TEST(HashTest, EveryRowIsAskedForOnceInOrder) {
  report_faults();
  Random random;
  for (std::size_t form = 0; form <= std::size(forms); ++form)
    for (const ub4 rows : {0u, 1u, 2u, 33u, 300u})
      for (const Seeds kind : {Seeds::one, Seeds::per_row, Seeds::refused})
        for (int repeat = 0; repeat < 8; ++repeat) {
          HashedColumn column(std::min(form, std::size(forms) - 1), rows, random);
          const bool has_form = form < std::size(forms);
          if (!has_form)
            for (const ub4 flag : forms) column.enc.flags &= ~flag;
          mipo_vec seeds, res;
          mipo_enc_ctx seed_enc;
          GuardedSources sources;
          fill_with_noise(random, seeds, seed_enc, res);
          std::vector<ub8> seed(kind == Seeds::per_row ? rows : 1);
          for (ub8 &each : seed) each = random.next();
          seeds.data = sources.keep(seed);
          seeds.nrows = kind == Seeds::per_row ? (rows == 1 ? 7 : rows) : 1;
          seeds.enc_ctx = &seed_enc;
          seed_enc.flags |= MIPO_HASHED;
          if (kind == Seeds::refused) seed_enc.flags &= ~ub4{MIPO_HASHED};
          const bool refused = kind == Seeds::refused || !has_form;
          std::vector<Asked> expected = refused ? std::vector<Asked>() : column.values;
          for (std::size_t row = 0; row < expected.size(); ++row)
            expected[row].seed = kind == Seeds::per_row ? seed[row] : seed[0];
          for (const Level &level : levels()) {
            const std::string what = running("form " + std::to_string(form) + ", level " + level.name);
            asked.clear();
            const GuardedBuffer hashes(rows * sizeof(ub8));
            res.data = hashes.data();
            const mipo_vec res_after = res;
            ASSERT_EQ(level.record->mipo_hash_dydi(&res, &column.vec, &seeds, host_hash, random.next()),
                      refused ? 2u : 0u)
                << what;
            ASSERT_EQ(asked.size(), expected.size()) << what;
            ASSERT_TRUE(asked == expected) << what << ", seed " << test_seed();
            ASSERT_TRUE(hashes.intact() && same(res, res_after)) << what;
            for (ub4 row = 0; row < rows; ++row)
              ASSERT_EQ(hashes.words()[row], refused ? 0xa5a5a5a5a5a5a5a5 : hash_of(expected[row])) << what;
          }
        }
}

} // namespace
