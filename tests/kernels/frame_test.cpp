// What the library keeps to itself: the name table, the statistics report, the key functions' assertions and the table
// of the batch extractor. The library's objects are a part of this program.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "check/built_kernels.h"
#include "check/test_host.h"
#include "frame/dispatch_table.h"
#include "frame/statistics.h"

extern "C" const ub4 mipo_unpack_sel8x32_masks[256][8];

namespace {

using namespace mipo::check;

TEST(Frame, TableSizeAndPlaceholder) {
  EXPECT_EQ(mipo_dispatch_table_size(), 8192u);
  EXPECT_EQ(mipo_null(0, 0, 0, 0), 2u);
  EXPECT_EQ(mipo_null(1, ~ub8{0}, 3, 4), 2u);
}

TEST(Frame, NamesAgreeWithKernels) {
  std::vector<std::string> expected(8192, "mipo_invalid_dispatch");
  for (const ListedKernel &kernel : all_kernels()) expected[kernel.key()] = kernel.name;
  EXPECT_EQ(expected[928], "mipo_eq_dict_8bit");
  EXPECT_EQ(expected[2848], "mipo_eq_dict_64bit");
  for (ub4 key = 0; key < 8192; ++key) {
    const std::string name = mipo_dispatch_func_names.names[key];
    EXPECT_EQ(name, expected[key]) << key;
    EXPECT_EQ(mipo_dispatch_table.kernels[key].any == nullptr, name == "mipo_invalid_dispatch") << key;
  }
}

struct Report {
  std::vector<ub4> counts = std::vector<ub4>(8192);
  std::vector<double> rates = std::vector<double>(8192);

  std::string printed(ub4 only_called) const {
    mipo_stats stats{};
    stats.call_counts = counts.data();
    stats.mrows_per_sec = rates.data();
    testing::internal::CaptureStdout();
    EXPECT_EQ(mipo_stats_dump(&stats, only_called), 4096u);
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
  }
};

TEST(Frame, ReportOfCalledKernels) {
  Report report;
  EXPECT_EQ(report.printed(1), "");
  // Ahead in key order does not mean ahead in the report: variant, family, operation, and only then the width.
  report.counts[928 + 1] = 4294967295; // lt_dict_8bit
  report.rates[928 + 1] = 2.4;
  report.counts[2848] = 7; // eq_dict_64bit
  report.rates[2848] = 1234567.6;
  report.counts[928] = 12; // eq_dict_8bit
  report.rates[0] = 99;    // never called
  report.counts[4096] = 3; // no kernel
  report.counts[64] = 5;   // no kernel, family 2
  const std::string expected = "mipo_eq_dict_8bit             Call Freq: 12\tMrowsPerSec: 0\n"
                               "mipo_eq_dict_64bit            Call Freq: 7\tMrowsPerSec: 1234568\n"
                               "mipo_lt_dict_8bit             Call Freq: -1\tMrowsPerSec: 2\n"
                               "mipo_invalid_dispatch         Call Freq: 5\tMrowsPerSec: 0\n"
                               "mipo_invalid_dispatch         Call Freq: 3\tMrowsPerSec: 0\n";
  EXPECT_EQ(report.printed(1), expected);
  EXPECT_EQ(report.printed(0x100), expected);
}

TEST(Frame, ReportOfAllSlots) {
  Report report;
  std::string expected;
  for (ub4 key = 0; key < 8192; ++key) report.counts[key] = key % 3 == 0 ? 0 : key, report.rates[key] = key + 0.25;
  for (ub4 line = 0; line < 8192; ++line) {
    // Outermost to innermost: 1 bit of variant, 2 of family, 5 of operation, 5 of width.
    const ub4 key = line / 4096 * 4096 + line / 1024 % 4 * 32 + line / 32 % 32 + line % 32 * 128;
    std::string name = "mipo_invalid_dispatch";
    for (const ListedKernel &kernel : all_kernels())
      if (kernel.key() == key) name = kernel.name;
    if (name.size() < 30) name.resize(30, ' ');
    expected +=
        name + "Call Freq: " + std::to_string(report.counts[key]) + "\tMrowsPerSec: " + std::to_string(key) + "\n";
  }
  EXPECT_TRUE(report.printed(0) == expected);
}

TEST(Frame, KeyFunctions) {
  for (int width = 1; width <= 20; ++width) EXPECT_EQ(mipo_convert_width(width), static_cast<ub4>(width - 1));
  EXPECT_EQ(mipo_convert_width(24), 20u);
  EXPECT_EQ(mipo_convert_width(32), 21u);
  EXPECT_EQ(mipo_convert_width(64), 22u);
  const int code_widths[] = {-1, -4, 1, 2, 4};
  for (ub4 i = 0; i < 5; ++i)
    for (ub4 form = 0; form < 4; ++form) EXPECT_EQ(mipo_xlate_convert_width(code_widths[i], form), 8 * form + i);
  for (ub4 kind = 1; kind <= 3; ++kind) EXPECT_EQ(mipo_xlate_convert_type(static_cast<int>(kind)), kind - 1);
}

TEST(FrameDeathTest, KeyFunctionsRefuseWhatHasNoKey) {
  testing::FLAGS_gtest_death_test_style = "fast";
  const auto dies_in = [](const char *function) {
    return std::string("mipoc_arm64neon:[0-9]+: ") + function + ": Assertion `0' failed";
  };
  for (const int width : {0, -1, 21, 22, 23, 25, 31, 33, 63, 65, 96})
    EXPECT_DEATH(mipo_convert_width(width), dies_in("mipo_convert_width")) << width;
  for (const int width : {0, 3, -2, 8})
    EXPECT_DEATH(mipo_xlate_convert_width(width, 0), dies_in("mipo_xlate_convert_width")) << width;
  for (const int kind : {0, 4, -1})
    EXPECT_DEATH(mipo_xlate_convert_type(kind), dies_in("mipo_xlate_convert_type")) << kind;
}

TEST(Frame, PositionsOfTheBitsOfAByte) {
  for (ub4 byte = 0; byte < 256; ++byte) {
    std::vector<ub4> expected;
    for (ub4 bit = 0; bit < 8; ++bit)
      if ((byte & 1u << bit) != 0) expected.push_back(bit);
    expected.resize(8);
    const ub4 *row = mipo_unpack_sel8x32_masks[byte];
    EXPECT_EQ(std::vector<ub4>(row, row + 8), expected) << byte;
  }
}

} // namespace
