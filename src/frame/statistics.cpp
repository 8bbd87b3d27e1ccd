#include "frame/statistics.h"

#include <stdio.h>

#include "frame/dispatch_table.h"

extern "C" ub4 mipo_stats_dump(const mipo_stats *stats, ub4 only_called) {
  for (ub4 variant = 0; variant < 2; ++variant)
    for (ub4 family = 0; family < 4; ++family)
      for (ub4 operation = 0; operation < 32; ++operation)
        for (ub4 width_field = 0; width_field < 32; ++width_field) {
          const ub4 key = mipo_key(operation, family, width_field, variant);
          if (only_called != 0 && stats->call_counts[key] == 0) continue;
          printf("%-30s", mipo_dispatch_func_names.names[key]);
          printf("Call Freq: %d\tMrowsPerSec: %0.0f\n", static_cast<int>(stats->call_counts[key]),
                 stats->mrows_per_sec[key]);
        }
  return 4096;
}
