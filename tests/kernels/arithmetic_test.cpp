// Column arithmetic: every kernel of every level against a model that works one row at a time, bit for bit. Only which
// not-a-number comes out is left open: processors differ in it.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "check/built_kernels.h"
#include "check/guarded_sources.h"
#include "check/levels.h"
#include "reference/arithmetic_model.h"

namespace {

using namespace mipo::check;
using mipo::reference::Arithmetic;
using mipo::reference::ArithmeticOperand;

// What a key says of its kernel.
struct Form {
  explicit Form(const ListedKernel &kernel)
      : operation(static_cast<Arithmetic>(kernel.operation - MIPO_OP_ADD)),
        is_double((kernel.width_field & 3) == 2),
        left_sortable((kernel.width_field & 4) != 0),
        right_sortable((kernel.width_field & 8) != 0),
        sum(kernel.variant == MIPO_VARIANT_SUM) {}

  Arithmetic operation;
  bool is_double, left_sortable, right_sortable, sum;

  std::string name() const {
    constexpr const char *operations[] = {"add", "sub", "mul"};
    return std::string("mipo_") + operations[static_cast<int>(operation)] + (is_double ? "_double_" : "_float_") +
           (left_sortable ? "c_" : "n_") + (right_sortable ? "c" : "n") + (sum ? "_sum" : "");
  }
};

std::vector<ListedKernel> arithmetic_kernels() {
  std::vector<ListedKernel> kernels;
  for (const ListedKernel &kernel : kernels_under_test())
    if (kernel.shape == Shape::arithmetic) kernels.push_back(kernel);
  return kernels;
}

template <class T>
using PatternOf = std::conditional_t<sizeof(T) == 4, ub4, ub8>;

// `moderate` numbers have all bits of their fraction and near magnitudes: each rounding and each order shows in a sum.
enum class Numbers { moderate, special, any };

template <class T>
T choose_number(Numbers numbers, Random &random) {
  using Limits = std::numeric_limits<T>;
  constexpr T specials[] = {0,
                            1,
                            Limits::max(),
                            Limits::min(),
                            Limits::denorm_min(),
                            Limits::infinity(),
                            Limits::quiet_NaN(),
                            1 + Limits::epsilon(),
                            2 / Limits::epsilon()};
  if (numbers == Numbers::special && random.chance(40)) {
    const T special = specials[random.below(std::size(specials))];
    return random.chance(50) ? special : -special;
  }
  const auto pattern = static_cast<PatternOf<T>>(random.next());
  if (numbers == Numbers::any) return std::bit_cast<T>(pattern);
  const T fraction = 1 + static_cast<T>(random.next() >> 11) / static_cast<T>(ub8{1} << 53);
  return std::ldexp(random.chance(50) ? fraction : -fraction, static_cast<int>(random.below(16)) - 8);
}

template <class T>
void store(T number, bool sortable, ub1 *to) {
  constexpr PatternOf<T> sign = PatternOf<T>{1} << (8 * sizeof(T) - 1);
  auto pattern = std::bit_cast<PatternOf<T>>(number);
  if (sortable) pattern = (pattern & sign) != 0 ? static_cast<PatternOf<T>>(~pattern) : pattern | sign;
  for (std::size_t i = 0; i < sizeof(T); ++i) to[sortable ? sizeof(T) - 1 - i : i] = static_cast<ub1>(pattern >> 8 * i);
}

enum class Place { apart, at_result, around_result };

// A call in guarded memory: operands in write-protected buffers of their own, or in the result's buffer.
template <class T>
class ArithmeticCase {
public:
  ArithmeticCase(const Form &form, ub4 rows, bool left_constant, bool right_constant, Random &random)
      : form_(form), results_(form.sum ? 1 : rows) {
    left_ = {nullptr, rows, form.left_sortable, left_constant};
    right_ = {nullptr, rows, form.right_sortable, right_constant};
    choose_counts(rows, random);
    const auto place = form.sum ? Place::apart : static_cast<Place>(random.below(3));
    const auto numbers = static_cast<Numbers>(random.below(3));
    place_result(place, random);
    // A constant on the right does not stand for all rows beside a constant on the left.
    place_operand(left_, left_constant ? 1 : rows, place, numbers, random);
    place_operand(right_, right_constant && !left_constant ? 1 : rows, place, numbers, random);
    expect();
    write_records(random);
  }

  // In an overlap, a not-a-number that is read again would make more of the result differ between processors.
  bool is_exact() const {
    if (!overlaps_) return true;
    for (std::size_t i = 0; i < results_; ++i)
      if (std::isnan(number(expected_, i))) return false;
    return true;
  }

  // What differs from the model, or an empty text.
  std::string run(mipo_kernel kernel) {
    std::copy(before_.begin(), before_.end(), memory_->data());
    const mipo_vec records_before[] = {records_[0], records_[1], records_[2]};
    const mipo_enc_ctx encodings_before[] = {encodings_[0], encodings_[1]};
    auto *ctx = reinterpret_cast<mipo_call_ctx *>(nowhere_.data());

    const ub4 code = kernel.arithmetic(&records_[0], &records_[1], &records_[2], ctx);

    std::string wrong;
    if (code != 0) wrong += "answered " + std::to_string(code) + "; ";
    if (!memory_->intact()) wrong += "wrote beside the result's buffer; ";
    std::vector<ub1> after(memory_->data(), memory_->data() + memory_->size());
    for (std::size_t i = 0; i < results_; ++i) {
      const T is = number(after, i), should_be = number(expected_, i);
      if (std::bit_cast<PatternOf<T>>(is) != std::bit_cast<PatternOf<T>>(should_be) &&
          !(std::isnan(is) && std::isnan(should_be))) {
        wrong += "number " + std::to_string(i) + " is " + text(is) + ", not " + text(should_be) + "; ";
        break;
      }
      std::memcpy(&after[result_at_ + sizeof(T) * i], &expected_[result_at_ + sizeof(T) * i], sizeof(T));
    }
    if (wrong.empty() && after != expected_) wrong += "wrote beside the result; ";
    if (std::memcmp(records_, records_before, sizeof records_) != 0 ||
        std::memcmp(encodings_, encodings_before, sizeof encodings_) != 0)
      wrong += "changed a record; ";
    return wrong;
  }

  std::string description() const {
    const auto of = [](const ArithmeticOperand &operand) {
      return std::to_string(operand.rows) + " rows" + (operand.constant ? ", constant" : "");
    };
    return "left " + of(left_) + ", right " + of(right_) + (overlaps_ ? ", overlapping" : "");
  }

private:
  static std::string text(T number) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%a", static_cast<double>(number));
    return digits;
  }

  T number(const std::vector<ub1> &memory, std::size_t index) const {
    T value;
    std::memcpy(&value, &memory[result_at_ + sizeof(T) * index], sizeof value);
    return value;
  }

  // Two columns have the same count; beside a constant, the larger count is the column's, whichever record tells it.
  void choose_counts(ub4 rows, Random &random) {
    if (!left_.constant && !right_.constant) return;
    ArithmeticOperand &constant = left_.constant ? left_ : right_, &other = left_.constant ? right_ : left_;
    constant.rows = random.chance(50) ? std::min<ub4>(rows, 1) : static_cast<ub4>(random.below(rows + 1));
    if (random.chance(20)) std::swap(constant.rows, other.rows);
  }

  void place_result(Place place, Random &random) {
    const std::size_t slack = place == Place::around_result ? most_apart * sizeof(T) : 0;
    const std::size_t bytes = sizeof(T) * results_ + slack;
    const Edge edge = some_edge(random);
    memory_ = std::make_unique<GuardedBuffer>(bytes, edge, sizeof(T) * random.below(9));
    for (std::size_t i = 0; i < bytes; ++i) memory_->data()[i] = static_cast<ub1>(random.next());
    if (slack != 0) result_at_ = sizeof(T) * random.below(most_apart + 1);
    if (form_.sum) store(choose_number<T>(Numbers::moderate, random), false, memory_->data());
  }

  void place_operand(ArithmeticOperand &operand, std::size_t elements, Place place, Numbers numbers, Random &random) {
    std::vector<ub1> stored(sizeof(T) * elements);
    constexpr std::size_t period = 4099; // of long columns
    for (std::size_t i = 0; i < std::min(elements, period); ++i)
      store(choose_number<T>(numbers, random), operand.sortable, &stored[sizeof(T) * i]);
    for (std::size_t i = sizeof(T) * period; i < stored.size(); ++i) stored[i] = stored[i - sizeof(T) * period];
    if (place != Place::apart && elements <= results_ && random.chance(60)) {
      std::size_t at = result_at_;
      if (place == Place::around_result) {
        at = random.below(memory_->size() - stored.size() + 1);
        if (!operand.sortable) at -= at % sizeof(T);
        if (at != result_at_) overlaps_ = true;
      }
      if (!stored.empty()) std::memcpy(memory_->data() + at, stored.data(), stored.size());
      operand.data = memory_->data() + at;
      return;
    }
    const Edge edge = some_edge(random);
    const std::size_t shift = operand.sortable ? random.below(18) : sizeof(T) * random.below(5);
    buffers_.push_back(std::make_unique<GuardedBuffer>(stored.size(), edge, shift));
    GuardedBuffer &buffer = *buffers_.back();
    if (!stored.empty()) std::memcpy(buffer.data(), stored.data(), stored.size());
    buffer.protect();
    operand.data = buffer.data();
  }

  void expect() {
    ub1 *first = memory_->data(), *last = first + memory_->size();
    before_.assign(first, last);
    const auto calculate = form_.sum ? mipo::reference::calculate_sum<T> : mipo::reference::calculate<T>;
    calculate(form_.operation, left_, right_, first + result_at_);
    expected_.assign(first, last);
  }

  void write_records(Random &random) {
    fill_with_noise(random, records_, encodings_);
    records_[0].data = memory_->data() + result_at_;
    records_[0].enc_ctx = reinterpret_cast<mipo_enc_ctx *>(nowhere_.data());
    const ArithmeticOperand *operands[] = {&left_, &right_};
    for (int i = 0; i < 2; ++i) {
      mipo_vec &record = records_[i + 1];
      record.data = const_cast<ub1 *>(operands[i]->data);
      record.nrows = operands[i]->rows;
      record.enc_ctx = &encodings_[i];
      ub4 &flags = encodings_[i].flags;
      flags = operands[i]->constant ? flags | MIPO_CONST : flags & ~ub4{MIPO_CONST};
    }
  }

  static constexpr std::size_t most_apart = 40; // in elements: more than a block of lanes

  Form form_;
  std::size_t results_;
  ArithmeticOperand left_, right_;
  std::unique_ptr<GuardedBuffer> memory_; // of the result
  std::size_t result_at_ = 0;
  bool overlaps_ = false;
  std::vector<std::unique_ptr<GuardedBuffer>> buffers_;
  std::vector<ub1> before_, expected_;
  GuardedBuffer nowhere_{0};
  mipo_vec records_[3]; // result, left, right
  mipo_enc_ctx encodings_[2];
};

TEST(ArithmeticTest, KeysTellTheKernels) {
  const std::vector<ListedKernel> kernels = arithmetic_kernels();
  EXPECT_EQ(kernels.size(), 48u);
  std::map<ub4, std::string> names;
  for (const ListedKernel &kernel : kernels) {
    EXPECT_EQ(kernel.name, Form(kernel).name());
    EXPECT_EQ(kernel.family, 0u);
    names[kernel.key()] = kernel.name;
  }
  EXPECT_EQ(names[147], "mipo_add_float_n_n");
  EXPECT_EQ(names[5907], "mipo_add_double_c_c_sum");
}

constexpr int calls_per_count = repeats_of(6, 2);

// Counts the calls whose results are exact, and checks them.
template <class T>
void expect_rows(const ListedKernel &kernel, ub4 rows, int calls, Random &random, unsigned &exact) {
  for (int call = 0; call < calls; ++call) {
    ArithmeticCase<T> in_memory(Form(kernel), rows, call % 2 != 0, call / 2 % 2 != 0, random);
    if (!in_memory.is_exact()) continue;
    ++exact;
    for (const Level &level : levels()) {
      const std::string what = running(kernel.name + " at level " + level.name);
      ASSERT_EQ(in_memory.run(level.record->dispatch_table[kernel.key()]), "")
          << what << ", seed " << test_seed() << ", " << in_memory.description();
    }
  }
}

TEST(ArithmeticTest, EveryKernelDoesAsItsModel) {
  for (const ListedKernel &kernel : arithmetic_kernels()) {
    Random random(test_seed() + kernel.key());
    unsigned exact = 0;
    for (const ub4 rows :
         {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 23, 31, 32, 33, 40, 63, 64, 65, 127, 128, 129, 257, 1000}) {
      const auto expect = Form(kernel).is_double ? expect_rows<double> : expect_rows<float>;
      expect(kernel, rows, 4 * calls_per_count, random, exact);
    }
    EXPECT_GE(exact, 60u * calls_per_count) << kernel.name;
  }
}

// Results that are longer than caches may be stored past them.
TEST(ArithmeticTest, LongColumns) {
  constexpr ub4 bytes = (32 << 20) + 200;
  Random random;
  unsigned exact = 0;
  for (const ListedKernel &kernel : arithmetic_kernels()) {
    if (kernel.name == "mipo_add_float_n_n") expect_rows<float>(kernel, bytes / 4, 3, random, exact);
    if (kernel.name == "mipo_sub_double_c_n") expect_rows<double>(kernel, bytes / 8, 3, random, exact);
  }
  EXPECT_GE(exact, 2u);
}

// Sums in which one wrong rounding, or another order, shows: model and kernel could share a mistake.
TEST(ArithmeticTest, SumsRoundAtEachStep) {
  const float big = 16777216, odd = 0x1.000002p0F; // odd * odd is 0x1.000004p0 and 0x1p-46, which is rounded off
  const struct {
    const char *kernel;
    std::vector<float> left, right;
    float total, expected;
  } sums[] = {{"mipo_add_float_n_n_sum", {big, 1, 1, 1}, {0, 0, 0, 0}, 1, big},  // kept in float
              {"mipo_add_float_n_n_sum", {1, 1}, {0, 0}, big, big + 2},          // the running total comes last
              {"mipo_mul_float_n_n_sum", {-0x1.000004p0F, odd}, {1, odd}, 0, 0}, // no product is fused
              {"mipo_add_float_n_n_sum", {}, {}, 3, 3},
              {"mipo_add_float_n_n_sum", {}, {}, -0.0F, 0}, // +0 + -0
              {"mipo_sub_float_n_n_sum", {-0.0F}, {0}, -0.0F, 0},
              {"mipo_sub_float_n_n_sum", {5, 1}, {7, 2}, 10, 7},
              {"mipo_add_float_n_n_sum",
               {std::numeric_limits<float>::max()},
               {std::numeric_limits<float>::max()},
               -1,
               std::numeric_limits<float>::infinity()}};
  for (const auto &sum : sums)
    for (const ListedKernel &kernel : arithmetic_kernels()) {
      if (kernel.name != sum.kernel) continue;
      for (const Level &level : levels()) {
        GuardedSources sources;
        float total = sum.total;
        mipo_enc_ctx enc{};
        mipo_vec res{}, left{}, right{};
        left.nrows = right.nrows = static_cast<ub4>(sum.left.size());
        left.enc_ctx = right.enc_ctx = &enc;
        left.data = sources.keep(sum.left);
        right.data = sources.keep(sum.right);
        res.data = &total;
        EXPECT_EQ(level.record->dispatch_table[kernel.key()].arithmetic(&res, &left, &right, nullptr), 0u);
        EXPECT_EQ(std::bit_cast<ub4>(total), std::bit_cast<ub4>(sum.expected))
            << kernel.name << " of " << sum.left.size() << " rows at level " << level.name << " is " << total;
      }
    }
}

} // namespace
