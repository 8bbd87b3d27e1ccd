#include "duckdb_api.h"

#include <dlfcn.h>

#include "peer.h"

namespace mipo::bench {
namespace {

template <class Function>
void find(void *library, const std::string &name, Function *&function) {
  void *symbol = dlsym(library, name.c_str());
  if (symbol == nullptr) throw PeerError("DuckDB's library does not have " + name);
  function = reinterpret_cast<Function *>(symbol);
}

} // namespace

DuckdbApi DuckdbApi::load(const std::string &library_path) {
  void *library = dlopen(library_path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw PeerError(std::string("DuckDB's library cannot be opened: ") + dlerror());
  DuckdbApi api;
  find(library, "duckdb_open", api.open);
  find(library, "duckdb_close", api.close);
  find(library, "duckdb_connect", api.connect);
  find(library, "duckdb_disconnect", api.disconnect);
  find(library, "duckdb_query", api.query);
  find(library, "duckdb_destroy_result", api.destroy_result);
  find(library, "duckdb_result_error", api.result_error);
  find(library, "duckdb_column_count", api.column_count);
  find(library, "duckdb_row_count", api.row_count);
  find(library, "duckdb_column_type", api.column_type);
  find(library, "duckdb_value_is_null", api.value_is_null);
  find(library, "duckdb_value_varchar", api.value_varchar);
  find(library, "duckdb_free", api.free);
  find(library, "duckdb_library_version", api.library_version);
  return api;
}

} // namespace mipo::bench
