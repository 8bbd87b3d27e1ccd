// Grouping: the records that group keys and group sums take beside the vectors.
#ifndef MIPO_GROUP_H
#define MIPO_GROUP_H

#include "mipo/vec.h"

#ifdef __cplusplus
extern "C" {
#endif

// Written by mipo_groupkey_dydi: how many groups there can be. Keys are 0 .. ngroups - 1. That entry holds scratch
// while columns are decoded: a host that leaves `alloc`, `decode` or `hostierr` unwinding frees it itself.
typedef struct mipo_group_range {
  ub4 ngroups;
} mipo_group_range;

MIPO_FIELD_AT(mipo_group_range, ngroups, 0);
MIPO_RECORD_SIZE(mipo_group_range, 4);

// Read by mipo_gby_sum_dydi. A host may keep more after it.
typedef struct mipo_group_sum_options {
  ub8 reserved_0[2];
  ub8 flags; // MIPO_GROUP_SUM_BIG_ENDIAN; the other bits are the host's
} mipo_group_sum_options;

MIPO_FIELD_AT(mipo_group_sum_options, flags, 16);
MIPO_RECORD_SIZE(mipo_group_sum_options, 24);

// `flags` of mipo_group_sum_options.
enum mipo_group_sum_flag {
  MIPO_GROUP_SUM_BIG_ENDIAN = 0x100 // integers of more than 8 bits are big-endian; clear: native
};

// Where the fields of an accumulator lie in its record (MIPO_ACC_RECORD), in bytes from its start. The sum has the
// type of the values, `float` or `double`.
typedef struct mipo_group_sum_offsets {
  int16_t sum;
  int16_t count; // of a ub4 row count, or MIPO_GROUP_SUM_NO_COUNT
} mipo_group_sum_offsets;

MIPO_FIELD_AT(mipo_group_sum_offsets, sum, 0);
MIPO_FIELD_AT(mipo_group_sum_offsets, count, 2);
MIPO_RECORD_SIZE(mipo_group_sum_offsets, 4);

#define MIPO_GROUP_SUM_NO_COUNT (-1)

#ifdef __cplusplus
}
#endif

#endif
