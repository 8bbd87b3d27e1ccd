// A comparison for people and for programs.
#ifndef MIPO_BENCH_PEERS_REPORT_H
#define MIPO_BENCH_PEERS_REPORT_H

#include <string>

#include "comparison.h"

namespace mipo::bench {

/// A line a query, in milliseconds, and the limits with whether they are reached.
std::string table_report(const Comparison &comparison);

/// One object, times in seconds; null for those of a peer that failed.
std::string json_report(const Comparison &comparison);

} // namespace mipo::bench

#endif
