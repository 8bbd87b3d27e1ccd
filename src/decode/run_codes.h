// The codes of a run-length column: unpacked some runs at a time by the loop for columns of their width, so that walks
// over runs are the same for all widths.
#ifndef MIPO_DECODE_RUN_CODES_H
#define MIPO_DECODE_RUN_CODES_H

#include "simd/simd.h"

namespace mipo::decode {

/// Stores the codes of the rows from `first` on, `count` of them, at `codes`. One function a width, in
/// decode_unpack.cpp.
template <unsigned bits>
void unpack_codes(const void *base, ub4 first, ub4 count, ub4 *codes);

/// The codes of runs, by runs that never go back.
class RunCodes {
public:
  using Unpack = void(const void *base, ub4 first, ub4 count, ub4 *codes);

  RunCodes(const void *base, Unpack *unpack, ub4 run_count) : base_(base), unpack_(unpack), run_count_(run_count) {}

  [[gnu::always_inline]] ub4 operator[](ub4 run) {
    if (run >= end_) [[unlikely]]
      fetch(run);
    return codes_[run % batch];
  }

private:
  static constexpr ub4 batch = 128;

  [[gnu::noinline]] void fetch(ub4 run) {
    const ub4 first = run / batch * batch;
    end_ = run_count_ - first < batch ? run_count_ : first + batch;
    unpack_(base_, first, end_ - first, codes_);
  }

  const void *base_;
  Unpack *unpack_;
  ub4 run_count_, end_ = 0;
  ub4 codes_[batch];
};

} // namespace mipo::decode

#endif
