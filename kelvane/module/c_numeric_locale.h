/// \file
/// The decimal point, whatever the locale says (header only; hosts need it as the library does).
#pragma once

#include <clocale>

/// While it lives, the C library's number formatting and scanning in this thread use the C locale.
/// Host applications run under locales with a decimal comma; the library's texts have a point.
class TCNumericLocale {
 public:
  TCNumericLocale() : previous_(uselocale(CLocale())) {}
  ~TCNumericLocale() { uselocale(previous_); }
  TCNumericLocale(const TCNumericLocale&) = delete;
  TCNumericLocale& operator=(const TCNumericLocale&) = delete;

 private:
  static locale_t CLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return locale;
  }

  locale_t previous_;
};
