// Which encoding a column gets when none is asked for.
#ifndef MIPO_HOST_ENCODING_CHOICE_H
#define MIPO_HOST_ENCODING_CHOICE_H

#include <span>

#include "mipo/host/dictionary.h"
#include "mipo/host/encoding.h"

namespace mipo::host {

/// Codes may take this part of the bytes of plain numbers, in percent: joins and groups go by codes, and kernels look
/// them up in sets.
inline constexpr ub8 dictionary_percent = 125;
/// Dynamic-packed numbers have to take at most this part of the bytes of fixed ones, in percent: reading them is
/// slower.
inline constexpr ub8 dynamic_packed_percent = 75;
/// Runs are stored once if they have at least this many rows on average ...
inline constexpr ub8 least_mean_run = 4;
/// ... and take at most this part of the bytes of single rows, in percent.
inline constexpr ub8 runs_percent = 50;

/// The encoding for rows with these codes. `dictionary` holds all their values.
///
/// 1. Texts, and columns without any value, go into a dictionary.
/// 2. Numbers do so if packed codes and dictionary together take fewer bytes than fixed numbers.
/// 3. Other numbers are fixed, or dynamic-packed where that takes at most `dynamic_packed_percent` of the bytes; but in
///    a dictionary if that takes at most `dictionary_percent` of those.
/// 4. Long runs are stored once, in the form that the same questions give for one value a run: see `least_mean_run` and
///    `runs_percent`. Lengths have 8 or 16 bits, whichever takes fewer bytes.
///
/// Bytes are those that kernels read; the dictionary counts in questions 2 and 3 only. The width is left at the
/// narrowest. Compression is never chosen.
Encoding choose_encoding(std::span<const ub4> codes, const Dictionary &dictionary);

} // namespace mipo::host

#endif
