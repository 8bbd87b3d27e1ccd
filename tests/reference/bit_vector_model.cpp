#include "bit_vector_model.h"

namespace mipo::reference {

bool bit_of(const ub1 *bytes, ub8 i) {
  return (bytes[i / 8] >> (i % 8)) % 2 == 1;
}

Combined combine(const std::vector<const ub1 *> &sources, ub8 length, ub8 unit_bytes,
                 const std::function<bool(const std::vector<bool> &)> &operation) {
  ub8 units = length / (8 * unit_bytes);
  if (units * 8 * unit_bytes < length) ++units;
  Combined combined{Bytes(units * unit_bytes, 0), 0};
  for (ub8 i = 0; i < units * unit_bytes * 8; ++i) {
    std::vector<bool> operands;
    for (const ub1 *source : sources) operands.push_back(bit_of(source, i));
    if (!operation(operands)) continue;
    combined.result[i / 8] = static_cast<ub1>(combined.result[i / 8] + (1 << (i % 8)));
    if (i < length) ++combined.count;
  }
  return combined;
}

void fill_range(Bytes &bytes, ub8 first, ub8 last, bool value) {
  for (ub8 i = first; i <= last; ++i) {
    const auto weight = static_cast<ub1>(1 << (i % 8));
    if (bit_of(bytes.data(), i) != value) bytes[i / 8] = static_cast<ub1>(bytes[i / 8] ^ weight);
  }
}

std::vector<ub8> walk(const ub1 *bytes, ub8 limit, ub8 start, bool clear_bits) {
  std::vector<ub8> numbers;
  for (ub8 i = start; i < limit; ++i)
    if (bit_of(bytes, i) != clear_bits) numbers.push_back(i);
  return numbers;
}

} // namespace mipo::reference
