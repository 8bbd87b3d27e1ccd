// JSON as data, written by a library that only json_value.cpp knows: its header takes seconds to compile.
#ifndef MIPO_PROGRAM_JSON_VALUE_H
#define MIPO_PROGRAM_JSON_VALUE_H

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace mipo::program {

struct JsonValue {
  using Array = std::vector<JsonValue>;
  /// In the order in which members are written.
  using Object = std::vector<std::pair<std::string, JsonValue>>;

  JsonValue(std::same_as<bool> auto truth) : value(truth) {}
  JsonValue(std::signed_integral auto number) : value(std::int64_t{number}) {}
  JsonValue(std::unsigned_integral auto number) requires(!std::same_as<decltype(number), bool>)
      : value(std::uint64_t{number}) {}
  JsonValue(double number) : value(number) {}
  JsonValue(const char *text) : value(std::string(text)) {}
  JsonValue(std::string_view text) : value(std::string(text)) {}
  JsonValue(std::string text) : value(std::move(text)) {}
  JsonValue(Array array) : value(std::move(array)) {}
  JsonValue(Object object) : value(std::move(object)) {}

  std::variant<bool, std::int64_t, std::uint64_t, double, std::string, Array, Object> value;
};

/// On one line, or with members and elements on lines of their own, indented by so many blanks a level.
std::string json_text(const JsonValue &value, int indent = -1);

} // namespace mipo::program

#endif
