// SQL text to Query. The grammar is a full one; what of it cannot be answered is refused here, by name and place.
#ifndef MIPO_ENGINE_SQL_PARSER_H
#define MIPO_ENGINE_SQL_PARSER_H

#include <string_view>

#include "engine/sql/ast.h"

namespace mipo::engine {

/// Parses one SELECT statement. Throws QueryError for text that is not SQL and for anything that Query cannot hold.
Query parse_query(std::string_view text);

} // namespace mipo::engine

#endif
