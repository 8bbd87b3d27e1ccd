#include "mipo/host/column.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

#include "mipo/host/context.h"
#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

int narrowest_width(ub8 code_count) {
  for (const int bits : {8, 16, 32})
    if (code_count <= ub8{1} << bits) return bits;
  return 64;
}

template <class Code>
Code big_endian(ub4 code) {
  if constexpr (sizeof(Code) == 1) return static_cast<Code>(code);
  if constexpr (sizeof(Code) == 2) return __builtin_bswap16(static_cast<Code>(code));
  if constexpr (sizeof(Code) == 4) return __builtin_bswap32(code);
  if constexpr (sizeof(Code) == 8) return __builtin_bswap64(code);
}

template <class Code>
AlignedBuffer store_as(std::span<const ub4> codes) {
  AlignedBuffer buffer(codes.size() * sizeof(Code));
  auto *const out = reinterpret_cast<Code *>(buffer.data());
  for (std::size_t i = 0; i < codes.size(); ++i) out[i] = big_endian<Code>(codes[i]);
  return buffer;
}

AlignedBuffer store(std::span<const ub4> codes, int bits) {
  switch (bits) {
  case 8:
    return store_as<ub1>(codes);
  case 16:
    return store_as<ub2>(codes);
  case 32:
    return store_as<ub4>(codes);
  default:
    return store_as<ub8>(codes);
  }
}

// A dictionary without symbols in the form that decoders read: they refuse the column.
constexpr ub4 no_symbols = 2;

} // namespace

struct DictionaryColumn::Storage {
  explicit Storage(Dictionary values) : dictionary(std::move(values)) {}

  Dictionary dictionary;
  AlignedBuffer bytes; // the codes, or the compressed stream
  KernelMemory kernel_memory;
  void *decompressed = nullptr; // the cell of `decomp_slot`
  mipo_enc_ctx enc_ctx{};
  mipo_vec vec{};
};

DictionaryColumn::DictionaryColumn(std::span<const ub4> codes, Dictionary dictionary, const ColumnOptions &options)
    : storage_(std::make_unique<Storage>(std::move(dictionary))) {
  const Dictionary &values = storage_->dictionary;
  const int width = options.bits != 0 ? options.bits : narrowest_width(values.code_count());
  if (width != 8 && width != 16 && width != 32 && width != 64)
    throw ArgumentError("codes of " + std::to_string(width) + " bits: the widths are 8, 16, 32 and 64");
  if (width < narrowest_width(values.code_count()))
    throw ArgumentError("a dictionary of " + std::to_string(values.code_count()) + " codes needs more than " +
                        std::to_string(width) + " bits");
  if (values.code_count() > std::numeric_limits<ub4>::max())
    throw ArgumentError("a dictionary of more than 2^32 - 1 codes");
  if (codes.size() > std::numeric_limits<ub4>::max()) throw ArgumentError("a column of more than 2^32 - 1 rows");
  if (!codes.empty() && std::ranges::max(codes) >= values.code_count())
    throw ArgumentError("code " + std::to_string(std::ranges::max(codes)) + " is not in the dictionary of " +
                        std::to_string(values.code_count()) + " codes");

  mipo_enc_ctx &enc_ctx = storage_->enc_ctx;
  enc_ctx.bits = static_cast<ub4>(width);
  enc_ctx.width_index = static_cast<ub1>(mipo_convert_width(width));
  enc_ctx.decode_form = static_cast<ub1>(enc_ctx.width_index * 4 + MIPO_FAMILY_DICT);
  enc_ctx.flags = width <= 32 ? MIPO_PACKED : 0; // whole bytes, high byte first, are packed high bit first too
  enc_ctx.sym_count = static_cast<ub4>(values.code_count());
  enc_ctx.sym_varlen = no_symbols;
  if (values.type().kind == ValueKind::text) {
    enc_ctx.sym_varlen = 1;
    enc_ctx.sym_base = reinterpret_cast<ub8>(values.symbol_bytes().data());
    enc_ctx.sym_offs = values.symbol_offsets().data();
  }

  mipo_vec &vec = storage_->vec;
  storage_->bytes = store(codes, width);
  if (options.compressor) {
    if (storage_->bytes.size() > std::numeric_limits<ub4>::max())
      throw ArgumentError("a compressed column has at most 4 GiB of codes");
    vec.decomp_size = static_cast<ub4>(storage_->bytes.size());
    vec.decomp_slot = &storage_->decompressed;
    vec.decomp_hint = reinterpret_cast<ub8>(&storage_->kernel_memory);
    enc_ctx.flags |= MIPO_BREP;
    const std::vector<std::byte> stream = options.compressor(storage_->bytes.bytes());
    storage_->bytes = AlignedBuffer(stream.size());
    if (!stream.empty()) std::memcpy(storage_->bytes.data(), stream.data(), stream.size());
  }
  vec.data = storage_->bytes.data();
  vec.enc_ctx = &enc_ctx;
  vec.nrows = static_cast<ub4>(codes.size());
}

DictionaryColumn::DictionaryColumn(DictionaryColumn &&) noexcept = default;
DictionaryColumn &DictionaryColumn::operator=(DictionaryColumn &&) noexcept = default;
DictionaryColumn::~DictionaryColumn() = default;

const mipo_vec &DictionaryColumn::vec() const noexcept {
  return storage_->vec;
}

const Dictionary &DictionaryColumn::dictionary() const noexcept {
  return storage_->dictionary;
}

ub4 DictionaryColumn::rows() const noexcept {
  return storage_->vec.nrows;
}

int DictionaryColumn::bits() const noexcept {
  return static_cast<int>(storage_->enc_ctx.bits);
}

std::size_t DictionaryColumn::stored_bytes() const noexcept {
  return storage_->bytes.size();
}

bool DictionaryColumn::is_compressed() const noexcept {
  return (storage_->enc_ctx.flags & MIPO_BREP) != 0;
}

bool DictionaryColumn::is_decompressed() const noexcept {
  return storage_->decompressed != nullptr;
}

void DictionaryColumn::drop_decompressed() noexcept {
  storage_->decompressed = nullptr;
  storage_->kernel_memory.release();
}

ub8 DictionaryColumn::code(ub4 row) const noexcept {
  const void *base = is_compressed() ? storage_->decompressed : storage_->vec.data;
  switch (bits()) {
  case 8:
    return static_cast<const ub1 *>(base)[row];
  case 16:
    return __builtin_bswap16(static_cast<const ub2 *>(base)[row]);
  case 32:
    return __builtin_bswap32(static_cast<const ub4 *>(base)[row]);
  default:
    return __builtin_bswap64(static_cast<const ub8 *>(base)[row]);
  }
}

Constant::Constant(ub8 value) noexcept : value_(value) {
  vec_.data = &value_;
  vec_.nrows = 1;
}

Result::Result(ub4 rows) : bits_(rows) {
  vec_.bv = bits_.words();
  vec_.nrows = rows;
}

} // namespace mipo::host
