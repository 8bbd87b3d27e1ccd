// The key-value table: the hash table of a join. A record and memory segments, all of them the host's. What the record
// says of the segments is written by mipo_layout_kv_dydi; the host then allocates them, zero-filled.
#ifndef MIPO_KV_H
#define MIPO_KV_H

#include "mipo/assertion.h"
#include "mipo/integers.h"

// One area of a table: segments of equal items.
typedef struct mipo_kv_area {
  ub4 nsegments;     // at the most
  ub1 log2_segments; // of the table `segments`, rounded up: the mask of a segment's number has as many bits
  ub1 log2_items;    // in a segment
  ub1 area_code;     // mipo_kv_area_code, for the host: no kernel reads it
  ub1 reserved_7;
  ub2 item_bits;        // 512 of a bucket
  ub2 entries_per_item; // primary area: the capacity of a bucket, 1 of arrays and dense sets
  ub4 area_flag;        // primary area: 1
  ub8 reserved_16;
  void **segments; // where each begins: the host's
  ub8 reserved_32[2];
  ub8 nready; // segments that the host has populated
  ub8 reserved_56[2];
  ub4 dup_seen; // overflow of a dense set: not 0 if the host has seen a key twice
  ub4 reserved_76;
} mipo_kv_area;

MIPO_FIELD_AT(mipo_kv_area, nsegments, 0);
MIPO_FIELD_AT(mipo_kv_area, log2_segments, 4);
MIPO_FIELD_AT(mipo_kv_area, log2_items, 5);
MIPO_FIELD_AT(mipo_kv_area, area_code, 6);
MIPO_FIELD_AT(mipo_kv_area, item_bits, 8);
MIPO_FIELD_AT(mipo_kv_area, entries_per_item, 10);
MIPO_FIELD_AT(mipo_kv_area, area_flag, 12);
MIPO_FIELD_AT(mipo_kv_area, segments, 24);
MIPO_FIELD_AT(mipo_kv_area, nready, 48);
MIPO_FIELD_AT(mipo_kv_area, dup_seen, 72);
MIPO_RECORD_SIZE(mipo_kv_area, 80);

typedef struct mipo_kv {
  ub4 flags;              // shape, kind << 8, mipo_kv_flag; the other bits are the host's
  ub4 key_bits;           // kind fixed: 0, from the first add on the width of the key column
  mipo_kv_area primary;   // buckets, or the slots of an array or a dense set
  mipo_kv_area overflow;  // further buckets, the nodes of an array, the counters of a dense set
  mipo_kv_area list_pool; // the list nodes of an array of 4-byte values
} mipo_kv;

MIPO_FIELD_AT(mipo_kv, flags, 0);
MIPO_FIELD_AT(mipo_kv, key_bits, 4);
MIPO_FIELD_AT(mipo_kv, primary, 8);
MIPO_FIELD_AT(mipo_kv, overflow, 88);
MIPO_FIELD_AT(mipo_kv, list_pool, 168);
MIPO_RECORD_SIZE(mipo_kv, 248);

// Bits 8 to 11 of `flags`: where a key comes from.
enum mipo_kv_kind {
  MIPO_KV_HASH_VALUED = 0,       // a piece of the hash
  MIPO_KV_FIXED = 1,             // a column's value of fixed width
  MIPO_KV_GLOBAL_DICTIONARY = 2, // a code of 4 bytes, hashed
  MIPO_KV_DIRECT = 3,            // a length byte and the bytes of a value
  MIPO_KV_ARRAY = 4,             // a dictionary code, which is the index of its slot
  MIPO_KV_DENSE_SET = 5          // a dictionary code, which is the number of its bit
};

enum mipo_kv_flag {
  MIPO_KV_SHAPE_MASK = 0xff,
  MIPO_KV_KIND_SHIFT = 8,
  MIPO_KV_KIND_MASK = 0xf,
  MIPO_KV_POINTER_LINKS = 0x4000,  // buckets lead to the next by its address, else by its number
  MIPO_KV_CHAIN_PREFETCH = 0x8000, // probes fetch the bucket after the next
  MIPO_KV_KEEP_KEYS_ONLY = 0x10000 // values of a key that is there already are dropped
};

enum mipo_kv_area_code {
  MIPO_KV_AREA_POINTER_OVERFLOW = 0,
  MIPO_KV_AREA_ARRAY_K4V4 = 3,
  MIPO_KV_AREA_BUCKETS = 4, // also the slots of k4v8 arrays
  MIPO_KV_AREA_DENSE_SET = 16
};

#endif
