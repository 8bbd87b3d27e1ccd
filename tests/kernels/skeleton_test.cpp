// The family to copy, against its model: rows around each word's end, with and without a selection.
#include "skeleton/kernels.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "check/guarded_buffer.h"
#include "mipo/codes.h"

namespace mipo::check {
namespace {

struct Member {
  unsigned bits;
  mipo_one_sided_kernel *kernel;
};

TEST(Skeleton, AgreesWithItsModel) {
  const Member members[] = {
      {8, mipo_multiple_dict_8bit}, {11, mipo_multiple_dict_11bit}, {16, mipo_multiple_dict_16bit}};
  std::mt19937 random(11);
  for (const auto &[bits, kernel] : members)
    for (const ub4 rows : {1u, 63u, 64u, 65u, 127u, 300u})
      for (const bool selective : {false, true}) {
        SCOPED_TRACE(testing::Message() << bits << " bits, " << rows << " rows, selective " << selective);
        const size_t words = (rows + 63) / 64;
        GuardedBuffer codes(bits % 8 == 0 ? size_t{rows} * bits / 8 : (size_t{rows - 1} * bits / 32 + 2) * 4, Edge::end,
                            0, 0);
        GuardedBuffer found(words * sizeof(ub8));
        std::vector<ub8> selection(words), expected(words);
        ub4 wanted = 0;
        ub4 divisor = 3;

        for (ub4 row = 0; row < rows; ++row) {
          const ub4 code = random() % (1u << bits);
          const bool selected = random() % 2 == 0;
          for (unsigned bit = 0; bit < bits; ++bit) {
            const size_t place = size_t{row} * bits + bit;
            if (code >> (bits - 1 - bit) & 1) codes.data()[place / 8] |= ub1(0x80 >> place % 8);
          }
          selection[row / 64] |= ub8{selected} << row % 64;
          if (code % divisor != 0 || (selective && !selected)) continue;
          expected[row / 64] |= ub8{1} << row % 64;
          ++wanted;
        }
        mipo_enc_ctx encoding{};
        mipo_vec column{}, constant{}, result{};
        mipo_call_ctx context{};
        column.enc_ctx = &encoding;
        column.nrows = rows;
        column.data = codes.data();
        constant.data = &divisor;
        result.bv = found.words();
        if (selective) context.ones_vec = selection.data();
        ASSERT_EQ(kernel(&result, &column, &constant, &context), ub4{wanted == 0 ? MIPO_EMPTY : MIPO_DONE});
        ASSERT_EQ(result.nset, wanted);
        ASSERT_EQ(std::vector<ub8>(result.bv, result.bv + words), expected);
      }
}

} // namespace
} // namespace mipo::check
