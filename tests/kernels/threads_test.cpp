// Kernels, selective calls and iterators on several threads at once, over columns and bit vectors that all of them
// share. To be run under the thread sanitizer too.
#include <gtest/gtest.h>

#include <map>
#include <thread>
#include <vector>

#include "check/guarded_sources.h"
#include "check/levels.h"
#include "check/predicate_families.h"
#include "check/test_host.h"

namespace {

using namespace mipo::check;
using mipo::reference::Value;

constexpr unsigned thread_count = 4;
constexpr ub4 rows = 1500;

// A column and constants in the form of a family.
struct Operands {
  StoredColumn column, low, high;
  mipo_enc_ctx enc{};

  Operands(const ListedKernel &kernel, const PredicateFamily &family, Random &random) {
    const ColumnFormat &format = family.format_of(kernel.bits());
    const unsigned bits = enc.bits = family.stored_bits(kernel.bits()).front();
    std::vector<Value> values(rows);
    for (Value &value : values) value = some_value(random.below(bits < 8 ? ub8{1} << bits : 256), format, bits, random);
    column = format.column(values, bits);
    low = format.constant({0x20}, bits);
    high = format.constant({0x90}, bits);
  }
};

// What all threads read.
struct Shared {
  std::map<const PredicateFamily *, std::map<unsigned, Operands>> operands; // by width
  std::vector<ub8> selection, filter;
  ub8 set[4] = {0x5a5a5a5a5a5a5a5a, 0x0123456789abcdef, 0, ~ub8{0}}; // 256 codes

  Shared() {
    Random random;
    for (const ListedKernel &kernel : all_kernels())
      if (const PredicateFamily *family = family_of(kernel))
        operands[family].try_emplace(kernel.bits(), kernel, *family, random);
    std::vector<bool> bits(rows);
    for (std::vector<ub8> *words : {&selection, &filter}) {
      for (std::size_t row = 0; row < rows; ++row) bits[row] = random.chance(70);
      *words = bit_vector_words(bits, random);
    }
  }
};

// What one thread finds, with all kernels and both ways to walk.
std::vector<ub8> results(const Level &level, Shared &shared) {
  std::vector<ub8> found;
  std::vector<ub8> bits((rows + 63) / 64);
  for (const ListedKernel &kernel : all_kernels()) {
    const PredicateFamily *family = family_of(kernel);
    if (family == nullptr) continue;
    Operands &operands = shared.operands.at(family).at(kernel.bits());
    for (const bool selective : {false, true}) {
      mipo_vec res{}, src{}, low{}, high{};
      res.bv = bits.data();
      src.filter_bv = shared.filter.data();
      res.nrows = src.nrows = rows;
      for (auto [vector, stored] :
           {std::pair(&src, &operands.column), {&low, &operands.low}, {&high, &operands.high}}) {
        vector->data = stored->data.data();
        vector->lens = stored->lens.data();
        vector->enc_ctx = &operands.enc;
      }
      low.bv = shared.set;
      mipo_call_ctx ctx{};
      ctx.ones_vec = shared.selection.data();
      ctx.eval_flags = selective ? MIPO_EVAL_SELECTIVE : 0;
      const mipo_kernel built = level.record->dispatch_table[kernel.key()];
      found.push_back(call_predicate(kernel.shape, built, &res, &src, &low, &high, &ctx));
      found.push_back(res.nset);
      found.insert(found.end(), bits.begin(), bits.end());
    }
  }

  mipo_lbiv_ictx walk;
  level.record->mipo_lbiwv_ictx_ini2_dydi(&walk, shared.selection.data(), rows, 0, 3);
  for (ub8 bit = 0; bit != MIPO_LBIWV_END;) found.push_back(bit = level.record->mipo_lbiwviter_dydi(&walk));
  std::vector<ub4> batch(256);
  level.record->mipo_lbiv_ictx_ini2_dydi(&walk, reinterpret_cast<const ub1 *>(shared.filter.data()), rows, 0, 5);
  for (ub8 got = batch.size(); got == batch.size();) {
    got = level.record->mipo_lbivones_dydi(&walk, batch.data(), batch.size());
    found.insert(found.end(), batch.begin(), batch.begin() + static_cast<std::ptrdiff_t>(got));
  }
  return found;
}

TEST(Threads, CallsOnSharedColumnsDoNotMeet) {
  Shared shared;
  for (const Level &level : levels()) {
    const std::vector<ub8> expected = results(level, shared);
    std::vector<std::vector<ub8>> found(thread_count);
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < thread_count; ++number)
      threads.emplace_back([&, number] {
        for (int repeat = 0; repeat < 3; ++repeat) found[number] = results(level, shared);
      });
    for (std::thread &thread : threads) thread.join();
    for (unsigned number = 0; number < thread_count; ++number)
      EXPECT_TRUE(found[number] == expected) << level.name << ", thread " << number << ", seed " << test_seed();
  }
}

// Compressed columns are shared from the moment that one call has filled the cell.
TEST(Threads, DecompressedColumnIsShared) {
  Shared shared;
  const ListedKernel &kernel = all_kernels().front();
  Operands &operands = shared.operands.at(family_of(kernel)).at(kernel.bits());
  operands.enc.flags = MIPO_BREP;
  for (const Level &level : levels()) {
    TestHost first_host;
    void *slot = nullptr;
    first_host.decompressed = operands.column.data;
    const auto count = [&](TestHost &host) {
      std::vector<ub8> bits((rows + 63) / 64);
      mipo_vec res{}, src{}, constant{};
      res.bv = bits.data();
      src.enc_ctx = &operands.enc;
      src.decomp_slot = &slot;
      src.decomp_size = static_cast<ub4>(operands.column.data.size());
      res.nrows = src.nrows = rows;
      constant.data = operands.low.data.data();
      mipo_call_ctx ctx{};
      ctx.host = host.ctx();
      call_predicate(kernel.shape, level.record->dispatch_table[kernel.key()], &res, &src, &constant, &constant, &ctx);
      return res.nset;
    };
    const ub4 expected = count(first_host);
    ASSERT_NE(slot, nullptr);
    ub4 found[thread_count];
    std::vector<std::thread> threads;
    for (ub4 &result : found)
      threads.emplace_back([&count, &result] {
        TestHost host;
        result = count(host);
        if (!host.calls.empty()) result = ~ub4{0};
      });
    for (std::thread &thread : threads) thread.join();
    for (const ub4 result : found) EXPECT_EQ(result, expected) << level.name;
  }
}

} // namespace
