// What a query can be refused for: a message with the place in the query's text that it is about.
#ifndef MIPO_ENGINE_SQL_QUERY_ERROR_H
#define MIPO_ENGINE_SQL_QUERY_ERROR_H

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace mipo::engine {

/// Thrown for a query that cannot be answered. `position` is a byte offset into the query's text.
class QueryError : public std::runtime_error {
public:
  QueryError(const std::string &message, std::optional<std::size_t> position = std::nullopt)
      : std::runtime_error(message), position_(position) {}

  std::optional<std::size_t> position() const { return position_; }

private:
  std::optional<std::size_t> position_;
};

/// The message for a person, in three lines: "<line>:<column>: <message>", the query's line, and a caret under the
/// place. Lines and columns count from 1, columns in characters. Without a position, the message alone.
std::string describe(const QueryError &error, std::string_view query);

} // namespace mipo::engine

#endif
