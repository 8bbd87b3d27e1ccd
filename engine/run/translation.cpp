#include "engine/run/translation.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <deque>

#include <fmt/format.h>

#include "engine/run/column_codes.h"
#include "engine/run/parallel.h"
#include "engine/run/row_ranges.h"

namespace mipo::engine {
namespace {

// Rows of a chunk: their codes, as unpacked and as translated, stay in the first-level cache.
constexpr ub4 chunk_rows = 1 << 12;

// Of fewer rows than one in so many, each is looked up by itself; of more, all are, and those asked for are kept.
constexpr ub8 one_in = 4;

// A translation kernel with its table.
class TableKernel {
public:
  TableKernel(const host::Library &library, const host::TranslationTable &table, bool hands_out)
      : table_(table), key_(table.key(host::TranslatedRows::codes, hands_out)), kernel_(library.xlate(key_)) {}

  KernelProfile step(const std::string &condition) const { return translation_step(key_, table_, condition); }

  // Of the codes, or those that `selection` (unless null) has, sets the bits of those that are in the table and hands
  // out what it has for them. Returns how many they are.
  ub4 operator()(const mipo_vec &codes, const ub8 *selection, ub8 *bits, std::byte *entries) const {
    ub4 first_and_last[2];
    mipo_vec found{};
    found.bv = bits;
    found.data = first_and_last;
    mipo_call_ctx ctx{};
    ctx.xlate_ctx = table_.range();
    ctx.xlate_out = entries;
    ctx.ones_vec = const_cast<ub8 *>(selection);
    ctx.eval_flags = MIPO_EVAL_COUNT_ONLY;
    const ub4 code = kernel_(&found, &codes, &table_.vec(), &ctx);
    host::throw_unless_answered(host::kernel_name(key_), code);
    return found.nset;
  }

private:
  const host::TranslationTable &table_;
  ub4 key_;
  mipo_xlate_kernel *kernel_;
};

// The codes that rows have in a column of the first table, a chunk at a time, for translation kernels.
class CodesToTranslate {
public:
  CodesToTranslate(const host::Library &library, const BoundColumn &column, ub4 rows)
      : rows_(library, nullptr, rows),
        codes_(library, column, rows_, chunk_rows),
        vec_(chunk_rows),
        base_(index_base(column.domain())) {
    if (!codes_.by_kernel()) read_.resize(chunk_rows);
  }

  // Of the rows from `begin` up to `end`, until the next call.
  const mipo_vec &chunk(ub4 begin, ub4 end) {
    rows_.go_to(begin, end);
    codes_.read();
    const ub4 count = end - begin;
    if (codes_.by_kernel()) {
      vec_.set({codes_.unpacked(), count});
    } else {
      // Indices of codes; no table has that of no value.
      codes_.each(count, [&](ub4 i, ub8 code) {
        read_[i] = code == ColumnCodes::no_value ? host::no_entry : static_cast<ub4>(code - base_);
      });
      vec_.set({read_.data(), count});
    }
    return vec_.vec();
  }

  // Of all chunks so far.
  KernelProfile step() const {
    KernelProfile step = codes_.profile();
    step.rows_out = step.rows_in;
    return step;
  }

private:
  ChunkRows rows_;
  ColumnCodes codes_;
  host::TranslatedCodes vec_;
  ub8 base_;
  std::vector<ub4> read_;
};

bool any_selected(const host::BitVector &bits, ub4 begin, ub4 end) {
  const ub8 *words = bits.words();
  return std::any_of(words + begin / 64, words + (ub8{end} + 63) / 64, [](ub8 word) { return word != 0; });
}

void for_each_chunk(ub4 first, ub4 end, auto take) {
  for (ub4 begin = first; begin < end;) {
    const ub4 stop = end - begin < chunk_rows ? end : begin + chunk_rows;
    take(begin, stop);
    begin = stop;
  }
}

} // namespace

host::Result rows_in_table(const host::Library &library, const host::TranslationTable &table, const BoundColumn &column,
                           const host::Result *within, unsigned threads, const std::string &condition,
                           std::vector<KernelProfile> &steps) {
  const host::EncodedColumn &data = column.stored().data;
  const ub4 rows = data.rows();
  const TableKernel kernel(library, table, false);
  const bool selective = within != nullptr && ub8{within->count()} * one_in < rows;
  host::Result result(rows);
  if (data.has_runs()) threads = 1;
  const std::vector<ub4> bounds = bounds_of_ranges(rows, threads);
  std::deque<CodesToTranslate> codes;
  for (unsigned i = 0; i < threads; ++i) codes.emplace_back(library, column, rows);
  std::vector<KernelProfile> looking_up(threads, kernel.step(condition));
  in_parallel(threads, [&](unsigned i) {
    for_each_chunk(bounds[i], bounds[i + 1], [&](ub4 begin, ub4 end) {
      if (within != nullptr && !any_selected(within->bits(), begin, end)) return;
      const mipo_vec &source = codes[i].chunk(begin, end);
      ub8 *const bits = result.bits().words() + begin / 64;
      const ub8 *const selection = within != nullptr ? within->bits().words() + begin / 64 : nullptr;
      const Stopwatch stopwatch;
      ub4 count = kernel(source, selective ? selection : nullptr, bits, nullptr);
      if (selection != nullptr && !selective) {
        count = 0;
        for (ub4 word = 0; word < (end - begin + 63) / 64; ++word) {
          bits[word] &= selection[word];
          count += static_cast<ub4>(std::popcount(bits[word]));
        }
      }
      looking_up[i].add(stopwatch, 0, end - begin);
      looking_up[i].rows_out += count;
    });
  });
  KernelProfile reading = codes[0].step(), translating = looking_up[0];
  for (unsigned i = 1; i < threads; ++i) {
    reading.add(codes[i].step());
    translating.add(looking_up[i]);
  }
  for (KernelProfile *step : {&reading, &translating}) step->seconds /= threads;
  translating.rows_in = within != nullptr ? within->count() : rows;
  translating.selective = selective;
  result.vec()->nset = static_cast<ub4>(translating.rows_out);
  steps.push_back(std::move(reading));
  steps.push_back(std::move(translating));
  return result;
}

KernelProfile materialize(const host::Library &library, const host::TranslationTable &table, std::span<const ub4> codes,
                          std::byte *entries, const std::string &condition) {
  const TableKernel kernel(library, table, true);
  KernelProfile step = kernel.step(condition);
  const auto count = static_cast<ub4>(codes.size());
  host::TranslatedCodes source(count);
  source.set(codes);
  host::BitVector found(count);
  const Stopwatch stopwatch;
  step.rows_out = kernel(source.vec(), nullptr, found.words(), entries);
  step.add(stopwatch, count, count);
  return step;
}

MaterializedColumns::MaterializedColumns(const host::Library &library, const std::vector<const BoundColumn *> &joined,
                                         const host::Result &within, std::vector<KernelProfile> &steps) {
  struct HandingOut {
    HandingOut(const host::Library &of, const BoundColumn &column)
        : table(std::span(column.rank.by_index())), kernel(of, table, true), step(kernel.step(column.name)) {}
    const host::TranslationTable table;
    const TableKernel kernel;
    KernelProfile step;
    std::byte *entries = nullptr;
  };
  for (const BoundColumn *first : joined) {
    if (ranks_.contains(first)) continue;
    const BoundColumn *const key = first->key;
    std::deque<HandingOut> columns;
    for (const BoundColumn *column : joined) {
      if (column->key != key || ranks_.contains(column)) continue;
      HandingOut &one = columns.emplace_back(library, *column);
      const std::size_t bytes = host::handed_out_bytes(column->stored().data.rows(), one.table.width());
      Ranks &ranks = ranks_[column];
      ranks = {one.table.width(), std::make_unique_for_overwrite<std::byte[]>(bytes)};
      one.entries = ranks.entries.get();
    }
    const ub4 rows = key->stored().data.rows();
    CodesToTranslate codes(library, *key, rows);
    for_each_chunk(0, rows, [&](ub4 begin, ub4 end) {
      if (!any_selected(within.bits(), begin, end)) return;
      const mipo_vec &source = codes.chunk(begin, end);
      for (HandingOut &one : columns) {
        const Stopwatch stopwatch;
        std::byte *const out = one.entries + host::handed_out_bytes(begin, one.table.width());
        // Under a selection kernels leave the places of codes out of range as they are.
        std::memset(out, 0xff, host::handed_out_bytes(end - begin, one.table.width()));
        ub8 found[chunk_rows / 64] = {};
        one.step.rows_out += one.kernel(source, within.bits().words() + begin / 64, found, out);
        one.step.add(stopwatch, 0, end - begin);
      }
    });
    steps.push_back(codes.step());
    for (HandingOut &one : columns) {
      one.step.rows_in = within.count();
      one.step.selective = true;
      steps.push_back(std::move(one.step));
    }
  }
}

std::optional<ub8> MaterializedColumns::code(const BoundColumn &joined, ub4 row) const {
  const Ranks &ranks = ranks_.at(&joined);
  const ub4 rank = host::handed_out(ranks.entries.get(), ranks.width, row);
  return rank == host::no_entry ? std::nullopt : std::optional(joined.ranked[rank]);
}

} // namespace mipo::engine
