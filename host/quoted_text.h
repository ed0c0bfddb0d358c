/// \file
/// Foreign text in messages (header only).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The text with each control byte as a backslash, `x` and two hexadecimal digits, so that it stays on one
/// line and moves no cursor.
inline std::string KaPrintable(std::string_view text) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string shown;
  for (const char c : text) {
    const unsigned byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      shown += {'\\', 'x', digits[byte / 16], digits[byte % 16]};
    } else {
      shown += c;
    }
  }
  return shown;
}

/// A foreign text as a message quotes it: printable, in quotes, and shortened.
inline std::string KaQuoted(std::string_view text) {
  constexpr std::size_t longest = 60;
  return '"' + KaPrintable(text.substr(0, longest)) + (text.size() > longest ? "...\"" : "\"");
}
