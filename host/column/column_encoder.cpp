#include "mipo/host/column_encoder.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <utility>
#include <variant>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

__extension__ using Wide = unsigned __int128;

// Two words folded into one by a full multiplication; the constants are odd numbers with mixed bits.
ub8 fold(ub8 a, ub8 b) {
  const Wide product = static_cast<Wide>(a ^ 0x9e3779b97f4a7c15) * (b ^ 0xd6e8feb86659fd93);
  return static_cast<ub8>(product) ^ static_cast<ub8>(product >> 64);
}

template <class Word>
ub8 load(const char *at) {
  Word word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

// A field as two words: up to 16 bytes they and the length say all of it, beyond that they are a hash.
struct FieldKey {
  static constexpr std::size_t exact_bytes = 16;

  explicit FieldKey(std::string_view field) : length(static_cast<ub4>(field.size())) {
    const char *at = field.data();
    std::size_t left = field.size();
    if (left > exact_bytes) {
      for (; left > 8; at += 8, left -= 8) head = fold(head, load<ub8>(at));
      tail = load<ub8>(at + left - 8);
    } else if (left >= 8) {
      head = load<ub8>(at);
      tail = load<ub8>(at + left - 8);
    } else if (left >= 4) {
      head = load<ub4>(at);
      tail = load<ub4>(at + left - 4);
    } else {
      head = load<ub1>(at) << 16 | load<ub1>(at + left / 2) << 8 | load<ub1>(at + left - 1);
    }
  }

  bool is_exact() const { return length <= exact_bytes; }
  ub8 hash() const { return fold(head, tail ^ ub8{length} << 56); }

  ub8 head = 0;
  ub8 tail = 0;
  ub4 length;
};

ub4 line_ends(std::string_view field) {
  ub4 count = 0;
  for (std::size_t i = 0; i < field.size(); ++i)
    if (field[i] == '\n' || (field[i] == '\r' && (i + 1 == field.size() || field[i + 1] != '\n'))) ++count;
  return count;
}

// A number whose text says more than its value: 00501, +49.
bool is_identifier(std::string_view text) {
  if (text.front() == '+') return true;
  if (text.front() == '-') text.remove_prefix(1);
  return text.size() > 1 && text[0] == '0' && text[1] >= '0' && text[1] <= '9';
}

// What the numbers of a column have in common, and what is wrong with a text that is none of them.
struct NumberFormat {
  ValueType type;

  // Widens the format for a text; false if the text is no value of the kind at all.
  bool admit(std::string_view text) {
    switch (type.kind) {
    case ValueKind::integer:
      return parse_integer(text).has_value();
    case ValueKind::decimal: {
      const auto decimal = parse_decimal(text);
      if (decimal) type.scale = std::max(type.scale, decimal->scale);
      return decimal.has_value();
    }
    case ValueKind::date_time: {
      const auto date_time = parse_date_time(text);
      if (date_time) {
        type.precision = std::max(type.precision, date_time->precision);
        type.scale = std::max(type.scale, date_time->fraction_digits);
      }
      return date_time.has_value();
    }
    case ValueKind::text:
      break;
    }
    return is_utf8(text);
  }

  // The stored number of an admitted text; nothing if it does not fit the format of all of them.
  std::optional<std::int64_t> number(std::string_view text) const {
    switch (type.kind) {
    case ValueKind::integer:
      return parse_integer(text);
    case ValueKind::decimal: {
      const auto decimal = parse_decimal(text);
      return decimal ? rescale(*decimal, type.scale) : std::nullopt;
    }
    case ValueKind::date_time: {
      const auto date_time = parse_date_time(text);
      return date_time ? std::optional(date_time->microseconds) : std::nullopt;
    }
    case ValueKind::text:
      break;
    }
    return {};
  }

  std::string problem(std::string_view text) const {
    if (!is_utf8(text)) return "is not valid UTF-8";
    switch (type.kind) {
    case ValueKind::integer:
      return "is not a 64-bit integer";
    case ValueKind::decimal:
      return "is not a decimal number of at most 18 digits";
    default:
      return "is not a date or timestamp";
    }
  }
};

} // namespace

// Each distinct text has a temporary code, in order of first occurrence from 1; code 0 is NULL.
struct ColumnEncoder::State {
  struct Entry {
    ub8 offset; // of the text in `bytes`
    ub8 line;   // of its first occurrence
    ub4 length;
    ub4 line_ends;
  };
  struct Slot {
    ub8 head;
    ub8 tail;
    ub4 length;
    ub4 code; // 0: free

    bool holds(const FieldKey &key) const { return head == key.head && tail == key.tail && length == key.length; }
  };

  std::vector<ub4> codes; // one a row
  std::vector<Entry> entries{Entry{}};
  std::string bytes;
  std::vector<Slot> slots = std::vector<Slot>(512); // open addressing, a power of two, at most half full
  ub8 mask = slots.size() - 1;
  Slot last{}; // of the last field: files are often sorted by a column
  bool has_null = false;
  bool has_line_ends = false;
  ub8 text_bytes = 0; // of all fields

  std::string_view text(ub4 code) const { return {bytes.data() + entries[code].offset, entries[code].length}; }
  ub4 distinct() const { return static_cast<ub4>(entries.size() - 1); }

  ub4 code_of(std::string_view field, ub8 line) {
    if (field.size() > std::numeric_limits<ub4>::max()) throw ArgumentError("a field of more than 4 GiB");
    const FieldKey key(field);
    if (last.holds(key) && key.is_exact()) return last.code;
    for (ub8 at = key.hash();; ++at) {
      Slot &slot = slots[at & mask];
      if (slot.code == 0) insert(slot, key, field, line);
      if (slot.holds(key) && (key.is_exact() || text(slot.code) == field)) {
        last = slot;
        break;
      }
    }
    if (entries.size() * 2 > slots.size()) grow();
    return last.code;
  }

  void insert(Slot &slot, const FieldKey &key, std::string_view field, ub8 line) {
    const auto code = static_cast<ub4>(entries.size());
    entries.push_back({bytes.size(), line, key.length, line_ends(field)});
    has_line_ends = has_line_ends || entries.back().line_ends != 0;
    bytes += field;
    slot = {key.head, key.tail, key.length, code};
  }

  void grow() {
    std::vector<Slot> wider(slots.size() * 2);
    mask = wider.size() - 1;
    for (const Slot &slot : slots) {
      if (slot.code == 0) continue;
      ub8 at = FieldKey(text(slot.code)).hash();
      while (wider[at & mask].code != 0) ++at;
      wider[at & mask] = slot;
    }
    slots.swap(wider);
  }

  bool all(ValueKind kind) const {
    NumberFormat format{{kind}};
    for (ub4 code = 1; code <= distinct(); ++code)
      if (is_identifier(text(code)) || !format.admit(text(code))) return false;
    for (ub4 code = 1; kind == ValueKind::decimal && code <= distinct(); ++code)
      if (!format.number(text(code))) return false;
    return true;
  }

  BadField bad_field(ub4 code, const NumberFormat &format) const {
    return {std::string(text(code)), entries[code].line, format.problem(text(code))};
  }

  // The format that holds all texts; or the first of them that is no value, or that does not fit what the others need.
  std::variant<NumberFormat, BadField> common_format(ValueKind kind) const {
    NumberFormat format{{kind}};
    for (ub4 code = 1; code <= distinct(); ++code)
      if (!format.admit(text(code))) return bad_field(code, format);
    if (kind != ValueKind::decimal) return format;
    for (ub4 code = 1; code <= distinct(); ++code)
      if (!format.number(text(code))) {
        BadField bad = bad_field(code, format);
        bad.problem = "takes more than 18 digits with the " + std::to_string(format.type.scale) +
                      " digits after the point that other rows of the column have";
        return bad;
      }
    return format;
  }

  // Replaces the temporary codes of the rows.
  void renumber(const std::vector<ub4> &final_codes) {
    for (ub4 &code : codes) code = final_codes[code];
  }

  Dictionary encode_texts() {
    std::vector<ub4> order(distinct());
    std::iota(order.begin(), order.end(), 1);
    std::ranges::sort(order, {}, [this](ub4 code) { return text(code); });
    std::vector<std::string_view> texts;
    texts.reserve(order.size());
    std::vector<ub4> final_codes(entries.size());
    for (const ub4 code : order) {
      final_codes[code] = static_cast<ub4>(texts.size()) + (has_null ? 1 : 0);
      texts.push_back(text(code));
    }
    renumber(final_codes);
    return Dictionary(texts, has_null);
  }

  // Different texts may be one number: 1.5 and 1.50.
  Dictionary encode_numbers(const NumberFormat &format) {
    std::vector<std::pair<std::int64_t, ub4>> order;
    order.reserve(distinct());
    for (ub4 code = 1; code <= distinct(); ++code) order.emplace_back(*format.number(text(code)), code);
    std::ranges::sort(order);
    std::vector<std::int64_t> numbers;
    std::vector<ub4> final_codes(entries.size());
    for (const auto &[number, code] : order) {
      if (numbers.empty() || numbers.back() != number) numbers.push_back(number);
      final_codes[code] = static_cast<ub4>(numbers.size() - 1) + (has_null ? 1 : 0);
    }
    renumber(final_codes);
    return Dictionary(format.type, numbers, has_null);
  }
};

ColumnEncoder::ColumnEncoder() : state_(std::make_unique<State>()) {
}
ColumnEncoder::ColumnEncoder(ColumnEncoder &&) noexcept = default;
ColumnEncoder &ColumnEncoder::operator=(ColumnEncoder &&) noexcept = default;
ColumnEncoder::~ColumnEncoder() = default;

ub4 ColumnEncoder::append(std::string_view field, ub8 line) {
  State &state = *state_;
  if (state.codes.size() == std::numeric_limits<ub4>::max() - 1)
    throw ArgumentError("more rows than a column can have (2^32 - 2)");
  if (field.empty()) {
    state.has_null = true;
    state.codes.push_back(0);
    return 0;
  }
  const ub4 code = state.code_of(field, line);
  state.codes.push_back(code);
  state.text_bytes += field.size();
  return state.has_line_ends ? state.entries[code].line_ends : 0;
}

ub8 ColumnEncoder::rows() const noexcept {
  return state_->codes.size();
}

ub8 ColumnEncoder::text_bytes() const noexcept {
  return state_->text_bytes;
}

ValueKind ColumnEncoder::inferred_kind() const {
  if (state_->distinct() != 0)
    for (const ValueKind kind : {ValueKind::integer, ValueKind::decimal, ValueKind::date_time})
      if (state_->all(kind)) return kind;
  return ValueKind::text;
}

std::optional<BadField> ColumnEncoder::first_bad_field(ValueKind kind) const {
  const auto result = state_->common_format(kind);
  const BadField *bad = std::get_if<BadField>(&result);
  return bad != nullptr ? std::optional(*bad) : std::nullopt;
}

std::optional<NotANumber> ColumnEncoder::not_a_number() const {
  const State &state = *state_;
  NumberFormat format{{ValueKind::decimal}};
  std::optional<NotANumber> first;
  ub4 others = 0;
  for (ub4 code = 1; code <= state.distinct(); ++code) {
    const std::string_view text = state.text(code);
    if (!is_identifier(text) && format.admit(text)) continue;
    ++others;
    if (!first || state.entries[code].line < first->line)
      first = NotANumber{std::string(text), state.entries[code].line};
  }
  return others <= state.distinct() / 10 ? first : std::nullopt;
}

EncodedColumn ColumnEncoder::finish(ValueKind kind, const ColumnOptions &options) {
  const auto result = state_->common_format(kind);
  if (const BadField *bad = std::get_if<BadField>(&result)) throw ValueError("'" + bad->text + "' " + bad->problem);
  const std::unique_ptr<State> state = std::exchange(state_, std::make_unique<State>());
  Dictionary dictionary =
      kind == ValueKind::text ? state->encode_texts() : state->encode_numbers(std::get<NumberFormat>(result));
  return EncodedColumn(state->codes, std::move(dictionary), options);
}

} // namespace mipo::host
