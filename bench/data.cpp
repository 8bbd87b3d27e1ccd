#include "data.h"

#include <sys/mman.h>

#include <cstring>
#include <new>

#include "harness.h"

namespace mipo::bench {
namespace {

// Xorshift with a multiplication; its state runs through all 2^64 - 1 values.
ub8 next_random(ub8 &state) {
  state ^= state >> 12;
  state ^= state << 25;
  state ^= state >> 27;
  return state * 0x2545f4914f6cdd1d;
}

} // namespace

Pages::Pages(std::size_t bytes) : memory_(nullptr, Unmap{bytes}) {
  void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  madvise(memory, bytes, MADV_HUGEPAGE);
  memset(memory, 0, bytes);
  memory_.reset(static_cast<ub1 *>(memory));
}

void Pages::Unmap::operator()(ub1 *memory) const {
  munmap(memory, size);
}

void fill_random(ub1 *bytes, std::size_t size, ub8 seed) {
  for (std::size_t at = 0; at < size; at += sizeof(ub8)) {
    const ub8 word = next_random(seed);
    memcpy(bytes + at, &word, size - at < sizeof word ? size - at : sizeof word);
  }
}

Pages random_bits(ub8 bits, double density, ub8 seed) {
  Pages vector((bits + 63) / 64 * 8 + 64);
  for (ub8 bit = 0; bit < bits; ++bit)
    if (static_cast<double>(next_random(seed) >> 11) < density * 0x1p53) vector.words()[bit / 64] |= ub8{1} << bit % 64;
  return vector;
}

Operands::Operands(void *data, unsigned width, ub4 rows, ub8 *bits, ub8 low_constant, ub8 high_constant)
    : low_value(low_constant), high_value(high_constant) {
  encoding.bits = width;
  source.data = data;
  source.enc_ctx = &encoding;
  source.nrows = rows;
  result.bv = bits;
  result.nrows = rows;
  low.data = &low_value;
  high.data = &high_value;
}

ub4 call_predicate(ub4 key, Operands &operands, mipo_call_ctx *ctx) {
  const mipo_kernel kernel = record().dispatch_table[key];
  const ub4 operation = key & 31;
  if (operation >= MIPO_OP_GT_LT && operation <= MIPO_OP_GE_LE)
    return kernel.two_sided(&operands.result, &operands.source, &operands.low, &operands.high, ctx);
  return kernel.one_sided(&operands.result, &operands.source, &operands.low, ctx);
}

} // namespace mipo::bench
