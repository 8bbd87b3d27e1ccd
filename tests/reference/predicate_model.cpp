#include "predicate_model.h"

#include <functional>

namespace mipo::reference {
namespace {

using V = const Value &;

constexpr PredicateOperation operations[] = {{"eq", "eq", false, [](V c, V k, V) { return c == k; }},
                                             {"lt", "lt", false, [](V c, V k, V) { return c < k; }},
                                             {"gt", "gt", false, [](V c, V k, V) { return c > k; }},
                                             {"le", "le", false, [](V c, V k, V) { return c <= k; }},
                                             {"ge", "ge", false, [](V c, V k, V) { return c >= k; }},
                                             {"ne", "ne", false, [](V c, V k, V) { return c != k; }},
                                             {"gt_lt", "gt", true, [](V c, V lo, V hi) { return lo < c && c < hi; }},
                                             {"gt_le", "gt", true, [](V c, V lo, V hi) { return lo < c && c <= hi; }},
                                             {"ge_lt", "ge", true, [](V c, V lo, V hi) { return lo <= c && c < hi; }},
                                             {"ge_le", "ge", true, [](V c, V lo, V hi) { return lo <= c && c <= hi; }}};

constexpr ub4 set_operation_number = 13;
constexpr PredicateOperation set_operation = {"set", "set", false, nullptr};

// In the selective path a two-sided kernel calls itself by its first half.
std::string own_name(const PredicateCall &call) {
  return std::string("mipo_") + (call.selective() ? call.operation->first_half : call.operation->name) + call.name_tail;
}

ub8 at_kernel_width(ub8 cell, unsigned width) {
  return width == 64 ? cell : cell & ((ub8{1} << width) - 1);
}

} // namespace

const PredicateOperation *predicate_operation(ub4 number) {
  if (number == set_operation_number) return &set_operation;
  return number < std::size(operations) ? &operations[number] : nullptr;
}

namespace {

PredicateOutcome predicate(const PredicateCall &call, const std::function<bool(std::size_t row)> &row_qualifies,
                           ub4 done_flag = 0x200) {
  PredicateOutcome outcome;
  outcome.calls = call.compression.calls(own_name(call));
  outcome.into_runs = call.run_length && !call.selective();

  ub4 count = 0;
  for (std::size_t row = 0; row < call.rows.size(); ++row) {
    bool qualifies = row_qualifies(row);
    if (call.filter) qualifies = qualifies && (*call.filter)[row];
    if (call.has_ctx && call.selection) qualifies = qualifies && (*call.selection)[row];
    outcome.bits.push_back(qualifies);
    count += qualifies;
  }
  if (call.has_ctx && call.selection) outcome.done_flags = done_flag;

  if (outcome.into_runs) {
    const std::string text = std::to_string(count);
    outcome.calls.push_back("burst(host, res, src, {run_bv, " + text + " ones, rest zero}) with nset " + text);
    outcome.nset = call.burst_nset;
    outcome.code = call.burst_result;
  } else {
    outcome.nset = count;
    outcome.code = count == 0 ? 1 : 0;
  }
  return outcome;
}

PredicateOutcome codes(const PredicateCall &call, bool null_aware, ub8 first, ub8 second) {
  return predicate(call, [&](std::size_t row) {
    const ub8 code = call.rows[row].number;
    return !(null_aware && code == 0) && call.operation->qualifies({code}, {first}, {second});
  });
}

PredicateOutcome byte_aligned(const PredicateCall &call, bool null_aware) {
  // The block path reads a constant at the kernel's width, the selective path all of its cell.
  const ub8 first = call.first.number, second = call.second.number;
  if (call.selective()) return codes(call, null_aware, first, second);
  return codes(call, null_aware, at_kernel_width(first, call.width), at_kernel_width(second, call.width));
}

PredicateOutcome packed(const PredicateCall &call, bool null_aware) {
  return codes(call, null_aware, call.first.number, call.second.number);
}

PredicateOutcome numbers(const PredicateCall &call) {
  return predicate(call, [&](std::size_t row) {
    return call.operation->qualifies({call.rows[row].number}, {call.first.number}, {call.second.number});
  });
}

using OneBitRule = bool (*)(bool code, ub8 first, ub8 second);

struct OneBitRules {
  const char *operation;
  OneBitRule plain, null_aware; ///< null: the answer is empty, and no constant is looked at
};

constexpr OneBitRules one_bit_rules[] = {
    {"eq", [](bool b, ub8 k, ub8) { return k != 0 ? b : !b; }, [](bool b, ub8 k, ub8) { return k != 0 && b; }},
    {"ne", [](bool b, ub8 k, ub8) { return k == 1 ? !b : b; }, [](bool b, ub8 k, ub8) { return k == 0 && b; }},
    {"lt", [](bool b, ub8 k, ub8) { return k != 0 && !b; }, nullptr},
    {"gt", [](bool b, ub8 k, ub8) { return k == 0 && b; }, [](bool b, ub8 k, ub8) { return k == 0 && b; }},
    {"le", [](bool b, ub8 k, ub8) { return k != 0 || !b; }, [](bool b, ub8 k, ub8) { return k != 0 && b; }},
    {"ge", [](bool b, ub8 k, ub8) { return k == 0 || b; }, [](bool b, ub8, ub8) { return b; }},
    {"gt_lt", nullptr, nullptr},
    {"gt_le", [](bool b, ub8 lo, ub8 hi) { return lo == 0 && hi == 1 && b; },
     [](bool b, ub8 lo, ub8 hi) { return lo == 0 && hi == 1 && b; }},
    {"ge_lt", [](bool b, ub8 lo, ub8 hi) { return lo == 0 && hi == 1 && !b; }, nullptr},
    {"ge_le",
     [](bool b, ub8 lo, ub8 hi) {
       return (lo == 0 && hi == 0 && !b) || (lo == 0 && hi == 1) || (lo == 1 && hi == 1 && b);
     },
     [](bool b, ub8 lo, ub8 hi) { return lo < 2 && hi == 1 && b; }}};

OneBitRule one_bit_rule(const PredicateOperation &operation, bool null_aware) {
  for (const OneBitRules &rules : one_bit_rules)
    if (std::string(rules.operation) == operation.name) return null_aware ? rules.null_aware : rules.plain;
  return nullptr;
}

PredicateOutcome one_bit(const PredicateCall &call, bool null_aware) {
  const OneBitRule rule = one_bit_rule(*call.operation, null_aware);
  return predicate(call, [&](std::size_t row) {
    return rule != nullptr && rule(call.rows[row].number != 0, call.first.number, call.second.number);
  });
}

} // namespace

PredicateOutcome byte_aligned_dict_predicate(const PredicateCall &call) {
  return byte_aligned(call, false);
}
PredicateOutcome byte_aligned_null_aware_predicate(const PredicateCall &call) {
  return byte_aligned(call, true);
}
PredicateOutcome packed_dict_predicate(const PredicateCall &call) {
  return packed(call, false);
}
PredicateOutcome packed_null_aware_predicate(const PredicateCall &call) {
  return packed(call, true);
}
PredicateOutcome one_bit_predicate(const PredicateCall &call) {
  return one_bit(call, false);
}
PredicateOutcome one_bit_null_aware_predicate(const PredicateCall &call) {
  return one_bit(call, true);
}

PredicateOutcome fixed_predicate(const PredicateCall &call) {
  return numbers(call);
}

PredicateOutcome fixed_trailing_zero_predicate(const PredicateCall &call) {
  if (call.width == 8) return numbers(call); // a single byte is compared as it stands
  return predicate(call,
                   [&](std::size_t row) { return call.operation->qualifies(call.rows[row], call.first, call.second); });
}

ub8 dynamic_packed_number(const std::vector<Value> &rows, std::size_t row, unsigned width) {
  const std::size_t neighbour = row ^ 1;
  const bool invalid = rows[row].count > 7 || (neighbour < rows.size() && rows[neighbour].count > 7);
  return width == 64 && invalid ? 0 : rows[row].number;
}

PredicateOutcome dynamic_packed_predicate(const PredicateCall &call) {
  return predicate(call, [&](std::size_t row) {
    const ub8 number = dynamic_packed_number(call.rows, row, call.width);
    return call.operation->qualifies({number}, {call.first.number}, {call.second.number});
  });
}

PredicateOutcome dynamic_packed_counted_predicate(const PredicateCall &call) {
  return predicate(call,
                   [&](std::size_t row) { return call.operation->qualifies(call.rows[row], call.first, call.second); });
}

PredicateOutcome set_predicate(const PredicateCall &call) {
  return predicate(
      call, [&](std::size_t row) { return bool{call.set[call.rows[row].number]}; }, 0x1000);
}

bool one_bit_reads_constants(const PredicateOperation &operation, bool null_aware) {
  const bool only_the_bits_count = null_aware && std::string(operation.name) == "ge";
  return one_bit_rule(operation, null_aware) != nullptr && !only_the_bits_count;
}

} // namespace mipo::reference
