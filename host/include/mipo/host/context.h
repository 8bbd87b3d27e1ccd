// The call context that a host hands to every kernel, with the callbacks that it leads to.
#ifndef MIPO_HOST_CONTEXT_H
#define MIPO_HOST_CONTEXT_H

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "mipo/call.h"
#include "mipo/host/aligned_buffer.h"
#include "mipo/host/bit_vector.h"
#include "mipo/host/library.h"
#include "mipo/open.h"

namespace mipo::host {

/// Memory that kernels allocated on behalf of a column and that has to live as long as the column does. A vector names
/// it by its address in `decomp_hint`.
class KernelMemory {
public:
  KernelMemory() = default;
  KernelMemory(const KernelMemory &) = delete;
  KernelMemory &operator=(const KernelMemory &) = delete;

  /// `size` bytes, aligned to 64, released with this object.
  void *allocate(std::size_t size) { return keep(AlignedBuffer(size)); }
  /// Takes a buffer over, and returns its address.
  void *keep(AlignedBuffer buffer);
  void release() noexcept { blocks_.clear(); }

private:
  std::vector<AlignedBuffer> blocks_;
};

/// A `mipo_call_ctx` with its `mipo_host_ctx`, environment and callbacks, for one call at a time.
///
/// `alloc` takes memory from the KernelMemory whose address stands in the hint, so that a decompressed column belongs
/// to its column; a hint of 0 means the context's own, released with the context. `decode` is the library's
/// mipo_brep_decode_dydi, which comes back to the decompressor given here. The messages that kernels report through
/// `hostierr` are collected, unless the process has a `hostierr` of its own.
class CallContext {
public:
  /// The library, and the decompressor if there is one, must outlive the context.
  explicit CallContext(const Library &library, mipo_decompressor *decompressor = nullptr);
  CallContext(const CallContext &) = delete;
  CallContext &operator=(const CallContext &) = delete;
  ~CallContext() = default;

  /// The record to hand to a kernel.
  mipo_call_ctx *record() noexcept { return &call_; }
  const mipo_call_ctx *record() const noexcept { return &call_; }
  mipo_host_ctx *host() noexcept { return &host_; }

  /// Restricts the calls that follow to the rows of `ones`, which must outlive them. `selective`: look only at these
  /// rows, which pays if they are few; otherwise all rows are evaluated and the selection is applied to the result.
  void select(const BitVector &ones, bool selective) noexcept;
  /// Ends the selection.
  void select_all() noexcept;
  /// Throws ArgumentError if the selection is one of another number of rows than `rows`, those of `what`.
  void check_selection(ub4 rows, std::string_view what) const;

  /// What kernels reported through `hostierr`, oldest first.
  const std::vector<std::string> &messages() const noexcept { return messages_; }
  void clear_messages() noexcept { messages_.clear(); }
  /// Throws Error with the first message, if any; for callers that do not go on after a soft error.
  void throw_if_reported() const;

  /// The `burst` of run-length columns: expands runs into rows by the kernel for the form in which the column tells
  /// their lengths, from the library of the context whose host this is. Throws MissingKernel if it does not have it.
  static ub4 burst(mipo_host_ctx *host, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux);
  /// Key of the kernel that `burst` calls for a run-length column.
  static ub4 burst_key(const mipo_enc_ctx &enc_ctx) noexcept;

  /// Labels of all memory that kernels asked for, oldest first; scratch memory counts too.
  const std::vector<std::string> &allocation_labels() const noexcept { return labels_; }
  /// Scratch blocks that a kernel has taken and not yet given back.
  std::size_t scratch_in_use() const noexcept { return scratch_.size(); }

private:
  struct ErrorFrame : mipo_error_frame {
    CallContext *context;
  };
  // The words of the environment: the one that the interface fixes, and one of ours after it.
  static constexpr std::size_t context_word = MIPO_ENV_ERROR_FRAME_WORD + 1;

  static CallContext &of(void *env) noexcept;
  static void report(mipo_error_frame *frame, const char *message);
  static void *allocate(void *env, void *heap, ub4 size, const char *label, ub4 eight, ub4 sixteen, ub8 hint);
  static void *allocate_scratch(void *env, ub4 size, const char *label, ub4 four, ub4 zero, void **cookie);
  static void free_scratch(void *env, void *memory, void *cookie);

  const Library &library_;
  ub8 selection_rows_ = 0;
  mipo_call_ctx call_{};
  mipo_host_ctx host_{};
  ErrorFrame error_frame_;
  std::array<void *, context_word + 1> environment_{};
  KernelMemory memory_;
  std::map<void *, AlignedBuffer> scratch_;
  std::vector<std::string> messages_;
  std::vector<std::string> labels_;
};

} // namespace mipo::host

#endif
