#include "program/json_value.h"

#include <nlohmann/json.hpp>

namespace mipo::program {
namespace {

using Json = nlohmann::ordered_json;

Json json_of(const JsonValue &value) {
  if (const auto *array = std::get_if<JsonValue::Array>(&value.value)) {
    Json elements = Json::array();
    for (const JsonValue &element : *array) elements.push_back(json_of(element));
    return elements;
  }
  if (const auto *object = std::get_if<JsonValue::Object>(&value.value)) {
    Json members = Json::object();
    for (const auto &[name, member] : *object) members[name] = json_of(member);
    return members;
  }
  if (const auto *truth = std::get_if<bool>(&value.value)) return *truth;
  if (const auto *number = std::get_if<std::int64_t>(&value.value)) return *number;
  if (const auto *number = std::get_if<std::uint64_t>(&value.value)) return *number;
  if (const auto *number = std::get_if<double>(&value.value)) return *number;
  return std::get<std::string>(value.value);
}

} // namespace

std::string json_text(const JsonValue &value, int indent) {
  return json_of(value).dump(indent);
}

} // namespace mipo::program
