/// \file
/// Numbers for people and programs to read.
#pragma once

#include <string>

namespace app {

/// Appends the number with `precision` significant digits, or, for 0, with the fewest digits that read
/// back as the same double; no exponent where the number is of everyday size.
void AppendNumber(std::string* text, double value, int precision);

/// The number with the fewest digits that read back as the same double.
std::string ShortestNumber(double value);

/// The number rounded up to two significant digits.
double RoundedUp(double value);

}  // namespace app
