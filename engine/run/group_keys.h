// The group numbers of the selected rows of chunks.
#ifndef MIPO_ENGINE_RUN_GROUP_KEYS_H
#define MIPO_ENGINE_RUN_GROUP_KEYS_H

#include <vector>

#include "engine/plan/group_key_layout.h"
#include "engine/run/column_codes.h"
#include "mipo/host/library.h"

namespace mipo::engine {

/// Indices by code, as the kernels that fold them into group numbers read them: one table for each index.
class IndexTables {
public:
  /// The indices are handed out by the translation kernels, each table in a call, which is added. There are none unless
  /// the method is folding.
  IndexTables(const host::Library &library, const GroupKeyLayout &keys, std::vector<KernelProfile> &calls);

  struct Table {
    std::vector<std::byte> entries;
    ub4 key; // of the kernel that folds them
    TranslationUsed used;
  };
  const Table &operator[](std::size_t component) const { return tables_[component]; }

private:
  std::vector<Table> tables_;
};

class GroupKeys {
public:
  /// All must outlive it.
  GroupKeys(const host::Library &library, const GroupKeyLayout &keys, const IndexTables &indices, ChunkRows &rows,
            ub4 chunk, ChunkCodes &codes);

  void read();
  const ub4 *data() const { return numbers_.data(); }
  /// Adds the calls of kernels, always as many, but for the reading of codes.
  void profile(std::vector<KernelProfile> &calls) const { calls.insert(calls.end(), calls_.begin(), calls_.end()); }

private:
  void read_codes();
  void fold();

  const GroupKeyLayout &keys_;
  ChunkRows &rows_;
  std::vector<ub4> numbers_;
  std::optional<host::GroupKeyCursor> cursor_; // by codes
  struct Fold {
    ColumnCodes *codes;
    mipo_xlate_kernel *kernel;
    mipo_call_ctx ctx;
  };
  std::vector<Fold> folds_;          // by folding
  std::vector<KernelProfile> calls_; // one, or one for each fold
};

} // namespace mipo::engine

#endif
