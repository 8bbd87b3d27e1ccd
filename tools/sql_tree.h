// The syntax tree that the SQL grammar gives: a JSON document whose nodes are objects with a single member, named after
// the node's type, that holds its fields.
#ifndef MIPO_TOOLS_SQL_TREE_H
#define MIPO_TOOLS_SQL_TREE_H

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace mipo::tools {

const std::string &node_type(const nlohmann::json &node);
const nlohmann::json &node_fields(const nlohmann::json &node);
bool is_node(const nlohmann::json &node, std::string_view type);

/// Byte offset of a node in the query: its own, or the least one of its parts.
std::size_t node_position(const nlohmann::json &fields);

/// The text of a node of type String.
const std::string &string_of(const nlohmann::json &node);

/// Whether the node calls the function of this name, without a schema.
bool is_call_of(const nlohmann::json &node, std::string_view function);

} // namespace mipo::tools

#endif
