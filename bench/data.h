// Memory and inputs for benchmarks.
#ifndef MIPO_BENCH_DATA_H
#define MIPO_BENCH_DATA_H

#include <cstddef>
#include <memory>
#include <vector>

#include "mipo/vec.h"

namespace mipo::bench {

/// Bytes in pages of their own, in large pages where the system gives them, zeroed.
class Pages {
public:
  explicit Pages(std::size_t bytes);
  Pages(Pages &&) noexcept = default;

  ub1 *bytes() const { return memory_.get(); }
  ub8 *words() const { return reinterpret_cast<ub8 *>(memory_.get()); }
  std::size_t size() const { return memory_.get_deleter().size; }

private:
  struct Unmap {
    std::size_t size;
    void operator()(ub1 *memory) const;
  };
  std::unique_ptr<ub1, Unmap> memory_;
};

/// Fills with bytes that repeat after 2^64 of them at the earliest; the same on every run.
void fill_random(ub1 *bytes, std::size_t size, ub8 seed = 1);

/// A bit vector of `bits` bits of which about `density` (0 to 1) are set, at random places.
Pages random_bits(ub8 bits, double density, ub8 seed = 1);

/// A column, a result and constants as a kernel takes them.
struct Operands {
  mipo_enc_ctx encoding{};
  mipo_vec source{}, result{}, low{}, high{};
  ub8 low_value = 0, high_value = 0;

  /// `rows` rows of `width` bits at `data`; result words at `bits`.
  Operands(void *data, unsigned width, ub4 rows, ub8 *bits, ub8 low_constant, ub8 high_constant);
  Operands(const Operands &) = delete;
};

/// Calls the kernel at `key` of the record, in the shape that its operation has.
ub4 call_predicate(ub4 key, Operands &operands, mipo_call_ctx *ctx = nullptr);

} // namespace mipo::bench

#endif
