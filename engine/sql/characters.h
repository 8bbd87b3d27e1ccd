// Small questions about text: case of ASCII letters, width of UTF-8 in characters (code points).
#ifndef MIPO_ENGINE_SQL_CHARACTERS_H
#define MIPO_ENGINE_SQL_CHARACTERS_H

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace mipo::engine {

constexpr char ascii_lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// Equal but for the case of ASCII letters, as unquoted names in SQL are.
inline bool equal_without_case(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return ascii_lower(x) == ascii_lower(y); });
}

/// Whether `byte` is the first one of a character.
constexpr bool starts_character(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
}

inline std::size_t character_count(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), starts_character));
}

/// So many characters of the text, or all.
constexpr std::string_view first_characters(std::string_view text, std::size_t characters) {
  std::size_t bytes = 0;
  while (bytes < text.size() && (!starts_character(text[bytes]) || characters-- != 0)) ++bytes;
  return text.substr(0, bytes);
}

} // namespace mipo::engine

#endif
