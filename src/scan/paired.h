// Columns whose rows are pairs: a value, and a small field that was stored apart from it. Pairs are ordered by value,
// then by field.
//
// A comparison with a pair is two questions, each asked of a whole block: how the values compare with the constant's,
// and which of the equal ones have a field in the accepted set. Since equal values are among those at most the
// constant's,
//
//   eq, ne            (equal & accepted)              complemented for ne
//   le, lt            at_most ^ (equal & rejected)
//   ge, gt            at_most ^ (equal & accepted)    complemented
//   two constants     between | (at low & accepted there) | (at high & accepted there)
#ifndef MIPO_SCAN_PAIRED_H
#define MIPO_SCAN_PAIRED_H

#include "scan/field_set.h"
#include "scan/predicate.h"
#include "simd/simd.h"

namespace mipo::scan {

template <class Word>
struct Pair {
  Word value;
  ub4 field;
};

// Any operation on single rows: values in a range, or one of two values with an accepted field; or all but those.
template <class Word, class Fields>
class PairRowTest {
public:
  PairRowTest(CodeSet<Word> beyond, Word first, Fields first_fields, Word second, Fields second_fields, bool others)
      : beyond_(beyond),
        first_(first),
        second_(second),
        first_fields_(first_fields),
        second_fields_(second_fields),
        others_(others) {}

  [[gnu::always_inline]] bool row(Pair<Word> pair) const {
    const bool at_first = (pair.value == first_) & first_fields_.has(pair.field);
    const bool at_second = (pair.value == second_) & second_fields_.has(pair.field);
    return (beyond_.row(pair.value) | at_first | at_second) != others_;
  }

private:
  RowTest<Word> beyond_;
  Word first_, second_;
  Fields first_fields_, second_fields_;
  bool others_;
};

// Tests of a block: rows_where<form>(test of values) and fields_in(set) answer for its rows.
template <class Word, class Fields>
struct EqualPairTest {
  EqualTest<Word> equal;
  Fields fields;

  [[gnu::always_inline]] ub8 bits(auto rows_where, auto fields_in) const {
    return rows_where.template operator()<column::LaneForm::bytes>(equal) & fields_in(fields);
  }
};

template <class Word, class Fields>
struct AtMostPairTest {
  struct AtMostAny { // any number, the greatest too
    Word high;
    [[gnu::always_inline]] auto lanes(auto values, auto to_lane_constant) const {
      return values <= to_lane_constant(high);
    }
  };
  AtMostAny at_most;
  EqualTest<Word> equal;
  Fields exceptions; // of equal values

  [[gnu::always_inline]] ub8 bits(auto rows_where, auto fields_in) const {
    return rows_where.template operator()<column::LaneForm::ordered>(at_most) ^
           (rows_where.template operator()<column::LaneForm::ordered>(equal) & fields_in(exceptions));
  }
};

template <class Test>
struct PairComplement {
  Test test;
  [[gnu::always_inline]] ub8 bits(auto rows_where, auto fields_in) const { return ~test.bits(rows_where, fields_in); }
};
template <class Test>
PairComplement(Test) -> PairComplement<Test>;

// The range without its upper end, and without its lower one: what lies between is in both, an end in one of them.
template <class Word, class Fields>
struct PairRangeTest {
  struct ValueRange {
    RangeTest<Word> values;
    ub8 and_mask; // zero for a range of nothing

    explicit ValueRange(CodeSet<Word> codes)
        : values{codes.low, static_cast<Word>(codes.high - codes.low)}, and_mask(codes.is_empty() ? 0 : ~ub8{0}) {}
  };
  ValueRange from_low, to_high;
  Fields low_fields, high_fields;

  [[gnu::always_inline]] ub8 bits(auto rows_where, auto fields_in) const {
    const ub8 low = rows_where.template operator()<column::LaneForm::ordered>(from_low.values) & from_low.and_mask;
    const ub8 high = rows_where.template operator()<column::LaneForm::ordered>(to_high.values) & to_high.and_mask;
    return (low & high) | (low & fields_in(low_fields)) | (high & fields_in(high_fields));
  }
};

// An operation with its constants.
template <class Word, class Fields>
class PairPredicate {
public:
  PairPredicate(Operation operation, Pair<Word> low, Pair<Word> high)
      : operation_(operation), low_(low), high_(high), low_fields_(Fields::none()), high_fields_(Fields::none()) {
    using enum Operation;
    switch (operation) {
    case eq:
    case ne:
      low_fields_ = Fields([&](ub4 field) { return field == low.field; });
      return;
    case lt:
      low_fields_ = Fields([&](ub4 field) { return field < low.field; });
      return;
    case le:
      low_fields_ = Fields([&](ub4 field) { return field <= low.field; });
      return;
    case gt:
      low_fields_ = Fields([&](ub4 field) { return field > low.field; });
      return;
    case ge:
      low_fields_ = Fields([&](ub4 field) { return field >= low.field; });
      return;
    default:
      break;
    }
    const bool low_open = operation == gt_lt || operation == gt_le,
               high_open = operation == gt_lt || operation == ge_lt;
    const Fields from_low([&](ub4 field) { return low_open ? field > low.field : field >= low.field; });
    const Fields to_high([&](ub4 field) { return high_open ? field < high.field : field <= high.field; });
    if (low.value < high.value) {
      low_fields_ = from_low;
      high_fields_ = to_high;
    } else if (low.value == high.value) {
      low_fields_ = from_low & to_high;
    }
  }

  // Rows and blocks of this predicate, whose values are at most `greatest`.
  PairRowTest<Word, Fields> of_rows(Word greatest) const {
    CodeSet<Word> beyond = CodeSet<Word>::none();
    if (is_two_sided(operation_))
      beyond = codes_where<Word>(Operation::gt_lt, false, greatest, low_.value, high_.value);
    else if (operation_ == Operation::lt || operation_ == Operation::le)
      beyond = codes_where<Word>(Operation::lt, false, greatest, low_.value, 0);
    else if (operation_ == Operation::gt || operation_ == Operation::ge)
      beyond = codes_where<Word>(Operation::gt, false, greatest, low_.value, 0);
    return {beyond, low_.value, low_fields_, high_.value, high_fields_, operation_ == Operation::ne};
  }

  template <class Column>
  ub4 blocks(Column &column, Word greatest, Output output) const {
    constexpr column::LaneForm form = column::LaneForm::ordered; // each test says it for itself
    const EqualPairTest<Word, Fields> equal{{low_.value}, low_fields_};
    using AtMost = AtMostPairTest<Word, Fields>;
    using enum Operation;
    switch (operation_) {
    case eq:
      return evaluate_blocks<form>(column, equal, output);
    case ne:
      return evaluate_blocks<form>(column, PairComplement{equal}, output);
    case lt:
    case le:
      return evaluate_blocks<form>(column, AtMost{{low_.value}, {low_.value}, low_fields_.complement()}, output);
    case gt:
    case ge:
      return evaluate_blocks<form>(column, PairComplement{AtMost{{low_.value}, {low_.value}, low_fields_}}, output);
    default:
      const bool same = low_.value == high_.value;
      const CodeSet<Word> from_low = codes_where<Word>(same ? ge_le : ge_lt, false, greatest, low_.value, high_.value);
      const CodeSet<Word> to_high = codes_where<Word>(gt_le, false, greatest, low_.value, high_.value);
      using Range = PairRangeTest<Word, Fields>;
      return evaluate_blocks<form>(
          column,
          Range{typename Range::ValueRange(from_low), typename Range::ValueRange(to_high), low_fields_, high_fields_},
          output);
    }
  }

private:
  Operation operation_;
  Pair<Word> low_, high_;
  Fields low_fields_, high_fields_; // accepted with a value equal to low_, and to high_
};

// Rows of a paired column: Values reads values; FieldStream has at(row), block_bytes and of_block(block).
template <class Values, unsigned field_bits, class FieldStream>
class PairedRows {
public:
  using Word = typename Values::Word;
  using Fields = FieldSet<field_bits>;
  static constexpr Word greatest = Values::greatest;

  PairedRows(Values values, FieldStream fields) : values_(values), fields_(fields) {}

  Pair<Word> constant(const mipo_vec *konst) const {
    return {values_.block_constant(konst), *static_cast<const ub1 *>(konst->lens)};
  }

  [[gnu::always_inline]] Pair<Word> row(ub8 row) { return {static_cast<Word>(values_.row(row)), fields_.at(row)}; }
  [[gnu::always_inline]] void prefetch_row(ub8 row) const { values_.prefetch_row(row); }

protected:
  Values values_;
  FieldStream fields_;
};

// The same with blocks: as many rows as the fields of a block are, each block several of the values' own or just one.
template <class Values, unsigned field_bits, class FieldStream>
class PairedBlocks : public PairedRows<Values, field_bits, FieldStream> {
public:
  using PairedRows<Values, field_bits, FieldStream>::PairedRows;
  static constexpr size_t rows_per_block = FieldStream::block_bytes * FieldSet<field_bits>::rows_per_byte;
  static_assert(rows_per_block <= 64 && rows_per_block % Values::rows_per_block == 0);

  class Block {
    static constexpr size_t parts = rows_per_block / Values::rows_per_block;
    using Part = typename Values::Block;

  public:
    [[gnu::always_inline]] Block(Values &values, ub8 block, const ub1 *fields)
        : Block(values, block, fields, std::make_index_sequence<parts>{}) {}

    template <column::LaneForm, class Test>
    [[gnu::always_inline]] simd::RowBits<rows_per_block> bits_where(const Test &test) const {
      const auto rows_where = [&]<column::LaneForm values_form>(const auto &values_test)
          __attribute__((always_inline)) {
        ub8 bits = 0;
        for (size_t i = 0; i < parts; ++i)
          bits |= static_cast<ub8>(part_[i].template bits_where<values_form>(values_test).word[0])
                  << i * Values::rows_per_block;
        return bits;
      };
      const auto fields_in = [&](const auto &set) __attribute__((always_inline)) {
        return set.template row_bits<FieldStream::block_bytes>(fields_);
      };
      return {{static_cast<typename simd::RowBits<rows_per_block>::Word>(test.bits(rows_where, fields_in))}};
    }

  private:
    template <size_t... i>
    [[gnu::always_inline]] Block(Values &values, ub8 block, const ub1 *fields, std::index_sequence<i...>)
        : part_{values.at(block * parts + i)...}, fields_(fields) {}

    Part part_[parts];
    const ub1 *fields_;
  };

  [[gnu::always_inline]] Block at(ub8 block) { return Block(this->values_, block, this->fields_.of_block(block)); }
};

template <class Values, unsigned field_bits, class FieldStream>
auto paired(Values values, FieldStream fields) {
  if constexpr (requires { Values::rows_per_block; })
    return PairedBlocks<Values, field_bits, FieldStream>(values, fields);
  else
    return PairedRows<Values, field_bits, FieldStream>(values, fields);
}

// All ten operations on a paired column.
template <class MakeColumn>
[[gnu::noinline]] ub4 evaluate_pairs(const PredicateCall &call, MakeColumn make_column) {
  using Column = decltype(make_column(nullptr));
  using Word = typename Column::Word;
  const auto predicate = [&call](const Column &column) {
    const Pair<Word> low = column.constant(call.low);
    return PairPredicate<Word, typename Column::Fields>(call.operation, low,
                                                        call.high != nullptr ? column.constant(call.high) : low);
  };
  return evaluate_with(
      predicate_policy, call.labels, call.res, call.src, call.ctx, make_column,
      [&](Column column, Output output) {
        const auto pairs = predicate(column);
        const ub4 count = pairs.blocks(column, Column::greatest, output);
        return count + evaluate_tail(column, pairs.of_rows(Column::greatest), output);
      },
      [&](const Column &column) { return predicate(column).of_rows(Column::greatest); });
}

} // namespace mipo::scan

#endif
