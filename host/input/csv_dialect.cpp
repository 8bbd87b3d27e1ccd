#include "host/input/csv_dialect.h"

#include <algorithm>

#include "mipo/host/values.h"

namespace mipo::host {
namespace {

// How many fields the first row has, if all complete rows have as many; else 0.
std::size_t fields_of_rows(std::string_view text, char delimiter, bool whole) {
  std::size_t first = 0, fields = 1;
  bool quoted = false, blank = true;
  const auto end_row = [&] {
    const bool fits = blank || first == 0 || fields == first;
    if (!blank && first == 0) first = fields;
    fields = 1;
    blank = true;
    return fits;
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char byte = text[i];
    if (byte == '"') quoted = !quoted; // a doubled quote changes it twice
    if (quoted || (byte != '\n' && byte != '\r')) {
      blank = false;
      if (!quoted && byte == delimiter) ++fields;
    } else if (!end_row()) {
      return 0;
    }
  }
  return (whole || first == 0) && !end_row() ? 0 : first;
}

std::string hexadecimal(char byte) {
  constexpr char digits[] = "0123456789abcdef";
  const auto bits = static_cast<unsigned char>(byte);
  return {'0', 'x', digits[bits >> 4], digits[bits & 15]};
}

// Bytes of the character that begins so; 0 if none does.
std::size_t character_bytes(char first) {
  const auto byte = static_cast<unsigned char>(first);
  return byte < 0x80 ? 1 : byte < 0xc2 ? 0 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : byte < 0xf5 ? 4 : 0;
}

bool is_continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

constexpr const char *latin_hint = "; if the file is Latin-1, convert it: iconv -f LATIN1 -t UTF-8";
constexpr const char *utf16_hint = ": the file seems to be UTF-16; convert it: iconv -f UTF-16 -t UTF-8";

} // namespace

char find_delimiter(std::string_view text, bool whole) {
  char best = ',';
  std::size_t most = 1;
  for (const char candidate : {',', ';', '\t', '|'}) {
    const std::size_t fields = fields_of_rows(text, candidate, whole);
    if (fields <= most) continue;
    most = fields;
    best = candidate;
  }
  return best;
}

EncodingCheck::Place EncodingCheck::place(std::size_t at, std::string problem) const {
  const std::string_view before = piece_.substr(0, at);
  const auto lines = static_cast<ub8>(std::count(before.begin(), before.end(), '\n'));
  const std::size_t last = before.rfind('\n');
  const ub8 start = last == std::string_view::npos ? line_start_ : offset_ + last + 1;
  return {offset_ + at, line_ + lines, offset_ + at - start + 1, std::move(problem)};
}

std::optional<EncodingCheck::Place> EncodingCheck::next(std::string_view piece) {
  piece_ = piece;
  if (offset_ == 0 && (piece.starts_with("\xff\xfe") || piece.starts_with("\xfe\xff")))
    return place(0, "a UTF-16 byte order mark" + std::string(utf16_hint));
  std::size_t at = 0;
  const ub8 pending_bytes = pending_.size();
  // The rest of the character that the piece before ended in.
  while (!pending_.empty() && pending_.size() < character_bytes(pending_.front()) && at < piece.size())
    pending_ += piece[at++];
  if (!pending_.empty() && pending_.size() == character_bytes(pending_.front())) {
    if (!is_utf8(pending_)) return broken(offset_ - pending_bytes);
    pending_.clear();
  }
  std::size_t end = piece.size();
  for (std::size_t back = 1; back <= std::min<std::size_t>(3, end - at); ++back) {
    const std::size_t bytes = character_bytes(piece[end - back]);
    const std::string_view rest = piece.substr(end - back + 1, back - 1);
    if (bytes <= 1) continue;
    if (bytes > back && std::ranges::all_of(rest, is_continuation)) {
      pending_ = piece.substr(end - back);
      end -= back;
    }
    break;
  }
  const std::string_view checked = piece.substr(at, end - at);
  if (checked.find('\0') != std::string_view::npos) {
    const std::size_t zero = at + checked.find('\0');
    return place(zero, "a zero byte" + std::string(utf16_hint));
  }
  if (!is_utf8(checked)) {
    // The first character that is none.
    while (at < end) {
      const std::size_t bytes = character_bytes(piece[at]);
      if (bytes == 0 || at + bytes > end || !is_utf8(piece.substr(at, bytes))) break;
      at += bytes;
    }
    return place(at, "byte " + hexadecimal(piece[at]) + " is not UTF-8" + latin_hint);
  }
  line_ += static_cast<ub8>(std::count(piece.begin(), piece.end(), '\n'));
  if (const std::size_t last = piece.rfind('\n'); last != std::string_view::npos) line_start_ = offset_ + last + 1;
  offset_ += piece.size();
  return std::nullopt;
}

std::optional<EncodingCheck::Place> EncodingCheck::end() const {
  if (pending_.empty()) return std::nullopt;
  return broken(offset_ - pending_.size());
}

EncodingCheck::Place EncodingCheck::broken(ub8 offset) const {
  return {offset, line_, offset - line_start_ + 1,
          "byte " + hexadecimal(pending_.front()) + " is not UTF-8" + latin_hint};
}

} // namespace mipo::host
