#include "engine/sql/query_error.h"

#include <algorithm>

#include <fmt/format.h>

#include "engine/sql/characters.h"

namespace mipo::engine {

std::string describe(const QueryError &error, std::string_view query) {
  if (!error.position()) return error.what();
  const std::size_t position = std::min(*error.position(), query.size());
  const std::string_view before = query.substr(0, position);
  const std::size_t line_start = before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
  const std::size_t line_end = std::min(query.find('\n', position), query.size());
  const auto line_number = std::count(before.begin(), before.end(), '\n') + 1;
  const std::string_view left = query.substr(line_start, position - line_start);

  // Tabs are repeated in the caret's line, so that it stands right whatever their width is.
  std::string indent;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (left[i] == '\t')
      indent += '\t';
    else if (starts_character(left[i]))
      indent += ' ';
  }
  return fmt::format("{}:{}: {}\n  {}\n  {}^", line_number, character_count(left) + 1, error.what(),
                     query.substr(line_start, line_end - line_start), indent);
}

} // namespace mipo::engine
