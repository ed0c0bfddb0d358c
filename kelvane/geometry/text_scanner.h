/// \file
/// Words, lines and numbers of a text in memory (internal; header only).
#pragma once

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

#include "kelvane/module/host/message.h"

namespace SatCommonUtils {

/// White space under every locale.
inline constexpr std::string_view WhiteSpace = " \t\r\n\v\f";

inline std::string_view Trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(WhiteSpace);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(WhiteSpace) - begin + 1);
}

/// Walks through a text. Lines end in LF, CR LF, CR CR LF or CR. Operations that cannot do what they are
/// asked throw `TKaMessage` with the line.
class TTextScanner {
 public:
  explicit TTextScanner(std::string_view text) : text_(text) {}

  /// True when nothing but white space is left.
  bool AtEnd() const { return text_.find_first_not_of(WhiteSpace, position_) == std::string_view::npos; }
  std::size_t BytesLeft() const { return text_.size() - position_; }

  /// The next word, which may stand on a later line; it ends before white space and before any of `ends`.
  std::string_view Word(std::string_view ends = {}) {
    const std::size_t begin = text_.find_first_not_of(WhiteSpace, position_);
    if (begin == std::string_view::npos) {
      position_ = text_.size();
      Refuse("the text ends too early");
    }
    begin_ = position_ = begin;
    while (position_ < text_.size() && WhiteSpace.find(text_[position_]) == std::string_view::npos &&
           (position_ == begin_ || ends.find(text_[position_]) == std::string_view::npos)) {
      ++position_;
    }
    return text_.substr(begin_, position_ - begin_);
  }

  /// The rest of the line, whose end is passed over.
  std::string_view RestOfLine() {
    begin_ = position_;
    const std::size_t end = std::min(text_.find_first_of("\r\n", position_), text_.size());
    position_ = end;
    for (const std::string_view line_end : {"\r\r\n", "\r\n", "\r", "\n"}) {
      if (text_.substr(end, line_end.size()) != line_end) continue;
      position_ += line_end.size();
      break;
    }
    return text_.substr(begin_, end - begin_);
  }

  /// A word that is a finite number.
  double Number() {
    const std::string_view word = Word();
    const std::string_view digits = word.substr(word[0] == '+' ? 1 : 0);
    double value = 0.0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    const bool signed_twice = digits.size() < word.size() && digits.substr(0, 1) == "-";
    if (error != std::errc() || signed_twice || end != word.data() + word.size() || !std::isfinite(value)) {
      Refuse("\"" + Excerpt(word) + "\" is no number");
    }
    return value;
  }

  /// A word that is a count, of things that take at least `bytes` bytes each.
  std::size_t Count(std::size_t bytes) {
    const std::string_view word = Word();
    std::size_t count = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), count);
    if (end != word.data() + word.size() || error == std::errc::invalid_argument) {
      Refuse("\"" + Excerpt(word) + "\" is no count");
    }
    // The last of them may lack its line end.
    if (error != std::errc() || count > (BytesLeft() + 1) / bytes) {
      Refuse("no room for " + Excerpt(word));
    }
    return count;
  }

  /// Throws what is wrong with what was taken last.
  [[noreturn]] void Refuse(const std::string& what) const {
    throw TKaMessage("line " + std::to_string(LineNumber()) + ": " + what);
  }

  /// As much of a text as a message can bear.
  static std::string Excerpt(std::string_view text) {
    constexpr std::size_t Most = 40;
    return text.size() <= Most ? std::string(text) : std::string(text.substr(0, Most)) + "...";
  }

 private:
  /// From 1, of the line with the first byte that was taken last.
  std::size_t LineNumber() const {
    TTextScanner lines(text_.substr(0, begin_));
    std::size_t number = 1;
    for (; lines.BytesLeft() != 0; ++number) lines.RestOfLine();
    const bool within = begin_ != 0 && text_[begin_ - 1] != '\n' && text_[begin_ - 1] != '\r';
    return within ? number - 1 : number;
  }

  std::string_view text_;
  std::size_t position_ = 0;
  std::size_t begin_ = 0;
};

}  // namespace SatCommonUtils
