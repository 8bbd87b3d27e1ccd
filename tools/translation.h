// Rows whose codes a translation table has, and what it has for them, by the kernels for translation.
#ifndef MIPO_TOOLS_TRANSLATION_H
#define MIPO_TOOLS_TRANSLATION_H

#include <map>
#include <memory>
#include <span>
#include <vector>

#include "mipo/host/library.h"
#include "mipo/host/translation_table.h"
#include "row_column.h"
#include "step.h"

namespace mipo::tools {

/// Sets the bits of the rows whose code is in the table, by its index, on so many threads. With `within`, other rows
/// are left out. The column must be one of the first table, and plain or decompressed. Adds the steps of reading codes
/// and of looking them up.
host::Result rows_in_table(const host::Library &library, const host::TranslationTable &table, const RowColumn &column,
                           const host::Result *within, unsigned threads, const std::string &condition,
                           std::vector<Step> &steps);

/// Stores in `entries` (handed_out_bytes() of them) what the table has for each code.
Step hand_out(const host::Library &library, const host::TranslationTable &table, std::span<const ub4> codes,
              std::byte *entries, const std::string &condition);

/// The values that rows have in joined columns, as tables hand them out.
class HandedOutColumns {
public:
  HandedOutColumns() = default;
  /// For the rows of `within`. The codes of a key are read once for all columns that hang on it. Adds the steps of
  /// reading codes and of handing out.
  HandedOutColumns(const host::Library &library, const std::vector<const RowColumn *> &joined,
                   const host::Result &within, std::vector<Step> &steps);

  /// The code of a row's value, or nothing. The column must be one of those handed out, the row one that was asked for.
  std::optional<ub8> code(const RowColumn &joined, ub4 row) const;

private:
  struct Ranks {
    host::EntryWidth width;
    std::unique_ptr<std::byte[]> entries; // of rows that were not asked for, whatever the memory held
  };
  std::map<const RowColumn *, Ranks> ranks_;
};

} // namespace mipo::tools

#endif
