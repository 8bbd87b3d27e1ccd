#include "predicate_model.h"

#include <cstdio>
#include <functional>

namespace mipo::reference {
namespace {

constexpr PredicateOperation operations[] = {
    {"eq", "eq", false, [](ub8 c, ub8 k, ub8) { return c == k; }},
    {"lt", "lt", false, [](ub8 c, ub8 k, ub8) { return c < k; }},
    {"gt", "gt", false, [](ub8 c, ub8 k, ub8) { return c > k; }},
    {"le", "le", false, [](ub8 c, ub8 k, ub8) { return c <= k; }},
    {"ge", "ge", false, [](ub8 c, ub8 k, ub8) { return c >= k; }},
    {"ne", "ne", false, [](ub8 c, ub8 k, ub8) { return c != k; }},
    {"gt_lt", "gt", true, [](ub8 c, ub8 lo, ub8 hi) { return lo < c && c < hi; }},
    {"gt_le", "gt", true, [](ub8 c, ub8 lo, ub8 hi) { return lo < c && c <= hi; }},
    {"ge_lt", "ge", true, [](ub8 c, ub8 lo, ub8 hi) { return lo <= c && c < hi; }},
    {"ge_le", "ge", true, [](ub8 c, ub8 lo, ub8 hi) { return lo <= c && c <= hi; }},
};

std::vector<std::string> decompression_calls(const PredicateCall &call) {
  const bool half_name = call.selective();
  const std::string kernel =
      std::string("mipo_") + (half_name ? call.operation->first_half : call.operation->name) + call.name_tail;
  const std::string size = std::to_string(call.decomp_size);
  char hint[32];
  std::snprintf(hint, sizeof hint, "0x%llx", static_cast<unsigned long long>(call.decomp_hint));
  const char *async_ok = (call.host_flags & 0x30) != 0 ? "1" : "0";
  std::vector<std::string> calls = {"alloc(env, heap, " + size + ", \"" + kernel + ": vec1_decomp\", 8, 16, " + hint +
                                        ")",
                                    std::string("decode({env, heap, temp_alloc, temp_free, async_ok ") + async_ok +
                                        "}, stream, slot's memory, length 0, " + size + ")"};
  if (call.decode_fails) calls.push_back("hostierr(env, frame, \"" + kernel + ": mipo_brep_decode failed\", 0)");
  return calls;
}

ub8 at_kernel_width(ub8 cell, unsigned width) {
  return width == 64 ? cell : cell & ((ub8{1} << width) - 1);
}

} // namespace

const PredicateOperation *predicate_operation(ub4 number) {
  return number < std::size(operations) ? &operations[number] : nullptr;
}

namespace {

PredicateOutcome predicate(const PredicateCall &call, const std::function<bool(ub8 code)> &row_qualifies) {
  PredicateOutcome outcome;
  if (call.compressed && !call.already_decompressed) outcome.calls = decompression_calls(call);

  outcome.into_runs = call.run_length && !call.selective();

  ub4 count = 0;
  for (std::size_t row = 0; row < call.codes.size(); ++row) {
    bool qualifies = row_qualifies(call.codes[row]);
    if (call.filter) qualifies = qualifies && (*call.filter)[row];
    if (call.has_ctx && call.selection) qualifies = qualifies && (*call.selection)[row];
    outcome.bits.push_back(qualifies);
    count += qualifies;
  }
  if (call.has_ctx && call.selection) outcome.done_flags = 0x200;

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

PredicateOutcome byte_aligned(const PredicateCall &call, bool null_aware) {
  // The block path reads a constant at the kernel's width, the selective path all of its cell.
  const ub8 first = call.selective() ? call.first : at_kernel_width(call.first, call.width);
  const ub8 second = call.selective() ? call.second : at_kernel_width(call.second, call.width);
  return predicate(
      call, [&](ub8 code) { return !(null_aware && code == 0) && call.operation->qualifies(code, first, second); });
}

PredicateOutcome packed(const PredicateCall &call, bool null_aware) {
  return predicate(call, [&](ub8 code) {
    return !(null_aware && code == 0) && call.operation->qualifies(code, call.first, call.second);
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
     [](bool b, ub8 lo, ub8 hi) { return lo < 2 && hi == 1 && b; }},
};

OneBitRule one_bit_rule(const PredicateOperation &operation, bool null_aware) {
  for (const OneBitRules &rules : one_bit_rules)
    if (std::string(rules.operation) == operation.name) return null_aware ? rules.null_aware : rules.plain;
  return nullptr;
}

PredicateOutcome one_bit(const PredicateCall &call, bool null_aware) {
  const OneBitRule rule = one_bit_rule(*call.operation, null_aware);
  return predicate(call, [&](ub8 code) { return rule != nullptr && rule(code != 0, call.first, call.second); });
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

bool one_bit_reads_constants(const PredicateOperation &operation, bool null_aware) {
  const bool only_the_bits_count = null_aware && std::string(operation.name) == "ge";
  return one_bit_rule(operation, null_aware) != nullptr && !only_the_bits_count;
}

} // namespace mipo::reference
