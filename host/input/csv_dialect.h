// What has to be known of a CSV file before its fields are taken: what parts them, and that its bytes are UTF-8.
#ifndef MIPO_HOST_INPUT_CSV_DIALECT_H
#define MIPO_HOST_INPUT_CSV_DIALECT_H

#include <optional>
#include <string>
#include <string_view>

#include "mipo/integers.h"

namespace mipo::host {

/// The delimiter of a file that begins with `text`: of comma, semicolon, tab and bar the one that parts the first row
/// into most fields and all complete rows of `text` into as many; a comma if none does. Delimiters and line ends in
/// quotes do not count. `whole`: nothing comes after `text`.
char find_delimiter(std::string_view text, bool whole);

/// Looks through a file piece by piece for bytes that are not UTF-8.
class EncodingCheck {
public:
  struct Place {
    ub8 offset, line, column; ///< of the byte, from 0, 1 and 1; columns count bytes
    std::string problem;      ///< what stands there, and what to do
  };
  /// The first place in the pieces so far where the file turns out to be in another encoding; looks no further then.
  std::optional<Place> next(std::string_view piece);
  /// The same at the file's end: a character that is cut off.
  std::optional<Place> end() const;

private:
  Place place(std::size_t at, std::string problem) const;
  Place broken(ub8 offset) const; // of the pending character

  ub8 offset_ = 0, line_ = 1, line_start_ = 0; // of the piece's begin; line_start_: offset of its line's first byte
  std::string_view piece_;
  std::string pending_; // the bytes of a character that the last piece ended in
};

} // namespace mipo::host

#endif
