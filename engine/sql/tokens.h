// The tokens of a query's text, for what the syntax tree leaves out: positions of keywords, the exact text of long
// names, and the value of negative integers.
#ifndef MIPO_ENGINE_SQL_TOKENS_H
#define MIPO_ENGINE_SQL_TOKENS_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mipo::engine {

struct SqlToken {
  std::size_t start = 0; // byte offsets into the query's text
  std::size_t end = 0;
  bool keyword = false;
};

class SqlTokens {
public:
  /// Comments are left out. Text that the scanner refuses has no tokens.
  explicit SqlTokens(std::string_view query);

  /// Whether the token is this keyword (given in lower case).
  bool is_keyword(std::size_t index, std::string_view keyword) const;

  /// Position of the first token from `start` on that is this keyword, or nothing.
  std::optional<std::size_t> find_keyword(std::string_view keyword, std::size_t start = 0) const;

  /// Index of the token that starts at `position`, or nothing.
  std::optional<std::size_t> index_at(std::size_t position) const;

  std::size_t size() const { return tokens_.size(); }
  const SqlToken &operator[](std::size_t index) const { return tokens_[index]; }
  std::string_view text(std::size_t index) const;

  /// The text of the first pair of parentheses from `start` on, with them; empty without one.
  std::string text_in_parentheses(std::size_t start) const;

  /// The name at `position`, of which the parser made `parsed`: it cuts long names. With the case of one in quotes.
  std::string name_at(std::size_t position, const std::string &parsed) const;

  /// Whether the token at `position` is a name in double quotes.
  bool is_quoted_at(std::size_t position) const;

  /// Whether some name in the query is longer than the parser keeps and was cut to `cut`.
  bool was_cut(std::string_view cut) const;

private:
  std::string_view query_;
  std::vector<SqlToken> tokens_;
};

/// Names longer than this many bytes are cut by the parser.
inline constexpr std::size_t sql_name_limit = 63;

/// The name that an identifier token stands for: without double quotes, or in lower case.
std::string identifier_name(std::string_view token);

bool is_quoted_identifier(std::string_view token);

} // namespace mipo::engine

#endif
