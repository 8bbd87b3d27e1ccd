// The exported record of every level: header, entries, dispatch table.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>

#include "check/built_kernels.h"
#include "check/levels.h"
#include "check/test_host.h"

namespace {

using namespace mipo::check;

ub8 slot(const Level &level, unsigned number) {
  ub8 word;
  std::memcpy(&word, reinterpret_cast<const ub1 *>(level.record) + 8 * number, sizeof word);
  return word;
}

const char *text_in_slot(const Level &level, unsigned number) {
  return reinterpret_cast<const char *>(slot(level, number));
}

TEST(Records, HeaderHoldsTheValuesThatHostsCheck) {
  for (const Level &level : levels()) {
    SCOPED_TRACE(level.name);
    EXPECT_EQ(slot(level, 0), 0xc16182c0u);
    EXPECT_STREQ(text_in_slot(level, 1), "TLW_23.0");
    EXPECT_EQ(slot(level, 2), 3u);
    EXPECT_STREQ(text_in_slot(level, 3), "stlwarm64neon");
    const ub8 layout[] = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16};
    for (unsigned i = 0; i < 10; ++i) EXPECT_EQ(slot(level, 4 + i), layout[i]) << "slot " << 4 + i;
    EXPECT_NE(slot(level, 14), 0u);
  }
}

TEST(Records, EntriesThatAreBuiltStandInTheirSlots) {
  // Lifecycle, the way to the host's decompressor, conversion, streams, groups, hashes and filters, table layouts,
  // small sweeps.
  std::set<unsigned> built = {15, 16, 51, 54, 57, 58, 59, 60, 68, 74, 75, 76, 77, 78, 79, 80, 81};
  for (unsigned bit_vector = 17; bit_vector <= 50; ++bit_vector) built.insert(bit_vector);
  ASSERT_EQ(built.size(), 51u);
  for (const Level &level : levels()) {
    std::set<ub8> addresses;
    for (unsigned number = 15; number <= 87; ++number) {
      EXPECT_EQ(slot(level, number) != 0, built.count(number) != 0) << level.name << ", slot " << number;
      addresses.insert(slot(level, number));
    }
    // Entries that do nothing may share an address; the bit vector entries have work of their own.
    EXPECT_GE(addresses.size(), 30u) << level.name;
  }
}

TEST(Records, LifecycleEntriesDoNothing) {
  for (const Level &level : levels()) {
    level.record->mipo_init_sharedlib_dydi(1, 2);
    level.record->mipo_set_trace_level_dydi(3);
    EXPECT_EQ(level.record->mipo_thread_ctx_init_dydi(), 0u) << level.name;
    EXPECT_EQ(level.record->mipo_thread_ctx_fini_dydi(), 0u) << level.name;
  }
}

TEST(Records, DispatchTableHoldsExactlyTheBuiltKernels) {
  std::set<ub4> keys;
  for (const ListedKernel &kernel : all_kernels())
    EXPECT_TRUE(keys.insert(kernel.key()).second) << kernel.name << " shares its key";
  for (const Level &level : levels()) {
    const mipo_kernel *table = reinterpret_cast<const mipo_kernel *>(slot(level, 14));
    std::set<void (*)()> addresses;
    for (const ListedKernel &kernel : all_kernels()) {
      if (kernel.shape == Shape::placeholder) continue; // kernels that do nothing may share an address
      EXPECT_TRUE(addresses.insert(table[kernel.key()].any).second) << level.name << ", " << kernel.name;
    }
    for (ub4 key = 0; key < 8192; ++key)
      EXPECT_EQ(table[key].any != nullptr, keys.count(key) != 0) << level.name << ", key " << key;
  }
}

// The key of each telling kernel, by number: hosts compute keys by themselves.
TEST(Records, KernelsStandUnderTheirKeys) {
  const struct {
    ub4 key;
    const char *name;
  } telling[] = {{17, "mipo_xlate_sim_bit"},
                 {32, "mipo_eq_dict_1bit"},
                 {55, "mipo_minmax_dict_1bit"},
                 {147, "mipo_add_float_n_n"},
                 {878, "mipo_burst_rle_8bit"},
                 {896, "mipo_eq_fixed_8bit"},
                 {940, "mipo_decode_symbol_dict_8bit"},
                 {1984, "mipo_eq_dynp_16bit"},
                 {2592, "mipo_eq_dict_24bit"},
                 {2848, "mipo_eq_dict_64bit"},
                 {4128, "mipo_eq_dict_1bit_null"},
                 {4243, "mipo_add_float_n_n_sum"},
                 {4337, "mipo_xlate_groupkey_nib_c2d"},
                 {6985, "mipo_ge_le_dynp_64bit_tz"},
                 {7761, "mipo_xlate_ind_ub4_c2d_sep"}};
  ASSERT_EQ(all_kernels().size(), 925u);
  std::map<std::string, ub4> keys;
  for (const ListedKernel &kernel : all_kernels())
    EXPECT_TRUE(keys.emplace(kernel.name, kernel.key()).second) << kernel.name << " stands twice";
  for (const auto &row : telling) EXPECT_EQ(keys.at(row.name), row.key) << row.name;
}

TEST(Records, DecompressorEntryPassesEverythingOn) {
  for (const Level &level : levels()) {
    TestHost host;
    const ub1 stream[1] = {};
    ub1 destination[1];
    void *const memory = destination;
    host.stream = stream;
    host.slot = &memory;
    for (const ub4 result : {0u, 1u, 0xfedcba98u}) {
      host.calls.clear();
      host.decode_result = result;
      mipo_decode_args args{};
      args.env = host.env();
      args.heap = host.heap();
      ub4 length = 4711;
      EXPECT_EQ(level.record->mipo_brep_decode_dydi(&args, stream, destination, &length, 0xfffffff1), result)
          << level.name;
      const std::vector<std::string> expected = {
          "brep_decode(env, heap, stream, slot's memory, length 4711, 4294967281, 0, 0, 0)"};
      EXPECT_EQ(host.calls, expected) << level.name;
    }
  }
}

} // namespace
