#include "engine/run/chunk_rows.h"

#include <bit>

namespace mipo::engine {

ChunkRows::ChunkRows(const host::Library &library, const host::Result *within, ub4 table_rows)
    : within_(within), context_(library) {
  if (within == nullptr) return;
  constexpr ub8 one_in = 64; // of fewer rows, each is fetched by itself
  context_.select(within->bits(), ub8{within->count()} * one_in < table_rows);
}

void ChunkRows::go_to(ub4 begin, ub4 end) {
  begin_ = begin;
  end_ = end;
  count_ = end - begin;
  numbers_known_ = false;
  if (within_ == nullptr) return;
  count_ = 0;
  const ub8 *words = within_->bits().words();
  for (ub4 row = begin; row < end; row += 64) {
    ub8 word = words[row / 64];
    if (end - row < 64) word &= (ub8{1} << (end - row)) - 1;
    count_ += static_cast<ub4>(std::popcount(word));
  }
}

mipo_call_ctx ChunkRows::call() const {
  mipo_call_ctx call = *context_.record();
  call.next_row = begin_;
  return call;
}

const std::vector<ub4> &ChunkRows::numbers() {
  if (numbers_known_) return numbers_;
  numbers_known_ = true;
  numbers_.clear();
  for (ub4 row = begin_; row < end_; ++row)
    if (within_ == nullptr || within_->bits().test(row)) numbers_.push_back(row);
  return numbers_;
}

} // namespace mipo::engine
