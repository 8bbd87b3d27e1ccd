// Any text as a query on a small table, whatever names it has in FROM: an error, or an answer whose cells can all be
// printed, on one thread and on two the same.
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "bytes_as_file.h"
#include "engine/query_result.h"
#include "engine/sql/parser.h"
#include "engine/sql/query_error.h"
#include "mipo/host/csv.h"
#include "mipo/host/errors.h"
#include "mipo/host/library.h"

namespace {

using namespace mipo;

// Columns of each type, with NULL rows, as dictionaries and as numbers.
host::Table small_table() {
  std::string text = "i,d,t,w,n,f\n";
  for (int row = 0; row < 300; ++row) {
    const std::string number = std::to_string(row * 37 % 101 - 50);
    text += (row % 7 == 0 ? "" : number) + "," + number + "." + std::to_string(row % 10) + ",2001-01-0" +
            std::to_string(1 + row % 9) + ",w" + std::to_string(row % 13) + "," + std::to_string(row) + "," +
            (row % 5 == 0 ? "" : std::to_string(row * 1000)) + "\n";
  }
  host::CsvOptions options;
  options.table_name = "t";
  options.encodings["n"] = host::parse_encoding("fixed");
  options.encodings["f"] = host::parse_encoding("dynp");
  options.encodings["w"] = host::parse_encoding("dict+runs");
  fuzz::BytesAsFile file;
  return host::read_csv(file.holding(reinterpret_cast<const std::uint8_t *>(text.data()), text.size()), options);
}

std::string answer_text(const host::Library &library, const engine::Query &query, const host::Table &table,
                        unsigned threads) {
  const engine::QueryResult answered(
      library, query, [&](const engine::TableName &) -> const host::Table & { return table; }, threads);
  std::string text;
  for (std::size_t row = 0; row < answered.output().rows(); ++row)
    for (std::size_t column = 0; column < answered.plan().output.size(); ++column) {
      answered.output().value(row, column).append_to(text);
      text += '\n';
    }
  return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  static const host::Library library = host::Library::open();
  static const host::Table table = small_table();
  try {
    const std::string_view text(reinterpret_cast<const char *>(bytes), size);
    if (text.find('\0') != text.npos) return 0; // no query that a person can pass has one
    const engine::Query query = engine::parse_query(text);
    if (answer_text(library, query, table, 1) != answer_text(library, query, table, 2)) std::abort();
  } catch (const engine::QueryError &) {
  } catch (const host::Error &) {
  }
  return 0;
}
