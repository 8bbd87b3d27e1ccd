// Any bytes as a column file, with checksums that are right: an error, or a table whose cells can all be read and whose
// columns kernels can scan.
#include "bytes_as_file.h"
#include "every_cell.h"
#include "host/column_file_seal.h"
#include "mipo/host/column_file.h"
#include "mipo/host/context.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  using namespace mipo;
  static fuzz::BytesAsFile file;
  static const host::Library library = host::Library::open();
  std::string sealed(reinterpret_cast<const char *>(bytes), size);
  host::seal_column_file(sealed);
  try {
    const host::Table table = host::open_column_file(
        library, file.holding(reinterpret_cast<const std::uint8_t *>(sealed.data()), sealed.size()));
    for (const host::Column &column : table.columns) column.data.check();
    fuzz::read_every_cell(table);
    for (const host::Column &column : table.columns) {
      host::CallContext context(library);
      host::Result result(table.row_count);
      const host::Constant constant = column.data.constant(column.domain().first_code());
      library.one_sided(column.data.key(MIPO_OP_GE))(result.vec(), &column.data.vec(), &constant.vec(),
                                                     context.record());
    }
  } catch (const host::Error &) {
  }
  return 0;
}
