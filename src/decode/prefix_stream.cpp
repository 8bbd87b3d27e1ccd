// mipo_prefix_decode_dydi: values that share their first bytes in groups of sixteen.
//
//   lens   a big-endian offset into data for each group
//   group  P, then the P bytes that its values start with, then the other w - P bytes of each value
#include <string.h>

#include <utility>

#include "interface/entry_functions.h"
#include "simd/simd.h"

namespace mipo::decode {
namespace {

constexpr ub4 group_rows = 16;
constexpr size_t widest = 8;

// Writes the values of a group. Both lengths are constants here, so that a value is two or three moves.
template <size_t prefix, size_t width>
void expand_group(ub1 *out, const ub1 *bytes, ub4 rows) {
  if constexpr (prefix <= width) {
    const ub1 *suffix = bytes + prefix;
    for (ub4 row = 0; row < rows; ++row) {
      memcpy(out, bytes, prefix);
      memcpy(out + prefix, suffix, width - prefix);
      out += width;
      suffix += width - prefix;
    }
  }
}

using ExpandGroup = void (*)(ub1 *, const ub1 *, ub4);

// By prefix, of which values of `width` bytes have 0 to `width`.
struct GroupLoops {
  ExpandGroup of_prefix[widest + 1];
};

template <size_t width, size_t... prefix>
constexpr GroupLoops make_loops(std::index_sequence<prefix...>) {
  return {{&expand_group<prefix, width>...}};
}

template <size_t... width>
constexpr auto make_table(std::index_sequence<width...>) {
  struct Table {
    GroupLoops of_width[widest];
  };
  return Table{{make_loops<width + 1>(std::make_index_sequence<widest + 1>{})...}};
}

constinit const auto loops = make_table(std::make_index_sequence<widest>{});

// Where each value went. The last four bytes of a reference are the host's.
class RowReferences {
public:
  explicit RowReferences(void *references) : next_(static_cast<ub1 *>(references)) {}

  void put(const ub1 *value, ub2 width, ub4 rows) {
    if (next_ == nullptr) return;
    for (ub4 row = 0; row < rows; ++row, value += width, next_ += reference_bytes) {
      const ub8 address = reinterpret_cast<ub8>(value);
      const ub4 length = width; // and a ub2 of 0 after it
      memcpy(next_, &address, sizeof address);
      memcpy(next_ + sizeof address, &length, sizeof length);
    }
  }

private:
  static constexpr size_t reference_bytes = 16;
  ub1 *next_;
};

} // namespace
} // namespace mipo::decode

extern "C" ub4 mipo_prefix_decode_dydi(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  using namespace mipo::decode;
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(src);
  const ub2 width = enc_ctx->prefix_width;
  if (width < 1 || width > widest || enc_ctx->prefix_bytes != group_rows) return MIPO_INVALID_PARAMETER;

  const GroupLoops &expand = loops.of_width[width - 1];
  const auto *data = static_cast<const ub1 *>(src->data);
  const auto *offsets = static_cast<const ub1 *>(src->lens);
  auto *out = static_cast<ub1 *>(res->data);
  RowReferences references(ctx != nullptr ? ctx->row_refs : nullptr);
  ub4 rows_left = enc_ctx->prefix_rows;
  const ub4 groups = src->nrows;
  for (ub4 group = 0; group < groups && rows_left != 0; ++group) {
    const ub1 *stored = data + mipo::simd::read_big_endian<ub4>(offsets + group * sizeof(ub4));
    const ub1 prefix = *stored;
    if (prefix > width) return MIPO_INVALID_PARAMETER;
    const ub4 rows = rows_left < group_rows ? rows_left : group_rows;
    expand.of_prefix[prefix](out, stored + 1, rows);
    references.put(out, width, rows);
    out += rows * width;
    rows_left -= rows;
  }
  return MIPO_DONE;
}
