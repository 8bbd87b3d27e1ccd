// Conversion between native numbers and their sortable bytes, and sums over stored numbers, against a model that works
// one row at a time.
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "check/guarded_sources.h"
#include "check/levels.h"
#include "reference/conversion_model.h"

namespace {

using namespace mipo::check;
using mipo::reference::ConversionCall;
using mipo::reference::ConversionOutcome;

constexpr ub4 counts[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 128, 129, 257, 1000};

std::string described(const ConversionCall &call) {
  return "type " + std::to_string(call.type) + ", " + std::to_string(call.bits) + " bits, " +
         (call.native ? "native" : "stored") + (call.sum ? ", sum of " : ", ") + std::to_string(call.rows) + " rows";
}

bool same_sum(const ConversionCall &call, const std::vector<ub1> &a, const std::vector<ub1> &b) {
  if (a == b) return true;
  if (call.type == 3 || a.size() != b.size()) return false;
  // Which not-a-number a sum makes is the processor's own.
  const auto not_a_number = [](const std::vector<ub1> &bytes) {
    float narrow;
    double wide;
    if (bytes.size() == sizeof narrow) return std::memcpy(&narrow, bytes.data(), sizeof narrow), std::isnan(narrow);
    return std::memcpy(&wide, bytes.data(), sizeof wide), std::isnan(wide);
  };
  return not_a_number(a) && not_a_number(b);
}

// A call in guarded memory. The destination is a buffer of its own, or the source; a call that has no business with
// either gets addresses without memory.
class ConversionCase {
public:
  ConversionCase(const ConversionCall &call, const std::vector<ub1> &source, const std::vector<ub1> &total,
                 bool in_place, Random &random)
      : call_(call), expected_(mipo::reference::convert(call, source, total)) {
    const auto edge = [&] { return some_edge(random); };
    const std::size_t element = mipo::reference::element_bytes(call);
    // Stored bytes lie at any address.
    const auto shift = [&](bool native) { return native ? element * random.below(4) : random.below(9); };
    column_ = std::make_unique<GuardedBuffer>(source.size(), edge(), shift(call.native || in_place));
    result_bytes_ = in_place ? source.size() : expected_.result.size();
    // A sum adds to what is there; a conversion finds what it should not leave.
    before_.resize(result_bytes_);
    for (std::size_t i = 0; i < result_bytes_; ++i)
      before_[i] = call.sum ? total[i] : in_place ? source[i] : static_cast<ub1>(~expected_.result[i]);
    if (in_place) {
      column_writable_ = true;
    } else {
      if (!source.empty()) std::memcpy(column_->data(), source.data(), source.size());
      column_->protect();
      result_ =
          std::make_unique<GuardedBuffer>(result_bytes_, edge(), call.sum ? 8 * random.below(2) : shift(!call.native));
    }

    fill_with_noise(random, res_, src_, enc_, ctx_);
    const bool reads = element != 0 && expected_.code == 0u;
    src_.data = reads ? column_->data() : nowhere_.data();
    res_.data = expected_.code == 0u ? destination().data() : nowhere_.data();
    res_.enc_ctx = reinterpret_cast<mipo_enc_ctx *>(nowhere_.data());
    src_.enc_ctx = &enc_;
    src_.nrows = call.rows;
    enc_.num_type = call.type;
    if (call.type == 3) enc_.bits = call.bits;
    enc_.flags = call.native ? enc_.flags | MIPO_NATIVE : enc_.flags & ~ub4{MIPO_NATIVE};
    ctx_.eval_flags = static_cast<ub2>(call.sum ? ctx_.eval_flags | MIPO_EVAL_SUM : ctx_.eval_flags & ~MIPO_EVAL_SUM);
    without_ctx_ = !call.sum && random.chance(50);
  }

  ub4 call(const Level &level) { return level.record->mipo_convert_dydi(&res_, &src_, without_ctx_ ? nullptr : &ctx_); }

  // What differs from the model, or an empty text.
  std::string run(const Level &level) {
    if (!before_.empty()) std::memcpy(destination().data(), before_.data(), before_.size());
    const mipo_vec res_before = res_, src_before = src_;
    const mipo_enc_ctx enc_before = enc_;
    const mipo_call_ctx ctx_before = ctx_;

    const ub4 code = call(level);

    std::string wrong;
    if (code != expected_.code) wrong += "answered " + std::to_string(code) + "; ";
    const std::vector<ub1> is(destination().data(), destination().data() + result_bytes_);
    if (call_.sum ? !same_sum(call_, is, expected_.result) : is != expected_.result) {
      std::size_t byte = 0;
      while (byte + 1 < is.size() && is[byte] == expected_.result[byte]) ++byte;
      wrong += "byte " + std::to_string(byte) + " of the result differs; ";
    }
    if (!destination().intact()) wrong += "wrote beside the result; ";
    if (!(same(res_, res_before) && same(src_, src_before) && same(enc_, enc_before) && same(ctx_, ctx_before)))
      wrong += "changed a record; ";
    return wrong;
  }

private:
  GuardedBuffer &destination() { return column_writable_ ? *column_ : *result_; }

  ConversionCall call_;
  ConversionOutcome expected_;
  std::vector<ub1> before_;
  std::unique_ptr<GuardedBuffer> column_, result_;
  std::size_t result_bytes_ = 0;
  bool column_writable_ = false, without_ctx_ = false;
  GuardedBuffer nowhere_{0};
  mipo_vec res_, src_;
  mipo_enc_ctx enc_;
  mipo_call_ctx ctx_;
};

void expect_conversion(const ConversionCall &call, const std::vector<ub1> &source, const std::vector<ub1> &total,
                       bool in_place, Random &random) {
  ConversionCase in_memory(call, source, total, in_place, random);
  for (const Level &level : levels()) {
    const std::string what = running(described(call) + (in_place ? " in place" : "") + " at level " + level.name);
    ASSERT_EQ(in_memory.run(level), "") << what << ", seed " << test_seed();
  }
}

// Patterns at which a rule sets in, their neighbours, with either sign; and any other.
ub8 choose_pattern(const ConversionCall &call, Random &random) {
  const unsigned bits = 8 * mipo::reference::element_bytes(call);
  const ub8 top = ub8{1} << (bits - 1);
  const ub8 infinity = call.type == 1   ? 0x7f800000
                       : call.type == 2 ? 0x7ff0000000000000
                       : call.type == 7 ? (random.chance(50) ? 0x7e00 : 0x7c00)
                                        : 0x7f80;
  const ub8 points[] = {0, infinity, top, top / 2, infinity + (top - infinity) / 2};
  const ub8 near = points[random.below(std::size(points))] + random.below(5) - 2;
  return random.chance(50) ? random.next() : random.chance(50) ? near : near ^ top;
}

void append(std::vector<ub1> &bytes, ub8 value, unsigned count, bool big_endian) {
  for (unsigned i = 0; i < count; ++i) bytes.push_back(static_cast<ub1>(value >> 8 * (big_endian ? count - 1 - i : i)));
}

TEST(ConvertTest, EveryTypeAndDirection) {
  Random random;
  for (const ub1 type : {1, 2, 7, 8})
    for (const bool native : {false, true})
      for (const ub4 rows : counts)
        for (int repeat = 0; repeat < 8; ++repeat) {
          const ConversionCall call{type, 0, native, false, rows};
          std::vector<ub1> source;
          for (ub4 row = 0; row < rows; ++row)
            append(source, choose_pattern(call, random), mipo::reference::element_bytes(call), random.chance(50));
          expect_conversion(call, source, {}, repeat % 2 != 0, random);
        }
}

// Once, and often enough that the result is longer than caches and may be stored past them.
TEST(ConvertTest, EveryPatternOf16Bits) {
  Random random;
  for (const ub1 type : {7, 8})
    for (const bool native : {false, true})
      for (const ub4 rows : {65536, (16 << 20) + 77}) {
        if (rows > 65536 && type == 8) continue; // the same but for two constants
        std::vector<ub1> source;
        for (ub4 row = 0; row < rows; ++row) append(source, row, 2, !native);
        expect_conversion({type, 0, native, false, rows}, source, {}, random.chance(50), random);
      }
}

TEST(ConvertTest, WhatIsOnDiskStaysReadable) {
  const struct {
    ub1 type;
    ub8 number, stored, read_back;
  } cases[] = {{1, 0x3f800000, 0xbf800000, 0x3f800000}, // 1
               {1, 0xbf800000, 0x407fffff, 0xbf800000}, // -1
               {1, 0x80000000, 0x80000000, 0x00000000}, // -0
               {1, 0xff800000, 0x007fffff, 0xff800000}, // -infinity
               {1, 0x7f800001, 0xffc00000, 0x7fc00000}, // not a number
               {1, 0xffffffff, 0xffc00000, 0x7fc00000},
               {2, 0x7ff0000000000000, 0xfff0000000000000, 0x7ff0000000000000},
               {2, 0xfff0000000000001, 0xfff8000000000000, 0x7ff8000000000000},
               {7, 0x7c01, 0xfc01, 0x7c01}, // passes as a number
               {7, 0x7e00, 0xfe00, 0x7e00},
               {7, 0xfe01, 0xfe00, 0x7e00},
               {8, 0x7f80, 0xff80, 0x7f80},
               {8, 0xff81, 0xffc0, 0x7fc0}};
  for (const Level &level : levels())
    for (const auto &pinned : cases) {
      const unsigned bytes = mipo::reference::element_bytes({pinned.type});
      std::vector<ub1> number, stored, read_back;
      append(number, pinned.number, bytes, false);
      append(stored, pinned.stored, bytes, true);
      append(read_back, pinned.read_back, bytes, false);
      alignas(8) ub1 cell[8];
      mipo_enc_ctx enc{};
      mipo_vec vec{};
      vec.enc_ctx = &enc;
      vec.nrows = 1;
      vec.data = cell;
      enc.num_type = pinned.type;
      enc.flags = MIPO_NATIVE;
      std::memcpy(cell, number.data(), bytes);
      EXPECT_EQ(level.record->mipo_convert_dydi(&vec, &vec, nullptr), 0u);
      EXPECT_EQ(std::vector<ub1>(cell, cell + bytes), stored) << std::hex << pinned.number << " at " << level.name;
      enc.flags = 0;
      EXPECT_EQ(level.record->mipo_convert_dydi(&vec, &vec, nullptr), 0u);
      EXPECT_EQ(std::vector<ub1>(cell, cell + bytes), read_back) << std::hex << pinned.stored << " at " << level.name;
    }
}

// Bytes of a stored number: of near magnitudes and all bits of their fraction, so that each rounding shows; seldom a
// zero of either sign or an infinity.
ub8 choose_stored_number(ub1 type, bool with_specials, Random &random) {
  const unsigned fraction = type == 1 ? 23 : 52, bits = type == 1 ? 32 : 64;
  const ub8 one = type == 1 ? 127 : 1023, top = ub8{1} << (bits - 1);
  ub8 pattern = (one - 8 + random.below(16)) << fraction | random.next() >> (64 - fraction);
  if (with_specials && random.chance(10)) pattern = random.chance(70) ? 0 : (2 * one + 1) << fraction;
  return random.chance(50) ? pattern + top : top - 1 - pattern;
}

TEST(ConvertTest, SumsOfNumbers) {
  Random random;
  for (const ub1 type : {1, 2})
    for (const ub4 rows : counts)
      for (int repeat = 0; repeat < 6; ++repeat) {
        const ConversionCall call{type, static_cast<ub4>(random.next()), false, true, rows};
        const unsigned bytes = mipo::reference::element_bytes(call);
        std::vector<ub1> source, total;
        for (ub4 row = 0; row < rows; ++row)
          append(source, choose_stored_number(type, repeat == 0, random), bytes, true);
        if (repeat == 1) // all are -0: the sum is +0 all the same
          source.assign(source.size(), 0xff);
        for (ub4 row = 0; repeat == 1 && row < rows; ++row) source[bytes * row] = 0x7f;
        const ub8 top = ub8{1} << (8 * bytes - 1);
        append(total, repeat == 1 ? top : choose_stored_number(type, false, random) % top, 8, false);
        expect_conversion(call, source, total, false, random);
      }
}

TEST(ConvertTest, SumsOfIntegers) {
  Random random;
  for (const ub4 bits : {8, 16, 32, 64, 0, 7, 12, 24, 40, 128, 256 + 8})
    for (const bool native : {false, true})
      for (const ub4 rows : counts) {
        const ConversionCall call{3, bits, native, true, rows};
        const unsigned bytes = mipo::reference::element_bytes(call);
        std::vector<ub1> source, total;
        const ub8 extreme = random.below(3); // all the least, all -1, or any
        for (ub4 row = 0; row < rows && bytes != 0; ++row)
          append(source,
                 extreme == 0   ? ub8{1} << (8 * bytes - 1)
                 : extreme == 1 ? ~ub8{0}
                                : random.next(),
                 bytes, true);
        append(total, random.next(), 8, false);
        expect_conversion(call, source, total, false, random);
      }
}

// What is not served touches nothing; there is nothing to touch.
TEST(ConvertTest, Refusals) {
  Random random;
  unsigned refused = 0;
  for (unsigned type = 0; type < 256; ++type)
    for (const bool native : {false, true})
      for (const bool sum : {false, true}) {
        const ConversionCall call{static_cast<ub1>(type), 32, native, sum, 9};
        if (mipo::reference::convert({call.type, 32, native, sum, 0}, {}, std::vector<ub1>(8)).code != 24u) continue;
        ++refused;
        for (int repeat = 0; repeat < 3; ++repeat) expect_conversion(call, {}, {}, false, random);
      }
  EXPECT_EQ(refused, 4 * (256 - 5) + 2 + 4u);
}

TEST(ConvertTest, ConvertingIntegersFailsAnAssertion) {
  Random random;
  for (const Level &level : levels())
    for (const bool native : {false, true})
      for (const ub4 rows : {0, 5})
        EXPECT_EXIT(ConversionCase({3, 32, native, false, rows}, {}, {}, false, random).call(level),
                    testing::KilledBySignal(SIGABRT), "mipoc_arm64neon:[0-9]+: .*Assertion `FALSE' failed");
}

} // namespace
