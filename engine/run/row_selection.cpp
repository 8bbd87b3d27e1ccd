#include "engine/run/row_selection.h"

#include <algorithm>
#include <numeric>

#include "engine/run/parallel.h"
#include "engine/run/row_ranges.h"
#include "mipo/host/context.h"
#include "mipo/host/kernel_names.h"

namespace mipo::engine {
namespace {

// When a call looks at the selected rows alone: one of them takes as long as this many bytes of codes in the block
// path. Measured at the level avx2 with codes of 8, 16 and 32 bits, 300 thousand and 3 million of them; the selective
// call then wins below one row in 512, 256 and 128.
constexpr ub8 bytes_per_selected_row = 512;

bool is_two_sided(mipo_operation operation) {
  return operation >= MIPO_OP_GT_LT && operation <= MIPO_OP_GE_LE;
}

// A set of codes as the kernel reads it: a bit for each code, and for all codes that a byte can hold.
host::BitVector members_of(const CodeSet &set, const host::EncodedColumn &column) {
  constexpr ub8 smallest = 256;
  host::BitVector members(std::max(column.domain().code_count(), smallest));
  set.each([&](ub8 code) { members.set(code); });
  return members;
}

// A kernel with its constants: what is left to say is which rows.
class Predicate {
public:
  Predicate(const host::Library &library, ub4 key, const KernelCall &call, const host::EncodedColumn &column)
      : operation_(call.operation), lo_(column.constant(call.lo)), hi_(column.constant(call.hi)), members_(0) {
    if (operation_ == MIPO_OP_SET) {
      members_ = members_of(call.set, column);
      kernel_.set = library.set(key);
    } else if (is_two_sided(operation_)) {
      kernel_.two_sided = library.two_sided(key);
    } else {
      kernel_.one_sided = library.one_sided(key);
    }
  }

  ub4 operator()(mipo_vec *result, const mipo_vec &source, mipo_call_ctx *ctx) const {
    if (operation_ == MIPO_OP_SET) {
      mipo_vec set{};
      set.bv = const_cast<ub8 *>(members_.words());
      return kernel_.set(result, &source, &set, ctx);
    }
    if (is_two_sided(operation_)) return kernel_.two_sided(result, &source, &lo_.vec(), &hi_.vec(), ctx);
    return kernel_.one_sided(result, &source, &lo_.vec(), ctx);
  }

private:
  mipo_operation operation_;
  host::Constant lo_, hi_;
  host::BitVector members_;
  mipo_kernel kernel_;
};

// Each thread has its own part of the column, of the selection and of the result, in whole words.
ub4 call_on_slices(const RunContext &run, const Predicate &predicate, const host::EncodedColumn &column, bool selective,
                   unsigned threads, const host::Result *within, host::Result &result) {
  const std::vector<ub4> bounds = bounds_of_ranges(column.rows(), threads);
  std::vector<ub4> codes(threads), counts(threads);
  in_parallel(threads, [&](unsigned i) {
    const ub4 first = bounds[i], rows = bounds[i + 1] - first;
    mipo_vec source = slice(column, first, rows), target = *result.vec();
    target.nrows = rows;
    target.bv += first / 64;
    host::CallContext context(run.library);
    mipo_call_ctx &ctx = *context.record();
    if (within != nullptr) {
      ctx.ones_vec = within->bits().words() + first / 64;
      ctx.eval_flags = selective ? MIPO_EVAL_SELECTIVE : 0;
    }
    codes[i] = predicate(&target, source, &ctx);
    context.throw_if_reported();
    counts[i] = target.nset;
  });
  result.vec()->nset = std::accumulate(counts.begin(), counts.end(), ub4{0});
  const auto failed = std::find_if(codes.begin(), codes.end(), [](ub4 code) { return code > MIPO_EMPTY; });
  if (failed != codes.end()) return *failed;
  return result.count() == 0 ? MIPO_EMPTY : MIPO_DONE;
}

} // namespace

host::Result select_rows(RunContext &context, const host::Column &column, const KernelCall &call,
                         const host::Result *within, std::vector<KernelProfile> &calls) {
  const ub4 rows = column.data.rows();
  KernelProfile step;
  step.key =
      call.sees_null_code ? column.data.key(call.operation, MIPO_VARIANT_PLAIN) : column.data.key(call.operation);
  step.name = host::kernel_name(step.key);
  if (column.data.has_runs())
    step.expanded_by = host::kernel_name(host::CallContext::burst_key(*column.data.vec().enc_ctx));
  step.condition = call.text;
  step.rows_in = within != nullptr ? within->count() : rows;
  const ub8 code_bytes = ub8{rows} * static_cast<ub8>(column.data.bits()) / 8;
  step.selective = within != nullptr && step.rows_in * bytes_per_selected_row < code_bytes;
  step.rows_read = step.selective ? step.rows_in : column.data.stored_values();

  host::Result result(rows);
  const Predicate predicate(context.library, step.key, call, column.data);
  ub4 code = MIPO_DONE;
  const unsigned threads = can_be_sliced(column.data) ? context.threads_for(rows) : 1;
  const Stopwatch stopwatch;
  if (threads == 1) {
    host::CallContext ctx(context.library, &context.decompressor);
    if (within != nullptr) ctx.select(within->bits(), step.selective);
    code = predicate(result.vec(), column.data.vec(), ctx.record());
    ctx.throw_if_reported();
  } else {
    code = call_on_slices(context, predicate, column.data, step.selective, threads, within, result);
  }
  step.seconds = stopwatch.seconds();
  step.rows_out = result.count();
  host::throw_unless_answered(step.name, code);
  calls.push_back(std::move(step));
  return result;
}

} // namespace mipo::engine
