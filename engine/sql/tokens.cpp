#include "engine/sql/tokens.h"

#include <algorithm>
#include <memory>

extern "C" {
#include <pg_query.h>
#include <pg_query/pg_query.pb-c.h>
}

#include "engine/sql/characters.h"

namespace mipo::engine {
SqlTokens::SqlTokens(std::string_view query) : query_(query) {
  const std::unique_ptr<PgQueryScanResult, void (*)(PgQueryScanResult *)> scan(
      new PgQueryScanResult(pg_query_scan(std::string(query).c_str())), [](PgQueryScanResult *result) {
        pg_query_free_scan_result(*result);
        delete result;
      });
  if (scan->error != nullptr) return;
  const std::unique_ptr<PgQuery__ScanResult, void (*)(PgQuery__ScanResult *)> unpacked(
      pg_query__scan_result__unpack(nullptr, scan->pbuf.len, reinterpret_cast<const uint8_t *>(scan->pbuf.data)),
      [](PgQuery__ScanResult *result) { pg_query__scan_result__free_unpacked(result, nullptr); });
  if (unpacked == nullptr) return;
  for (std::size_t i = 0; i < unpacked->n_tokens; ++i) {
    const PgQuery__ScanToken &token = *unpacked->tokens[i];
    if (token.token == PG_QUERY__TOKEN__SQL_COMMENT || token.token == PG_QUERY__TOKEN__C_COMMENT) continue;
    tokens_.push_back({static_cast<std::size_t>(token.start), static_cast<std::size_t>(token.end),
                       token.keyword_kind != PG_QUERY__KEYWORD_KIND__NO_KEYWORD});
  }
}

std::string_view SqlTokens::text(std::size_t index) const {
  return query_.substr(tokens_[index].start, tokens_[index].end - tokens_[index].start);
}

bool SqlTokens::is_keyword(std::size_t index, std::string_view keyword) const {
  return tokens_[index].keyword && equal_without_case(text(index), keyword);
}

std::optional<std::size_t> SqlTokens::find_keyword(std::string_view keyword, std::size_t start) const {
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    if (tokens_[i].start >= start && is_keyword(i, keyword)) return tokens_[i].start;
  }
  return std::nullopt;
}

std::optional<std::size_t> SqlTokens::index_at(std::size_t position) const {
  const auto found = std::lower_bound(tokens_.begin(), tokens_.end(), position,
                                      [](const SqlToken &token, std::size_t start) { return token.start < start; });
  if (found == tokens_.end() || found->start != position) return std::nullopt;
  return static_cast<std::size_t>(found - tokens_.begin());
}

std::string SqlTokens::text_in_parentheses(std::size_t start) const {
  std::size_t opened_at = 0;
  int depth = 0;
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    if (tokens_[i].start < start) continue;
    if (text(i) == "(" && ++depth == 1) opened_at = tokens_[i].start;
    if (text(i) == ")" && --depth == 0) return std::string(query_.substr(opened_at, tokens_[i].end - opened_at));
  }
  return {};
}

std::string SqlTokens::name_at(std::size_t position, const std::string &parsed) const {
  const auto index = index_at(position);
  if (!index) return parsed;
  const std::string_view token = text(*index);
  return is_quoted_identifier(token) || token.size() > sql_name_limit ? identifier_name(token) : parsed;
}

bool SqlTokens::is_quoted_at(std::size_t position) const {
  const auto index = index_at(position);
  return index && is_quoted_identifier(text(*index));
}

bool SqlTokens::was_cut(std::string_view cut) const {
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    const std::string_view token = text(i);
    if (token.size() <= sql_name_limit || token.front() == '\'') continue;
    const std::string name = identifier_name(token);
    if (name.size() > sql_name_limit && name.compare(0, cut.size(), cut) == 0) return true;
  }
  return false;
}

bool is_quoted_identifier(std::string_view token) {
  return token.size() >= 2 && token.front() == '"' && token.back() == '"';
}

std::string identifier_name(std::string_view token) {
  std::string name;
  if (is_quoted_identifier(token)) {
    for (std::size_t i = 1; i + 1 < token.size(); ++i) {
      name += token[i];
      if (token[i] == '"') ++i;
    }
  } else {
    std::transform(token.begin(), token.end(), std::back_inserter(name), ascii_lower);
  }
  return name;
}

} // namespace mipo::engine
