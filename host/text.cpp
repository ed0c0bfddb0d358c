#include "kelvane/module/host/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string_view>

#include "host/number_text.h"
#include "host/whole_text.h"
#include "kelvane/module/c_numeric_locale.h"
#include "kelvane/module/host/message.h"

namespace {

/// Where the extension of the path's file name begins, with its dot; the path's length when it has none.
std::size_t ExtensionOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
  const std::size_t first = path.find_first_not_of('.', name);
  const std::size_t dot = path.rfind('.');
  const bool has_extension = dot != std::string::npos && first != std::string::npos && dot > first;
  return has_extension ? dot : path.size();
}

}  // namespace

std::string trim(std::string text) { return std::string(KaTrimmed(text)); }

std::string toupper(const std::string& text) {
  std::string upper = text;
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return upper;
}

std::string Tessarin::ssprintf(const char* format, ...) {
  const TCNumericLocale point;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  if (length < 0) throw TKaMessage("the text cannot be formatted");
  std::string text(static_cast<std::size_t>(length), '\0');
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  va_end(arguments);
  return text;
}

namespace SatCommonUtils {

std::string ChangeFileExt(std::string path, std::string ext) { return CutFileExt(std::move(path)) + ext; }

std::string CutFileExt(std::string path) {
  path.resize(ExtensionOf(path));
  return path;
}

double StringToDoubleDef(const std::string& text, const double& fallback) {
  double value = 0.0;
  return KaParseNumber(KaTrimmed(text), &value) ? value : fallback;
}

unsigned SplitStringIntoDoubles(const char* text, const char* separators, double* out, unsigned count,
                                bool skip_others, TKaProgressHandler*) {
  const std::string dividers = std::string(separators) += KaWhiteSpace;
  const std::string_view all(text);
  unsigned found = 0;
  std::size_t begin = all.find_first_not_of(dividers);
  while (found < count && begin != std::string_view::npos) {
    const std::size_t end = std::min(all.find_first_of(dividers, begin), all.size());
    double value = 0.0;
    if (KaParseNumber(all.substr(begin, end - begin), &value)) {
      out[found++] = value;
    } else if (!skip_others) {
      return 0;
    }
    begin = all.find_first_not_of(dividers, end);
  }
  return found;
}

}  // namespace SatCommonUtils
