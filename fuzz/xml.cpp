/// XML: documents as trees, configurations, and every persistent class read from them. What reads is written
/// so that it reads the same again.
#include <algorithm>
#include <memory>
#include <type_traits>

#include "fuzz/fuzzing.h"
#include "host/ini_xml.h"
#include "kelvane/geometry/polygon.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/xml.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/polynomial.h"
#include "kelvane/numeric/vector.h"
#include "kelvane/refinement/refinement_transform.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc1.h"
#include "kelvane/rpc/rpc_exchange_dataset.h"
#include "kelvane/stereopairs/stereopairs_by_overlap_params.h"
#include "kelvane/transforms/affine_transform_2d.h"
#include "kelvane/transforms/similarity_3d.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;

/// The key and the section under which objects are looked for.
constexpr char Key[] = "K";

/// A tree as a text of its own, texts that touch put together.
void Describe(const TKaXmlTagItem& tag, std::string* text) {
  *text += "(" + tag.Name;
  for (const TKaXmlTagAttribute& attribute : tag.Attributes) {
    *text += " " + attribute.Name + "=[" + attribute.Value + "]";
  }
  bool behind_text = false;
  for (const auto& item : tag.Items) {
    const TKaXmlTextItem* const content = item->AsText();
    if (content != nullptr && content->Text.empty()) continue;
    if (behind_text && content == nullptr) *text += ']';
    if (content != nullptr) *text += (behind_text ? "" : "[") + content->Text;
    behind_text = content != nullptr;
    if (item->AsTag() != nullptr) Describe(*item->AsTag(), text);
    if (item->AsPi() != nullptr) *text += "?" + item->AsPi()->Target + "[" + item->AsPi()->Text + "]";
    if (item->AsComment() != nullptr) *text += "![" + item->AsComment()->Text + "]";
  }
  *text += behind_text ? "])" : ")";
}

std::string Described(const TKaXmlTagItem& tag) {
  std::string text;
  Describe(tag, &text);
  return text;
}

/// A tree that is not refused reads back.
void CheckWriting(const TKaXmlTagItem& tree) {
  const auto written = new_a<TKaStringStream>();
  if (!WriteXml(written.get(), &tree)) {
    fuzz::Require(written->Text().empty(), "what has no form is not begun");
    return;
  }
  const var_a<TKaXmlTagItem*> back = KaReadXml(written.get(), true, nullptr);
  fuzz::RequireSameText(Described(*back), Described(tree), "a tree is read back");
}

/// False where the text is refused.
bool TryTree(const std::string& text) {
  var_a<TKaXmlTagItem*> tree;
  try {
    tree = KaReadXml(fuzz::StreamOf(text).get(), true, nullptr);
  } catch (const TKaMessage& failure) {
    fuzz::RequireReason(failure.what());
    return false;
  }
  CheckWriting(*tree);
  return true;
}

template <class Save>
std::string Saved(const Save& save) {
  TKaXIniXmlWriter writer;
  TKaStringStream stream;
  fuzz::Require(save(&writer) && writer.Save(&stream), "an object that was read is saved");
  return stream.Text();
}

/// An object that can be read is saved so that it reads the same again, and leaves the sections it entered.
template <class T, class Read, class Save, class... Blank>
void RoundTrip(TKaXIniReader* reader, const Read& read, const Save& save, const Blank&... blank) {
  const auto read_and_saved = [&](TKaXIniReader* from) {
    T object(blank...);
    try {
      if (!read(&object, from)) return std::string();
    } catch (const TKaMessage& failure) {
      // A scale of zero; a model lets nothing else out.
      fuzz::Require(std::is_base_of_v<TRPC, T>, failure.what());
      return std::string();
    }
    return Saved([&](TKaXIniWriter* writer) { return save(object, writer); });
  };
  const auto read_back_and_saved = [&](const std::string& text) {
    TKaXIniStreamReader back(fuzz::StreamOf(text), true, nullptr);
    return read_and_saved(&back);
  };
  std::string once = read_and_saved(reader);
  // A model stays in the section of a margin that it cannot read.
  if constexpr (!std::is_base_of_v<TRPC, T>) {
    fuzz::RequireSameText(read_and_saved(reader), once, "the sections entered are left");
  }
  if (once.empty()) return;
  // Their undefined numbers are not written, and become defaults.
  if constexpr (std::is_same_v<T, StereopairsByOverlap::TStereopairsByOverlapParams>) {
    once = read_back_and_saved(once);
    fuzz::Require(!once.empty(), "what is saved is read");
  }
  fuzz::RequireSameText(read_back_and_saved(once), once, "an object that was read back is saved the same");
}

/// In the current section and under the key, as far as the class has these ways.
template <class T, class... Blank>
void RoundTrips(TKaXIniReader* reader, const Blank&... blank) {
  const auto here = [](const auto& o, auto* w) -> decltype(o.SaveToXML(w)) { return o.SaveToXML(w); };
  const auto keyed = [](const auto& o, auto* w) -> decltype(o.SaveToXML(w, Key)) {
    return o.SaveToXML(w, Key);
  };
  if constexpr (std::is_invocable_v<decltype(here), const T&, TKaXIniWriter*>) {
    RoundTrip<T>(
        reader, [](T* o, TKaXIniReader* r) { return o->InitializeFromXML(r); }, here, blank...);
  }
  if constexpr (std::is_invocable_v<decltype(keyed), const T&, TKaXIniWriter*>) {
    RoundTrip<T>(
        reader, [](T* o, TKaXIniReader* r) { return o->InitializeFromXML(r, Key); }, keyed, blank...);
  }
}

struct AffineParams : T2DAffineParams {
  bool InitializeFromXML(TKaXIniReader* reader) { return SatCommonUtils::InitializeFromXML(reader, this); }
  bool InitializeFromXML(TKaXIniReader* reader, const char* key) {
    return SatCommonUtils::InitializeFromXML(reader, key, this);
  }
  bool SaveToXML(TKaXIniWriter* writer) const { return SatCommonUtils::SaveToXML(*this, writer); }
  bool SaveToXML(TKaXIniWriter* writer, const char* key) const {
    return SatCommonUtils::SaveToXML(*this, writer, key);
  }
};

void TryClasses(TKaXIniReader* reader) {
  RoundTrips<TVector>(reader);
  RoundTrips<TMatrix>(reader, "");
  RoundTrips<TPolynome>(reader, 0, nullptr);
  RoundTrips<TPolygon>(reader);
  RoundTrips<AffineParams>(reader);
  RoundTrips<T2DAffineTransform>(reader);
  RoundTrips<T7ParamsTransform>(reader);
  RoundTrips<TRPCData>(reader);
  RoundTrips<TRPC>(reader);
  RoundTrips<TRPCRefinementDataAffine>(reader);
  RoundTrips<TRPCRefinementAffine>(reader);
  RoundTrips<TAdjustedRPC>(reader, test::NumberedRecord(), nullptr, nullptr);
  namespace Next = SatCommonUtilsNext;
  RoundTrips<Next::TRPCRefinementType>(reader);
  RoundTrips<Next::TRPCRefinementDataAffine>(reader);
  RoundTrips<Next::TRPCRefinementAffine>(reader);
  RoundTrips<TRPC1Params>(reader);
  RoundTrips<TRPC1>(reader);
  RoundTrips<StereopairsByOverlap::TStereopairsByOverlapParams>(reader);
}

/// Writes what a value is of type `T`, and reads it again.
template <class T>
void TryValue(const TKaXIniReader& reader, unsigned long item) {
  T value{};
  try {
    value = reader.ReadE<T>(item);
  } catch (const TKaMessage& failure) {
    fuzz::RequireReason(failure.what());
    return;
  }
  const auto saved = [](const T& one) {
    return Saved([&](TKaXIniWriter* writer) { return writer->WriteS<T>(Key, one); });
  };
  const std::string once = saved(value);
  const TKaXIniStreamReader back(fuzz::StreamOf(once), true, nullptr);
  fuzz::RequireSameText(saved(back.ReadE<T>(back.FindFE(Key, 0))), once, "a value is read back");
}

void TryValues(const TKaXIniReader& reader) {
  unsigned long at = 0;
  for (unsigned long item = reader.FindFP(Key, &at); item != TKaXIniReader::NoItem;
       item = reader.FindFP(Key, &at)) {
    TryValue<double>(reader, item);
    TryValue<int>(reader, item);
    TryValue<unsigned long>(reader, item);
    TryValue<bool>(reader, item);
    TryValue<std::string>(reader, item);
    xy_d point{};
    fuzz::Require(reader.ReadPoint(item, &point) != 2, "an item that was found is one");
  }
}

/// A set of models has a document of its own.
void TryDataset(const std::string& text) {
  TCipherRPCImpExpDataset dataset;
  std::string problem;
  if (!dataset.InitializeFromDocument(fuzz::StreamOf(text).get(), &problem)) {
    fuzz::RequireReason(problem);
    fuzz::Require(!dataset, "a failed read leaves the set");
    return;
  }
  TKaStringStream written;
  if (!dataset.SaveToDocument(&written, &problem)) {
    fuzz::RequireReason(problem);
    fuzz::Require(written.Text().empty(), "what has no form is not begun");
    return;
  }
  TCipherRPCImpExpDataset back;
  fuzz::Require(back.InitializeFromDocument(fuzz::StreamOf(written.Text()).get(), nullptr),
                "a set is read back");
  TKaStringStream again;
  fuzz::Require(back.SaveToDocument(&again, nullptr), "a set that was read back is written");
  fuzz::RequireSameText(again.Text(), written.Text(), "a set that was read back is written the same");
}

/// A tree of these texts, and a configuration: refused, or read back.
void TryTexts(std::string_view text) {
  const auto take = [&text] {
    const std::size_t end = std::min(text.find('|'), text.size());
    std::string piece(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return piece;
  };
  const std::string key = take();
  const std::string value = take();
  TKaXIniXmlWriter writer;
  const unsigned long section = writer.BeginSection(key);
  fuzz::Require((section != 0) == (!key.empty() && key.find('\0') == std::string::npos), "what a key is");
  const bool written = writer.WriteS<std::string>(key, value);
  fuzz::Require(!written || section != 0, "what a key is");
  fuzz::Require(section == 0 || writer.EndSection(section), "a section is ended");
  const auto stream = new_a<TKaStringStream>();
  fuzz::Require(writer.Save(stream.get()), "a configuration is written");
  TKaXIniStreamReader reader(stream, true, nullptr);
  fuzz::Require((section != 0) == (reader.EnterSectionS(key) != 0), "a section is read back");
  if (written) {
    fuzz::RequireSameText(reader.ReadE<std::string>(reader.FindFE(key, 0)), value, "a text is read back");
  }

  TKaXmlTagItem tree(key);
  const std::string attribute = take();
  tree.Attributes.push_back({attribute, value});
  tree.Items.push_back(new_a<TKaXmlTextItem>(take()));
  const std::string target = take();
  tree.Items.push_back(new_a<TKaXmlPiItem>(target, take()));
  tree.Items.push_back(new_a<TKaXmlCommentItem>(take()));
  tree.Items.push_back(new_a<TKaXmlTagItem>(take()));
  tree.Items.push_back(new_a<TKaXmlTextItem>(take()));
  tree.Items.push_back(new_a<TKaXmlTextItem>(take()));
  for (std::size_t items = tree.Items.size(); items > 0; --items) {
    CheckWriting(tree);
    tree.Items.pop_back();
  }
  tree.Attributes.clear();
  CheckWriting(tree);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (text.substr(0, 1) == "|") {
    TryTexts(std::string_view(text).substr(1));
    return 0;
  }
  const bool is_document = TryTree(text);
  TryDataset(text);
  std::unique_ptr<TKaXIniStreamReader> reader;
  try {
    reader = std::make_unique<TKaXIniStreamReader>(fuzz::StreamOf(text), true, nullptr);
  } catch (const TKaMessage& failure) {
    fuzz::RequireReason(failure.what());
    return 0;
  }
  fuzz::Require(is_document, "a configuration is a document");
  TryClasses(reader.get());
  TryValues(*reader);
  const unsigned long section = reader->EnterSectionS(Key);
  if (section == 0) return 0;
  TryValues(*reader);
  fuzz::Require(reader->LeaveSection(section), "a section is left");
  return 0;
}
