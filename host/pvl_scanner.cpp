#include "host/pvl_scanner.h"

#include <algorithm>
#include <utility>

#include "host/number_text.h"
#include "host/whole_text.h"
#include "kelvane/module/host/message.h"

namespace {

constexpr std::string_view Punctuation = ";,=<>(){}\"'";
constexpr std::string_view LineEnds = "\r\n";

bool IsOneOf(char c, std::string_view characters) { return characters.find(c) != std::string_view::npos; }

}  // namespace

TPvlScanner::TPvlScanner(std::string_view text) : text_(text) {
  const std::size_t control = KaFindControlByte(text, KaWhiteSpace);
  if (control != std::string_view::npos) Fail(control, "a control byte: this is no text");
}

bool TPvlScanner::StandsBehindBlanks(char c) const {
  const std::size_t found = text_.find_first_not_of(" \t", place_);
  return found != std::string_view::npos && text_[found] == c;
}

TPvlGap TPvlScanner::SkipGap() {
  TPvlGap gap;
  bool line_begins = place_ == 0;
  while (!AtEnd()) {
    if (IsOneOf(Next(), LineEnds)) {
      gap.LineEnd = line_begins = true;
      ++place_;
    } else if (IsOneOf(Next(), KaWhiteSpace)) {
      ++place_;
    } else if (Next() == '#' && line_begins) {
      SkipToLineEnd();
    } else if (text_.compare(place_, 2, "/*") == 0) {
      line_begins = false;
      if (TakeComment()) gap.LineEndInComment = true;
    } else {
      break;
    }
  }
  return gap;
}

void TPvlScanner::SkipToLineEnd() { place_ = std::min(text_.find_first_of(LineEnds, place_), text_.size()); }

/// Passes over a comment; true when it goes over a line end.
bool TPvlScanner::TakeComment() {
  const std::size_t end = text_.find("*/", place_ + 2);
  if (end == std::string_view::npos) Fail(place_, "the comment that begins here is not closed");
  const std::string_view comment = text_.substr(place_, end - place_);
  place_ = end + 2;
  return comment.find_first_of(LineEnds) != std::string_view::npos;
}

bool TPvlScanner::Take(char c) {
  if (AtEnd() || Next() != c) return false;
  ++place_;
  return true;
}

std::string_view TPvlScanner::Word() const {
  std::size_t end = place_;
  while (end < text_.size() && !IsOneOf(text_[end], KaWhiteSpace) && !IsOneOf(text_[end], Punctuation) &&
         text_.compare(end, 2, "/*") != 0) {
    ++end;
  }
  return text_.substr(place_, end - place_);
}

std::string_view TPvlScanner::TakeWord() {
  const std::string_view word = Word();
  place_ += word.size();
  return word;
}

std::string_view TPvlScanner::TakeText() {
  const std::size_t begin = place_;
  while (!AtEnd() && !IsOneOf(Next(), LineEnds) && (Next() == ',' || !IsOneOf(Next(), Punctuation)) &&
         text_.compare(place_, 2, "/*") != 0) {
    ++place_;
  }
  return KaTrimmed(text_.substr(begin, place_ - begin));
}

std::string_view TPvlScanner::TakeQuoted() {
  const std::size_t end = text_.find(Next(), place_ + 1);
  if (end == std::string_view::npos) Fail(place_, "the quotes that open here are not closed");
  const std::string_view content = text_.substr(place_ + 1, end - place_ - 1);
  place_ = end + 1;
  return content;
}

/// A list that is being read.
struct TPvlScanner::TList {
  std::size_t Opened;
  std::string Text;
  std::string Closers;
  /// Whether an element stands before the next token, and whether a bare word there is its unit.
  bool BehindElement = false;
  bool TakesUnitWord = false;
};

std::string TPvlScanner::TakeList() {
  TList list;
  list.Opened = place_;
  do {
    if (SkipGap().LineEnd) list.TakesUnitWord = false;
    // Neither can stand in a list outside quotes: a parenthesis was forgotten.
    const bool lost = AtEnd() || Next() == ';' || Next() == '=';
    if (lost) Fail(list.Opened, "the list that opens here is not closed");
    TakeListToken(&list);
  } while (!list.Closers.empty());
  return list.Text;
}

void TPvlScanner::TakeListToken(TList* list) {
  const char c = Next();
  const bool takes_unit_word = std::exchange(list->TakesUnitWord, false);
  if (c == ',' || c == ')' || c == '}') {
    const bool closes = c != ',';
    const bool matches = !closes || c == list->Closers.back();
    if (!matches) Fail(place_, "another parenthesis than the list was opened with");
    if (closes) list->Closers.pop_back();
    list->BehindElement = closes;
    list->Text += c;
    ++place_;
  } else if (list->BehindElement) {
    if (c == '<') {
      TakeUnit();
    } else if (!takes_unit_word || !TakeUnitWord()) {
      Fail(list->Opened, "the list that opens here goes on without a comma in line " +
                             std::to_string(KaLineOf(text_, place_)));
    }
  } else {
    TakeListElement(list);
  }
}

void TPvlScanner::TakeListElement(TList* list) {
  const std::size_t begin = place_;
  if (NextOpensList()) {
    if (list->Closers.size() == MaxListDepth) Fail(place_, "lists are nested too deeply");
    list->Closers += Next() == '(' ? ')' : '}';
    ++place_;
  } else {
    const bool quoted = NextOpensQuotes();
    const std::string_view word = quoted ? TakeQuoted() : TakeWord();
    if (place_ == begin) Fail(place_, std::string("no element of a list begins with '") + Next() + "'");
    double number = 0.0;
    list->BehindElement = true;
    list->TakesUnitWord = !quoted && KaParseNumber(word, &number);
  }
  list->Text += text_.substr(begin, place_ - begin);
}

void TPvlScanner::TakeUnit() {
  const std::size_t end = text_.find_first_of(">\r\n", place_);
  if (end == std::string_view::npos || text_[end] != '>') Fail(place_, "the unit is not closed");
  place_ = end + 1;
}

bool TPvlScanner::TakeUnitWord() {
  const std::string_view word = Word();
  // A second number is rather one that lost its comma.
  if (word.empty() || IsOneOf(word[0], "+-.0123456789")) return false;
  place_ += word.size();
  return true;
}

void TPvlScanner::Fail(std::size_t place, const std::string& reason) const {
  throw TKaMessage("PVL line " + std::to_string(KaLineOf(text_, place)) + ": " + reason);
}
