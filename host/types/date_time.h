// Dates and times as microseconds since 1970-01-01 00:00.
#ifndef MIPO_HOST_TYPES_DATE_TIME_H
#define MIPO_HOST_TYPES_DATE_TIME_H

#include "mipo/host/values.h"

namespace mipo::host {

/// A date or timestamp with any number of fraction digits: cut to microseconds, and whether digits that tell were cut.
struct ScannedDateTime {
  DateTime value;
  bool cut;
};
std::optional<ScannedDateTime> scan_date_time(std::string_view text) noexcept;

void append_date_time(std::string &out, const ValueType &type, std::int64_t microseconds);

} // namespace mipo::host

#endif
