#include "chunk_values.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace mipo::tools {

ChunkRows::ChunkRows(const host::Library &library, const Plan &plan, const host::Result *within, ub4 chunk)
    : library_(library), within_(within), context_(library) {
  if (within != nullptr) {
    constexpr ub8 one_in = 64; // of fewer rows, each is fetched by itself
    few_ = ub8{within->count()} * one_in < plan.table->row_count;
    context_.select(within->bits(), few_);
  }
  for (const host::Column *column : plan.keys) columns_.push_back(column->data.vec());
  if (!columns_.empty()) {
    keys_.resize(chunk + spare);
    further_codes_.resize(chunk + spare);
  }
}

void ChunkRows::go_to(ub4 begin, ub4 end) {
  begin_ = begin;
  end_ = end;
  count_ = end - begin;
  numbers_known_ = false;
  if (within_ == nullptr) return;
  count_ = 0;
  const ub8 *words = within_->bits().words();
  for (ub4 row = begin; row < end; row += 64) {
    ub8 word = words[row / 64];
    if (end - row < 64) word &= (ub8{1} << (end - row)) - 1;
    count_ += static_cast<ub4>(std::popcount(word));
  }
}

mipo_call_ctx ChunkRows::call() const {
  mipo_call_ctx call = *context_.record();
  call.next_row = begin_;
  return call;
}

const std::vector<ub4> &ChunkRows::numbers() {
  if (numbers_known_) return numbers_;
  numbers_known_ = true;
  numbers_.clear();
  for (ub4 row = begin_; row < end_; ++row)
    if (within_ == nullptr || within_->bits().test(row)) numbers_.push_back(row);
  return numbers_;
}

void ChunkRows::read_keys(const KeySpace &keys, Step &step) {
  const Stopwatch stopwatch;
  if (keys.by_kernel())
    read_keys_by_kernel(keys);
  else
    read_keys_row_by_row(keys);
  step.seconds += stopwatch.seconds();
  step.rows_in += count_;
  step.rows_read += end_ - begin_;
}

void ChunkRows::read_keys_by_kernel(const KeySpace &keys) {
  for (mipo_vec &column : columns_) column.nrows = end_;
  mipo_vec out{}, further{};
  out.data = keys_.data();
  further.data = further_codes_.data();
  out.nrows = further.nrows = static_cast<ub4>(keys_.size());
  mipo_call_ctx ctx = call();
  if (!keys.shifts()) ctx.eval_flags |= MIPO_EVAL_MULTIPLY_KEYS;
  mipo_group_range range{};
  const ub4 code = host::entry(library_, &mipo_specialized_ctx::mipo_groupkey_dydi)(
      &out, &range, columns_.data(), static_cast<ub4>(columns_.size()), &further, &ctx);
  context_.throw_if_reported();
  if (code != MIPO_DONE || out.nset != count_)
    throw host::Error("the kernel for group keys answered " + std::string(host::code_name(code)));
}

void ChunkRows::read_keys_row_by_row(const KeySpace &keys) {
  ub4 *next = keys_.data();
  for (const ub4 row : numbers()) {
    ub8 number = 0;
    for (std::size_t place = 0; place < columns_.size(); ++place)
      number = keys.append(number, place, keys.digit(place, row));
    *next++ = static_cast<ub4>(number);
  }
}

namespace {

// The codes of a column: by kernel, or read one by one.
class Codes {
public:
  Codes(const host::Library &library, const host::Column &column, ub4 chunk, Step &step)
      : library_(library),
        column_(column),
        by_kernel_(unpacks_by_kernel(column)),
        has_null_(column.domain().has_null()),
        vec_(column.data.vec()),
        step_(step) {
    if (by_kernel_)
      unpacked_.resize(chunk + ChunkRows::spare);
    else
      read_.resize(chunk);
  }

  const host::Column &column() const { return column_; }
  bool by_kernel() const { return by_kernel_; }
  const ub4 *unpacked() const { return unpacked_.data(); }

  void read(ChunkRows &rows) {
    const Stopwatch stopwatch;
    if (by_kernel_)
      unpack(rows);
    else
      for (std::size_t i = 0; i < rows.numbers().size(); ++i) {
        const ub4 row = rows.numbers()[i];
        read_[i] = column_.data.has_value(row) ? column_.data.code(row) : ChunkValues::no_value;
      }
    step_.seconds += stopwatch.seconds();
    step_.rows_in += rows.count();
    step_.rows_read += rows.end() - rows.begin();
  }

  // Calls take(i, code) for each of `count` rows; the code of a row without value is no_value.
  void each(ub4 count, auto take) const {
    if (by_kernel_)
      for (ub4 i = 0; i < count; ++i) take(i, has_null_ && unpacked_[i] == 0 ? ChunkValues::no_value : unpacked_[i]);
    else
      for (ub4 i = 0; i < count; ++i) take(i, read_[i]);
  }

private:
  void unpack(ChunkRows &rows) {
    mipo_vec res{};
    res.data = unpacked_.data();
    res.nrows = static_cast<ub4>(unpacked_.size());
    vec_.nrows = rows.end();
    mipo_call_ctx ctx = rows.call();
    ctx.eval_flags |= MIPO_EVAL_WIDE_CODES;
    ctx.run_index = run_index_;
    ctx.run_end = run_end_;
    library_.decode(column_.data.key(MIPO_OP_DECODE_UNPACK, MIPO_VARIANT_PLAIN))(&res, &vec_, &ctx);
    run_index_ = ctx.run_index;
    run_end_ = ctx.run_end;
    if (res.nset != rows.count()) throw host::Error("a kernel unpacked another number of codes than was asked for");
  }

  const host::Library &library_;
  const host::Column &column_;
  bool by_kernel_, has_null_;
  mipo_vec vec_;
  Step &step_;
  std::vector<ub4> unpacked_;
  std::vector<ub8> read_;
  ub4 run_index_ = 0, run_end_ = 0;
};

// A measure that is a column.
class ColumnValues final : public ChunkValues {
public:
  ColumnValues(const host::Library &library, const Measure &measure, ub4 chunk, Step &read_step, Step &words_step)
      : measure_(measure), codes_(library, *measure.column, chunk, read_step), words_step_(words_step) {
    if (codes_.by_kernel() && measure.adds()) words_by_code_ = measure.words_by_code();
  }

  void read(ChunkRows &rows) override { codes_.read(rows); }

  void words(const ChunkRows &rows, sb8 *words, ub1 *present) override {
    const Stopwatch stopwatch;
    if (codes_.by_kernel()) {
      const ub4 *codes = codes_.unpacked();
      const sb8 *by_code = words_by_code_.data();
      for (ub4 i = 0, count = rows.count(); i < count; ++i) words[i] = by_code[codes[i]];
    } else {
      const host::Domain &domain = measure_.column->domain();
      const bool numbers =
          domain.type().kind == host::ValueKind::integer || domain.type().kind == host::ValueKind::decimal;
      codes_.each(rows.count(), [&](ub4 i, ub8 code) {
        words[i] = code == no_value ? 0 : measure_.word(numbers ? domain.number(code) : 0);
      });
    }
    if (present != nullptr) codes_.each(rows.count(), [&](ub4 i, ub8 code) { present[i] = code != no_value; });
    words_step_.seconds += stopwatch.seconds();
    words_step_.rows_in += rows.count();
    words_step_.rows_read += rows.count();
  }

  void ordered(const ChunkRows &rows, ub8 *numbers) override {
    codes_.each(rows.count(), [&](ub4 i, ub8 code) { numbers[i] = code; });
  }

private:
  const Measure &measure_;
  Codes codes_;
  std::vector<sb8> words_by_code_;
  Step &words_step_;
};

// A measure that is calculated, in doubles: digits, which they hold exactly, and NaN for no value.
class CalculatedValues final : public ChunkValues {
public:
  CalculatedValues(const host::Library &library, const Measure &measure, ub4 chunk, Step &read_step, Step &words_step)
      : library_(library),
        measure_(measure),
        chunk_(chunk),
        step_(read_step),
        words_step_(words_step),
        root_(node(*measure.argument, measure.bounds.scale)) {}

  void read(ChunkRows &rows) override { evaluate(root_, rows); }

  void words(const ChunkRows &rows, sb8 *words, ub1 *present) override {
    const Stopwatch stopwatch;
    const sb8 zero = measure_.word(0);
    if (measure_.nullable) {
      each(rows.count(), [&](ub4 i, double digits) {
        const bool exists = !std::isnan(digits);
        words[i] = exists ? zero + static_cast<sb8>(digits) : 0;
        if (present != nullptr) present[i] = exists;
      });
    } else {
      each(rows.count(), [&](ub4 i, double digits) { words[i] = zero + static_cast<sb8>(digits); });
      if (present != nullptr) std::fill_n(present, rows.count(), ub1{1});
    }
    words_step_.seconds += stopwatch.seconds();
    words_step_.rows_in += rows.count();
    words_step_.rows_read += rows.count();
  }

  void ordered(const ChunkRows &rows, ub8 *numbers) override {
    each(rows.count(), [&](ub4 i, double digits) {
      numbers[i] = std::isnan(digits)
                       ? no_value
                       : static_cast<ub8>(static_cast<sb8>(digits) - static_cast<sb8>(measure_.bounds.low));
    });
  }

private:
  struct Node {
    std::unique_ptr<Codes> codes; // of a column
    std::vector<double> by_code;  // of a column whose codes a kernel unpacks
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
      const host::Column &column = *expression.column;
      made.codes = std::make_unique<Codes>(library_, column, chunk_, step_);
      made.power = std::pow(10.0, scale - column.type().scale);
      if (!made.codes->by_kernel()) return made;
      const host::Domain &domain = column.domain();
      made.by_code.assign(domain.code_count(), std::numeric_limits<double>::quiet_NaN());
      for (ub8 code = domain.first_code(); code < domain.code_count(); ++code)
        made.by_code[code] = static_cast<double>(domain.number(code)) * made.power;
      return made;
    }
    const bool product = expression.op == ArithmeticOperator::multiply;
    const NumberBounds right = bounds_of(expression.operands[1]);
    // A product's digits are those of its factors; what the scale asks for beyond that goes to the left one.
    made.operands.push_back(node(expression.operands[0], product ? scale - right.scale : scale));
    made.operands.push_back(node(expression.operands[1], product ? right.scale : scale));
    constexpr ub4 native_doubles = 2;
    const mipo_operation operation = product                                    ? MIPO_OP_MUL
                                     : expression.op == ArithmeticOperator::add ? MIPO_OP_ADD
                                                                                : MIPO_OP_SUB;
    made.key = mipo_key(operation, static_cast<mipo_family>(0), native_doubles, MIPO_VARIANT_PLAIN);
    return made;
  }

  void evaluate(Node &made, ChunkRows &rows) {
    if (made.codes != nullptr) {
      made.codes->read(rows);
      const Stopwatch stopwatch;
      if (made.codes->by_kernel()) {
        const ub4 *codes = made.codes->unpacked();
        for (ub4 i = 0, count = rows.count(); i < count; ++i) made.values[i] = made.by_code[codes[i]];
      } else {
        const host::Domain &domain = made.codes->column().domain();
        made.codes->each(rows.count(), [&](ub4 i, ub8 code) {
          made.values[i] = code == no_value ? std::numeric_limits<double>::quiet_NaN()
                                            : static_cast<double>(domain.number(code)) * made.power;
        });
      }
      step_.seconds += stopwatch.seconds();
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
    library_.arithmetic(made.key)(&result, &left, &right, nullptr);
    step_.seconds += stopwatch.seconds();
    step_.rows_in += rows.count();
    step_.rows_read += rows.count();
  }

  void each(ub4 count, auto take) const {
    if (root_.values.empty())
      for (ub4 i = 0; i < count; ++i) take(i, root_.constant);
    else
      for (ub4 i = 0; i < count; ++i) take(i, root_.values[i]);
  }

  const host::Library &library_;
  const Measure &measure_;
  ub4 chunk_;
  Step &step_;
  Step &words_step_;
  Node root_;
};

} // namespace

std::unique_ptr<ChunkValues> make_chunk_values(const host::Library &library, const Measure &measure, ub4 chunk,
                                               std::vector<Step> &steps, std::size_t read_step,
                                               std::size_t words_step) {
  if (measure.column != nullptr)
    return std::make_unique<ColumnValues>(library, measure, chunk, steps[read_step], steps[words_step]);
  return std::make_unique<CalculatedValues>(library, measure, chunk, steps[read_step], steps[words_step]);
}

} // namespace mipo::tools
