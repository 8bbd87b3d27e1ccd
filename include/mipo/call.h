// The call: what a host hands to a kernel beside the vectors, and what a kernel may ask of the host.
#ifndef MIPO_CALL_H
#define MIPO_CALL_H

#include "mipo/vec.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct mipo_decode_args mipo_decode_args;

// Memory that outlives the call and stays the host's: `size` bytes, 16-byte aligned; `label` says who asks. The words
// 8 and 16 are constants of the interface, `hint` is the vector's `decomp_hint`. Returns the memory's address.
typedef void *mipo_alloc_fn(void *env, void *heap, ub4 size, const char *label, ub4 eight, ub4 sixteen, ub8 hint);

// Scratch for the time of a call, given back through mipo_temp_free_fn with the cookie that was stored here.
typedef void *mipo_temp_alloc_fn(void *env, ub4 size, const char *label, ub4 four, ub4 zero, void **cookie);
typedef void mipo_temp_free_fn(void *env, void *memory, void *cookie);

// Decompresses `source` into the `size` bytes at `destination` and stores the length in `*out_length`.
// Returns 0, or anything else for a failure, which the kernel reports through `hostierr`.
typedef ub4 mipo_decode_fn(mipo_decode_args *args, const void *source, void *destination, ub4 *out_length, ub4 size);

// The host's callbacks. A host may leave `alloc`, `decode` and `hostierr` by longjmp or an exception: the kernel holds
// nothing at that point, and the call can be made again. Of mipo_groupkey_dydi, which decodes between two callbacks,
// the scratch from `temp_alloc` is the host's to free then.
struct mipo_host_ctx {
  void *env; // the host's environment; its 64-bit word 71 is the error frame given to hostierr
  void *heap;
  ub1 reserved_16[16];
  mipo_alloc_fn *alloc;
  ub1 reserved_40[8];
  mipo_temp_alloc_fn *temp_alloc;
  mipo_temp_free_fn *temp_free;
  ub1 reserved_64[40];
  mipo_decode_fn *decode; // usually the entry mipo_brep_decode_dydi
  ub1 reserved_112[8];
  ub8 host_flags; // any of the bits 0x30: decompression may run asynchronously
};

MIPO_FIELD_AT(mipo_host_ctx, env, 0);
MIPO_FIELD_AT(mipo_host_ctx, heap, 8);
MIPO_FIELD_AT(mipo_host_ctx, alloc, 32);
MIPO_FIELD_AT(mipo_host_ctx, temp_alloc, 48);
MIPO_FIELD_AT(mipo_host_ctx, temp_free, 56);
MIPO_FIELD_AT(mipo_host_ctx, decode, 104);
MIPO_FIELD_AT(mipo_host_ctx, host_flags, 120);

// The word of `env` that holds the error frame, at byte 568.
#define MIPO_ENV_ERROR_FRAME_WORD 71
// The bits of `host_flags` that set `async_ok`.
#define MIPO_HOST_ASYNC_FLAGS 0x30

// Built on a kernel's stack for each decompression; copies of the fields of mipo_host_ctx.
struct mipo_decode_args {
  void *env;
  void *heap;
  mipo_temp_alloc_fn *temp_alloc;
  mipo_temp_free_fn *temp_free;
  ub4 async_ok; // 1 if any of MIPO_HOST_ASYNC_FLAGS is set, else 0
  ub4 reserved_36;
};

MIPO_FIELD_AT(mipo_decode_args, env, 0);
MIPO_FIELD_AT(mipo_decode_args, heap, 8);
MIPO_FIELD_AT(mipo_decode_args, temp_alloc, 16);
MIPO_FIELD_AT(mipo_decode_args, temp_free, 24);
MIPO_FIELD_AT(mipo_decode_args, async_ok, 32);

// The per-call record: the selection, the resume position of kernels that stop and go on, and fields of single
// families. Predicates accept a null pointer on columns that are neither compressed nor run-length.
struct mipo_call_ctx {
  mipo_host_ctx *host;
  const ub8 *ones_vec; // selection over rows, or null
  ub2 eval_flags;      // MIPO_EVAL_SELECTIVE and others
  ub1 reserved_18[6];
  ub4 ones_count; // one-bits of ones_vec, where the caller of `burst` knows it
  ub4 reserved_28;
  union {
    ub4 full_partition; // partitioning: the partition whose buffer is full
    ub4 scan_segment;   // table scan: the segment reached
  };
  ub4 next_row;    // resume position: the first row not yet done; written on every return
  ub4 run_index;   // resume position of run walks: the run that next_row lies in
  ub4 run_end;     // the same: the first row after that run
  ub4 rows_parsed; // vector text parsing
  ub4 reserved_52;
  union {                  // resume position:
    ub8 data_pos;          //   stream copy: byte position in the source
    ub8 aux_stream_resume; //   probe: chain buckets of the row at next_row already done
    ub8 scan_bucket;       //   table scan: bucket
  };
  union {                             // resume position:
    ub8 mipo_aux_stream2_current_pos; // position in a list node
    ub8 scan_link;                    // links followed in a scan's chain
  };
  const ub4 *ones_list; // the selection as a sorted list of row numbers, or null
  ub4 ones_list_len;
  ub4 reserved_84;
  ub4 first_row; // row at which translation and Bloom kernels start
  ub4 reserved_92;
  union {
    void *nonmatch_bv; // probe: base address of the nonmatch bit vector
    ub8 *valid_bits;   // flex vectors: the bit of a row that could not be computed is cleared
  };
  ub8 bv_base;    // probe: row value of bit 0 of nonmatch_bv and seg_bv
  void *seg_bv;   // probe: segment bit vector
  ub4 done_flags; // written by kernels, ORed: MIPO_DONE_PREDICATE and others
  ub4 reserved_124;
  void *row_refs;  // prefix decoding: optional array of row references
  void *xlate_ctx; // translation: the code range and base
  void *xlate_out; // translation: entry output of the `c2d` kernels, input of the `groupkey` kernels
  ub4 xlate_mult;  // translation: multiplier of the `groupkey` kernels
  ub4 reserved_156;
  void *xlate_values; // translation: value area of the `cla`, `const` and `sep` kernels
  ub1 reserved_168[4];
  ub2 xlate_form; // translation: lengths and strides of the value area
  ub2 reserved_174;
};

MIPO_FIELD_AT(mipo_call_ctx, host, 0);
MIPO_FIELD_AT(mipo_call_ctx, ones_vec, 8);
MIPO_FIELD_AT(mipo_call_ctx, eval_flags, 16);
MIPO_FIELD_AT(mipo_call_ctx, ones_count, 24);
MIPO_FIELD_AT(mipo_call_ctx, full_partition, 32);
MIPO_FIELD_AT(mipo_call_ctx, scan_segment, 32);
MIPO_FIELD_AT(mipo_call_ctx, next_row, 36);
MIPO_FIELD_AT(mipo_call_ctx, run_index, 40);
MIPO_FIELD_AT(mipo_call_ctx, run_end, 44);
MIPO_FIELD_AT(mipo_call_ctx, rows_parsed, 48);
MIPO_FIELD_AT(mipo_call_ctx, data_pos, 56);
MIPO_FIELD_AT(mipo_call_ctx, aux_stream_resume, 56);
MIPO_FIELD_AT(mipo_call_ctx, scan_bucket, 56);
MIPO_FIELD_AT(mipo_call_ctx, mipo_aux_stream2_current_pos, 64);
MIPO_FIELD_AT(mipo_call_ctx, scan_link, 64);
MIPO_FIELD_AT(mipo_call_ctx, ones_list, 72);
MIPO_FIELD_AT(mipo_call_ctx, ones_list_len, 80);
MIPO_FIELD_AT(mipo_call_ctx, first_row, 88);
MIPO_FIELD_AT(mipo_call_ctx, nonmatch_bv, 96);
MIPO_FIELD_AT(mipo_call_ctx, valid_bits, 96);
MIPO_FIELD_AT(mipo_call_ctx, bv_base, 104);
MIPO_FIELD_AT(mipo_call_ctx, seg_bv, 112);
MIPO_FIELD_AT(mipo_call_ctx, done_flags, 120);
MIPO_FIELD_AT(mipo_call_ctx, row_refs, 128);
MIPO_FIELD_AT(mipo_call_ctx, xlate_ctx, 136);
MIPO_FIELD_AT(mipo_call_ctx, xlate_out, 144);
MIPO_FIELD_AT(mipo_call_ctx, xlate_mult, 152);
MIPO_FIELD_AT(mipo_call_ctx, xlate_values, 160);
MIPO_FIELD_AT(mipo_call_ctx, xlate_form, 172);
MIPO_RECORD_SIZE(mipo_call_ctx, 176);

// `eval_flags` of mipo_call_ctx.
enum mipo_eval_flag {
  MIPO_EVAL_SELECTIVE = 0x2,      // look only at the rows of ones_vec; clear: AND ones_vec into the finished result
  MIPO_EVAL_WIDE_CODES = 0x4,     // codes leave `decode_unpack` and enter `decode_symbol` as ub4, whatever their width
  MIPO_EVAL_MULTIPLY_KEYS = 0x10, // group keys: multiply by the code count; clear: shift by the width of a code
  MIPO_EVAL_SUM = 0x80,           // type conversion: add the column up
  MIPO_EVAL_COUNT_ONLY = 0x400,   // translation without a selection: first and last row are not wanted
  MIPO_EVAL_WIDE_ENTRIES = 0x800  // translation of decimal values: entries are handed out as ub4, whatever their width
};

// `done_flags` of mipo_call_ctx: the kernel has taken the selection into its result, the host need not do it again.
enum mipo_done_flag {
  MIPO_DONE_PREDICATE = 0x200,
  MIPO_DONE_DECODE = 0x400,
  MIPO_DONE_SET = 0x1000,
  MIPO_DONE_BLOOM = 0x2000,
  MIPO_DONE_DECODE_UNPACK = 0x4000,
  MIPO_DONE_XLATE = 0x10000
};

// What the process that loads the library gives it, beside sqrt and pow of the mathematical library.

// The host's soft error: takes the message and comes back, unless the host unwinds by itself. `error_frame` is word
// MIPO_ENV_ERROR_FRAME_WORD of `env`; `zero` is 0.
void hostierr(void *env, void *error_frame, const char *message, ub8 zero);

// The host's decompressor, reached through the entry mipo_brep_decode_dydi; arguments as in mipo_decode_fn, then three
// zero words. Returns 0, or anything else for a failure.
ub4 brep_decode(void *env, void *heap, const void *source, void *destination, ub4 *out_length, ub4 size, ub8 zero1,
                ub8 zero2, ub8 zero3);

#ifdef __cplusplus
}
#endif

#endif
