#include "engine/sql/tree.h"

#include <optional>

#include <nlohmann/json.hpp>

namespace mipo::engine {
namespace {

using Json = nlohmann::json;

const Json &json_of(const void *json) {
  return *static_cast<const Json *>(json);
}

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

const std::string &SyntaxNode::type() const {
  return json_of(json_).begin().key();
}

SyntaxNode SyntaxNode::fields() const {
  return SyntaxNode(&json_of(json_).begin().value());
}

const std::string &SyntaxNode::string() const {
  return at("String").at("sval").text();
}

bool SyntaxNode::calls(std::string_view function) const {
  if (!is("FuncCall")) return false;
  const SyntaxNode names = fields().at("funcname");
  return names.size() == 1 && names.back().string() == function;
}

std::size_t SyntaxNode::position() const {
  return find_position(json_of(json_)).value_or(0);
}

bool SyntaxNode::contains(std::string_view field) const {
  return json_of(json_).contains(field);
}

SyntaxNode SyntaxNode::at(std::string_view field) const {
  return SyntaxNode(&json_of(json_).at(std::string(field)));
}

std::vector<SyntaxNode> SyntaxNode::list(std::string_view field) const {
  return contains(field) ? at(field).elements() : std::vector<SyntaxNode>();
}

std::vector<std::pair<std::string, SyntaxNode>> SyntaxNode::members() const {
  std::vector<std::pair<std::string, SyntaxNode>> members;
  for (const auto &[field, value] : json_of(json_).items()) members.emplace_back(field, SyntaxNode(&value));
  return members;
}

std::size_t SyntaxNode::size() const {
  return json_of(json_).size();
}

SyntaxNode SyntaxNode::operator[](std::size_t i) const {
  return SyntaxNode(&json_of(json_).at(i));
}

std::vector<SyntaxNode> SyntaxNode::elements() const {
  std::vector<SyntaxNode> elements;
  for (const Json &element : json_of(json_)) elements.push_back(SyntaxNode(&element));
  return elements;
}

const std::string &SyntaxNode::text() const {
  return json_of(json_).get_ref<const std::string &>();
}

std::size_t SyntaxNode::number() const {
  return json_of(json_).get<std::size_t>();
}

SyntaxTree::SyntaxTree(const char *document) : json_(std::make_shared<Json>(Json::parse(document))) {
}

SyntaxNode SyntaxTree::root() const {
  return SyntaxNode(json_.get());
}

} // namespace mipo::engine
