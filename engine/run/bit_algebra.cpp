#include "engine/run/bit_algebra.h"

#include <cstddef>

namespace mipo::engine {
namespace {

// One of the entries for two bit vectors: result becomes result OP other.
using BinaryEntry = decltype(mipo_specialized_ctx::mipo_lbiwvor_dydi) mipo_specialized_ctx::*;

KernelProfile combine(const host::Library &library, host::Result &result, const host::Result &other, const char *name,
                      BinaryEntry member, std::size_t byte_in_record, const std::string &condition) {
  KernelProfile step = entry_step(name, byte_in_record, condition);
  step.rows_in = ub8{result.count()} + other.count();
  step.rows_read = result.bits().size();
  const auto operation = host::entry(library, member);
  const Stopwatch stopwatch;
  operation(result.vec()->bv, &result.vec()->nset, result.vec()->bv, other.bits().words(), result.bits().size());
  step.seconds = stopwatch.seconds();
  step.rows_out = result.count();
  return step;
}

} // namespace

KernelProfile unite(const host::Library &library, host::Result &result, const host::Result &other,
                    const std::string &condition) {
  return combine(library, result, other, "mipo_lbiwvor_dydi", &mipo_specialized_ctx::mipo_lbiwvor_dydi,
                 offsetof(mipo_specialized_ctx, mipo_lbiwvor_dydi), condition);
}

KernelProfile intersect(const host::Library &library, host::Result &result, const host::Result &other,
                        const std::string &condition) {
  return combine(library, result, other, "mipo_lbiwvand_dydi", &mipo_specialized_ctx::mipo_lbiwvand_dydi,
                 offsetof(mipo_specialized_ctx, mipo_lbiwvand_dydi), condition);
}

KernelProfile complement(const host::Library &library, host::Result &result, const host::BitVector &of,
                         const std::string &condition) {
  KernelProfile step = entry_step("mipo_lbiwvnot_dydi", offsetof(mipo_specialized_ctx, mipo_lbiwvnot_dydi), condition);
  step.rows_in = step.rows_read = result.bits().size();
  const auto bits_not = host::entry(library, &mipo_specialized_ctx::mipo_lbiwvnot_dydi);
  const Stopwatch stopwatch;
  bits_not(result.vec()->bv, &result.vec()->nset, of.words(), of.size());
  step.seconds = stopwatch.seconds();
  result.bits().clear_spare_bits();
  step.rows_out = result.count();
  return step;
}

} // namespace mipo::engine
