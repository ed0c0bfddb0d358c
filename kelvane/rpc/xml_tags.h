/// \file
/// What stands in tags that must be there (internal; header only). Failures are `std::runtime_error`, which
/// name tags and never show foreign text.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "kelvane/module/host/var_a.h"
#include "kelvane/module/host/xml.h"
#include "kelvane/rpc/rpc_numbers_text.h"

namespace SatCommonUtils {

/// Null when there is no such tag. Throws when there are two: nobody could tell which one counts.
inline const TKaXmlTagItem* FindOnlyTag(const TKaXmlTagItem& parent, const std::string& name) {
  const unsigned long first = parent.Items.find_tag_f(name, 0);
  if (first == TKaXmlTagItems::NoItem) return nullptr;
  if (parent.Items.find_tag_f(name, first + 1) != TKaXmlTagItems::NoItem) {
    throw std::runtime_error(name + " stands more than once in " + parent.Name);
  }
  return parent.Items[first]->AsTag();
}

inline const TKaXmlTagItem& OnlyTag(const TKaXmlTagItem& parent, const std::string& name) {
  const TKaXmlTagItem* const tag = FindOnlyTag(parent, name);
  if (tag == nullptr) throw std::runtime_error("no " + name + " in " + parent.Name);
  return *tag;
}

/// The text of a tag without tags inside: what stands around those is no one text.
inline std::string OnlyText(const TKaXmlTagItem& tag) {
  for (const var_a<TKaXmlItem*>& item : tag.Items) {
    if (item->AsTag() != nullptr) throw std::runtime_error(tag.Name + " holds tags");
  }
  return tag.Items.get_text();
}

inline std::optional<std::string> FindText(const TKaXmlTagItem& parent, const std::string& name) {
  const TKaXmlTagItem* const tag = FindOnlyTag(parent, name);
  if (tag == nullptr) return std::nullopt;
  return OnlyText(*tag);
}

inline double NumberIn(const TKaXmlTagItem& parent, const std::string& name) {
  return ReadNumber(OnlyText(OnlyTag(parent, name)), name);
}

}  // namespace SatCommonUtils
