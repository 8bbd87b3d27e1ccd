#include "bit_vector_model.h"

namespace mipo::reference {
namespace {

constexpr BitOperation operations[] = {{"popcnt", 1, [](bool a, bool, bool) { return a; }},
                                       {"not", 1, [](bool a, bool, bool) { return !a; }},
                                       {"and", 2, [](bool a, bool b, bool) { return a && b; }},
                                       {"or", 2, [](bool a, bool b, bool) { return a || b; }},
                                       {"xor", 2, [](bool a, bool b, bool) { return a != b; }},
                                       {"andnot", 2, [](bool a, bool b, bool) { return b && !a; }},
                                       {"and3", 3, [](bool a, bool b, bool c) { return a && b && c; }},
                                       {"or3", 3, [](bool a, bool b, bool c) { return a || b || c; }},
                                       {"xor3", 3, [](bool a, bool b, bool c) { return (a + b + c) % 2 == 1; }}};

bool bit_of(const std::vector<ub1> &bits, ub8 number) {
  return (bits[number / 8] >> number % 8 & 1) != 0;
}

} // namespace

const BitOperation *bit_operation(std::string_view name) {
  for (const BitOperation &operation : operations)
    if (operation.name == name) return &operation;
  return nullptr;
}

Combined combine(const BitOperation &operation, const std::vector<ub1> *sources, ub8 length, unsigned unit_bytes) {
  const ub8 unit_bits = 8 * unit_bytes;
  Combined result;
  result.bytes.resize((length + unit_bits - 1) / unit_bits * unit_bytes);
  for (ub8 bit = 0; bit < 8 * result.bytes.size(); ++bit) {
    bool in[3] = {};
    for (unsigned i = 0; i < operation.sources; ++i) in[i] = bit_of(sources[i], bit);
    if (!operation.of(in[0], in[1], in[2])) continue;
    result.bytes[bit / 8] |= static_cast<ub1>(1 << bit % 8);
    if (bit < length) ++result.count;
  }
  return result;
}

void fill_range(std::vector<ub1> &bits, ub8 first, ub8 last, bool value) {
  for (ub8 bit = first; bit <= last; ++bit) {
    const auto mask = static_cast<ub1>(1 << bit % 8);
    bits[bit / 8] = static_cast<ub1>(value ? bits[bit / 8] | mask : bits[bit / 8] & ~mask);
  }
}

std::vector<ub8> walk(const std::vector<ub1> &bits, ub8 limit, ub8 start, bool clear_bits) {
  std::vector<ub8> numbers;
  for (ub8 bit = start; bit < limit; ++bit)
    if (bit_of(bits, bit) != clear_bits) numbers.push_back(bit);
  return numbers;
}

} // namespace mipo::reference
