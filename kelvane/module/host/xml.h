/// \file
/// The host's XML documents as trees of items, held through `var_a`.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/var_a.h"

/// What an item of a tree is.
enum TE_KaXmlItemType { kaXmlTag, kaXmlText, kaXmlPi, kaXmlComment };

class TKaXmlTagItem;
class TKaXmlTextItem;
class TKaXmlPiItem;
class TKaXmlCommentItem;

/// One item of a document. The `As...` members return this item as its own kind, or null.
class KELVANE_HOST_API TKaXmlItem {
 public:
  TKaXmlItem() = default;
  TKaXmlItem(const TKaXmlItem&) = delete;
  TKaXmlItem& operator=(const TKaXmlItem&) = delete;
  virtual ~TKaXmlItem() = default;
  /// Which of the four classes it is.
  virtual TE_KaXmlItemType Type() const = 0;
  /// The item as what it is; null for the three kinds that it is not.
  virtual const TKaXmlTagItem* AsTag() const { return nullptr; }
  virtual const TKaXmlTextItem* AsText() const { return nullptr; }
  virtual const TKaXmlPiItem* AsPi() const { return nullptr; }
  virtual const TKaXmlCommentItem* AsComment() const { return nullptr; }
};

/// Character data, unescaped.
class KELVANE_HOST_API TKaXmlTextItem : public TKaXmlItem {
 public:
  /// Empty texts have no form in a document.
  explicit TKaXmlTextItem(std::string text) : Text(std::move(text)) {}
  /// `kaXmlText`.
  TE_KaXmlItemType Type() const override { return kaXmlText; }
  /// Itself.
  const TKaXmlTextItem* AsText() const override { return this; }

  std::string Text;  ///< UTF-8; a zero byte cannot be written
};

/// A processing instruction.
class KELVANE_HOST_API TKaXmlPiItem : public TKaXmlItem {
 public:
  /// Target and text as between `<?` and `?>`, the blank between them left out.
  TKaXmlPiItem(std::string target, std::string text) : Target(std::move(target)), Text(std::move(text)) {}
  /// `kaXmlPi`.
  TE_KaXmlItemType Type() const override { return kaXmlPi; }
  /// Itself.
  const TKaXmlPiItem* AsPi() const override { return this; }

  std::string Target;  ///< a name in the sense of XML
  std::string Text;    ///< UTF-8, without `?>`
};

/// A comment.
class KELVANE_HOST_API TKaXmlCommentItem : public TKaXmlItem {
 public:
  /// The text between `<!--` and `-->`.
  explicit TKaXmlCommentItem(std::string text) : Text(std::move(text)) {}
  /// `kaXmlComment`.
  TE_KaXmlItemType Type() const override { return kaXmlComment; }
  /// Itself.
  const TKaXmlCommentItem* AsComment() const override { return this; }

  std::string Text;  ///< UTF-8, without `--`
};

/// One attribute of a tag, unescaped.
struct TKaXmlTagAttribute {
  std::string Name;   ///< a name in the sense of XML
  std::string Value;  ///< UTF-8
};

/// The attributes of a tag, in document order.
class KELVANE_HOST_API TKaXmlTagAttributes : public std::vector<TKaXmlTagAttribute> {
 public:
  /// The value of the first attribute `name`, or `fallback` when there is none.
  std::string get_value(const std::string& name, const std::string& fallback) const;
};

/// The children of a tag, in document order.
class KELVANE_HOST_API TKaXmlTagItems : public std::vector<var_a<TKaXmlItem*>> {
 public:
  static constexpr unsigned long NoItem = ~0UL;  ///< what a search gives that finds nothing
  /// Index of the first child tag named `name` at or behind `start`, or `NoItem`.
  unsigned long find_tag_f(const std::string& name, unsigned long start) const;
  /// The text of the text children, concatenated.
  std::string get_text() const;
};

/// A tag with its attributes and children. A tree is released from the top, each tag inside the release of
/// its parent: one of more than some ten thousand levels, which no reader here makes, is more than a stack
/// holds.
class KELVANE_HOST_API TKaXmlTagItem : public TKaXmlItem {
 public:
  /// Without attributes and children. Whether the name is one is asked when it is written.
  explicit TKaXmlTagItem(std::string name) : Name(std::move(name)) {}
  /// `kaXmlTag`.
  TE_KaXmlItemType Type() const override { return kaXmlTag; }
  /// Itself.
  const TKaXmlTagItem* AsTag() const override { return this; }

  std::string Name;                ///< a name in the sense of XML
  TKaXmlTagAttributes Attributes;  ///< in the order of the document
  TKaXmlTagItems Items;            ///< owned, shared with other holders
};

/// Parses a stream into the tree of its document tag: from the beginning of the stream when `from_start`
/// is true, else from where it stands. Comments and processing instructions inside the document tag are
/// kept; white space between tags is dropped, unless it is the only content of a tag. Throws
/// `TKaMessage`, with line and reason, when the text is no XML document, is nested too deeply, or when
/// `progress` (may be null) cancels. The caller owns the tree.
KELVANE_HOST_API var_a<TKaXmlTagItem*> KaReadXml(TKaStream* stream, bool from_start,
                                                 TKaProgressHandler* progress);

/// Writes a tree as an XML document (UTF-8, declaration first), which reads back as the same tree but for
/// empty and adjacent texts. False when the stream does not take all of it; and, with nothing written,
/// when the tree is nested too deeply to be read or holds what has no XML form: a name that is none, a
/// zero byte, a comment with "--" in it.
KELVANE_HOST_API bool WriteXml(TKaStream* stream, const TKaXmlTagItem* document);
