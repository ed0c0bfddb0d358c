/// \file
/// The affine map as a member of the host's family of plane transforms.
#pragma once

#include <string>

#include "kelvane/module/export.h"
#include "kelvane/module/host/transform.h"
#include "kelvane/transforms/affine_2d.h"

namespace SatCommonUtils {

/// An affine transform with its inverse. The host makes it by its content name "sat_affine" once the
/// module has started. Safe to use from several threads while none of them changes it. Readers and writers
/// must not be null.
class KELVANE_API T2DAffineTransform : public TKa2DTransform {
 public:
  /// The identity, in both directions.
  T2DAffineTransform() = default;
  /// Throws `std::runtime_error` "T2DAffineTransform::T2DAffineTransform(const T2DAffineParams& src)" when
  /// the map has no inverse (see `Invert2DAffineParams`).
  explicit T2DAffineTransform(const T2DAffineParams& src);
  /// Reads the transform from the current section. Throws `std::runtime_error`
  /// "T2DAffineTransform::T2DAffineTransform(TKaXIniReader *src))", with both closing parentheses.
  explicit T2DAffineTransform(TKaXIniReader* src);
  /// Reads it from the sub-section `key`. Throws `std::runtime_error`
  /// "T2DAffineTransform::T2DAffineTransform(TKaXIniReader *src, std::string key)".
  T2DAffineTransform(TKaXIniReader* src, std::string key);

  /// Takes the map and its inverse; false, unchanged, when it has none.
  bool Initialize(const T2DAffineParams& src);
  /// The direct map.
  void GetParameters(T2DAffineParams* dst) const;
  /// By the map, and by the inverse that is kept. Outputs may be the places of the inputs.
  void DirectTransform(const double& x, const double& y, double* X, double* Y) const;
  void InverseTransform(const double& X, const double& Y, double* x, double* y) const;

  /// Reads section "Direct2DAffineTransform" and, when there is one, "Inverse2DAffineTransform": that
  /// inverse is taken as it stands. Without it the inverse is computed. Lets no exception out. False
  /// - when the direct section is missing or unreadable: the direct map may then be partly overwritten;
  /// - when the inverse section is unreadable: the direct map is then the one read, the inverse may be partly
  ///   overwritten;
  /// - when the map has no inverse and none is stored: the direct map is then the one read, the inverse that
  ///   from before;
  /// - when a section cannot be left.
  /// The two directions belong together only after a success.
  bool InitializeFromXML(TKaXIniReader* reader);
  bool InitializeFromXML(TKaXIniReader* reader, std::string key);
  /// Writes both sections, the direct one first; false at the first failure.
  bool SaveToXML(TKaXIniWriter* writer) const;
  bool SaveToXML(TKaXIniWriter* writer, std::string key) const;

  /// A copy with both directions, as they stand.
  var_a<TKa2DTransform*> CreateCopy() const override;
  /// A transform of the inverse map, its own inverse computed anew; throws as the constructor from
  /// parameters does.
  var_a<TKa2DTransform*> CreateInverseTransform() const override;
  /// As `DirectTransform` and `InverseTransform`.
  xy_d GetTraCoord(const xy_d& from) const override;
  xy_d GetInverseTraCoord(const xy_d& to) const override;
  /// Always 1.0.
  double GetTransformTime(bool inverse) const override;
  /// "sat_affine".
  const char* GetContentName() const override;
  /// `SaveToXML`; throws `std::runtime_error` "void T2DAffineTransform::SaveContent( TKaXIniWriter *ini)
  /// const" (on one line) when that fails.
  void SaveContent(TKaXIniWriter* ini) const override;
  /// `InitializeFromXML`; throws `std::runtime_error` "void T2DAffineTransform::LoadContent( TKaXIniReader
  /// *ini)" (on one line) when that fails.
  void LoadContent(TKaXIniReader* ini) override;

 private:
  T2DAffineParams direct_;
  T2DAffineParams inverse_;
};

}  // namespace SatCommonUtils
