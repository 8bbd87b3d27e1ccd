#include "engine/bind/text_match.h"

#include <algorithm>

#include "engine/sql/characters.h"
#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

// The first character of a text that is not empty, with all its bytes.
std::string_view first_character(std::string_view text) {
  std::size_t bytes = 1;
  while (bytes < text.size() && !starts_character(text[bytes])) ++bytes;
  return text.substr(0, bytes);
}

} // namespace

std::string in_case(LetterCase letter_case, std::string_view text) {
  std::string changed(text);
  const auto change = [&](char from, char to) {
    for (char &byte : changed)
      if (byte >= from && byte <= from + 25) byte = static_cast<char>(byte - from + to);
  };
  if (letter_case == LetterCase::upper) change('a', 'A');
  if (letter_case == LetterCase::lower) change('A', 'a');
  return changed;
}

LikePattern::LikePattern(const Constant &pattern, const std::optional<Constant> &escape) {
  std::string_view escape_character;
  if (escape) {
    escape_character = escape->text;
    if (character_count(escape_character) > 1) {
      throw QueryError("ESCAPE takes a single character", escape->position);
    }
  }
  for (std::string_view rest = pattern.text; !rest.empty();) {
    std::string_view character = first_character(rest);
    rest.remove_prefix(character.size());
    const bool escaped = !escape_character.empty() && character == escape_character;
    if (escaped) {
      if (rest.empty()) throw QueryError("the pattern ends with its escape character", pattern.position);
      character = first_character(rest);
      rest.remove_prefix(character.size());
    }
    if (!escaped && character == "%") {
      if (elements_.empty() || elements_.back().kind != Element::Kind::any_text)
        elements_.push_back({Element::Kind::any_text, {}});
    } else if (!escaped && character == "_") {
      elements_.push_back({Element::Kind::any_character, {}});
    } else {
      elements_.push_back({Element::Kind::character, std::string(character)});
    }
  }
}

// Where the text stops to match, the last "any text" takes one character more and the rest is tried again.
bool LikePattern::matches(std::string_view text) const {
  std::size_t element = 0, retry_element = elements_.size() + 1;
  std::string_view rest = text, retry_rest;
  while (true) {
    if (element < elements_.size() && elements_[element].kind == Element::Kind::any_text) {
      retry_element = ++element;
      retry_rest = rest;
      continue;
    }
    if (rest.empty() && element == elements_.size()) return true;
    if (!rest.empty() && element < elements_.size()) {
      const std::string_view character = first_character(rest);
      const Element &wanted = elements_[element];
      if (wanted.kind == Element::Kind::any_character || wanted.character == character) {
        rest.remove_prefix(character.size());
        ++element;
        continue;
      }
    }
    if (retry_element > elements_.size() || retry_rest.empty()) return false;
    retry_rest.remove_prefix(first_character(retry_rest).size());
    rest = retry_rest;
    element = retry_element;
  }
}

std::string LikePattern::literal(std::size_t end) const {
  std::string text;
  for (std::size_t i = 0; i < end; ++i) text += elements_[i].character;
  return text;
}

std::optional<std::string> LikePattern::only_text() const {
  const auto is_character = [](const Element &element) { return element.kind == Element::Kind::character; };
  if (!std::all_of(elements_.begin(), elements_.end(), is_character)) return std::nullopt;
  return literal(elements_.size());
}

std::optional<std::string> LikePattern::only_prefix() const {
  const auto wildcard = std::find_if(elements_.begin(), elements_.end(),
                                     [](const Element &element) { return element.kind != Element::Kind::character; });
  if (wildcard == elements_.end() || wildcard + 1 != elements_.end() || wildcard->kind != Element::Kind::any_text) {
    return std::nullopt;
  }
  return literal(elements_.size() - 1);
}

std::optional<std::string> end_of_prefix(std::string prefix) {
  while (!prefix.empty() && static_cast<unsigned char>(prefix.back()) == 0xff) prefix.pop_back();
  if (prefix.empty()) return std::nullopt;
  prefix.back() = static_cast<char>(static_cast<unsigned char>(prefix.back()) + 1);
  return prefix;
}

} // namespace mipo::engine
