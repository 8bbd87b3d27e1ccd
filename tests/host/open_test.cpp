// Opening the library: which file is chosen, what is refused and how it is said.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "mipo/host/library.h"

namespace mipo::host {
namespace {

// Sets an environment variable for a while.
class Variable {
public:
  Variable(const char *name, const std::string &value) : name_(name) { setenv(name, value.c_str(), 1); }
  ~Variable() { unsetenv(name_); }
  Variable(const Variable &) = delete;
  Variable &operator=(const Variable &) = delete;

private:
  const char *name_;
};

std::vector<std::string> built_levels() {
  std::vector<std::string> levels;
  std::istringstream list(MIPO_TEST_LEVELS);
  for (std::string level; list >> level;) levels.push_back(level);
  return levels;
}

std::string problem_of(const std::string &path) {
  try {
    Library::open_path(path);
  } catch (const OpenError &error) {
    return error.what();
  }
  return "opened";
}

TEST(Open, ForcedLevelIsTheOneOfTheFile) {
  for (const std::string &level : built_levels()) {
    const Variable forced(MIPO_LEVEL_VARIABLE, level);
    try {
      const Library library = Library::open();
      EXPECT_EQ(library.level(), level);
      EXPECT_EQ(library.path().substr(0, std::string(MIPO_TEST_LIBRARY_FOLDER).size()), MIPO_TEST_LIBRARY_FOLDER);
      EXPECT_NE(library.message().find(MIPO_LEVEL_VARIABLE), std::string::npos);
    } catch (const OpenError &error) {
      EXPECT_NE(std::string(error.what()).find("this processor cannot run"), std::string::npos) << error.what();
    }
  }
}

// The loader by itself would answer with whatever library of this name is open.
TEST(Open, DefaultDoesNotDependOnWhatIsOpen) {
  const std::string level(Library::open().level()); // and closed again
  const auto levels = built_levels();
  EXPECT_NE(std::ranges::find(levels, level), levels.end()) << level;
  for (const std::string &other : levels) {
    try {
      setenv(MIPO_LEVEL_VARIABLE, other.c_str(), 1);
      const Library forced = Library::open();
      unsetenv(MIPO_LEVEL_VARIABLE);
      const Library by_default = Library::open();
      EXPECT_EQ(by_default.level(), level) << "with " << other << " open";
      EXPECT_EQ(&forced.record() == &by_default.record(), other == level);
    } catch (const OpenError &error) {
      unsetenv(MIPO_LEVEL_VARIABLE);
      EXPECT_NE(std::string(error.what()).find("this processor cannot run"), std::string::npos) << error.what();
    }
  }
}

TEST(Open, SaysWhatIsWrongWithTheLevel) {
  for (const char *level : {"avx512", "AVX2", "."}) {
    const Variable forced(MIPO_LEVEL_VARIABLE, level);
    try {
      Library::open();
      ADD_FAILURE() << level;
    } catch (const OpenError &error) {
      const std::string message = error.what();
      EXPECT_NE(message.find(std::string("MIPO_LEVEL=") + level + ": there is no such level"), std::string::npos)
          << message;
      EXPECT_NE(message.find(built_levels().front()), std::string::npos) << message << ": what is installed";
    }
  }
  const Variable forced(MIPO_LEVEL_VARIABLE, "");
  EXPECT_NO_THROW(Library::open()) << "empty is as good as unset";
}

TEST(Open, SaysWhatIsWrongWithTheFile) {
  EXPECT_NE(problem_of("/nowhere/libmipo.so.1").find("/nowhere/libmipo.so.1"), std::string::npos);
  EXPECT_NE(problem_of("").find("no path"), std::string::npos);
  EXPECT_NE(problem_of("libc.so.6").find("is not this library"), std::string::npos) << problem_of("libc.so.6");
  for (const std::string field : {"magic", "version text", "format", "layout", "dispatch table"}) {
    const Variable wrong("MIPO_TEST_WRONG_FIELD", field);
    const std::string problem = problem_of(MIPO_TEST_WRONG_RECORD);
    EXPECT_NE(problem.find(field), std::string::npos) << problem;
    EXPECT_NE(problem.find(MIPO_TEST_WRONG_RECORD), std::string::npos) << problem;
  }
  const Library unnamed = Library::open_path(MIPO_TEST_WRONG_RECORD);
  EXPECT_EQ(unnamed.level(), "unknown") << "a file without the note";
  EXPECT_EQ(unnamed.kernel_count(), 0u);
  EXPECT_EQ(unnamed.entry_count(), 0u);
}

TEST(Open, CopyInAnotherFolderIsOpenedByPath) {
  const Library library = Library::open();
  const auto copy = std::filesystem::path(testing::TempDir()) / "mipo-copy" / "libmipo.so.1";
  std::filesystem::create_directories(copy.parent_path());
  std::filesystem::copy_file(library.path(), copy, std::filesystem::copy_options::overwrite_existing);
  const Library copied = Library::open_path(copy);
  EXPECT_EQ(copied.path(), copy.string());
  EXPECT_EQ(copied.level(), library.level());
  EXPECT_NE(&copied.record(), &library.record());
  std::filesystem::remove_all(copy.parent_path());
}

TEST(Open, FromManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::vector<const mipo_specialized_ctx *> records(8);
  const Library kept = Library::open();
  for (auto &record : records)
    threads.emplace_back([&record] {
      for (int i = 0; i < 20; ++i) record = &Library::open().record();
    });
  for (std::thread &thread : threads) thread.join();
  for (const mipo_specialized_ctx *record : records) EXPECT_EQ(record, &kept.record());
}

TEST(Open, MovesAndCloses) {
  Library library = Library::open();
  Library moved = std::move(library);
  EXPECT_EQ(moved.record().magic, MIPO_MAGIC);
  moved = Library::open();
  EXPECT_EQ(moved.record().magic, MIPO_MAGIC);
}

TEST(Kernels, AreCheckedBeforeTheyAreCalled) {
  const Library library = Library::open_path(MIPO_TEST_WRONG_RECORD); // has none
  const ub4 eq8 = column_key(MIPO_OP_EQ, MIPO_FAMILY_DICT, 8);
  const ub4 ge_le16 = column_key(MIPO_OP_GE_LE, MIPO_FAMILY_DICT, 16);
  const struct {
    ub4 key;
    const char *name;
    const char *problem;
  } cases[] = {{eq8, "mipo_eq_dict_8bit", "does not have the kernel mipo_eq_dict_8bit (key 928)"},
               {ge_le16, "mipo_ge_le_dict_16bit", "is a two-sided predicate, not a one-sided predicate"},
               {18, "mipo_invalid_dispatch", "no kernel has this key"},
               {MIPO_DISPATCH_TABLE_SLOTS, "mipo_invalid_dispatch", "no kernel has this key"}};
  for (const auto &c : cases) {
    try {
      library.one_sided(c.key);
      ADD_FAILURE() << c.key;
    } catch (const MissingKernel &error) {
      EXPECT_EQ(error.key(), c.key);
      EXPECT_EQ(error.name(), c.name);
      EXPECT_NE(std::string(error.what()).find(c.problem), std::string::npos) << error.what();
    }
  }
  try {
    entry(library, &mipo_specialized_ctx::mipo_brep_decode_dydi);
    ADD_FAILURE();
  } catch (const MissingKernel &error) {
    EXPECT_EQ(error.name(), "mipo_brep_decode_dydi");
    EXPECT_EQ(error.key(), 76u);
  }
}

TEST(Kernels, NamesAgreeWithKeys) {
  const auto all = all_kernels();
  ASSERT_EQ(all.size(), 925u);
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (i > 0) {
      EXPECT_LT(all[i - 1].key, all[i].key);
    }
    EXPECT_EQ(find_kernel(all[i].name), &all[i]);
    EXPECT_EQ(find_kernel(all[i].key), &all[i]);
    EXPECT_FALSE(all[i].family.empty()) << all[i].name;
  }
  const struct {
    ub4 key;
    const char *name;
    const char *family;
    KernelShape shape;
  } telling[] = {{17, "mipo_xlate_sim_bit", "xlate sim", KernelShape::xlate},
                 {55, "mipo_minmax_dict_1bit", "dict", KernelShape::minmax},
                 {878, "mipo_burst_rle_8bit", "burst rle", KernelShape::burst},
                 {4128, "mipo_eq_dict_1bit_null", "dict null", KernelShape::one_sided},
                 {4243, "mipo_add_float_n_n_sum", "arithmetic sum", KernelShape::arithmetic},
                 {4337, "mipo_xlate_groupkey_nib_c2d", "xlate groupkey c2d", KernelShape::xlate},
                 {6985, "mipo_ge_le_dynp_64bit_tz", "dynp tz", KernelShape::two_sided}};
  for (const auto &t : telling) {
    const KernelDescription *kernel = find_kernel(t.key);
    ASSERT_NE(kernel, nullptr) << t.name;
    EXPECT_EQ(kernel->name, t.name);
    EXPECT_EQ(kernel->family, t.family);
    EXPECT_EQ(kernel->shape, t.shape);
  }
  EXPECT_EQ(kernel_name(33000), invalid_kernel_name);
}

TEST(Kernels, CountsAgreeWithTheRecord) {
  const Library library = Library::open();
  unsigned described = 0;
  for (const KernelDescription &kernel : all_kernels()) described += library.has_kernel(kernel.key) ? 1 : 0;
  EXPECT_EQ(library.kernel_count(), described) << "no kernel stands in a slot without a name";
  EXPECT_GE(described, 40u);
  const auto entries = library.entries();
  ASSERT_EQ(entries.size(), 73u);
  unsigned present = 0;
  for (unsigned i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(entries[i].slot, 15 + i);
    const auto *slots = reinterpret_cast<void *const *>(&library.record());
    EXPECT_EQ(entries[i].present, slots[15 + i] != nullptr) << entries[i].name;
    present += entries[i].present ? 1 : 0;
  }
  EXPECT_EQ(library.entry_count(), present);
}

TEST(Codes, HaveNames) {
  EXPECT_EQ(code_name(0), "MIPO_DONE");
  EXPECT_EQ(code_name(24), "MIPO_INVALID_PARAMETER");
  EXPECT_EQ(code_text(1), "done, and the result is empty");
  for (const ub4 unused : {7u, 9u, 13u, 17u, 25u}) EXPECT_EQ(code_name(unused), "unknown code") << unused;
}

} // namespace
} // namespace mipo::host
