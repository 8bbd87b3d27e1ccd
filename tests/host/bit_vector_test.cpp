// Bit vectors as values, their set algebra and their reader, against one bool a bit.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "mipo/host/bit_vector.h"

namespace mipo::host {
namespace {

constexpr ub8 sizes[] = {0, 1, 63, 64, 65, 127, 128, 129, 1023, 1024, 1025, 20000};

BitVector make(const std::vector<bool> &bits) {
  BitVector vector(bits.size());
  for (ub8 i = 0; i < bits.size(); ++i) vector.set(i, bits[i]);
  return vector;
}

std::vector<bool> random_bits(ub8 size, double density, unsigned seed) {
  std::mt19937 random(seed);
  std::bernoulli_distribution draw(density);
  std::vector<bool> bits(size);
  for (ub8 i = 0; i < size; ++i) bits[i] = draw(random);
  return bits;
}

bool spare_bits_are_zero(const BitVector &vector) {
  if (vector.size() % 64 != 0 && vector.words()[vector.size() / 64] >> (vector.size() % 64) != 0) return false;
  return vector.words() == nullptr || vector.words()[vector.word_count()] == 0; // the spare word
}

TEST(BitVector, AlgebraAgreesWithOneBoolABit) {
  const Library library = Library::open();
  using Operation = ub4 (*)(const Library &, BitVector &, const BitVector &, const BitVector &);
  const std::pair<Operation, bool (*)(bool, bool)> operations[] = {
      {bit_and, [](bool a, bool b) { return a && b; }},
      {bit_or, [](bool a, bool b) { return a || b; }},
      {bit_xor, [](bool a, bool b) { return a != b; }},
      {bit_and_not, [](bool a, bool b) { return a && !b; }},
      {[](const Library &opened, BitVector &to, const BitVector &a, const BitVector &) {
         return bit_not(opened, to, a);
       },
       [](bool a, bool) { return !a; }}};
  for (const ub8 size : sizes)
    for (const auto &[operation, of_bits] : operations) {
      SCOPED_TRACE(testing::Message() << "operation " << of_bits(true, false) << " of " << size << " bits");
      const std::vector<bool> left = random_bits(size, 0.5, 1), right = random_bits(size, 0.5, 2);
      BitVector expected(size), apart(3, true), in_place = make(left);
      for (ub8 i = 0; i < size; ++i) expected.set(i, of_bits(left[i], right[i]));
      EXPECT_EQ(operation(library, apart, make(left), make(right)), expected.count());
      operation(library, in_place, in_place, make(right));
      EXPECT_TRUE(apart == expected && in_place == expected && spare_bits_are_zero(apart));
    }
  BitVector result;
  EXPECT_THROW(bit_and(library, result, BitVector(64), BitVector(65)), ArgumentError);
}

TEST(BitVector, IsAValue) {
  for (const ub8 size : sizes) {
    BitVector full(size, true);
    EXPECT_EQ(full.count(), size);
    EXPECT_TRUE(spare_bits_are_zero(full)) << size;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(full.words()) % 64, 0u);
    BitVector copy = full;
    copy.fill(false);
    EXPECT_EQ(copy.count(), 0u);
    EXPECT_EQ(full.count(), size) << "a copy has words of its own";
    const ub8 *words = full.words();
    const BitVector moved = std::move(full);
    EXPECT_EQ(moved.words(), words) << "records that point to the words stay right";
    EXPECT_EQ(full.size(), 0u); // NOLINT(bugprone-use-after-move): that it is empty is the promise
  }
  EXPECT_EQ(BitVector(), BitVector(0));
  EXPECT_NE(BitVector(64), BitVector(65));
}

TEST(RowReader, DeliversEverySetBitOnce) {
  const Library library = Library::open();
  for (const ub8 size : sizes)
    for (const double density : {0.0, 0.01, 0.5, 1.0})
      for (const ub8 first : {ub8{0}, ub8{1}, ub8{64}, size / 2, size}) {
        const auto bits = random_bits(size, density, 3);
        std::vector<ub4> expected;
        for (ub8 i = first; i < size; ++i)
          if (bits[i]) expected.push_back(static_cast<ub4>(i));
        const BitVector vector = make(bits);
        RowReader reader(library, vector, first);
        std::vector<ub4> rows;
        for (auto batch = reader.next(); !batch.empty(); batch = reader.next())
          rows.insert(rows.end(), batch.begin(), batch.end());
        EXPECT_EQ(rows, expected) << size << " bits from " << first << ", density " << density;
        EXPECT_TRUE(reader.next().empty());
      }
}

} // namespace
} // namespace mipo::host
