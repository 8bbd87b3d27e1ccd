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

GroupKeys::GroupKeys(const host::Library &library, const GroupKeyLayout &keys, const IndexTables &indices, ub4 chunk,
                     ChunkCodes &codes)
    : library_(library), keys_(keys), numbers_(chunk + ChunkRows::spare) {
  const std::string condition = "GROUP BY " + keys.names();
  switch (keys.method()) {
  case GroupKeyLayout::Method::codes:
    further_codes_.resize(chunk + ChunkRows::spare);
    for (std::size_t component = 0; component < keys.components(); ++component)
      columns_.push_back(keys.stored(component).values->data.vec());
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

void GroupKeys::read(ChunkRows &rows) {
  if (keys_.method() == GroupKeyLayout::Method::folding) {
    fold(rows);
    return;
  }
  const Stopwatch stopwatch;
  if (keys_.method() == GroupKeyLayout::Method::codes)
    read_codes(rows);
  else
    std::transform(rows.numbers().begin(), rows.numbers().end(), numbers_.begin(),
                   [&](ub4 row) { return static_cast<ub4>(keys_.number(row)); });
  calls_.front().add(stopwatch, rows.count(), rows.end() - rows.begin());
}

void GroupKeys::read_codes(ChunkRows &rows) {
  for (mipo_vec &column : columns_) column.nrows = rows.end();
  mipo_vec out{}, further{};
  out.data = numbers_.data();
  further.data = further_codes_.data();
  out.nrows = further.nrows = static_cast<ub4>(numbers_.size());
  mipo_call_ctx ctx = rows.call();
  if (!keys_.shifts()) ctx.eval_flags |= MIPO_EVAL_MULTIPLY_KEYS;
  mipo_group_range range{};
  const ub4 code = host::entry(library_, &mipo_specialized_ctx::mipo_groupkey_dydi)(
      &out, &range, columns_.data(), static_cast<ub4>(columns_.size()), &further, &ctx);
  rows.throw_if_reported();
  host::throw_unless_answered("mipo_groupkey_dydi", code);
  if (out.nset != rows.count()) throw host::Error("mipo_groupkey_dydi stopped before the last row");
}

void GroupKeys::fold(ChunkRows &rows) {
  std::fill_n(numbers_.begin(), rows.count(), 0);
  for (std::size_t component = 0; component < folds_.size(); ++component) {
    Fold &fold = folds_[component];
    fold.codes->read(rows);
    mipo_vec numbers{}, codes{};
    numbers.data = numbers_.data();
    codes.data = const_cast<ub4 *>(fold.codes->unpacked());
    codes.nrows = rows.count();
    const Stopwatch stopwatch;
    fold.kernel(&numbers, &codes, nullptr, &fold.ctx);
    calls_[component].add(stopwatch, rows.count(), rows.count());
  }
}

} // namespace mipo::engine
