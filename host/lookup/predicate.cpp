#include "mipo/host/predicate.h"

#include <string>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

void check_operands(const CallContext &context, const Result &result, const EncodedColumn &column) {
  if (result.rows() != column.rows())
    throw ArgumentError("the result has " + std::to_string(result.rows()) + " rows, and the column " +
                        std::to_string(column.rows()));
  context.check_selection(column.rows(), "column");
  if (column.has_runs() && context.record()->ones_vec != nullptr)
    throw ArgumentError("a selection of rows cannot be handed to a column of runs: apply it to the result");
}

// Calls kernel(res, src, ctx) and throws what it reports.
bool call(CallContext &context, ub4 key, Result &result, const EncodedColumn &column, auto kernel) {
  check_operands(context, result, column);
  const std::size_t reported = context.messages().size();
  const ub4 code = kernel(result.vec(), &column.vec(), context.record());
  if (context.messages().size() > reported) throw Error(context.messages()[reported]);
  throw_unless_answered(kernel_name(key), code);
  return code == MIPO_DONE;
}

} // namespace

bool evaluate(const Library &library, CallContext &context, PredicateKernel kernel, Result &result,
              const EncodedColumn &column, const Constant &constant) {
  const ub4 key = kernel.key(column);
  return call(context, key, result, column, [&, compare = library.one_sided(key)](auto res, auto src, auto ctx) {
    return compare(res, src, &constant.vec(), ctx);
  });
}

bool evaluate(const Library &library, CallContext &context, PredicateKernel kernel, Result &result,
              const EncodedColumn &column, const Constant &low, const Constant &high) {
  const ub4 key = kernel.key(column);
  return call(context, key, result, column, [&, compare = library.two_sided(key)](auto res, auto src, auto ctx) {
    return compare(res, src, &low.vec(), &high.vec(), ctx);
  });
}

bool evaluate_set(const Library &library, CallContext &context, Result &result, const EncodedColumn &column,
                  const BitVector &codes) {
  constexpr ub8 least_bits = 256; // kernels of narrow codes look at all that a byte can hold
  if (codes.size() < least_bits || codes.size() < column.domain().code_count())
    throw ArgumentError("the set has " + std::to_string(codes.size()) + " bits, and the column " +
                        std::to_string(column.domain().code_count()) + " codes; 256 bits are the least");
  const ub4 key = column.key(MIPO_OP_SET);
  mipo_vec set{};
  set.bv = const_cast<ub8 *>(codes.words());
  return call(context, key, result, column,
              [&, member = library.set(key)](auto res, auto src, auto ctx) { return member(res, src, &set, ctx); });
}

} // namespace mipo::host
