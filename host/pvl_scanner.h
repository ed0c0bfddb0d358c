/// \file
/// The tokens of a PVL text (internal). PVL is described in docs/formats.md.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What lay between two tokens.
struct TPvlGap {
  bool LineEnd = false;
  bool LineEndInComment = false;
};

/// Walks a PVL text token by token. What is malformed throws `TKaMessage`, with line and reason.
class TPvlScanner {
 public:
  /// How many parentheses may lie inside one another.
  static constexpr std::size_t MaxListDepth = 32;

  /// The text must outlive the scanner. Throws when it holds control bytes.
  explicit TPvlScanner(std::string_view text);

  bool AtEnd() const { return place_ == text_.size(); }
  /// Offset of the next character.
  std::size_t Place() const { return place_; }
  /// The next character, or a zero byte at the end.
  char Next() const { return AtEnd() ? '\0' : text_[place_]; }
  bool NextOpensList() const { return Next() == '(' || Next() == '{'; }
  bool NextOpensQuotes() const { return Next() == '"' || Next() == '\''; }

  /// Whether the next character but blanks and tabs is this one.
  bool StandsBehindBlanks(char c) const;

  /// Passes over white space, line ends and comments.
  TPvlGap SkipGap();
  /// Passes over the character when it is the next one.
  bool Take(char c);
  /// The characters up to white space, punctuation or a comment: empty when none stands here.
  std::string_view TakeWord();
  /// The text up to a line end, a comment or punctuation other than a comma, without blanks at its end.
  std::string_view TakeText();
  /// The content of the quotes that open here.
  std::string_view TakeQuoted();
  /// The list that opens here, without white space, comments and units outside quotes.
  std::string TakeList();
  /// Passes over the unit in angle brackets that opens here.
  void TakeUnit();
  /// Passes over the word that stands here, when it can be a unit.
  bool TakeUnitWord();

  [[noreturn]] void Fail(std::size_t place, const std::string& reason) const;

 private:
  struct TList;

  void SkipToLineEnd();
  bool TakeComment();
  std::string_view Word() const;
  void TakeListToken(TList* list);
  void TakeListElement(TList* list);

  std::string_view text_;
  std::size_t place_ = 0;
};
