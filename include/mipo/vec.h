// Column vectors: what every kernel sees of a column, a constant or a result.

//   mipo_vec ──data──────▶ codes, values or a compressed stream, in the shape that enc_ctx->flags selects
//            ──enc_ctx───▶ mipo_enc_ctx: what the bytes mean (shared by many vectors)
//            ──bv────────▶ result bits: row i is bit i & 63 of word i >> 6, set = selected

// The host owns all of it. Kernels trust the records; they do not check them.
#ifndef MIPO_VEC_H
#define MIPO_VEC_H

#include "mipo/assertion.h"
#include "mipo/integers.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct mipo_vec mipo_vec;
typedef struct mipo_enc_ctx mipo_enc_ctx;
typedef struct mipo_call_ctx mipo_call_ctx;
typedef struct mipo_host_ctx mipo_host_ctx;

// Turns a bit vector over runs (`aux->ones_vec`, of which `aux->ones_count` are set) into `res->bv` and `res->nset`,
// and returns what the predicate then returns. `aux` lives for the time of the call only.
typedef ub4 mipo_burst_fn(mipo_host_ctx *host, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux);

// The descriptor of one vector operand. A constant is a vector of one row, its `data` the address of the value.
// Arrays of vectors lie at a stride of 96 bytes.
struct mipo_vec {
  void *data; // first byte of the values; output of a decoder: array of ub8 symbol addresses
  void *lens; // ub2 lengths of the separate shapes; 2-bit counts of a trailing-zero column
  ub2 *inds;  // output of a decoder: 2 = the row has no value, 0 = it has one
  mipo_enc_ctx *enc_ctx;
  const ub8 *filter_bv; // predicates AND their result with it; null = no filter
  ub8 *bv;              // result words, at least (nrows + 63) / 64 of them
  ub4 nset;             // written by kernels: one-bits left in `bv`; for a decoder, rows produced
  ub4 nrows;            // rows; output of a resumable copy: capacity on entry, rows written on return
  ub4 decomp_size;      // bytes of the column once decompressed
  ub4 reserved_60;
  void **decomp_slot; // the host's cell for the decompressed column; holds null until a kernel fills it
  ub8 decomp_hint;    // handed to the allocator unchanged
  ub8 first_rid;      // MIPO_AUTORID: row i has the row id first_rid + i
  ub8 data_bytes;     // output of a resumable copy: capacity of `data` in bytes on entry, bytes used on return
};

MIPO_FIELD_AT(mipo_vec, data, 0);
MIPO_FIELD_AT(mipo_vec, lens, 8);
MIPO_FIELD_AT(mipo_vec, inds, 16);
MIPO_FIELD_AT(mipo_vec, enc_ctx, 24);
MIPO_FIELD_AT(mipo_vec, filter_bv, 32);
MIPO_FIELD_AT(mipo_vec, bv, 40);
MIPO_FIELD_AT(mipo_vec, nset, 48);
MIPO_FIELD_AT(mipo_vec, nrows, 52);
MIPO_FIELD_AT(mipo_vec, decomp_size, 56);
MIPO_FIELD_AT(mipo_vec, decomp_slot, 64);
MIPO_FIELD_AT(mipo_vec, decomp_hint, 72);
MIPO_FIELD_AT(mipo_vec, first_rid, 80);
MIPO_FIELD_AT(mipo_vec, data_bytes, 88);
MIPO_RECORD_SIZE(mipo_vec, 96);

// What a vector's bytes mean. Kernels only read it, but for the words of `run_bv`.
struct mipo_enc_ctx {
  ub1 decode_form; // decode_form * 32 + 11 is the key of the column's `decode_unpack` kernel
  ub1 reserved_1[15];
  ub8 sym_base;        // address of the dictionary's symbol bytes
  const ub2 *sym_len;  // sym_varlen 0: one big-endian length, of every symbol
  const ub4 *sym_offs; // sym_varlen 1: big-endian offsets from sym_base, one a code and one after the last
  ub4 sym_count;       // codes of the dictionary: 0 .. sym_count - 1
  ub4 sym_varlen;      // 0: fixed symbol length; 1: lengths through sym_offs
  ub1 reserved_48[8];
  const void *run_lens; // MIPO_RLE: one length a run, run_len_bits wide (16 bits: big-endian)
  ub1 run_len_bits;     // 8 or 16
  ub1 reserved_65[3];
  ub4 run_count;         // MIPO_RLE: number of runs
  const ub4 *run_starts; // big-endian first row of each run, and the row count after the last
  ub1 reserved_80[8];
  mipo_burst_fn *burst; // MIPO_RLE: expands selected runs into rows
  ub8 *run_bv;          // MIPO_RLE: scratch of (run_count + 63) / 64 words, written by predicates
  ub2 prefix_bytes;     // prefix-compressed stream: bytes of a stored prefix unit, 16
  ub2 prefix_width;     // the same: value width in bytes, 1 to 8
  ub4 prefix_rows;      // the same: rows that the stream decodes to
  ub1 reserved_112;
  ub1 bloom_two_level; // Bloom filter: shape
  ub1 reserved_114[2];
  ub4 bloom_mask;
  ub4 bloom_shift;
  ub4 bloom_word_mask;
  ub1 reserved_128[16];
  const void *dict_values; // MIPO_UNPACKED_DICT: decoded dictionary of 4- or 8-byte elements
  ub1 reserved_152[8];
  ub4 flags;       // MIPO_NATIVE and the other flags below
  ub4 bits;        // width of a code or value in bits
  ub1 width_index; // the same as a width index (mipo_convert_width)
  ub1 reserved_169[3];
  ub4 vec_dim; // embedding vectors: dimensions, 0 = variable
  ub1 reserved_176[8];
  ub1 num_type;      // element type of numeric data, MIPO_NUM_FLOAT and the following
  ub1 vec_text_form; // text form of an embedding vector
  ub1 reserved_186[6];
};

MIPO_FIELD_AT(mipo_enc_ctx, decode_form, 0);
MIPO_FIELD_AT(mipo_enc_ctx, sym_base, 16);
MIPO_FIELD_AT(mipo_enc_ctx, sym_len, 24);
MIPO_FIELD_AT(mipo_enc_ctx, sym_offs, 32);
MIPO_FIELD_AT(mipo_enc_ctx, sym_count, 40);
MIPO_FIELD_AT(mipo_enc_ctx, sym_varlen, 44);
MIPO_FIELD_AT(mipo_enc_ctx, run_lens, 56);
MIPO_FIELD_AT(mipo_enc_ctx, run_len_bits, 64);
MIPO_FIELD_AT(mipo_enc_ctx, run_count, 68);
MIPO_FIELD_AT(mipo_enc_ctx, run_starts, 72);
MIPO_FIELD_AT(mipo_enc_ctx, burst, 88);
MIPO_FIELD_AT(mipo_enc_ctx, run_bv, 96);
MIPO_FIELD_AT(mipo_enc_ctx, prefix_bytes, 104);
MIPO_FIELD_AT(mipo_enc_ctx, prefix_width, 106);
MIPO_FIELD_AT(mipo_enc_ctx, prefix_rows, 108);
MIPO_FIELD_AT(mipo_enc_ctx, bloom_two_level, 113);
MIPO_FIELD_AT(mipo_enc_ctx, bloom_mask, 116);
MIPO_FIELD_AT(mipo_enc_ctx, bloom_shift, 120);
MIPO_FIELD_AT(mipo_enc_ctx, bloom_word_mask, 124);
MIPO_FIELD_AT(mipo_enc_ctx, dict_values, 144);
MIPO_FIELD_AT(mipo_enc_ctx, flags, 160);
MIPO_FIELD_AT(mipo_enc_ctx, bits, 164);
MIPO_FIELD_AT(mipo_enc_ctx, width_index, 168);
MIPO_FIELD_AT(mipo_enc_ctx, vec_dim, 172);
MIPO_FIELD_AT(mipo_enc_ctx, num_type, 184);
MIPO_FIELD_AT(mipo_enc_ctx, vec_text_form, 185);

// `flags` of mipo_enc_ctx. At most one of the shape bits is set.
enum mipo_vec_flag {
  MIPO_NATIVE = 0x1,             // numbers are plain native values; clear: sortable big-endian form
  MIPO_CONST = 0x4,              // one value for the whole column, the first element of `data`
  MIPO_ROWPTR = 0x20,            // `data` is an array of row pointers, one embedding vector a row
  MIPO_HASHED = 0x80,            // the vector holds hash values
  MIPO_PACKED = 0x100,           // shape: codes of `bits` bits, high bit first, through the dictionary
  MIPO_RLE = 0x200,              // run-length column: `data` holds one value a run
  MIPO_FIXED = 0x800,            // shape: byte strings of bits / 8 bytes
  MIPO_LV_SEP = 0x1000,          // shape: bytes back to back in `data`, ub2 lengths in `lens`
  MIPO_LV = 0x2000,              // shape: rows back to back, each after a native ub2 length
  MIPO_LP_SEP = 0x4000,          // shape: `data` is an array of ub8 addresses, ub2 lengths in `lens`
  MIPO_LP = 0x8000,              // shape: packed 10-byte records: ub2 length, ub8 address
  MIPO_BREP = 0x10000,           // `data` is a compressed stream, `decomp_size` bytes long once decompressed
  MIPO_AUTORID = 0x20000,        // implicit row ids from `first_rid`
  MIPO_TZ_CONST = 0x80000,       // all rows share one trailing-zero count, the first byte of `lens`
  MIPO_CODES = 0x100000,         // shape: native ub4 codes through the dictionary
  MIPO_ACC_RECORD = 0x200000,    // accumulator of group sums in record layout
  MIPO_GD = 0x400000,            // codes of a global dictionary
  MIPO_UNPACKED_DICT = 0x800000, // with MIPO_CODES: the codes index `dict_values`
  MIPO_REC_KIND = 0x7f000000     // field: kind of the composite record of a row, below
};

// Values of the field MIPO_REC_KIND, left in place.
enum mipo_rec_kind {
  MIPO_REC_RIDGD = 0x03000000,           // row id, code of a global dictionary
  MIPO_REC_GDCACHEDHASH = 0x12000000,    // code with its cached hash
  MIPO_REC_RIDGDCACHEDHASH = 0x13000000, // row id, code with its cached hash
  MIPO_REC_RIDHASH = 0x21000000,         // row id, hash
  MIPO_REC_GDHASH = 0x22000000,          // code, hash
  MIPO_REC_RIDGDHASH = 0x23000000,       // row id, code, hash
  MIPO_REC_FIXEDHASH = 0x24000000,       // fixed value, hash
  MIPO_REC_RIDFIXEDHASH = 0x25000000,    // row id, fixed value, hash
  MIPO_REC_LPHASH = 0x28000000,          // MIPO_LP value, hash
  MIPO_REC_RIDLPHASH = 0x29000000,       // row id, MIPO_LP value, hash
  MIPO_REC_RIDVALUE = 0x41000000         // row id, value
};

// `num_type` of mipo_enc_ctx.
enum mipo_num_type {
  MIPO_NUM_FLOAT = 1,
  MIPO_NUM_DOUBLE = 2,
  MIPO_NUM_INTEGER = 3, // of `bits` bits
  MIPO_NUM_INT8 = 5,
  MIPO_NUM_BITMSB0 = 6,
  MIPO_NUM_FLOAT16 = 7,
  MIPO_NUM_BFLOAT16 = 8
};

// The flag tests as kernels write them; the texts appear in assertion reports.
#define MIPO_VEC_ENC_CTX(vec) ((vec)->enc_ctx)
#define MIPO_ENC_CTX_FLAG(enc_ctx, flag) (((enc_ctx)->flags & (ub4)(flag)) != 0)

#ifdef __cplusplus
}
#endif

#endif
