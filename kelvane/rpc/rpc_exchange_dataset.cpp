#include "kelvane/rpc/rpc_exchange_dataset.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <exception>
#include <stdexcept>
#include <utility>

#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/xml.h"
#include "kelvane/module/problem.h"
#include "kelvane/module/utf8.h"
#include "kelvane/rpc/rpc_data_keys.h"
#include "kelvane/rpc/xml_tags.h"

namespace SatCommonUtils {

namespace {

constexpr char DocumentTag[] = "RPCDataset";
constexpr char VersionKey[] = "version";
constexpr char Version[] = "1";
constexpr char ModelTag[] = "Model";
constexpr char NameKey[] = "name";
constexpr char FileTag[] = "File";

/// What is kept of the header.
struct THeaderName {
  const char* Tag;
  std::optional<std::string> TRPBHeader::*Value;
};
constexpr THeaderName HeaderNames[] = {{"SatId", &TRPBHeader::SatId}, {"BandId", &TRPBHeader::BandId}};
struct THeaderFigure {
  const char* Tag;
  std::optional<double> TRPBHeader::*Value;
};
constexpr THeaderFigure HeaderFigures[] = {{"ErrBias", &TRPBHeader::ErrBias},
                                           {"ErrRand", &TRPBHeader::ErrRand}};

/// As many digits as it takes to read the same bits again, under every locale.
std::string NumberText(double value) {
  char text[32];
  return {text, std::to_chars(std::begin(text), std::end(text), value).ptr};
}

bool IsName(const std::string& name) {
  return !name.empty() && std::none_of(name.begin(), name.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 32 || byte == 127;
  });
}

bool HasZeroByte(const std::string& text) { return text.find('\0') != std::string::npos; }

/// The reference host would write control characters so that only itself could read them.
bool IsXmlText(const std::string& text) {
  return IsUtf8(text) && std::none_of(text.begin(), text.end(), [](char c) {
           return static_cast<unsigned char>(c) < 32 && c != '\t' && c != '\n' && c != '\r';
         });
}

/// Throws `std::runtime_error` for a model with a text that XML has no place for.
void CheckTexts(const TRPCExchangeModel& model) {
  const auto check = [&model](const char* what, const std::string& text) {
    if (IsXmlText(text)) return;
    throw std::runtime_error("model \"" + model.Name + "\": " + what +
                             " is no UTF-8 text without control characters, and has no place in XML");
  };
  check("its name", model.Name);
  check(FileTag, model.File);
  for (const THeaderName& name : HeaderNames) check(name.Tag, (model.Header.*name.Value).value_or(""));
}

void AppendText(TKaXmlTagItem* parent, const char* name, const std::string& text) {
  const var_a<TKaXmlTagItem*> tag = new_a<TKaXmlTagItem>(name);
  if (!text.empty()) tag->Items.push_back(new_a<TKaXmlTextItem>(text));
  parent->Items.push_back(tag);
}

var_a<TKaXmlTagItem*> MakeTag(const TRPCExchangeModel& model) {
  var_a<TKaXmlTagItem*> tag = new_a<TKaXmlTagItem>(ModelTag);
  tag->Attributes.push_back({NameKey, model.Name});
  AppendText(tag.get(), FileTag, model.File);
  for (const THeaderName& name : HeaderNames) {
    if (model.Header.*name.Value) AppendText(tag.get(), name.Tag, *(model.Header.*name.Value));
  }
  for (const THeaderFigure& figure : HeaderFigures) {
    if (model.Header.*figure.Value)
      AppendText(tag.get(), figure.Tag, NumberText(*(model.Header.*figure.Value)));
  }
  for (const TRPCDataField& field : RPCDataFields) {
    AppendText(tag.get(), field.Name, NumberText(model.Data.*field.Value));
  }
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    std::string text;
    for (const double value : model.Data.*set.Values) (text += text.empty() ? "" : " ") += NumberText(value);
    AppendText(tag.get(), set.Name, text);
  }
  return tag;
}

TRPCExchangeModel ReadModel(const TKaXmlTagItem& tag) {
  TRPCExchangeModel model;
  model.Name = tag.Attributes.get_value(NameKey, "");
  model.File = FindText(tag, FileTag).value_or("");
  for (const THeaderName& name : HeaderNames) model.Header.*name.Value = FindText(tag, name.Tag);
  for (const THeaderFigure& figure : HeaderFigures) {
    if (const auto text = FindText(tag, figure.Tag))
      model.Header.*figure.Value = ReadNumber(*text, figure.Tag);
  }
  for (const TRPCDataField& field : RPCDataFields) model.Data.*field.Value = NumberIn(tag, field.Name);
  for (const TRPCDataCoefficients& set : RPCDataCoefficients) {
    ReadCoefficients(OnlyTag(tag, set.Name).Items.get_text(), "", set.Name, model.Data.*set.Values);
  }
  return model;
}

/// Adds the models of a document; throws `std::runtime_error`, which says where it stopped.
void ReadModels(const TKaXmlTagItem& document, TCipherRPCImpExpDataset* set) {
  if (document.Name != DocumentTag) {
    throw std::runtime_error(std::string("the document is no ") + DocumentTag);
  }
  if (document.Attributes.get_value(VersionKey, "") != Version) {
    throw std::runtime_error(std::string("its version is not ") + Version);
  }
  const TKaXmlTagItems& items = document.Items;
  for (unsigned long i = items.find_tag_f(ModelTag, 0); i != TKaXmlTagItems::NoItem;
       i = items.find_tag_f(ModelTag, i + 1)) {
    std::string problem;
    try {
      if (set->Add(ReadModel(*items[i]->AsTag()), &problem)) continue;
    } catch (const std::runtime_error& failure) {
      problem = failure.what();
    }
    throw std::runtime_error("model " + std::to_string(set->Models().size() + 1) + ": " + problem);
  }
}

}  // namespace

const TRPCExchangeModel* TCipherRPCImpExpDataset::Find(const std::string& name) const {
  const auto place = places_.find(name);
  return place == places_.end() ? nullptr : &models_[place->second];
}

void TCipherRPCImpExpDataset::Clear() {
  models_.clear();
  places_.clear();
}

bool TCipherRPCImpExpDataset::Add(TRPCExchangeModel model, std::string* problem) try {
  if (!IsName(model.Name)) return Fail(problem, "its name is empty or holds control characters");
  if (Find(model.Name) != nullptr) {
    return Fail(problem, "there is a model named \"" + model.Name + "\" already");
  }
  if (!model.Data) return Fail(problem, "a field of its record is unset");
  if (HasZeroByte(model.File) || HasZeroByte(model.Header.SatId.value_or("")) ||
      HasZeroByte(model.Header.BandId.value_or(""))) {
    return Fail(problem, "a zero byte stands in the name of its file, satellite or band");
  }
  model.Header.HasImage = false;
  const auto place = places_.emplace(model.Name, models_.size()).first;
  try {
    models_.push_back(std::move(model));
  } catch (...) {
    places_.erase(place);
    throw;
  }
  return true;
} catch (...) {
  return Fail(problem, "there is no memory for it");
}

bool TCipherRPCImpExpDataset::Remove(const std::string& name) {
  const auto found = places_.find(name);
  if (found == places_.end()) return false;
  const std::size_t place = found->second;
  places_.erase(found);
  models_.erase(models_.begin() + static_cast<std::ptrdiff_t>(place));
  for (auto& [of_model, its_place] : places_) its_place -= its_place > place ? 1 : 0;
  return true;
}

bool TCipherRPCImpExpDataset::InitializeFromDocument(TKaStream* stream, std::string* problem) try {
  const var_a<TKaXmlTagItem*> document = KaReadXml(stream, true, nullptr);
  TCipherRPCImpExpDataset read;
  ReadModels(*document, &read);
  *this = std::move(read);
  return true;
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the host cannot read it");
}

bool TCipherRPCImpExpDataset::SaveToDocument(TKaStream* stream, std::string* problem) const try {
  TKaXmlTagItem document(DocumentTag);
  document.Attributes.push_back({VersionKey, Version});
  for (const TRPCExchangeModel& model : models_) {
    CheckTexts(model);
    document.Items.push_back(MakeTag(model));
  }
  return WriteXml(stream, &document) || Fail(problem, "the stream does not take it");
} catch (const std::exception& failure) {
  return Fail(problem, failure.what());
} catch (...) {
  return Fail(problem, "the host cannot write it");
}

}  // namespace SatCommonUtils
