// Rows whose codes a translation table has, and what it has for them, by the kernels for translation.
#ifndef MIPO_ENGINE_RUN_TRANSLATION_H
#define MIPO_ENGINE_RUN_TRANSLATION_H

#include <map>
#include <memory>
#include <span>
#include <vector>

#include "engine/plan/bound_column.h"
#include "engine/run/kernel_profile.h"
#include "mipo/host/library.h"
#include "mipo/host/translation_table.h"

namespace mipo::engine {

/// Sets the bits of the rows whose code is in the table, by its index, on so many threads. With `within`, other rows
/// are left out. The column must be one of the first table, and plain or decompressed. Adds the steps of reading codes
/// and of looking them up.
host::Result rows_in_table(const host::Library &library, const host::TranslationTable &table, const BoundColumn &column,
                           const host::Result *within, unsigned threads, const std::string &condition,
                           std::vector<KernelProfile> &steps);

/// Stores in `entries` (handed_out_bytes() of them) what the table has for each code.
KernelProfile materialize(const host::Library &library, const host::TranslationTable &table, std::span<const ub4> codes,
                          std::byte *entries, const std::string &condition);

/// The values that rows have in joined columns, as tables hand them out.
class MaterializedColumns {
public:
  MaterializedColumns() = default;
  /// For the rows of `within`. The codes of a key are read once for all columns that hang on it. Adds the steps of
  /// reading codes and of handing out.
  MaterializedColumns(const host::Library &library, const std::vector<const BoundColumn *> &joined,
                      const host::Result &within, std::vector<KernelProfile> &steps);

  /// The code of a row's value, or nothing. The column must be one of those handed out, the row one that was asked for.
  std::optional<ub8> code(const BoundColumn &joined, ub4 row) const;

private:
  struct Ranks {
    host::EntryWidth width;
    std::unique_ptr<std::byte[]> entries; // of rows that were not asked for, whatever the memory held
  };
  std::map<const BoundColumn *, Ranks> ranks_;
};

} // namespace mipo::engine

#endif
