/// \file
/// Numbers as text, without a locale (header only).
#pragma once

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>

#include "kelvane/module/c_numeric_locale.h"

/// Reads a number from the beginning of `text`: what `std::from_chars` takes, and a leading plus sign.
/// Returns the number of characters that belong to it, 0 when the text does not begin with a number or the
/// number is too large for a double (`*value` is then unchanged). One too small for a double reads as 0 or
/// as the nearest subnormal.
inline std::size_t KaScanNumber(std::string_view text, double* value) {
  const std::size_t sign = !text.empty() && text[0] == '+' ? 1 : 0;
  if (sign == 1 && text.size() > 1 && text[1] == '-') return 0;
  const char* const begin = text.data() + sign;
  const char* const end = text.data() + text.size();
  double number = 0.0;
  const std::from_chars_result result = std::from_chars(begin, end, number);
  if (result.ec == std::errc::invalid_argument) return 0;
  const std::size_t length = static_cast<std::size_t>(result.ptr - text.data());
  if (result.ec == std::errc::result_out_of_range) {
    const TCNumericLocale point;
    number = std::strtod(std::string(begin, result.ptr).c_str(), nullptr);
    if (std::isinf(number)) return 0;
  }
  *value = number;
  return length;
}

/// True, with `*value` set, when the whole of `text` is one number.
inline bool KaParseNumber(std::string_view text, double* value) {
  double number = 0.0;
  if (text.empty() || KaScanNumber(text, &number) != text.size()) return false;
  *value = number;
  return true;
}
