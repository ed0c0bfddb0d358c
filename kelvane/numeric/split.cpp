#include "kelvane/numeric/split.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "kelvane/module/c_numeric_locale.h"

namespace SatCommonUtils {

std::size_t Split(const char* text, const char* delimiters, double* out, std::size_t size, bool reverse) {
  const TCNumericLocale locale;
  std::string token;
  std::size_t count = 0;
  while (*text != '\0') {
    const std::size_t length = std::strcspn(text, delimiters);
    token.assign(text, length);
    text += length;
    if (*text != '\0') ++text;
    double value = 0.0;
    // A blank token gives EOF, which is no number either.
    if (std::sscanf(token.c_str(), "%lg", &value) != 1) continue;
    if (out != nullptr) out[reverse ? size - count - 1 : count] = value;
    ++count;
  }
  return count;
}

}  // namespace SatCommonUtils
