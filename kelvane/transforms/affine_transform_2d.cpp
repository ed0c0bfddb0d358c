#include "kelvane/transforms/affine_transform_2d.h"

#include <stdexcept>

#include "kelvane/module/ini_sections.h"

namespace SatCommonUtils {

namespace {

constexpr char DirectSection[] = "Direct2DAffineTransform";
constexpr char InverseSection[] = "Inverse2DAffineTransform";

xy_d Apply(const T2DAffineParams& map, const xy_d& point) {
  return {map.A1 * point.x + map.A2 * point.y + map.A3, map.B1 * point.x + map.B2 * point.y + map.B3};
}

void Apply(const T2DAffineParams& map, double x, double y, double* to_x, double* to_y) {
  const xy_d to = Apply(map, xy_d{x, y});
  *to_x = to.x;
  *to_y = to.y;
}

}  // namespace

T2DAffineTransform::T2DAffineTransform(const T2DAffineParams& src) {
  if (!Initialize(src)) {
    throw std::runtime_error("T2DAffineTransform::T2DAffineTransform(const T2DAffineParams& src)");
  }
}

T2DAffineTransform::T2DAffineTransform(TKaXIniReader* src) {
  if (!InitializeFromXML(src)) {
    throw std::runtime_error("T2DAffineTransform::T2DAffineTransform(TKaXIniReader *src))");
  }
}

T2DAffineTransform::T2DAffineTransform(TKaXIniReader* src, std::string key) {
  if (!InitializeFromXML(src, key)) {
    throw std::runtime_error("T2DAffineTransform::T2DAffineTransform(TKaXIniReader *src, std::string key)");
  }
}

bool T2DAffineTransform::Initialize(const T2DAffineParams& src) {
  const T2DAffineParams direct = src;
  if (!Invert2DAffineParams(direct, &inverse_)) return false;
  direct_ = direct;
  return true;
}

void T2DAffineTransform::GetParameters(T2DAffineParams* dst) const { *dst = direct_; }

void T2DAffineTransform::DirectTransform(const double& x, const double& y, double* X, double* Y) const {
  Apply(direct_, x, y, X, Y);
}

void T2DAffineTransform::InverseTransform(const double& X, const double& Y, double* x, double* y) const {
  Apply(inverse_, X, Y, x, y);
}

bool T2DAffineTransform::InitializeFromXML(TKaXIniReader* reader) try {
  if (!SatCommonUtils::InitializeFromXML(reader, DirectSection, &direct_)) return false;
  const unsigned long section = reader->EnterSectionS(InverseSection);
  if (section == 0) return Invert2DAffineParams(direct_, &inverse_);
  return ReadEnteredSection(reader, section,
                            [&] { return SatCommonUtils::InitializeFromXML(reader, &inverse_); });
} catch (...) {
  return false;
}

bool T2DAffineTransform::InitializeFromXML(TKaXIniReader* reader, std::string key) try {
  return ReadSection(reader, key, [&] { return InitializeFromXML(reader); });
} catch (...) {
  return false;
}

bool T2DAffineTransform::SaveToXML(TKaXIniWriter* writer) const try {
  return SatCommonUtils::SaveToXML(direct_, writer, DirectSection) &&
         SatCommonUtils::SaveToXML(inverse_, writer, InverseSection);
} catch (...) {
  return false;
}

bool T2DAffineTransform::SaveToXML(TKaXIniWriter* writer, std::string key) const try {
  return WriteSection(writer, key, [&] { return SaveToXML(writer); });
} catch (...) {
  return false;
}

var_a<TKa2DTransform*> T2DAffineTransform::CreateCopy() const { return new_a<T2DAffineTransform>(*this); }

var_a<TKa2DTransform*> T2DAffineTransform::CreateInverseTransform() const {
  return new_a<T2DAffineTransform>(inverse_);
}

xy_d T2DAffineTransform::GetTraCoord(const xy_d& from) const { return Apply(direct_, from); }

xy_d T2DAffineTransform::GetInverseTraCoord(const xy_d& to) const { return Apply(inverse_, to); }

double T2DAffineTransform::GetTransformTime(bool) const { return 1.0; }

const char* T2DAffineTransform::GetContentName() const { return "sat_affine"; }

void T2DAffineTransform::SaveContent(TKaXIniWriter* ini) const {
  if (!SaveToXML(ini)) {
    throw std::runtime_error("void T2DAffineTransform::SaveContent( TKaXIniWriter *ini) const");
  }
}

void T2DAffineTransform::LoadContent(TKaXIniReader* ini) {
  if (!InitializeFromXML(ini)) {
    throw std::runtime_error("void T2DAffineTransform::LoadContent( TKaXIniReader *ini)");
  }
}

}  // namespace SatCommonUtils
