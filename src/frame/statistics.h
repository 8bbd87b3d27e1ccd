// The report of per-kernel statistics. The host fills the record; no kernel counts its own calls.
#ifndef MIPO_FRAME_STATISTICS_H
#define MIPO_FRAME_STATISTICS_H

#include "mipo/assertion.h"
#include "mipo/integers.h"

typedef struct mipo_stats {
  ub1 reserved_0[64];
  const ub4 *call_counts;      // calls, by key: MIPO_DISPATCH_TABLE_SLOTS of them
  const double *mrows_per_sec; // millions of rows per second, by key
} mipo_stats;

MIPO_FIELD_AT(mipo_stats, call_counts, 64);
MIPO_FIELD_AT(mipo_stats, mrows_per_sec, 72);

// Prints one line a key on standard output, all widths of one operation together; with `only_called` not 0, only the
// keys that were called. Returns 4096, which has no meaning.
extern "C" ub4 mipo_stats_dump(const mipo_stats *stats, ub4 only_called);

#endif
