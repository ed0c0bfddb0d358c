#include <string>
#include <string_view>
#include <vector>

#include "host/ini_xml.h"
#include "host/number_text.h"
#include "host/pvl_scanner.h"
#include "host/quoted_text.h"
#include "host/whole_text.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/text.h"

namespace {

/// How many groups may lie inside one another.
constexpr std::size_t MaxGroupDepth = 32;

enum class TKeyword { None, BeginGroup, BeginObject, EndGroup, EndObject, End };

TKeyword KeywordOf(std::string_view word) {
  const std::string upper = toupper(std::string(word));
  if (upper == "GROUP" || upper == "BEGIN_GROUP") return TKeyword::BeginGroup;
  if (upper == "OBJECT" || upper == "BEGIN_OBJECT") return TKeyword::BeginObject;
  if (upper == "END_GROUP") return TKeyword::EndGroup;
  if (upper == "END_OBJECT") return TKeyword::EndObject;
  return upper == "END" ? TKeyword::End : TKeyword::None;
}

bool IsNumber(std::string_view text) {
  double value = 0.0;
  return KaParseNumber(text, &value);
}

/// Writes the statements of a PVL text into a configuration.
class TPvlConverter {
 public:
  explicit TPvlConverter(std::string_view text) : scan_(text) {}

  /// Reads to the end of the text, or to its END statement.
  void Run() {
    bool any = false;
    scan_.SkipGap();
    while (!scan_.AtEnd()) {
      if (!scan_.Take(';')) {
        if (!ReadStatement()) break;
        any = true;
      }
      scan_.SkipGap();
    }
    if (!groups_.empty()) scan_.Fail(groups_.back().Place, Described(groups_.back()) + " has no end");
    if (!any) scan_.Fail(scan_.Place(), "no statement in the text");
  }

  const TKaXIniXmlWriter& Ini() const { return ini_; }

 private:
  struct TGroup {
    std::string Name;
    bool IsObject;
    std::size_t Place;
    unsigned long Handle;
  };

  static std::string Described(const TGroup& group) {
    return (group.IsObject ? "the object " : "the group ") + KaQuoted(group.Name);
  }

  /// False at the END statement.
  bool ReadStatement() {
    const std::size_t place = scan_.Place();
    if (scan_.Next() == '=') scan_.Fail(place, "an empty key");
    const std::string_view word = scan_.TakeWord();
    if (word.empty()) scan_.Fail(place, std::string("no statement begins with '") + scan_.Next() + "'");
    const TKeyword keyword = KeywordOf(word);
    // Nothing behind END is looked at, not even for comments.
    if (keyword == TKeyword::End && !scan_.StandsBehindBlanks('=')) return false;
    const TPvlGap gap = scan_.SkipGap();
    const bool has_equals = !gap.LineEnd && scan_.Take('=');
    if (keyword == TKeyword::EndGroup || keyword == TKeyword::EndObject) {
      EndGroup(place, keyword == TKeyword::EndObject, has_equals);
      EndStatement(has_equals ? scan_.SkipGap() : gap);
      return true;
    }
    if (!has_equals) scan_.Fail(place, KaQuoted(word) + " is no statement: no '=' follows it on its line");
    if (keyword == TKeyword::BeginGroup || keyword == TKeyword::BeginObject) {
      BeginGroup(place, keyword == TKeyword::BeginObject);
      EndStatement(scan_.SkipGap());
    } else {
      ReadValue(place, std::string(word));
    }
    return true;
  }

  void BeginGroup(std::size_t place, bool is_object) {
    TGroup group{ReadGroupName(), is_object, place, 0};
    if (groups_.size() == MaxGroupDepth) scan_.Fail(place, "groups are nested too deeply");
    group.Handle = ini_.BeginSection(group.Name);
    if (group.Handle == 0) scan_.Fail(place, Described(group) + " cannot be a section");
    groups_.push_back(std::move(group));
  }

  void EndGroup(std::size_t place, bool is_object, bool named) {
    if (groups_.empty()) scan_.Fail(place, "the end of a group that has not begun");
    const TGroup& group = groups_.back();
    if (group.IsObject != is_object) scan_.Fail(place, "not the kind of end that ends " + Described(group));
    if (named) {
      const std::string name = ReadGroupName();
      const std::string within = " inside " + Described(group);
      if (name != group.Name) scan_.Fail(place, "the end of " + KaQuoted(name) + within);
    }
    ini_.EndSection(group.Handle);
    groups_.pop_back();
  }

  std::string ReadGroupName() {
    const std::size_t place = scan_.Place();
    const bool same_line = !scan_.SkipGap().LineEnd;
    std::string name;
    if (same_line) name = scan_.NextOpensQuotes() ? scan_.TakeQuoted() : scan_.TakeWord();
    if (name.empty()) scan_.Fail(place, "a group without a name");
    return name;
  }

  void ReadValue(std::size_t place, const std::string& key) {
    const bool next_line = scan_.SkipGap().LineEnd;
    if (scan_.NextOpensList()) {
      Put(place, key, scan_.TakeList());
      EndValue(true, true);
    } else if (scan_.NextOpensQuotes()) {
      Put(place, key, std::string(scan_.TakeQuoted()));
      EndValue(false, false);
    } else if (next_line || scan_.AtEnd() || scan_.Next() == ';') {
      Put(place, key, "");
      scan_.Take(';');
    } else {
      ReadBareValue(place, key);
    }
  }

  /// A number, behind which a unit may stand, or a text, which may hold blanks and commas.
  void ReadBareValue(std::size_t place, const std::string& key) {
    const TPvlScanner before = scan_;
    const std::string next(1, scan_.Next());
    std::string value(scan_.TakeWord());
    const bool is_number = IsNumber(value) && scan_.Next() != ',';
    if (!is_number) {
      scan_ = before;
      value = scan_.TakeText();
    }
    if (value.empty()) scan_.Fail(scan_.Place(), "no value begins with '" + next + "'");
    Put(place, key, value);
    EndValue(is_number, false);
  }

  void Put(std::size_t place, const std::string& key, const std::string& value) {
    if (!ini_.WriteS(key, value)) scan_.Fail(place, KaQuoted(key) + " cannot be a value's key");
  }

  /// Passes over a unit and the end of the statement. A bracketed unit may stand on the line below a list;
  /// a bare word there begins the next statement.
  void EndValue(bool takes_unit_word, bool is_list) {
    TPvlGap gap = scan_.SkipGap();
    const bool same_line = !gap.LineEnd && !gap.LineEndInComment;
    if (scan_.Next() == '<' && (same_line || is_list)) {
      scan_.TakeUnit();
      gap = scan_.SkipGap();
    } else if (takes_unit_word && same_line && scan_.TakeUnitWord()) {
      gap = scan_.SkipGap();
    }
    EndStatement(gap);
  }

  /// The statement ends behind `gap`: with a semicolon, with the line or with the text.
  void EndStatement(const TPvlGap& gap) {
    if (scan_.Take(';') || gap.LineEnd || gap.LineEndInComment || scan_.AtEnd()) return;
    scan_.Fail(scan_.Place(), "text behind the value: neither a line end nor a semicolon ends the statement");
  }

  TPvlScanner scan_;
  TKaXIniXmlWriter ini_;
  std::vector<TGroup> groups_;
};

}  // namespace

void SatCommonUtils::PVLtoXML(var_a<TKaStream*> in, var_a<TKaStream*> out) {
  if (!in || !out) throw TKaMessage("no stream to convert PVL from or to");
  const std::string text = KaReadText(*in);
  TPvlConverter converter(text);
  converter.Run();
  if (!converter.Ini().Save(out.get())) throw TKaMessage("the converted PVL cannot be written");
}
