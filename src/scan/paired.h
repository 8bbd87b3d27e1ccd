// Columns whose rows are pairs: a value, and a small field that was stored apart from it. Pairs are ordered by value,
// then by field.
//
// A comparison with a pair is two questions, each asked of a whole block: which values lie strictly on the wanted side,
// and which are equal to the constant's and have a field that will do.
#ifndef MIPO_SCAN_PAIRED_H
#define MIPO_SCAN_PAIRED_H

#include "scan/field_set.h"
#include "scan/operations.h"
#include "simd/simd.h"

namespace mipo::scan {

template <class Value>
struct Pair {
  Value value;
  ub4 field;
};

// Any operation on single rows: values in a range, or one of two values with a field that will do; or all but those.
template <class Codes>
class PairRowTest {
public:
  using Values = typename Codes::Values;
  using Fields = typename Codes::Fields;
  using Value = typename Values::Integer;

  PairRowTest(RowTest<Values> beyond, Value first, Fields first_fields, Value second, Fields second_fields, bool others)
      : beyond_(beyond),
        first_(first),
        second_(second),
        first_fields_(first_fields),
        second_fields_(second_fields),
        others_(others) {}

  [[gnu::always_inline]] bool row(Pair<Value> pair) const {
    const bool at_first = (pair.value == first_) & first_fields_.has(pair.field);
    const bool at_second = (pair.value == second_) & second_fields_.has(pair.field);
    return (beyond_.row(pair.value) | at_first | at_second) != others_;
  }

private:
  RowTest<Values> beyond_;
  Value first_, second_;
  Fields first_fields_, second_fields_;
  bool others_;
};

// rows_where(test of values) and fields_in(set) answer for the rows of a block.
template <class Operation, class Codes>
class OneSidedPairTest {
public:
  using Values = typename Codes::Values;
  using Fields = typename Codes::Fields;
  static constexpr bool ordered = Operation::form == LaneForm::ordered;
  static constexpr bool upward = std::is_same_v<Operation, gt> || std::is_same_v<Operation, ge>;

  explicit OneSidedPairTest(Pair<typename Values::Integer> k)
      : k_(k.value), beyond_(k.value), equal_(k.value), fields_([&](ub4 field) {
          return std::is_same_v<Operation, ne> ? field == k.field : Operation::holds(field, k.field);
        }) {}

  static constexpr ub8 force() { return 0; }
  static constexpr ub8 keep() { return ~ub8{0}; }

  PairRowTest<Codes> of_rows() const {
    const auto beyond = ordered ? beyond_.of_rows() : RowTest<Values>::never();
    return {beyond, k_, fields_, k_, Fields::none(), std::is_same_v<Operation, ne>};
  }

  [[gnu::always_inline]] ub8 bits(auto rows_where, auto fields_in) const {
    const ub8 at_constant = rows_where(equal_) & fields_in(fields_);
    if constexpr (std::is_same_v<Operation, ne>) return ~at_constant;
    if constexpr (!ordered) return at_constant;
    return at_constant | rows_where(beyond_);
  }

private:
  typename Values::Integer k_;
  OneSidedTest<std::conditional_t<upward, gt, lt>, Values> beyond_;
  OneSidedTest<eq, Values> equal_;
  Fields fields_;
};

// The range without its upper end, and without its lower one: what lies between is in both, an end in one of them.
template <class Operation, class Codes>
class TwoSidedPairTest {
public:
  using Values = typename Codes::Values;
  using Fields = typename Codes::Fields;
  using Constant = Pair<typename Values::Integer>;

  TwoSidedPairTest(Constant lo, Constant hi)
      : lo_(lo.value),
        hi_(hi.value),
        between_(lo.value, true, hi.value, true),
        from_low_(lo.value, false, hi.value, lo.value != hi.value),
        to_high_(lo.value, true, hi.value, false),
        low_fields_([&](ub4 field) { return Operation::low_open ? field > lo.field : field >= lo.field; }),
        high_fields_([&](ub4 field) { return Operation::high_open ? field < hi.field : field <= hi.field; }) {
    if (lo.value < hi.value) return;
    low_fields_ = lo.value == hi.value ? low_fields_ & high_fields_ : Fields::none();
    high_fields_ = Fields::none();
  }

  static constexpr ub8 force() { return 0; }
  static constexpr ub8 keep() { return ~ub8{0}; }

  PairRowTest<Codes> of_rows() const { return {between_.of_rows(), lo_, low_fields_, hi_, high_fields_, false}; }

  [[gnu::always_inline]] ub8 bits(auto rows_where, auto fields_in) const {
    const ub8 from_low = rows_where(from_low_) & from_low_.keep(), to_high = rows_where(to_high_) & to_high_.keep();
    return (from_low & to_high) | (from_low & fields_in(low_fields_)) | (to_high & fields_in(high_fields_));
  }

private:
  typename Values::Integer lo_, hi_;
  RangeTest<Values> between_, from_low_, to_high_;
  Fields low_fields_, high_fields_;
};

template <class ValueCodes, unsigned field_bits>
struct PairCodes {
  using Values = ValueCodes;
  using Fields = FieldSet<field_bits>;
  template <class Operation>
  using OneSided = OneSidedPairTest<Operation, PairCodes>;
  template <class Operation>
  using TwoSided = TwoSidedPairTest<Operation, PairCodes>;
};

// Rows of a paired column: Values reads values; FieldStream has at(row), block_bytes and of_block(block).
template <class Values, unsigned field_bits, class FieldStream>
class PairedRows {
public:
  using BlockCodes = PairCodes<typename Values::BlockCodes, field_bits>;
  using SelectiveCodes = BlockCodes;
  using Value = typename Values::BlockCodes::Integer;

  PairedRows(Values values, FieldStream fields) : values_(values), fields_(fields) {}

  template <class>
  Pair<Value> constant(const mipo_vec *konst) const {
    return {values_.template constant<typename Values::BlockCodes>(konst), *static_cast<const ub1 *>(konst->lens)};
  }

  [[gnu::always_inline]] Pair<Value> row(ub8 row) { return {static_cast<Value>(values_.row(row)), fields_.at(row)}; }
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

    template <LaneForm form, class Test>
    [[gnu::always_inline]] simd::RowBits<rows_per_block> bits_where(const Test &test) const {
      const auto rows_where = [&](const auto &values_test) __attribute__((always_inline)) {
        ub8 bits = 0;
        for (size_t i = 0; i < parts; ++i)
          bits |= static_cast<ub8>(part_[i].template bits_where<form>(values_test).word[0])
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

} // namespace mipo::scan

#endif
