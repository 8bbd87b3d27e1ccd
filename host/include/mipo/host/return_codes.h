// Names and meanings of what kernels and entries return.
#ifndef MIPO_HOST_RETURN_CODES_H
#define MIPO_HOST_RETURN_CODES_H

#include <string_view>

#include "mipo/codes.h"
#include "mipo/integers.h"

namespace mipo::host {

/// "MIPO_DONE" for 0 and so on; "unknown code" for a number that has no meaning.
std::string_view code_name(ub4 code) noexcept;

/// The meaning in a few words, as in "done, and the result is empty"; empty for a number that has no meaning.
std::string_view code_text(ub4 code) noexcept;

/// Throws Error with the kernel's name and the code's meaning, unless the code is MIPO_DONE or MIPO_EMPTY.
void throw_unless_answered(std::string_view kernel, ub4 code);

} // namespace mipo::host

#endif
