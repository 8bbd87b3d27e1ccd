#include "engine/run/chunk_rows.h"

#include <bit>

namespace mipo::engine {

ChunkRows::ChunkRows(const host::Library &library, const host::Result *within, ub4 table_rows)
    : within_(within), context_(library) {
  if (within == nullptr) return;
  constexpr ub8 one_in = 64; // of fewer rows, each is fetched by itself
  selection_ = host::RowSelection(within->bits(), ub8{within->count()} * one_in < table_rows);
}

void ChunkRows::go_to(ub4 begin, ub4 end) {
  begin_ = begin;
  end_ = end;
  count_ = end - begin;
  numbers_known_ = false;
  if (within_ == nullptr) return;
  count_ = 0;
  each_word([&](ub4, ub8 word) { count_ += static_cast<ub4>(std::popcount(word)); });
}

const std::vector<ub4> &ChunkRows::numbers() {
  if (numbers_known_) return numbers_;
  numbers_known_ = true;
  numbers_.clear();
  each_word([&](ub4 first, ub8 word) {
    for (; word != 0; word &= word - 1) numbers_.push_back(first + static_cast<ub4>(std::countr_zero(word)));
  });
  return numbers_;
}

} // namespace mipo::engine
