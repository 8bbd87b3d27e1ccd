// Code translation: which rows have a counterpart on the other side of a join, and which. One text for all layouts of
// rows, mappings and entry widths:
//
//   row ──Rows──▶ key ──TranslatedRange, table──▶ entry ──output──▶ handed out, in `c2d` kernels
//                                             └──not absent──▶ bit of the row, count, first and last row
//
// Nothing branches on a row: whether it has a key, a slot, a segment or an entry chooses addresses and bits.
#ifndef MIPO_XLATE_TRANSLATE_H
#define MIPO_XLATE_TRANSLATE_H

#include "bitvec/match_accumulator.h"
#include "mipo/call.h"
#include "mipo/codes.h"
#include "xlate/entry_outputs.h"
#include "xlate/rows.h"

namespace mipo::xlate {

using bitvec::MatchAccumulator, bitvec::word_rows;

template <class Table>
inline constexpr ub4 absent = Entries<Table::entry_bits>::absent;

/// The rows from `row` up to `end`.
template <class Rows, class Table, class Output>
MatchAccumulator translate_range(mipo_vec *res, Rows rows, const Table table, const TranslatedRange range,
                                 const Output output, ub4 row, const ub4 end) {
  const auto next_entry = [&]() __attribute__((always_inline)) {
    const Key key = rows.next();
    return table.entry(key, range.has(key));
  };
  MatchAccumulator matches;
  while (row < end) {
    const ub4 word = row / word_rows;
    ub8 bits = 0;
    if (row % word_rows == 0 && end - row >= word_rows) {
      for (ub4 first = 0; first < word_rows; first += group_rows) {
        typename Output::Group group(output, row + first);
        for (ub4 i = 0; i < group_rows; ++i) {
          const ub4 entry = next_entry();
          group.add(i, entry);
          bits |= ub8{entry != absent<Table>} << (first + i);
        }
        group.store();
      }
      row += word_rows;
    } else {
      do {
        const ub4 entry = next_entry();
        output.store(row, entry);
        bits |= ub8{entry != absent<Table>} << row % word_rows;
      } while (++row < end && row % word_rows != 0);
    }
    matches.add(res, word, bits);
  }
  return matches;
}

/// The selected rows among them. Entries of codes outside the table's range are not handed out here: hosts find in
/// these places what they have put there.
template <class Table, class Output>
MatchAccumulator translate_selected(mipo_vec *res, const CodeRows rows, const Table table, const TranslatedRange range,
                                    const Output output, const ub8 *selection, ub4 first, ub4 end) {
  MatchAccumulator matches;
  for (ub8 start = first / word_rows * word_rows; start < end; start += word_rows) {
    const auto word = static_cast<ub4>(start / word_rows);
    ub8 selected = selection[word];
    if (start < first) selected &= ~ub8{0} << first % word_rows;
    if (end - start < word_rows) selected &= ~(~ub8{0} << end % word_rows);
    ub8 bits = 0;
    for (; selected != 0; selected &= selected - 1) {
      const auto bit = static_cast<ub4>(__builtin_ctzll(selected));
      const ub4 row = word * word_rows + bit;
      const Key key = rows.row(row);
      const bool in_range = range.has(key);
      const ub4 entry = table.entry(key, in_range);
      output.store_if(in_range, row, entry);
      bits |= ub8{entry != absent<Table>} << bit;
    }
    matches.add(res, word, bits);
  }
  return matches;
}

/// Codes: the only rows that take a selection, and whose form is checked.
template <class Table, class Output>
ub4 translate_codes(mipo_vec *res, const mipo_vec *column, const mipo_vec *table, mipo_call_ctx *ctx) {
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(column);
  if (static_cast<ub1>(enc_ctx->bits) != 32 || !MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_HASHED)) return MIPO_NO_KERNEL;
  const CodeRows rows(column, ctx);
  const Table entries(table, ctx);
  const TranslatedRange range(ctx);
  const Output output(ctx);
  if (ctx->ones_vec == nullptr)
    return translate_range(res, rows, entries, range, output, ctx->first_row, column->nrows)
        .report(res, (ctx->eval_flags & MIPO_EVAL_COUNT_ONLY) == 0);
  const MatchAccumulator matches =
      translate_selected(res, rows, entries, range, output, ctx->ones_vec, ctx->first_row, column->nrows);
  ctx->done_flags |= MIPO_DONE_XLATE;
  return matches.report(res, true);
}

template <class Rows, class Table, class Output>
ub4 translate_values(mipo_vec *res, const mipo_vec *column, const mipo_vec *table, mipo_call_ctx *ctx) {
  if (Rows::refuses_selection && ctx->ones_vec != nullptr) return MIPO_NO_KERNEL;
  return translate_range(res, Rows(column, ctx), Table(table, ctx), TranslatedRange(ctx), Output(ctx), ctx->first_row,
                         column->nrows)
      .report(res, (ctx->eval_flags & MIPO_EVAL_COUNT_ONLY) == 0);
}

/// Decimal values whose entries a host may want in ub4 places, whatever their width.
template <class Rows, class Table, class Output>
ub4 translate_values_widened(mipo_vec *res, const mipo_vec *column, const mipo_vec *table, mipo_call_ctx *ctx) {
  if ((ctx->eval_flags & MIPO_EVAL_WIDE_ENTRIES) != 0)
    return translate_values<Rows, Table, ElementOutput<ub4>>(res, column, table, ctx);
  return translate_values<Rows, Table, Output>(res, column, table, ctx);
}

/// Adds to each row's group key the entry at the row's code, times the multiplier.
template <unsigned bits>
ub4 add_to_group_keys(mipo_vec *keys, const mipo_vec *codes, const mipo_call_ctx *ctx) {
  const auto *entries = static_cast<const ub1 *>(ctx->xlate_out);
  const auto *code = static_cast<const ub4 *>(codes->data);
  auto *key = static_cast<ub4 *>(keys->data);
  const ub4 rows = codes->nrows, multiplier = ctx->xlate_mult;
  for (ub4 row = 0; row < rows; ++row)
    key[row] += Entries<bits>::read(Entries<bits>::place(entries, code[row]), code[row]) * multiplier;
  return rows == 1;
}

} // namespace mipo::xlate

#endif
