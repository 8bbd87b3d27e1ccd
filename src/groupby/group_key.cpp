// mipo_groupkey_dydi: a column of group keys from the codes of several columns.
#include "groupby/group_key.h"

#include "frame/dispatch_table.h"
#include "interface/entry_functions.h"

namespace mipo::groupby {
namespace {

// What is kept of a column for the time of the call.
struct ColumnState {
  ub4 run_index, run_end; // where the walk over a run-length column stopped
  ub4 step_constant;
};
static_assert(sizeof(ColumnState) == 12, "hosts expect scratch of 12 bytes a column");

struct Columns {
  const mipo_vec *vecs;
  ub4 count;
  ColumnState *states;
};

mipo_kernel decode_kernel(const mipo_vec *column) {
  return mipo_dispatch_table.kernels[MIPO_VEC_ENC_CTX(column)->decode_form * 32 + MIPO_OP_DECODE_UNPACK];
}

// Sets up the states; stores how many keys there can be.
template <class Packing>
ub4 plan(const Columns &columns, ub8 &key_count) {
  key_count = 1;
  for (ub4 i = 0; i < columns.count; ++i) {
    const mipo_enc_ctx *column = MIPO_VEC_ENC_CTX(&columns.vecs[i]);
    if (!MIPO_ENC_CTX_FLAG(column, MIPO_PACKED) || decode_kernel(&columns.vecs[i]).any == nullptr)
      return MIPO_NO_KERNEL;
    key_count = Packing::key_count(key_count, column);
    if (key_count > greatest_key_count) return MIPO_NUMERIC_LIMIT;
    columns.states[i] = {0, 0, Packing::step_constant(column)};
  }
  return MIPO_DONE;
}

// Up to `capacity` codes of a column from `ctx.next_row` on, which moves after them; returns how many there were.
ub4 decode_codes(const Columns &columns, ub4 i, ub4 *codes, ub4 capacity, mipo_call_ctx &ctx) {
  const mipo_vec *column = &columns.vecs[i];
  const bool has_runs = MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(column), MIPO_RLE);
  ColumnState &state = columns.states[i];
  if (has_runs) {
    ctx.run_index = state.run_index;
    ctx.run_end = state.run_end;
  }
  mipo_vec target{};
  target.data = codes;
  target.nrows = capacity;
  decode_kernel(column).decode(&target, column, &ctx);
  if (has_runs) {
    state.run_index = ctx.run_index;
    state.run_end = ctx.run_end;
  }
  return target.nset;
}

void add_codes(ub4 *keys, const ub4 *codes, ub4 count) {
  for (ub4 i = 0; i < count; ++i) keys[i] += codes[i];
}

// One round: column after column over the same rows, so that a step is a sweep.
template <class Packing>
ub4 combine_chunk(const Columns &columns, ub4 *keys, ub4 *codes, ub4 capacity, mipo_call_ctx &ctx) {
  const ub4 first_row = ctx.next_row;
  const ub4 rows = decode_codes(columns, 0, keys, capacity, ctx);
  const ub4 next_row = ctx.next_row;
  for (ub4 i = 1; i < columns.count; ++i) {
    Packing::make_room(keys, columns.states[i].step_constant, rows);
    ctx.next_row = first_row;
    decode_codes(columns, i, codes, capacity, ctx);
    add_codes(keys, codes, rows);
  }
  ctx.next_row = next_row;
  return rows;
}

template <class Packing>
ub4 combine(mipo_vec *out, mipo_group_range *range, const Columns &columns, const mipo_vec *temp, mipo_call_ctx *ctx) {
  ub8 key_count;
  if (const ub4 refusal = plan<Packing>(columns, key_count); refusal != MIPO_DONE) return refusal;
  range->ngroups = static_cast<ub4>(key_count);

  mipo_call_ctx decode_ctx = *ctx;
  decode_ctx.eval_flags |= MIPO_EVAL_WIDE_CODES;
  const ub4 end_row = columns.count != 0 ? columns.vecs[0].nrows : 0;
  auto *keys = static_cast<ub4 *>(out->data);
  ub4 written = 0, code = MIPO_DONE;
  while (decode_ctx.next_row < end_row && code == MIPO_DONE) {
    const ub4 room = out->nrows - written, first_row = decode_ctx.next_row;
    const ub4 capacity = room < temp->nrows ? room : temp->nrows;
    if (capacity != 0)
      written += combine_chunk<Packing>(columns, keys + written, static_cast<ub4 *>(temp->data), capacity, decode_ctx);
    if (decode_ctx.next_row == first_row) code = MIPO_GATHER_FULL; // no room, here or in `temp`: no step was made
  }
  out->nset = written;
  ctx->next_row = decode_ctx.next_row;
  return code;
}

} // namespace
} // namespace mipo::groupby

extern "C" ub4 mipo_groupkey_dydi(mipo_vec *out, mipo_group_range *range, const mipo_vec *columns, ub4 column_count,
                                  mipo_vec *temp, mipo_call_ctx *ctx) {
  using namespace mipo::groupby;
  const mipo_host_ctx *host = ctx->host;
  void *cookie = nullptr;
  void *scratch = host->temp_alloc(host->env, column_count * static_cast<ub4>(sizeof(ColumnState)),
                                   "mipo_groupkey_dydi: temp column info", 4, 0, &cookie);
  const Columns all = {columns, column_count, static_cast<ColumnState *>(scratch)};
  const auto combine_columns =
      (ctx->eval_flags & MIPO_EVAL_MULTIPLY_KEYS) != 0 ? combine<MultipliedKeys> : combine<ShiftedKeys>;
  const ub4 code = combine_columns(out, range, all, temp, ctx);
  host->temp_free(host->env, scratch, cookie);
  return code;
}
