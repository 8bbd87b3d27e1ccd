#include "sql_tree.h"

#include <optional>

namespace mipo::tools {
namespace {

using Json = nlohmann::json;

std::optional<std::size_t> find_position(const Json &value) {
  if (value.is_object()) {
    if (const auto own = value.find("location"); own != value.end() && own->get<int>() >= 0) {
      return own->get<std::size_t>();
    }
  }
  std::optional<std::size_t> first;
  if (value.is_structured()) {
    for (const Json &part : value) {
      const auto position = find_position(part);
      if (position && (!first || *position < *first)) first = position;
    }
  }
  return first;
}

} // namespace

const std::string &node_type(const Json &node) {
  return node.begin().key();
}

const Json &node_fields(const Json &node) {
  return node.begin().value();
}

bool is_node(const Json &node, std::string_view type) {
  return node_type(node) == type;
}

std::size_t node_position(const Json &fields) {
  return find_position(fields).value_or(0);
}

const std::string &string_of(const Json &node) {
  return node.at("String").at("sval").get_ref<const std::string &>();
}

bool is_call_of(const Json &node, std::string_view function) {
  if (!is_node(node, "FuncCall")) return false;
  const Json &names = node_fields(node).at("funcname");
  return names.size() == 1 && string_of(names.back()) == function;
}

} // namespace mipo::tools
