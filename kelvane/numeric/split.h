/// \file
/// The scanner of bracketed number lists such as "(1;2.5;-3)".
#pragma once

#include <cstddef>

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// Between the numbers of a vector's text, be it dense or sparse.
inline constexpr char VectorDelimiters[] = "();";

/// Cuts `text` at every character of `delimiters` and converts each token that is not empty with the
/// scanning format "%lg" of the C locale, whatever locale is set: blanks before the number are passed over,
/// and so is what follows it. A token that begins with no number, or is blank, does not count. A token may
/// be of any length; all of it is converted.
///
/// Returns how many numbers were found. They are stored in `out`, unless that is null, in order from
/// position 0 on; when `reverse` is set, from position `size` - 1 backwards. `size` bounds nothing: give
/// room for all the numbers that a first call with a null `out` counts. Neither text may be null.
KELVANE_API std::size_t Split(const char* text, const char* delimiters, double* out, std::size_t size,
                              bool reverse);

}  // namespace SatCommonUtils
