#include "app/number_format.h"

#include <charconv>
#include <cmath>

namespace app {

void AppendNumber(std::string* text, double value, int precision) {
  if (std::isnan(value)) {
    *text += "nan";
    return;
  }
  char digits[512];
  char* const end = digits + sizeof digits;
  const double size = std::fabs(value);
  std::to_chars_result result{};
  if (precision > 0) {
    result = std::to_chars(digits, end, value, std::chars_format::general, precision);
  } else if (size == 0.0 || (size >= 1e-4 && size < 1e15)) {
    // Left to itself, the shortest form writes 100000 as 1e+05.
    result = std::to_chars(digits, end, value, std::chars_format::fixed);
  } else {
    result = std::to_chars(digits, end, value);
  }
  text->append(digits, result.ptr);
}

std::string ShortestNumber(double value) {
  std::string text;
  AppendNumber(&text, value, 0);
  return text;
}

double RoundedUp(double value) {
  if (!(value > 0.0) || std::isinf(value)) return value;
  const double unit = std::pow(10.0, std::floor(std::log10(value)) - 1.0);
  return std::ceil(value / unit) * unit;
}

}  // namespace app
