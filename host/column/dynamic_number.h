// Numbers as dynamic-packed columns hold them: in their order, and with zero bytes at the end of those near zero.
//
//   0 ... 63                 10xxxxxx 00000000 ...
//   64 ... 8191              110xxxxx xxxxxxxx 00000000 ...
//   and so on                1110xxxx xxxxxxxx xxxxxxxx 00000000 ...
//
// The leading ones tell the bytes in use; a number of all bytes has no zero after them. A negative number n has the
// bytes of -1 - n complemented, so that the greater ones come first.
#ifndef MIPO_HOST_COLUMN_DYNAMIC_NUMBER_H
#define MIPO_HOST_COLUMN_DYNAMIC_NUMBER_H

#include <algorithm>
#include <bit>
#include <cstdint>

#include "mipo/integers.h"

namespace mipo::host {

/// Whether a number has a place in `max_bytes` bytes.
constexpr bool fits_dynamic(std::int64_t number, int max_bytes) noexcept {
  const auto magnitude = static_cast<ub8>(number < 0 ? ~number : number);
  return magnitude >> 7 * max_bytes == 0;
}

/// The number as an unsigned one of `max_bytes` bytes. It must fit.
constexpr ub8 dynamic_cell(std::int64_t number, int max_bytes) noexcept {
  const auto magnitude = static_cast<ub8>(number < 0 ? ~number : number);
  int bytes = 1;
  while (bytes < max_bytes && magnitude >> (7 * bytes - 1) != 0) ++bytes;
  const ub8 mask = ~ub8{0} >> (64 - 8 * bytes);
  const ub8 upward = ((ub8{1} << bytes) - 1) << 7 * bytes | magnitude;
  return (number < 0 ? ~upward & mask : upward) << 8 * (max_bytes - bytes);
}

constexpr std::int64_t dynamic_number(ub8 cell, int max_bytes) noexcept {
  const ub8 aligned = cell << (64 - 8 * max_bytes);
  const bool negative = aligned >> 63 == 0;
  const ub8 upward = negative ? ~aligned : aligned;
  const int bytes = std::min(std::countl_one(upward), max_bytes);
  const auto magnitude = static_cast<std::int64_t>(upward << bytes >> bytes >> (64 - 8 * bytes));
  return negative ? ~magnitude : magnitude;
}

/// Bytes of a cell once its trailing zero bytes are dropped; at least one is left.
constexpr int cell_bytes(ub8 cell, int max_bytes) noexcept {
  return cell == 0 ? 1 : max_bytes - std::countr_zero(cell) / 8;
}

} // namespace mipo::host

#endif
