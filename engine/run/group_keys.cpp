#include "engine/run/group_keys.h"

#include <algorithm>
#include <cstddef>

#include "engine/run/translation.h"
#include "mipo/host/translation_table.h"

namespace mipo::engine {

IndexTables::IndexTables(const host::Library &library, const GroupKeyLayout &keys, std::vector<KernelProfile> &calls) {
  if (keys.method() != GroupKeyLayout::Method::folding) return;
  for (std::size_t component = 0; component < keys.components(); ++component) {
    const std::vector<ub4> indices = keys.indices_by_code(component);
    const host::TranslationTable table{std::span(indices)};
    std::vector<ub4> codes(indices.size());
    for (std::size_t code = 0; code < codes.size(); ++code) codes[code] = static_cast<ub4>(code);
    std::vector<std::byte> entries(host::handed_out_bytes(codes.size(), table.width()) + 1);
    calls.push_back(materialize(library, table, codes, entries.data(), "group indices of " + keys.names(component)));
    const TranslationUsed used{host::TableMapping::simple, table.width(), entries.size() - 1};
    tables_.push_back({std::move(entries), table.group_key_key(), used});
  }
}

GroupKeys::GroupKeys(const host::Library &library, const GroupKeyLayout &keys, const IndexTables &indices,
                     ChunkRows &rows, ub4 chunk, ChunkCodes &codes)
    : keys_(keys), rows_(rows), numbers_(chunk + ChunkRows::spare) {
  const std::string condition = "GROUP BY " + keys.names();
  std::vector<mipo_vec> columns;
  switch (keys.method()) {
  case GroupKeyLayout::Method::codes:
    for (std::size_t component = 0; component < keys.components(); ++component)
      columns.push_back(keys.stored(component).values->data.vec());
    cursor_.emplace(library, rows.context(), columns,
                    keys.shifts() ? host::KeyPacking::shifts : host::KeyPacking::products, rows.selection());
    calls_.push_back(entry_step("mipo_groupkey_dydi", offsetof(mipo_specialized_ctx, mipo_groupkey_dydi), condition));
    break;
  case GroupKeyLayout::Method::row_by_row:
    calls_.push_back(row_step("group keys", condition));
    break;
  case GroupKeyLayout::Method::folding:
    for (std::size_t component = 0; component < keys.components(); ++component) {
      const IndexTables::Table &table = indices[component];
      Fold &fold = folds_.emplace_back(Fold{&codes.of(keys.stored(component)), library.xlate(table.key), {}});
      fold.ctx.xlate_out = const_cast<std::byte *>(table.entries.data());
      fold.ctx.xlate_mult = keys.weight(component);
      calls_.push_back(kernel_step(table.key, "GROUP BY " + keys.names(component)));
      calls_.back().translation = table.used;
    }
  }
}

void GroupKeys::read() {
  if (keys_.method() == GroupKeyLayout::Method::folding) {
    fold();
    return;
  }
  const Stopwatch stopwatch;
  if (keys_.method() == GroupKeyLayout::Method::codes)
    read_codes();
  else
    std::transform(rows_.numbers().begin(), rows_.numbers().end(), numbers_.begin(),
                   [&](ub4 row) { return static_cast<ub4>(keys_.number(row)); });
  calls_.front().add(stopwatch, rows_.count(), rows_.end() - rows_.begin());
}

void GroupKeys::read_codes() {
  cursor_->skip_to(rows_.begin());
  if (cursor_->next(numbers_, rows_.end()).size() != rows_.count())
    throw host::Error("mipo_groupkey_dydi stopped before the last row");
}

void GroupKeys::fold() {
  std::fill_n(numbers_.begin(), rows_.count(), 0);
  for (std::size_t component = 0; component < folds_.size(); ++component) {
    Fold &fold = folds_[component];
    fold.codes->read();
    mipo_vec numbers{}, codes{};
    numbers.data = numbers_.data();
    codes.data = const_cast<ub4 *>(fold.codes->unpacked());
    codes.nrows = rows_.count();
    const Stopwatch stopwatch;
    const ub4 code = fold.kernel(&numbers, &codes, nullptr, &fold.ctx);
    host::throw_unless_answered(calls_[component].name, code);
    calls_[component].add(stopwatch, rows_.count(), rows_.count());
  }
}

} // namespace mipo::engine
