// From the texts of a column's rows to an encoded column.
#ifndef MIPO_HOST_COLUMN_ENCODER_H
#define MIPO_HOST_COLUMN_ENCODER_H

#include <deque>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "mipo/host/column.h"
#include "mipo/host/table.h"
#include "mipo/host/values.h"

namespace mipo::host {

/// A field that is not a value of its column's type.
struct BadField {
  std::string text;
  ub8 line;            ///< as given to append()
  std::string problem; ///< "is not an integer", "is not valid UTF-8" ...
};

/// Collects the fields of one column, row by row, and encodes them at the end. An empty field is a NULL row.
/// Each distinct text is stored and parsed once, so time a row does not depend on the type.
class ColumnEncoder {
public:
  ColumnEncoder();
  ColumnEncoder(ColumnEncoder &&) noexcept;
  ColumnEncoder &operator=(ColumnEncoder &&) noexcept;
  ~ColumnEncoder();

  /// Appends a row. `line` says where the field stands, for errors. Returns the number of line ends in the field.
  /// Throws ArgumentError for more rows, distinct texts or bytes of them than a column can have.
  ub4 append(std::string_view field, ub8 line = 0);
  ub8 rows() const noexcept;
  /// Bytes of all fields so far.
  ub8 text_bytes() const noexcept;

  /// The narrowest kind that holds all values: integer, decimal, date_time, else text. Numbers with leading zeros or a
  /// plus sign are taken for identifiers and make a text column, so that nothing of them is lost.
  ValueKind inferred_kind() const;
  /// The first field (by line) that is no value of this kind; nothing if all are.
  std::optional<BadField> first_bad_field(ValueKind kind) const;

  /// If all but a few of the distinct texts, one in ten at most, are numbers: the first that is none, by line.
  std::optional<NotANumber> not_a_number() const;

  /// Encodes all rows as values of `kind`, with the scale and precision that the values need, and leaves the encoder
  /// empty. Throws ValueError for a field that first_bad_field() would name, EncodingError for an encoding that does
  /// not hold these values.
  EncodedColumn finish(ValueKind kind, const ColumnOptions &options = {});

private:
  struct State;
  std::unique_ptr<State> state_;
};

} // namespace mipo::host

#endif
