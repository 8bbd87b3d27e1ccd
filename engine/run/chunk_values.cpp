#include "engine/run/chunk_values.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mipo::engine {

namespace {

constexpr ub8 no_value = ColumnCodes::no_value;

// An argument that is a column.
class ColumnValues final : public ChunkValues {
public:
  ColumnValues(const AggregateInput &input, ChunkCodes &codes)
      : input_(input), codes_(codes.of(*input.column)), words_(row_step("values of codes", input.text)) {
    if (codes_.by_kernel() && input.adds()) words_by_code_ = input.words_by_code();
  }

  void read(ChunkRows &) override { codes_.read(); }

  void words(const ChunkRows &rows, sb8 *words, ub1 *present) override {
    const Stopwatch stopwatch;
    if (codes_.by_kernel()) {
      const ub4 *codes = codes_.unpacked();
      const sb8 *by_code = words_by_code_.by_index().data();
      for (ub4 i = 0, count = rows.count(); i < count; ++i) words[i] = by_code[codes[i]];
    } else {
      const host::Domain &domain = input_.column->domain();
      const bool numbers = host::is_number(domain.type().kind);
      codes_.each(rows.count(), [&](ub4 i, ub8 code) {
        words[i] = code == no_value ? 0 : input_.word(numbers ? domain.number(code) : 0);
      });
    }
    if (present != nullptr) codes_.each(rows.count(), [&](ub4 i, ub8 code) { present[i] = code != no_value; });
    words_.add(stopwatch, rows.count(), rows.count());
  }

  void ordered(const ChunkRows &rows, ub8 *numbers) override {
    codes_.each(rows.count(), [&](ub4 i, ub8 code) { numbers[i] = code; });
  }

  void profile(std::vector<KernelProfile> &calls) const override { calls.push_back(words_); }

private:
  const AggregateInput &input_;
  ColumnCodes &codes_;
  CodeMap<sb8> words_by_code_;
  KernelProfile words_;
};

// An argument that is calculated, in doubles: digits, which they hold exactly, and NaN for no value.
class CalculatedValues final : public ChunkValues {
public:
  CalculatedValues(const host::Library &library, const AggregateInput &input, ub4 chunk, ChunkCodes &codes)
      : library_(library),
        input_(input),
        chunk_(chunk),
        codes_(codes),
        calculate_(row_step("calculate", input.text)),
        words_(row_step("values of codes", input.text)),
        root_(node(*input.argument, input.bounds.scale)) {}

  void read(ChunkRows &rows) override { evaluate(root_, rows); }

  void words(const ChunkRows &rows, sb8 *words, ub1 *present) override {
    const Stopwatch stopwatch;
    const sb8 zero = input_.word(0);
    if (input_.nullable) {
      each(rows.count(), [&](ub4 i, double digits) {
        const bool exists = !std::isnan(digits);
        words[i] = exists ? zero + static_cast<sb8>(digits) : 0;
        if (present != nullptr) present[i] = exists;
      });
    } else {
      each(rows.count(), [&](ub4 i, double digits) { words[i] = zero + static_cast<sb8>(digits); });
      if (present != nullptr) std::fill_n(present, rows.count(), ub1{1});
    }
    words_.add(stopwatch, rows.count(), rows.count());
  }

  void ordered(const ChunkRows &rows, ub8 *numbers) override {
    each(rows.count(), [&](ub4 i, double digits) {
      numbers[i] = std::isnan(digits)
                       ? no_value
                       : static_cast<ub8>(static_cast<sb8>(digits) - static_cast<sb8>(input_.bounds.low));
    });
  }

  void profile(std::vector<KernelProfile> &calls) const override {
    calls.push_back(calculate_);
    calls.push_back(words_);
  }

private:
  struct Node {
    ColumnCodes *codes = nullptr; // of a column
    CodeMap<double> by_code;      // of a column whose codes a kernel unpacks
    double power = 1;             // of a column: 10 to the digits that its scale lacks
    double constant = 0;          // if there is neither codes nor operands
    ub4 key = 0;                  // of the arithmetic kernel
    std::vector<Node> operands;
    std::vector<double> values; // of the chunk's rows; of a constant there are none
  };

  // The expression in digits at `scale`, which is not below its own.
  Node node(const BoundExpression &expression, int scale) {
    Node made;
    if (expression.kind == BoundExpression::Kind::constant) {
      made.constant = std::numeric_limits<double>::quiet_NaN();
      if (const ExactNumber *number = expression.constant.exact())
        made.constant = static_cast<double>(number->digits) * std::pow(10.0, scale - number->scale);
      return made;
    }
    made.values.resize(chunk_);
    if (expression.kind == BoundExpression::Kind::column) {
      const BoundColumn &column = *expression.column;
      made.codes = &codes_.of(column);
      made.power = std::pow(10.0, scale - column.type().scale);
      if (!made.codes->by_kernel()) return made;
      made.by_code = CodeMap<double>(column.stored().domain(), std::numeric_limits<double>::quiet_NaN());
      for (ub8 code = made.by_code.begin_code(); code < made.by_code.end_code(); ++code)
        if (const std::optional<ub8> value = column.value_of(code))
          made.by_code[code] = static_cast<double>(column.domain().number(*value)) * made.power;
      return made;
    }
    const bool product = expression.op == ArithmeticOperator::multiply;
    const NumberBounds right = bounds_of(expression.operands[1]);
    // A product's digits are those of its factors; what the scale asks for beyond that goes to the left one.
    made.operands.push_back(node(expression.operands[0], product ? scale - right.scale : scale));
    made.operands.push_back(node(expression.operands[1], product ? right.scale : scale));
    const ub4 native_doubles = mipo_arithmetic_convert_width(sizeof(double), 0, 0);
    const mipo_operation operation = product                                    ? MIPO_OP_MUL
                                     : expression.op == ArithmeticOperator::add ? MIPO_OP_ADD
                                                                                : MIPO_OP_SUB;
    made.key = mipo_key(operation, static_cast<mipo_family>(0), native_doubles, MIPO_VARIANT_PLAIN);
    return made;
  }

  void evaluate(Node &made, ChunkRows &rows) {
    if (made.codes != nullptr) {
      made.codes->read();
      const Stopwatch stopwatch;
      if (made.codes->by_kernel()) {
        const ub4 *codes = made.codes->unpacked();
        const double *by_code = made.by_code.by_index().data();
        for (ub4 i = 0, count = rows.count(); i < count; ++i) made.values[i] = by_code[codes[i]];
      } else {
        const host::Domain &domain = made.codes->column().domain();
        made.codes->each(rows.count(), [&](ub4 i, ub8 code) {
          made.values[i] = code == no_value ? std::numeric_limits<double>::quiet_NaN()
                                            : static_cast<double>(domain.number(code)) * made.power;
        });
      }
      calculate_.add(stopwatch, 0, 0);
      return;
    }
    if (made.operands.empty()) return;
    for (Node &operand : made.operands) evaluate(operand, rows);
    mipo_enc_ctx column{}, constant{};
    column.flags = MIPO_NATIVE;
    constant.flags = MIPO_NATIVE | MIPO_CONST;
    // Of two constants one has to stand as a column.
    if (made.operands[0].values.empty() && made.operands[1].values.empty())
      made.operands[1].values.assign(chunk_, made.operands[1].constant);
    const auto vec_of = [&](Node &operand) {
      mipo_vec vec{};
      const bool is_constant = operand.values.empty();
      vec.data = is_constant ? &operand.constant : operand.values.data();
      vec.nrows = is_constant ? 1 : rows.count();
      vec.enc_ctx = is_constant ? &constant : &column;
      return vec;
    };
    const mipo_vec left = vec_of(made.operands[0]), right = vec_of(made.operands[1]);
    mipo_vec result{};
    result.data = made.values.data();
    const Stopwatch stopwatch;
    const ub4 code = library_.arithmetic(made.key)(&result, &left, &right, nullptr);
    host::throw_unless_answered(host::kernel_name(made.key), code);
    calculate_.add(stopwatch, rows.count(), rows.count());
  }

  void each(ub4 count, auto take) const {
    if (root_.values.empty())
      for (ub4 i = 0; i < count; ++i) take(i, root_.constant);
    else
      for (ub4 i = 0; i < count; ++i) take(i, root_.values[i]);
  }

  const host::Library &library_;
  const AggregateInput &input_;
  ub4 chunk_;
  ChunkCodes &codes_;
  KernelProfile calculate_, words_;
  Node root_;
};

} // namespace

std::unique_ptr<ChunkValues> make_chunk_values(const host::Library &library, const AggregateInput &input, ub4 chunk,
                                               ChunkCodes &codes) {
  if (input.column != nullptr) return std::make_unique<ColumnValues>(input, codes);
  return std::make_unique<CalculatedValues>(library, input, chunk, codes);
}

} // namespace mipo::engine
