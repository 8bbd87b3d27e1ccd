// The syntax tree that the SQL grammar gives: a JSON document whose nodes are objects with a single member, named after
// the node's type, that holds its fields.
#ifndef MIPO_ENGINE_SQL_TREE_H
#define MIPO_ENGINE_SQL_TREE_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mipo::engine {

/// A place in a tree, which must outlive it: a node, its fields, a list, a text or a number. Cheap to copy.
class SyntaxNode {
public:
  /// A node's type and what it is about.
  const std::string &type() const;
  SyntaxNode fields() const;
  bool is(std::string_view type) const { return this->type() == type; }
  /// The text of a node of type String.
  const std::string &string() const;
  /// Whether the node calls the function of this name, without a schema.
  bool calls(std::string_view function) const;
  /// Byte offset in the query: its own, or the least one of its parts.
  std::size_t position() const;

  /// Of fields. at() throws std::exception for a field that is not there, list() gives an empty list.
  bool contains(std::string_view field) const;
  SyntaxNode at(std::string_view field) const;
  std::vector<SyntaxNode> list(std::string_view field) const;
  std::vector<std::pair<std::string, SyntaxNode>> members() const;

  /// Of a list.
  std::size_t size() const;
  bool empty() const { return size() == 0; }
  SyntaxNode operator[](std::size_t i) const;
  SyntaxNode front() const { return (*this)[0]; }
  SyntaxNode back() const { return (*this)[size() - 1]; }
  std::vector<SyntaxNode> elements() const;

  const std::string &text() const;
  std::size_t number() const;
  bool operator==(std::string_view text) const { return this->text() == text; }

private:
  friend class SyntaxTree;
  explicit SyntaxNode(const void *json) : json_(json) {}

  const void *json_; // only sql_tree.cpp knows the JSON library, whose header takes seconds to compile
};

class SyntaxTree {
public:
  /// Of a document that the grammar gave.
  explicit SyntaxTree(const char *document);
  SyntaxNode root() const;

private:
  std::shared_ptr<const void> json_;
};

} // namespace mipo::engine

#endif
