// The data of a column in guarded memory, plain or after the host's decompressor.
#ifndef MIPO_TESTS_CHECK_COLUMN_DATA_H
#define MIPO_TESTS_CHECK_COLUMN_DATA_H

#include <vector>

#include "check/guarded_sources.h"
#include "check/test_host.h"
#include "reference/decompression_model.h"

namespace mipo::check {

/// Compressed to so many bytes when it is read, now and then, with any flags.
reference::Compression some_compression(std::size_t bytes, Random &random);

class ColumnData {
public:
  ColumnData() = default;
  ColumnData(const ColumnData &) = delete;
  ColumnData &operator=(const ColumnData &) = delete;

  /// Puts `bytes` where `src` leads to them, and tells `enc` and `host` what belongs to that. The column and the host
  /// refer to this object.
  void place(const reference::Compression &compression, const std::vector<ub1> &bytes, mipo_vec &src, mipo_enc_ctx &enc,
             TestHost &host, Random &random);

  /// Back to the state before the first call: the host's cell is empty again if it was.
  void forget_decompressed() { slot_ = initial_slot_; }
  bool is_decompressed() const { return slot_ != nullptr; }

private:
  GuardedSources sources_;
  GuardedBuffer nowhere_{0}; // its address lies in an inaccessible page
  void *initial_slot_ = nullptr, *slot_ = nullptr;
};

} // namespace mipo::check

#endif
