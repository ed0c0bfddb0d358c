#include "kelvane/stereopairs/stereopairs_by_overlap_params.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <type_traits>
#include <utility>
#include <variant>

#include "kelvane/module/host/ini.h"
#include "kelvane/module/ini_sections.h"

namespace StereopairsByOverlap {

namespace {

using P = TStereopairsByOverlapParams;

enum class TPresence {
  Required,
  WhenChecked,  ///< required when the criterion counts
  Optional,
};

using TCondition = bool (*)(const P& params);

/// A field and what becomes of it; one without a key is none.
struct TField {
  const char* Key = nullptr;
  std::variant<bool P::*, double P::*, int P::*> Member{};
  double Default = 0.0;  ///< in every type
  double Invalid = 0.0;
  TPresence Presence = TPresence::Required;
  TCondition Defined = nullptr;  ///< written only then; always, when there is no condition
};

struct TCriterion {
  TField Check;
  TField Numbers[2];
  TField RejectUndef;
  TCondition Valid = nullptr;  ///< asked when the criterion counts
};

constexpr TField Flag(const char* key, bool P::*member, bool by_default, TPresence presence) {
  return {key, member, by_default ? 1.0 : 0.0, 1.0, presence, nullptr};
}

constexpr TField Check(const char* key, bool P::*member, TPresence presence = TPresence::Required) {
  return Flag(key, member, false, presence);
}

constexpr TField Reject(const char* key, bool P::*member, TPresence presence = TPresence::WhenChecked) {
  return Flag(key, member, true, presence);
}

template <class T>
constexpr TField Number(const char* key, T P::*member, double by_default, double invalid, TCondition defined,
                        TPresence presence = TPresence::WhenChecked) {
  return {key, member, by_default, invalid, presence, defined};
}

template <auto Member>
bool NotNegative(const P& params) {
  return params.*Member >= 0;
}

template <auto Member>
bool IsAngle(const P& params) {
  return params.*Member != P::UndefinedAngle;
}

template <auto Member>
bool Within(const P& params, double limit) {
  return params.*Member >= 0.0 && params.*Member <= limit;
}

bool AreConvergenceAngles(const P& params) {
  return IsAngle<&P::MinConvergenceAngle>(params) && IsAngle<&P::MaxConvergenceAngle>(params) &&
         params.MaxConvergenceAngle >= params.MinConvergenceAngle;
}

constexpr double Undefined = P::UndefinedAngle;

/// Every field, in the order of reading. Writing puts both flags of a criterion before its numbers.
constexpr TCriterion Criteria[] = {
    {Check("TiesRequired", &P::TiesRequired), {}, {}},
    {Check("CheckOverlapPercentage", &P::CheckOverlapPercentage),
     {Number("MinOverlapPercentage", &P::MinOverlapPercentage, 10.0, -1.0,
             [](const P& p) { return Within<&P::MinOverlapPercentage>(p, 100.0); })},
     Reject("RejectUndefOverlapPercentage", &P::RejectUndefOverlapPercentage),
     [](const P& p) { return p.MinOverlapPercentage > 0.0 && p.MinOverlapPercentage <= 100.0; }},
    {Check("CheckOverlapPixels", &P::CheckOverlapPixels),
     {Number("MinOverlapPixels", &P::MinOverlapPixels, 1.0, -1.0, NotNegative<&P::MinOverlapPixels>)},
     Reject("RejectUndefOverlapPixels", &P::RejectUndefOverlapPixels),
     [](const P& p) {
       return p.MinOverlapPixels > 0.0 && p.MinOverlapPixels != std::numeric_limits<double>::max();
     }},
    {Check("CheckConvergenceAngle", &P::CheckConvergenceAngle),
     {Number("MinConvergenceAngle", &P::MinConvergenceAngle, 10.0, Undefined, AreConvergenceAngles),
      Number("MaxConvergenceAngle", &P::MaxConvergenceAngle, 90.0, Undefined, AreConvergenceAngles)},
     Reject("RejectUndefConvergenceAngle", &P::RejectUndefConvergenceAngle),
     AreConvergenceAngles},
    {Check("TheSameSensor", &P::TheSameSensor),
     {},
     Reject("RejectUndefSensor", &P::RejectUndefSensor, TPresence::Required)},
    {Check("CheckTimeGap", &P::CheckTimeGap),
     {Number("MaxTimeGap", &P::MaxTimeGap, 0.1, -1.0, NotNegative<&P::MaxTimeGap>),
      Number(
          "MinTimeGap", &P::MinTimeGap, 0.0, 0.0, [](const P& p) { return p.MinTimeGap > 0.0; },
          TPresence::Optional)},
     Reject("RejectUndefTimeGap", &P::RejectUndefTimeGap),
     [](const P& p) { return p.MaxTimeGap >= 0.0 && p.MinTimeGap >= 0.0 && p.MaxTimeGap >= p.MinTimeGap; }},
    {Check("CheckDateGap", &P::CheckDateGap, TPresence::Optional),
     {Number("MaxDateGap", &P::MaxDateGap, 30, -1, NotNegative<&P::MaxDateGap>)},
     Reject("RejectUndefDateGap", &P::RejectUndefDateGap),
     NotNegative<&P::MaxDateGap>},
    {Check("CheckGSD", &P::CheckGSD),
     {Number("MaxGSDPercentDiff", &P::MaxGSDPercentDiff, 20.0, -1.0, NotNegative<&P::MaxGSDPercentDiff>)},
     Reject("RejectUndefGSD", &P::RejectUndefGSD),
     [](const P& p) { return Within<&P::MaxGSDPercentDiff>(p, 100.0); }},
    {Check("CheckSunAzimuthDiff", &P::CheckSunAzimuthDiff, TPresence::Optional),
     {Number("MaxSunAzimuthDiff", &P::MaxSunAzimuthDiff, 15.0, Undefined, IsAngle<&P::MaxSunAzimuthDiff>)},
     Reject("RejectUndefSunAzimuthDiff", &P::RejectUndefSunAzimuthDiff),
     [](const P& p) { return Within<&P::MaxSunAzimuthDiff>(p, 180.0); }},
    {Check("CheckSunElevationDiff", &P::CheckSunElevationDiff, TPresence::Optional),
     {Number("MaxSunElevationDiff", &P::MaxSunElevationDiff, 15.0, Undefined,
             IsAngle<&P::MaxSunElevationDiff>)},
     Reject("RejectUndefSunElevationDiff", &P::RejectUndefSunElevationDiff),
     [](const P& p) { return Within<&P::MaxSunElevationDiff>(p, 90.0); }},
};

bool IsChecked(const TCriterion& criterion, const P& params) {
  return params.*std::get<bool P::*>(criterion.Check.Member);
}

using TFields = std::array<const TField*, 4>;

TFields ReadingOrder(const TCriterion& c) { return {&c.Check, &c.Numbers[0], &c.Numbers[1], &c.RejectUndef}; }

TFields WritingOrder(const TCriterion& c) { return {&c.Check, &c.RejectUndef, &c.Numbers[0], &c.Numbers[1]}; }

template <class TMember>
using TValue = std::decay_t<decltype(std::declval<P&>().*std::declval<TMember>())>;

/// Gives every field that value of its own.
void Assign(double TField::*value, P* params) {
  for (const TCriterion& criterion : Criteria) {
    for (const TField* field : ReadingOrder(criterion)) {
      if (field->Key == nullptr) continue;
      std::visit([&](auto member) { params->*member = static_cast<TValue<decltype(member)>>(field->*value); },
                 field->Member);
    }
  }
}

void Read(TKaXIniReader* reader, const TField& field, bool checked, P* params) {
  const bool required =
      field.Presence == TPresence::Required || (field.Presence == TPresence::WhenChecked && checked);
  std::visit(
      [&](auto member) {
        using T = TValue<decltype(member)>;
        params->*member = required
                              ? reader->ReadE<T>(reader->FindFE(field.Key, 0))
                              : reader->Read<T>(reader->FindF(field.Key, 0), static_cast<T>(field.Default));
      },
      field.Member);
}

bool Write(TKaXIniWriter* writer, const TField& field, const P& params) {
  if (field.Key == nullptr || (field.Defined != nullptr && !field.Defined(params))) return true;
  return std::visit(
      [&](auto member) { return writer->WriteS<TValue<decltype(member)>>(field.Key, params.*member); },
      field.Member);
}

}  // namespace

void TStereopairsByOverlapParams::Reset() { Assign(&TField::Default, this); }

void TStereopairsByOverlapParams::Invalidate() { Assign(&TField::Invalid, this); }

TStereopairsByOverlapParams::operator bool() const {
  return std::all_of(std::begin(Criteria), std::end(Criteria), [this](const TCriterion& criterion) {
    return criterion.Valid == nullptr || !IsChecked(criterion, *this) || criterion.Valid(*this);
  });
}

bool TStereopairsByOverlapParams::InitializeFromXML(TKaXIniReader* reader) {
  Invalidate();
  try {
    for (const TCriterion& criterion : Criteria) {
      for (const TField* field : ReadingOrder(criterion)) {
        if (field->Key != nullptr) Read(reader, *field, IsChecked(criterion, *this), this);
      }
    }
  } catch (...) {
    Invalidate();
  }
  return static_cast<bool>(*this);
}

bool TStereopairsByOverlapParams::InitializeFromXML(TKaXIniReader* reader, const std::string& key) try {
  return SatCommonUtils::ReadSection(reader, key, [&] { return InitializeFromXML(reader); });
} catch (...) {
  return false;
}

bool TStereopairsByOverlapParams::SaveToXML(TKaXIniWriter* writer) const try {
  for (const TCriterion& criterion : Criteria) {
    for (const TField* field : WritingOrder(criterion)) {
      if (!Write(writer, *field, *this)) return false;
    }
  }
  return true;
} catch (...) {
  return false;
}

bool TStereopairsByOverlapParams::SaveToXML(TKaXIniWriter* writer, const std::string& key) const try {
  const unsigned long section = writer->BeginSection(key);
  if (section == 0) return false;
  const bool written = SaveToXML(writer);
  return writer->EndSection(section) && written;
} catch (...) {
  return false;
}

var_a<TStereopairsByOverlapParams*> CreateStereopairsByOverlapParams(TKaXIniReader* reader,
                                                                     const std::string& key) try {
  const auto params = new_a<TStereopairsByOverlapParams>();
  return params->InitializeFromXML(reader, key) ? params : nullptr;
} catch (...) {
  return nullptr;
}

}  // namespace StereopairsByOverlap
