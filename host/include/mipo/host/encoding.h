// How a column is stored: the form of its values, whether runs of equal rows are stored once, and compression.
#ifndef MIPO_HOST_ENCODING_H
#define MIPO_HOST_ENCODING_H

#include <string>
#include <string_view>

namespace mipo::host {

/// What is stored for a value. All but `dictionary` hold numbers: integers, decimals, dates and timestamps.
enum class ValueForm {
  dictionary,          ///< a code, packed high bit first
  fixed,               ///< the number, in as many bytes for every row
  trailing_zero,       ///< the same without trailing zero bytes, and a count of them for each row
  trailing_zero_const, ///< the same with one count for all rows
  dynamic_packed,      ///< as many bytes as the number needs, and control bytes that tell how many
  dynamic_packed_tz    ///< the same, read by the kernels that compare the lengths too
};

/// Whether equal rows that follow each other are stored once, and how it is told how many they are.
enum class RunForm {
  none,
  lengths_8,  ///< a length in 8 bits for each run; longer runs are split
  lengths_16, ///< a length in 16 bits
  starts      ///< the first row of each run in 32 bits
};

/// An encoding, as a person can write it: "dict", "fixed:24", "dynp+runs16", "dict:13+zstd".
struct Encoding {
  ValueForm form = ValueForm::dictionary;
  /// Width, 0 for the narrowest that holds all values. Dictionary: of a code, 1 to 20, 24, 32 or 64. Fixed and trailing
  /// zeros: of a number before zeros are cut, 8 to 64 in whole bytes. Dynamic-packed: of the longest value, 16, 32 or
  /// 64.
  int bits = 0;
  RunForm runs = RunForm::none;
  bool compressed = false;

  friend bool operator==(const Encoding &, const Encoding &) = default;
};

/// Reads
///
///   FORM[:BITS][+runs8|+runs16|+starts][+zstd]
///
/// with FORM one of dict, fixed, tz, tz-const, dynp, dynp-tz; "+runs" means "+runs8". Throws EncodingError, with a list
/// of what is possible, if the text is something else.
Encoding parse_encoding(std::string_view text);
/// The text that parse_encoding() reads back.
std::string encoding_text(const Encoding &encoding);
/// Throws EncodingError if the form does not have this width.
void check_width(const Encoding &encoding);

} // namespace mipo::host

#endif
