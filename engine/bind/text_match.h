// What a condition asks of texts beside their order: LIKE patterns, and letters of one case.
#ifndef MIPO_ENGINE_BIND_TEXT_MATCH_H
#define MIPO_ENGINE_BIND_TEXT_MATCH_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/sql/ast.h"

namespace mipo::engine {

/// The text with its letters A to Z changed as upper() and lower() do; all other characters stay.
std::string in_case(LetterCase letter_case, std::string_view text);

/// A pattern of LIKE: % stands for any characters, _ for one, all others for themselves. Case counts.
class LikePattern {
public:
  /// `escape` makes the character after it stand for itself; empty: there is none. Throws QueryError at the pattern's
  /// or the escape's position if the escape is more than one character or the pattern ends with it.
  LikePattern(const Constant &pattern, const std::optional<Constant> &escape);

  bool matches(std::string_view text) const;

  /// The one text that matches, if no other does.
  std::optional<std::string> only_text() const;
  /// What all matching texts begin with, if everything that begins so matches.
  std::optional<std::string> only_prefix() const;

private:
  struct Element {
    enum class Kind { character, any_character, any_text };
    Kind kind;
    std::string character; // the bytes of `character`
  };
  // The characters in front, up to element `end`.
  std::string literal(std::size_t end) const;

  std::vector<Element> elements_; // never two of any_text in a row
};

/// The least text that is greater than all that begin with `prefix`, bytewise; nothing if there is none.
std::optional<std::string> end_of_prefix(std::string prefix);

} // namespace mipo::engine

#endif
