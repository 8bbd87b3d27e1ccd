// The exported record: the one symbol of the library, through which a host reaches everything.
//
//   slot  0 .. 13   header: for the host to check
//   slot 14         the dispatch table: 8192 kernels, by key (mipo/keys.h)
//   slot 15 .. 87   the entries, in the order of the list below
//
// A slot whose kernel or entry does not exist holds a null pointer and must not be called.
#ifndef MIPO_ENTRIES_H
#define MIPO_ENTRIES_H

#include "mipo/assertion.h"
#include "mipo/call.h"
#include "mipo/codes.h"
#include "mipo/group.h"
#include "mipo/integers.h"
#include "mipo/iterator.h"
#include "mipo/keys.h"
#include "mipo/kv.h"
#include "mipo/vec.h"

#ifdef __cplusplus
extern "C" {
#endif

// Contracts. Of every record only the fields named are looked at, and only those named are written; nothing is checked.
// `alias` says which memory may be the same; where nothing is said, results overlap no input. Slack is told in bytes
// that may be read after the last element, 0 unless said.
//
// Kernels of the dispatch table: one pointer, in the shape that the operation's family has. All return a `mipo_code`.
//
// one_sided, two_sided, set: the rows of a column for which a predicate holds
//   reads    src: data, nrows, enc_ctx, filter_bv (null: all rows have values), lens of `_tz` and `dynp` columns; of
//   run
//            columns the runs in enc_ctx. konst, lo, hi: data, of fixed and dynp columns lens and enc_ctx. set: bv, a
//            bit for each code. ctx: host, ones_vec, eval_flags
//   writes   res: bv, a bit a row in whole words, nset. Of run columns enc_ctx->run_bv, and res through `burst`.
//            ctx: done_flags |= MIPO_DONE_PREDICATE or MIPO_DONE_SET under a selection
//   null     ctx of a column that is neither compressed nor of runs; ones_vec: all rows
//   alias    res->bv is not ones_vec under MIPO_EVAL_SELECTIVE; constants may share memory
//   slack    packed codes of up to 24 bits: one word of 4 bytes; dynp: 16 bytes
//   returns  MIPO_DONE, MIPO_EMPTY if no bit is set
//
// decode: unpacks codes (`decode_unpack`), or finds the symbols of rows (`decode`) or of codes (`decode_symbol`)
//   reads    src: data, nrows, enc_ctx with the dictionary or the runs. ctx: host, ones_vec or ones_list, eval_flags,
//            next_row, run_index and run_end of runs. res: nrows, the room in rows
//   writes   res: data; of symbols also lens and inds; nset of unpacking. ctx: next_row, run_index, run_end
//   slack    as of predicates; unpacking stores whole blocks within the room of res->nrows codes
//   returns  MIPO_DONE. A res with nset equal to nrows may not be the last one: call again
//
// minmax: the least and greatest code
//   reads    src as predicates; ctx: host, ones_vec or ones_list, next_row, run_index, run_end. mode: 1 least, 2
//   greatest,
//            else both
//   writes   res: data, two ub4. ctx: next_row, run_index, run_end
//   returns  MIPO_DONE, MIPO_EMPTY if no row has a value
//
// burst: a predicate's bits of runs as bits of rows
//   reads    src: bv, a bit a run, enc_ctx with the runs; aux: ones_vec, ones_count
//   writes   res: bv, one word more than the rows take may be cleared; nset
//
// arithmetic: left operation right for each row, or the sum of that over all rows
//   reads    left, right: data, nrows, enc_ctx flags (MIPO_CONST: one number for all rows; at most one side)
//   writes   res: data, left's number of rows, or one double
//   alias    res->data may be left's or right's
//
// xlate: codes looked up in a table
//   reads    src: data (big-endian ub4; native ones of the group-key kernels), nrows. table: data. ctx: xlate_ctx,
//            ones_vec, first_row, eval_flags, and of some families xlate_values, xlate_form, xlate_mult, xlate_out
//   writes   res: bv, nset, and first and last row in data (unless MIPO_EVAL_COUNT_ONLY); ctx: xlate_out of `c2d`
//            kernels, done_flags. Group keys: res->data, ub4, to which the products are added
//   null     res->data where MIPO_EVAL_COUNT_ONLY is set without a selection
//   returns  MIPO_DONE, MIPO_EMPTY if no row is in the table, MIPO_NO_KERNEL for a selection that a family refuses
typedef ub4 mipo_one_sided_kernel(mipo_vec *res, const mipo_vec *src, const mipo_vec *konst, mipo_call_ctx *ctx);
typedef ub4 mipo_two_sided_kernel(mipo_vec *res, const mipo_vec *src, const mipo_vec *lo, const mipo_vec *hi,
                                  mipo_call_ctx *ctx);
typedef ub4 mipo_decode_kernel(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx);
typedef ub4 mipo_set_kernel(mipo_vec *res, const mipo_vec *src, const mipo_vec *set, mipo_call_ctx *ctx);
typedef ub4 mipo_minmax_kernel(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx, ub8 mode);
typedef ub4 mipo_burst_kernel(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux);
typedef ub4 mipo_arithmetic_kernel(mipo_vec *res, const mipo_vec *left, const mipo_vec *right, mipo_call_ctx *unused);
typedef ub4 mipo_xlate_kernel(mipo_vec *res, const mipo_vec *src, const mipo_vec *table, mipo_call_ctx *ctx);
typedef ub4 mipo_placeholder_kernel(ub8 unused1, ub8 unused2, ub8 unused3, ub8 unused4);

typedef union mipo_kernel {
  void (*any)(void); // for comparing with null
  mipo_one_sided_kernel *one_sided;
  mipo_two_sided_kernel *two_sided;
  mipo_decode_kernel *decode;
  mipo_set_kernel *set;
  mipo_minmax_kernel *minmax;
  mipo_burst_kernel *burst;
  mipo_arithmetic_kernel *arithmetic;
  mipo_xlate_kernel *xlate;
  mipo_placeholder_kernel *placeholder; // does nothing and answers 0
} mipo_kernel;

MIPO_RECORD_SIZE(mipo_kernel, 8);

// Hash of `length` bytes at `value`, seeded: the host's own.
typedef ub8 mipo_hash_fn(const void *value, ub8 length, ub8 seed);

// The 17 operations of one bit vector form; `unit` is what the form reads and writes. Lengths are in bits, ranges
// include both ends. A `count` receives the set bits of the result below `length`; it may be null but in `popcnt`.
// `andnot` is b and not a. The run operations do no work: they answer the end marker and 0.
#define MIPO_BIT_VECTOR_ENTRIES(ENTRY, form, unit)                                                                   \
  ENTRY(void, mipo_##form##popcnt_dydi, (ub4 * count, const unit *a, ub8 length))                                    \
  ENTRY(void, mipo_##form##not_dydi, (unit * result, ub4 * count, const unit *a, ub8 length))                        \
  ENTRY(void, mipo_##form##and_dydi, (unit * result, ub4 * count, const unit *a, const unit *b, ub8 length))         \
  ENTRY(void, mipo_##form##or_dydi, (unit * result, ub4 * count, const unit *a, const unit *b, ub8 length))          \
  ENTRY(void, mipo_##form##xor_dydi, (unit * result, ub4 * count, const unit *a, const unit *b, ub8 length))         \
  ENTRY(void, mipo_##form##andnot_dydi, (unit * result, ub4 * count, const unit *a, const unit *b, ub8 length))      \
  ENTRY(void, mipo_##form##and3_dydi,                                                                                \
        (unit * result, ub4 * count, const unit *a, const unit *b, const unit *c, ub8 length))                       \
  ENTRY(void, mipo_##form##or3_dydi,                                                                                 \
        (unit * result, ub4 * count, const unit *a, const unit *b, const unit *c, ub8 length))                       \
  ENTRY(void, mipo_##form##xor3_dydi,                                                                                \
        (unit * result, ub4 * count, const unit *a, const unit *b, const unit *c, ub8 length))                       \
  ENTRY(void, mipo_##form##set_range_dydi, (unit * bits, ub8 first, ub8 last))                                       \
  ENTRY(void, mipo_##form##clr_range_dydi, (unit * bits, ub8 first, ub8 last))                                       \
  ENTRY(void, mipo_##form##_ictx_ini2_dydi, (mipo_lbiv_ictx * it, const unit *bits, ub8 limit, ub4 mode, ub8 start)) \
  ENTRY(ub8, mipo_##form##iter_dydi, (mipo_lbiv_ictx * it))                                                          \
  ENTRY(ub8, mipo_##form##iter_clr_dydi, (mipo_lbiv_ictx * it))                                                      \
  ENTRY(ub8, mipo_##form##ones_dydi, (mipo_lbiv_ictx * it, ub4 * rows, ub8 capacity))                                \
  ENTRY(ub8, mipo_##form##run_dydi, (ub8 unused1, ub8 unused2))                                                      \
  ENTRY(ub8, mipo_##form##runs_dydi, (ub8 unused1, ub8 unused2, ub8 unused3, ub8 unused4))

// Contracts of the entries, in the form of those above.
//
// Bit vectors, both forms
//   reads    the words or bytes that `length` bits take
//   writes   result: as many; bits of the last unit above `length` hold whatever the operation made of them. set_range
//   and
//            clr_range: the units of the bits from `first` to `last`, both included
//   null     count
//   alias    result may be any operand
//   returns  iter: the next set bit, iter_clr: the next clear one, the end marker after the last; ones: how many rows
//   it
//            has stored, at most `capacity`, 0 at the end
//
// mipo_init_sharedlib_dydi, mipo_set_trace_level_dydi, mipo_thread_ctx_init_dydi, mipo_thread_ctx_fini_dydi do nothing
//
// mipo_bloom_dydi: the rows whose hash has its bit set in a filter
//   reads    hashes: data (big-endian words of enc_ctx->bits, 32 or 64), nrows. filter: bv, its bits, or with
//            bloom_two_level the addresses of its segments; enc_ctx: bloom_mask, bloom_shift, bloom_word_mask.
//            ctx: ones_vec, first_row. kind: 1, or 2 for filters that are tested alike
//   writes   res: bv, nset; ctx: done_flags |= MIPO_DONE_BLOOM under a selection
//   returns  MIPO_DONE, MIPO_EMPTY
//
// mipo_groupkey_dydi: one number a row from its codes in several columns
//   reads    columns: column_count of them, each as for `decode_unpack`, and enc_ctx->sym_count. ctx as there, and
//            MIPO_EVAL_MULTIPLY_KEYS. out, temp: nrows, the room in keys. Calls temp_alloc and temp_free of the host
//   writes   range: ngroups. out: data, native ub4, and nset. temp: data, scratch; ctx: next_row
//   null     temp->data of a single column
//   returns  MIPO_DONE; MIPO_GATHER_FULL: call again; MIPO_NO_KERNEL for a column without codes, MIPO_NUMERIC_LIMIT for
//            keys of more than 32 bits, both with nothing written
//
// mipo_gby_sum_dydi: numbers added to the accumulator of their row's group
//   reads    values: data, nrows, enc_ctx num_type, flags, bits. keys: *keys, a native ub4 a row. options: flags, of
//            integers. offsets: of records
//   writes   acc: data; sb8 or double a group, or with MIPO_ACC_RECORD records of enc_ctx->bits / 8 bytes
//   null     keys: all rows are of group 0; offsets without records; acc->enc_ctx
//   returns  MIPO_DONE; MIPO_INVALID_PARAMETER for types and widths that are not served, with nothing written
//
// mipo_convert_dydi: numbers from native form to the one in which they sort by their bytes, or back, or their sum
//   reads    src: data, nrows, enc_ctx num_type, flags (MIPO_NATIVE: to the sortable form), bits. ctx: MIPO_EVAL_SUM
//   writes   res: data, as many numbers; a sum is added to the sb8, float or double that stands there
//   null     ctx: no sum
//   alias    res->data may be src->data
//   returns  MIPO_DONE; MIPO_INVALID_PARAMETER for sums that there are not. Integers without MIPO_EVAL_SUM end the
//   process
//
// mipo_prefix_decode_dydi: groups of 16 values with a common prefix
//   reads    src: data, lens (a big-endian ub4 a group: where it begins), nrows (groups), enc_ctx prefix_bytes (16),
//            prefix_width (1 to 8), prefix_rows. ctx: row_refs
//   writes   res: data, prefix_width bytes a row; ctx->row_refs: 16 bytes a row, address and length, unless null
//   null     ctx, ctx->row_refs
//   returns  MIPO_DONE; MIPO_INVALID_PARAMETER for other groups and widths, before anything is written, and for a
//   prefix
//            longer than the width, after the groups in front of it
//
// mipo_hash_dydi: the host's hash of each row
//   reads    column: a shape of byte strings, codes or packed codes with their symbols. seeds: data, native ub8, one
//   for
//            all rows if nrows is 1, else one a row; enc_ctx flags (MIPO_HASHED)
//   writes   res: data, a native ub8 a row
//   returns  MIPO_DONE; MIPO_NO_KERNEL for another shape, and for seeds without MIPO_HASHED. `hash` may unwind
//
// mipo_eq_stream_dydi: the rows in which two streams of byte strings are equal
//   reads    left, right: data, lens, enc_ctx flags (one shape for both); left: nrows, enc_ctx->bits of fixed rows
//   writes   res: nset; bv if any row differs, with ones above the last row
//   returns  MIPO_DONE, MIPO_EMPTY if no row is equal; MIPO_NO_KERNEL for unlike shapes
//
// mipo_selective_dydi: the selected rows of a stream, copied
//   reads    src: data, lens, nrows, enc_ctx. res: nrows and, of shapes with lengths and no addresses, data_bytes: the
//            room. ctx: host, ones_vec or ones_list with its length, next_row, data_pos
//   writes   res: data, lens, nrows, data_bytes; ctx: next_row, data_pos
//   returns  MIPO_DONE; MIPO_COPY_FULL: empty the output and call again; MIPO_NO_KERNEL for unlike shapes
//
// mipo_brep_decode_dydi: passes its arguments on to the host's brep_decode, and gives what that returns
//
// mipo_sum_vec_dydi: big-endian integers of one or two bytes added to a total
//   reads    src: data, nrows (the row after the last), enc_ctx->width_index (7 or 15; of others nothing is added).
//            ctx: next_row, the first row
//   writes   res: data, a ub4, which wraps
//   alias    the total may lie in the column: rows are read as it has left them
//
// mipo_lookup_and_compare_dydi: rows whose numbers in two columns compare
//   reads    left, right: data, native ub4; left: nrows. left_map, right_map: data, what stands for a code. op: data,
//   one
//            byte, an operation of one constant. ctx: next_row, which shortens the rows and not where they begin
//   writes   res: bv, ORed into what stands there, and nset
//   null     the maps: codes are compared themselves
//
// mipo_layout_kv_dydi: how many segments of which size a key-value table needs
//   reads    distinct, rows: at the most (arrays and dense sets: distinct codes); *flags: kind and shape.
//            log2_segment_bytes: of a primary segment. Buckets are linked by number where from idx_min_buckets up to
//            idx_max_buckets of them can overflow, else by address, and always so with force_ptr; from idx_max_buckets
//            on, load_percent (0: none) tells how full primary buckets become
//   writes   *flags: MIPO_KV_POINTER_LINKS and MIPO_KV_CHAIN_PREFETCH of bucketed kinds. kv: of the areas that the kind
//            has what the host does not fill in
//   alias    flags may be kv->flags
//   returns  MIPO_DONE; MIPO_INVALID_PARAMETER for a kind or shape that there is not; MIPO_LAYOUT_OUT_OF_RANGE for more
//            than 2^32 segments, with the primary area written in part
//
// mipo_prefix_sum_vec_dydi: offsets from lengths
//   reads    src: data, nrows lengths, native ub4
//   writes   res: data, nrows + 1 offsets, the first 0; they wrap
//
// All entries, from slot 15 on: ENTRY(result, name, arguments). Records that belong to families not built yet stand as
// `void`.
#define MIPO_ENTRIES(ENTRY)                                                                                            \
  ENTRY(void, mipo_init_sharedlib_dydi, (ub8 unused1, ub8 unused2))                                                    \
  ENTRY(void, mipo_set_trace_level_dydi, (ub8 unused))                                                                 \
  MIPO_BIT_VECTOR_ENTRIES(ENTRY, lbiv, ub1)                                                                            \
  MIPO_BIT_VECTOR_ENTRIES(ENTRY, lbiwv, ub8)                                                                           \
  ENTRY(ub4, mipo_bloom_dydi,                                                                                          \
        (mipo_vec * res, const mipo_vec *hashes, const mipo_vec *filter, mipo_call_ctx *ctx, ub4 kind))                \
  ENTRY(ub4, mipo_spatial_pip_dydi,                                                                                    \
        (mipo_vec * res, const mipo_vec *poly_x, const mipo_vec *poly_y, const mipo_vec *point_x,                      \
         const mipo_vec *point_y, ub8 unused))                                                                         \
  ENTRY(ub4, mipo_spheric_pip_dydi,                                                                                    \
        (mipo_vec * res, const mipo_vec *polygon, const mipo_vec *points, ub8 unused1, ub8 unused2, double tolerance)) \
  ENTRY(ub4, mipo_groupkey_dydi,                                                                                       \
        (mipo_vec * out, mipo_group_range * range, const mipo_vec *columns, ub4 column_count, mipo_vec *temp,          \
         mipo_call_ctx *ctx))                                                                                          \
  ENTRY(                                                                                                               \
      ub4, mipo_dgk_concatenate_dydi,                                                                                  \
      (ub8 rows, void *range, void *src, void *mask, ub8 bits, ub8 contiguous, void *dst, void *used, ub8 free_bits))  \
  ENTRY(ub4, mipo_extract_dgk_dydi, (void *keys, void *masks, void *out_columns, ub8 rows, ub8 column_count))          \
  ENTRY(ub4, mipo_gby_sum_dydi,                                                                                        \
        (mipo_vec * acc, const mipo_vec *values, const ub4 *const *keys, const mipo_group_sum_options *options,        \
         const mipo_group_sum_offsets *offsets))                                                                       \
  ENTRY(ub4, mipo_convert_dydi, (mipo_vec * res, const mipo_vec *src, mipo_call_ctx *ctx))                             \
  ENTRY(ub4, mipo_prefix_decode_dydi, (mipo_vec * res, const mipo_vec *src, mipo_call_ctx *ctx))                       \
  ENTRY(ub4, mipo_hash_dydi,                                                                                           \
        (mipo_vec * res, const mipo_vec *column, const mipo_vec *seeds, mipo_hash_fn *hash, ub8 unused))               \
  ENTRY(ub4, mipo_partition_dydi,                                                                                      \
        (void *partition, const mipo_vec *hash_or_key, const mipo_vec *payload, const mipo_vec *key,                   \
         mipo_hash_fn *hash, mipo_call_ctx *ctx))                                                                      \
  ENTRY(ub4, mipo_gather_dydi, (mipo_vec * res, const mipo_vec *ids, void *source, mipo_call_ctx *ctx))                \
  ENTRY(ub4, mipo_gather_one_col_dydi,                                                                                 \
        (mipo_vec * res, const mipo_vec *ids, void *source, mipo_call_ctx *ctx, ub4 column))                           \
  ENTRY(ub4, mipo_gather_cols_dydi,                                                                                    \
        (mipo_vec * res, const mipo_vec *ids, const ub4 *columns, ub4 column_count, void *source, mipo_call_ctx *ctx)) \
  ENTRY(ub4, mipo_transpose_reference_dydi,                                                                            \
        (void *table, const mipo_vec *column, ub4 column_number, int32_t segment, ub8 unused))                         \
  ENTRY(ub4, mipo_transpose_convert_dydi,                                                                              \
        (void *target, void *source, int32_t target_segment, int32_t source_segment, ub4 first_row, ub4 last_row,      \
         mipo_call_ctx *ctx))                                                                                          \
  ENTRY(ub4, mipo_transpose_fixed_dydi,                                                                                \
        (void *table, const mipo_vec *column, ub4 column_number, int32_t segment, ub8 unused))                         \
  ENTRY(ub4, mipo_layout_kv_dydi,                                                                                      \
        (ub8 distinct, ub8 rows, ub4 * flags, mipo_kv * kv, ub4 log2_segment_bytes, ub4 idx_min_buckets,               \
         ub4 idx_max_buckets, ub4 load_percent, ub4 force_ptr))                                                        \
  ENTRY(ub4, mipo_create_add_kv_dydi,                                                                                  \
        (mipo_kv * kv, const mipo_vec *hashes, const mipo_vec *payload, const mipo_vec *key, sb8 segment_id,           \
         mipo_call_ctx *ctx, void *alloc, void *oom))                                                                  \
  ENTRY(ub4, mipo_probe_kv_dydi,                                                                                       \
        (mipo_vec * out_values, mipo_vec * out_rids, const mipo_vec *hashes, const mipo_vec *payload,                  \
         const mipo_vec *key, mipo_kv *kv, ub4 mode, mipo_call_ctx *ctx, void *stats))                                 \
  ENTRY(ub4, mipo_mut_kv_scan_dydi, (mipo_vec * out, mipo_kv * kv, ub4 mode, mipo_call_ctx * ctx, ub4 end_segment))    \
  ENTRY(ub4, mipo_dgk_symbol2code_dydi,                                                                                \
        (void *dgk, void *thread, mipo_vec *out_codes, const mipo_vec *column, const mipo_vec *hashes))                \
  ENTRY(ub4, mipo_dgk_code2symbol_dydi, (ub8 unused, void *dgk, mipo_vec *out, const mipo_vec *codes))                 \
  ENTRY(ub4, mipo_eq_stream_dydi, (mipo_vec * res, const mipo_vec *left, const mipo_vec *right, ub8 unused))           \
  ENTRY(ub4, mipo_selective_dydi, (mipo_vec * res, const mipo_vec *src, mipo_call_ctx *ctx))                           \
  ENTRY(ub4, mipo_brep_decode_dydi,                                                                                    \
        (mipo_decode_args * args, const void *source, void *destination, ub4 *out_length, ub4 size))                   \
  ENTRY(ub4, mipo_thread_ctx_init_dydi, (void))                                                                        \
  ENTRY(ub4, mipo_thread_ctx_fini_dydi, (void))                                                                        \
  ENTRY(ub4, mipo_sum_vec_dydi, (mipo_vec * res, const mipo_vec *src, mipo_call_ctx *ctx))                             \
  ENTRY(ub4, mipo_lookup_and_compare_dydi,                                                                             \
        (mipo_vec * res, const mipo_vec *left, const mipo_vec *right, const mipo_vec *left_map,                        \
         const mipo_vec *right_map, const mipo_vec *op, mipo_call_ctx *ctx))                                           \
  ENTRY(ub4, mipo_prefix_sum_vec_dydi, (mipo_vec * res, const mipo_vec *src, ub8 unused))                              \
  ENTRY(ub4, mipo_vector_distance_dydi,                                                                                \
        (mipo_vec * res, const mipo_vec *left, const mipo_vec *right, ub4 metric, ub4 sparse_byte, mipo_call_ctx *ctx, \
         void *scratch, double unused))                                                                                \
  ENTRY(ub4, mipo_vector_topk_dydi,                                                                                    \
        (mipo_vec * res, const mipo_vec *left, const mipo_vec *right, ub4 metric, ub4 sparse_byte, mipo_call_ctx *ctx, \
         void *scratch, double unused))                                                                                \
  ENTRY(void *, mipo_vector_pick_metric_dydi,                                                                          \
        (ub4 metric, ub4 format1, int32_t sortable1, ub4 sparse1, ub4 format2, int32_t sortable2, ub4 sparse2))        \
  ENTRY(ub4, mipo_vector_parse_dydi,                                                                                   \
        (mipo_vec * res, mipo_vec * norms, const mipo_vec *input, ub8 *error_bits, mipo_call_ctx *ctx))                \
  ENTRY(ub4, mipo_vector_convert_fp_dydi,                                                                              \
        (mipo_vec * res, mipo_vec * norms, const mipo_vec *input, ub8 *error_bits, ub8 unused))                        \
  ENTRY(ub4, mipo_vector_arith_dydi,                                                                                   \
        (mipo_vec * res, mipo_vec * norms, const mipo_vec *first, const mipo_vec *second, ub4 op, mipo_call_ctx *ctx,  \
         void *scratch))

// What the header of the record holds.
#define MIPO_MAGIC UINT64_C(0xc16182c0)
#define MIPO_VERSION_TEXT "TLW_23.0"
#define MIPO_FORMAT 3
#define MIPO_SPECIALISATION "stlwarm64neon"

typedef struct mipo_specialized_ctx {
  ub8 magic;                         // MIPO_MAGIC
  const char *version;               // MIPO_VERSION_TEXT
  ub8 format;                        // MIPO_FORMAT
  const char *specialisation;        // MIPO_SPECIALISATION, whatever instruction set the build is for
  ub8 layout[10];                    // layout constants: seven times 8, then 16, 0, 16
  const mipo_kernel *dispatch_table; // MIPO_DISPATCH_TABLE_SLOTS kernels, by key
#define MIPO_ENTRY_FIELD(result, name, arguments) result(*name) arguments;
  MIPO_ENTRIES(MIPO_ENTRY_FIELD)
#undef MIPO_ENTRY_FIELD
} mipo_specialized_ctx;

enum mipo_record_slots { MIPO_RECORD_SLOTS = 88, MIPO_FIRST_ENTRY_SLOT = 15, MIPO_ENTRY_COUNT = 73 };

MIPO_RECORD_SIZE(mipo_specialized_ctx, 704);
#define MIPO_ENTRY_AT_SLOT(entry, slot) MIPO_FIELD_AT(mipo_specialized_ctx, entry, 8 * (slot))
MIPO_ENTRY_AT_SLOT(magic, 0);
MIPO_ENTRY_AT_SLOT(version, 1);
MIPO_ENTRY_AT_SLOT(format, 2);
MIPO_ENTRY_AT_SLOT(specialisation, 3);
MIPO_ENTRY_AT_SLOT(layout, 4);
MIPO_ENTRY_AT_SLOT(dispatch_table, 14);
MIPO_ENTRY_AT_SLOT(mipo_init_sharedlib_dydi, 15);
MIPO_ENTRY_AT_SLOT(mipo_lbivpopcnt_dydi, 17);
MIPO_ENTRY_AT_SLOT(mipo_lbivset_range_dydi, 26);
MIPO_ENTRY_AT_SLOT(mipo_lbivruns_dydi, 33);
MIPO_ENTRY_AT_SLOT(mipo_lbiwvpopcnt_dydi, 34);
MIPO_ENTRY_AT_SLOT(mipo_lbiwvruns_dydi, 50);
MIPO_ENTRY_AT_SLOT(mipo_bloom_dydi, 51);
MIPO_ENTRY_AT_SLOT(mipo_hash_dydi, 60);
MIPO_ENTRY_AT_SLOT(mipo_layout_kv_dydi, 68);
MIPO_ENTRY_AT_SLOT(mipo_brep_decode_dydi, 76);
MIPO_ENTRY_AT_SLOT(mipo_vector_arith_dydi, 87);
#undef MIPO_ENTRY_AT_SLOT

// The name that a host resolves, and the shape of what it finds there.
#define MIPO_RECORD_SYMBOL "mipo_global_specialized_ctx"
extern const mipo_specialized_ctx mipo_global_specialized_ctx;

#ifdef __cplusplus
}
#endif

#endif
