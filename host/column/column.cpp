#include "mipo/host/column.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <mutex>
#include <string>

#include "host/column/column_parts.h"
#include "host/column/run_table.h"
#include "host/column/value_format.h"
#include "mipo/host/context.h"
#include "mipo/host/encoding_choice.h"
#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

// A dictionary without symbols in the form that decoders read: they refuse the column.
constexpr ub4 no_symbols = 2;

void check_codes(std::span<const ub4> codes, ub8 code_count) {
  if (code_count > std::numeric_limits<ub4>::max()) throw ArgumentError("a dictionary of more than 2^32 - 1 codes");
  if (codes.size() > std::numeric_limits<ub4>::max()) throw ArgumentError("a column of more than 2^32 - 1 rows");
  if (!codes.empty() && std::ranges::max(codes) >= code_count)
    throw ArgumentError("code " + std::to_string(std::ranges::max(codes)) + " is not in the dictionary of " +
                        std::to_string(code_count) + " codes");
}

Encoding encoding_for(std::span<const ub4> codes, const Dictionary &dictionary, const ColumnOptions &options) {
  Encoding encoding = options.encoding ? *options.encoding : choose_encoding(codes, dictionary);
  if (!options.encoding) encoding.compressed = static_cast<bool>(options.compressor);
  if (encoding.compressed && !options.compressor) throw EncodingError("there is nothing to compress the column with");
  return encoding;
}

} // namespace

struct EncodedColumn::Storage {
  Storage(std::span<const ub4> codes, Dictionary &&dictionary, const ColumnOptions &options)
      : encoding(encoding_for(codes, dictionary, options)), format(encoding, dictionary) {
    if (encoding.runs != RunForm::none) runs = RunTable(codes, encoding.runs);
    const std::span<const ub4> ranks = encoding.runs != RunForm::none ? runs.values() : codes;
    encoding.bits = format.encoding_bits();
    if (dictionary.has_null()) nulls = static_cast<ub4>(std::ranges::count(codes, ub4{0}));
    if (format.holds_numbers())
      store_numbers(ranks, dictionary);
    else
      store_codes(ranks, std::move(dictionary));
    runs.drop_values();
    if (encoding.compressed) compress(options.compressor);
    describe(static_cast<ub4>(codes.size()));
  }

  Storage(ColumnParts &&parts, ContentsCheck check)
      : encoding(parts.shape.encoding),
        format(encoding, parts.shape.cut_bytes),
        nulls(parts.shape.null_rows),
        streams{std::move(parts[ColumnPart::values]), std::move(parts[ColumnPart::lengths]),
                std::move(parts[ColumnPart::positions])},
        decompressed_bytes(parts.shape.decompressed_bytes),
        check_contents(std::move(check)) {
    const ColumnShape &shape = parts.shape;
    if (encoding.runs != RunForm::none)
      runs = RunTable(encoding.runs, shape.runs, shape.has_long_runs, std::move(parts[ColumnPart::runs]),
                      std::move(parts[ColumnPart::run_index]));
    if (format.holds_numbers()) {
      domain = std::make_unique<NumberRange>(
          format.number_range(shape.type, shape.value_count, shape.first_code, shape.code_count));
      if (nulls != 0) validity = BitVector(std::move(parts[ColumnPart::validity]), shape.stored_values());
    } else {
      keep_dictionary({shape.type,
                       {std::move(parts[ColumnPart::numbers]), std::move(parts[ColumnPart::symbol_bytes]),
                        std::move(parts[ColumnPart::symbol_offsets])},
                       shape.has_null,
                       shape.value_count});
    }
    describe(shape.rows);
  }

  void describe(ub4 rows) {
    vec.nrows = rows;
    vec.data = streams.values.data();
    vec.lens = streams.lengths.data();
    vec.enc_ctx = &enc_ctx;
    if (validity.size() != 0) vec.filter_bv = validity.words();
    describe_values();
    if (encoding.runs != RunForm::none) describe_runs();
    if (encoding.compressed) describe_compression();
  }

  void store_codes(std::span<const ub4> ranks, Dictionary &&dictionary) {
    streams = format.store({ranks, {}});
    keep_dictionary(std::move(dictionary));
  }

  void keep_dictionary(Dictionary &&dictionary) {
    auto kept = std::make_unique<Dictionary>(std::move(dictionary));
    symbols = kept.get();
    domain = std::move(kept);
  }

  void store_numbers(std::span<const ub4> ranks, const Dictionary &dictionary) {
    auto range = std::make_unique<NumberRange>(format.number_range(dictionary));
    const std::vector<ub8> codes = range->codes_of_ranks(dictionary);
    streams = format.store({ranks, codes});
    domain = std::move(range);
    if (nulls == 0) return;
    validity = BitVector(ranks.size());
    for (std::size_t i = 0; i < ranks.size(); ++i)
      if (ranks[i] != 0) validity.set(i);
  }

  void describe_values() {
    enc_ctx.flags = format.flags();
    enc_ctx.bits = static_cast<ub4>(format.stored_bits());
    enc_ctx.width_index = static_cast<ub1>(mipo_convert_width(format.kernel_bits()));
    if (symbols == nullptr) return;
    enc_ctx.decode_form = static_cast<ub1>(enc_ctx.width_index * 4 + MIPO_FAMILY_DICT);
    enc_ctx.sym_count = static_cast<ub4>(symbols->code_count());
    enc_ctx.sym_varlen = no_symbols;
    if (symbols->type().kind != ValueKind::text) return;
    enc_ctx.sym_varlen = 1;
    enc_ctx.sym_base = reinterpret_cast<ub8>(symbols->symbol_bytes().data());
    enc_ctx.sym_offs = symbols->symbol_offsets().data();
  }

  void describe_runs() {
    enc_ctx.flags |= MIPO_RLE;
    runs.describe(enc_ctx);
    run_bits = BitVector(runs.run_count());
    enc_ctx.run_bv = run_bits.words();
    enc_ctx.burst = CallContext::burst;
  }

  void compress(const Compressor &compressor) {
    const std::size_t size = streams.values.size() + format.slack();
    if (size > std::numeric_limits<ub4>::max()) throw EncodingError("a compressed column has at most 4 GiB of values");
    const std::vector<std::byte> stream = compressor({streams.values.data(), size});
    streams.values = AlignedBuffer(stream.size());
    if (!stream.empty()) std::memcpy(streams.values.data(), stream.data(), stream.size());
    decompressed_bytes = static_cast<ub4>(size);
  }

  void describe_compression() {
    enc_ctx.flags |= MIPO_BREP;
    vec.decomp_size = decompressed_bytes;
    vec.decomp_slot = &decompressed;
    vec.decomp_hint = reinterpret_cast<ub8>(&kernel_memory);
  }

  // The place of a row in the stream.
  ub4 place_of(ub4 row) const noexcept { return encoding.runs != RunForm::none ? runs.run_of(row) : row; }
  ub8 code_at(ub4 place) const noexcept { return format.code(streams, stored_values(), place); }
  // Of a compressed column, once it is decompressed.
  const void *stored_values() const noexcept { return encoding.compressed ? decompressed : vec.data; }
  bool is_value(ub4 place) const noexcept {
    return symbols != nullptr ? !symbols->is_null(code_at(place)) : nulls == 0 || validity.test(place);
  }

  Encoding encoding;
  ValueFormat format;
  std::unique_ptr<Domain> domain;
  const Dictionary *symbols = nullptr; // the domain, if it is a dictionary
  ub4 nulls = 0;
  RunTable runs;
  BitVector run_bits;
  ValueStreams streams; // of a compressed column, `values` is the compressed stream
  BitVector validity;
  ub4 decompressed_bytes = 0; // with the slack that kernels read
  KernelMemory kernel_memory;
  void *decompressed = nullptr; // the cell of `decomp_slot`
  mipo_enc_ctx enc_ctx{};
  mipo_vec vec{};
  ContentsCheck check_contents; // of a column whose bytes come from elsewhere
  std::once_flag domain_checked, rows_checked;
};

EncodedColumn::EncodedColumn(std::span<const ub4> codes, Dictionary dictionary, const ColumnOptions &options) {
  check_codes(codes, dictionary.code_count());
  storage_ = std::make_unique<Storage>(codes, std::move(dictionary), options);
}

EncodedColumn::EncodedColumn(EncodedColumn &&) noexcept = default;
EncodedColumn &EncodedColumn::operator=(EncodedColumn &&) noexcept = default;
EncodedColumn::~EncodedColumn() = default;

EncodedColumn::EncodedColumn(std::unique_ptr<Storage> storage) noexcept : storage_(std::move(storage)) {
}

void EncodedColumn::check() const {
  check_domain();
  if (!storage_->check_contents) return;
  std::call_once(storage_->rows_checked,
                 [this] { storage_->check_contents(ColumnParts::of(*this), CheckedContents::rows); });
}

void EncodedColumn::check_domain() const {
  if (!storage_->check_contents) return;
  std::call_once(storage_->domain_checked,
                 [this] { storage_->check_contents(ColumnParts::of(*this), CheckedContents::dictionary); });
}

std::string_view part_name(ColumnPart part) noexcept {
  constexpr std::string_view names[column_part_count] = {
      "values", "lengths", "positions", "runs", "run index", "validity", "numbers", "symbols", "symbol offsets"};
  return names[static_cast<std::size_t>(part)];
}

ColumnParts ColumnParts::of(const EncodedColumn &column) {
  const EncodedColumn::Storage &storage = *column.storage_;
  const Domain &domain = *storage.domain;
  ColumnParts parts;
  parts.shape = {domain.type(),
                 storage.encoding,
                 storage.format.cut_bytes(),
                 domain.has_null(),
                 storage.runs.has_long_runs(),
                 domain.value_count(),
                 domain.first_code(),
                 domain.code_count(),
                 storage.vec.nrows,
                 storage.nulls,
                 storage.runs.run_count(),
                 storage.decompressed_bytes};
  const auto borrow = [&parts](ColumnPart part, std::span<const std::byte> bytes) {
    parts[part] = AlignedBuffer(bytes, nullptr);
  };
  borrow(ColumnPart::values, storage.streams.values.bytes());
  borrow(ColumnPart::lengths, storage.streams.lengths.bytes());
  borrow(ColumnPart::positions, storage.streams.positions.bytes());
  borrow(ColumnPart::runs, storage.runs.extents());
  borrow(ColumnPart::run_index, storage.runs.index());
  borrow(ColumnPart::validity, std::as_bytes(std::span(storage.validity.words(), storage.validity.word_count())));
  if (storage.symbols == nullptr) return parts;
  borrow(ColumnPart::numbers, std::as_bytes(storage.symbols->numbers()));
  borrow(ColumnPart::symbol_bytes, std::as_bytes(std::span(storage.symbols->symbol_bytes())));
  borrow(ColumnPart::symbol_offsets, std::as_bytes(storage.symbols->symbol_offsets()));
  return parts;
}

EncodedColumn ColumnParts::column(ContentsCheck check) && {
  return EncodedColumn(std::make_unique<EncodedColumn::Storage>(std::move(*this), std::move(check)));
}

const mipo_vec &EncodedColumn::vec() const noexcept {
  return storage_->vec;
}

const Encoding &EncodedColumn::encoding() const noexcept {
  return storage_->encoding;
}

const Domain &EncodedColumn::domain() const noexcept {
  return *storage_->domain;
}

bool EncodedColumn::has_dictionary() const noexcept {
  return storage_->symbols != nullptr;
}

const Dictionary &EncodedColumn::dictionary() const {
  if (!has_dictionary()) throw ArgumentError("a column stored as " + encoding_text(encoding()) + " has no dictionary");
  return *storage_->symbols;
}

ub4 EncodedColumn::rows() const noexcept {
  return storage_->vec.nrows;
}

ub4 EncodedColumn::null_rows() const noexcept {
  return storage_->nulls;
}

int EncodedColumn::bits() const noexcept {
  return storage_->format.stored_bits();
}

ub4 EncodedColumn::stored_values() const noexcept {
  return has_runs() ? storage_->runs.run_count() : rows();
}

StoredSize EncodedColumn::stored_size() const noexcept {
  StoredSize size;
  size.values = storage_->streams.values.size();
  size.lengths = storage_->streams.lengths.size();
  size.runs = storage_->runs.bytes();
  size.validity = (storage_->validity.size() + 7) / 8;
  size.dictionary = has_dictionary() ? storage_->symbols->stored_bytes() : 0;
  return size;
}

bool EncodedColumn::is_decompressed() const noexcept {
  return storage_->decompressed != nullptr;
}

void EncodedColumn::decompress(mipo_decompressor &decompressor) const {
  if (!is_compressed() || is_decompressed()) return;
  const mipo_vec &vec = storage_->vec;
  AlignedBuffer copy(vec.decomp_size);
  ub4 length = 0;
  if (decompressor.decompress(&decompressor, vec.data, copy.data(), &length, vec.decomp_size) != 0)
    throw CompressionError("a compressed column cannot be decompressed");
  storage_->decompressed = storage_->kernel_memory.keep(std::move(copy));
}

void EncodedColumn::drop_decompressed() noexcept {
  storage_->decompressed = nullptr;
  storage_->kernel_memory.release();
}

ub8 EncodedColumn::code(ub4 row) const noexcept {
  return storage_->code_at(storage_->place_of(row));
}

void EncodedColumn::read_codes(std::span<const ub4> rows, ub8 no_value, std::span<ub8> codes) const {
  std::vector<ub4> runs;
  if (has_runs()) {
    runs.resize(rows.size());
    storage_->runs.runs_of(rows, runs);
  }
  const std::span<const ub4> places = has_runs() ? std::span<const ub4>(runs) : rows;
  storage_->format.read_codes(storage_->streams, storage_->stored_values(), places, codes.data());
  if (const Dictionary *symbols = storage_->symbols; symbols != nullptr && domain().has_null()) {
    for (std::size_t i = 0; i < places.size(); ++i)
      if (symbols->is_null(codes[i])) codes[i] = no_value;
  } else if (storage_->nulls != 0) {
    for (std::size_t i = 0; i < places.size(); ++i)
      if (!storage_->is_value(places[i])) codes[i] = no_value;
  }
}

bool EncodedColumn::has_value(ub4 row) const noexcept {
  return storage_->is_value(storage_->place_of(row));
}

bool EncodedColumn::append_value(std::string &out, ub4 row) const {
  const ub4 place = storage_->place_of(row);
  if (!storage_->is_value(place)) return false;
  domain().append_value(out, storage_->code_at(place));
  return true;
}

const BitVector *EncodedColumn::validity() const noexcept {
  return storage_->vec.filter_bv != nullptr ? &storage_->validity : nullptr;
}

ub4 EncodedColumn::key(mipo_operation operation) const noexcept {
  const bool has_variants = operation <= MIPO_OP_GE_LE || operation == MIPO_OP_MINMAX;
  return key(operation, has_variants ? storage_->format.variant(domain().has_null()) : MIPO_VARIANT_PLAIN);
}

ub4 EncodedColumn::key(mipo_operation operation, mipo_variant variant) const noexcept {
  return column_key(operation, storage_->format.family(), storage_->format.kernel_bits(), variant);
}

Constant EncodedColumn::constant(ub8 code) const noexcept {
  return storage_->format.constant(code, &storage_->enc_ctx);
}

Constant::Constant(ub8 cell, ub1 count, mipo_enc_ctx *enc_ctx) noexcept : cell_(cell), count_(count) {
  vec_.data = &cell_;
  vec_.lens = &count_;
  vec_.enc_ctx = enc_ctx;
  vec_.nrows = 1;
}

Constant &Constant::operator=(const Constant &other) noexcept {
  cell_ = other.cell_;
  count_ = other.count_;
  vec_.enc_ctx = other.vec_.enc_ctx;
  return *this;
}

Result::Result(ub4 rows) : bits_(rows), ends_(new ub4[2]{0xffffffff, 0xffffffff}) {
  vec_.data = ends_.get();
  vec_.bv = bits_.words();
  vec_.nrows = rows;
}

} // namespace mipo::host
