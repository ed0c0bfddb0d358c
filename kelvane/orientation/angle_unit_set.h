/// \file
/// Polynomials in time for the attitude angles of a series of rotation matrices. Angles in radians; names,
/// matrices and poles as in attitude_angles.h.
#pragma once

#include <cstddef>
#include <memory>

#include "kelvane/module/export.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/polynomial.h"

namespace SatCommonUtils {
namespace SatAttitudeAngles {

/// Polynomials that `ApproximateAngles` fits to a series whose angles are polynomials of the fitted degrees
/// give every matrix of the series again with no element off by more, when the degrees are up to 3, each
/// angle keeps within π/2 of the reference of `TAngleUnitSet`, each matrix is at a pole or at least 0.02 rad
/// away from it, and ten or more are away from the poles, or all at them, their times spread over -1 to 1.
/// (Nearer, γ and ψ carry errors of 2ε / distance², which go into the whole fit; with other times or higher
/// degrees the normal equations lose more digits.)
constexpr double AngleFitBound = 1e-12;

/// Where the second turn stands. `AtPlusPole` is ν = +π/2, `AtMinusPole` ν = -π/2.
enum TE_AngleUnitKind : int { Regular = 0, AtPlusPole = 1, AtMinusPole = 2 };

/// The angles of one matrix. At a pole `gamma` and `psi` both hold the combination that is determined there:
/// ψ + γ at +π/2, γ - ψ at -π/2.
struct TAngleUnit {
  int kind;  ///< `TE_AngleUnitKind`
  /// ν, γ and ψ in radians.
  double nyu;
  double gamma;
  double psi;
};

/// The angles of a series of matrices, made continuous: of each matrix's two triples the one that lies within
/// π/2 of a reference in each angle, in ranges whose seams lie away from the reference. A series that strays
/// farther from it is not detected, and its angles jump.
///
/// The reference of n records is record n/2 when none or all of them are at a pole. Else its ν is that of the
/// last record at a pole, and γ and ψ are those of the first regular record from n/2 on; when there is none,
/// of the earliest regular record but record 0, which comes last. Of this record's two triples they are the
/// one whose ν lies within π/2 of the pole.
class KELVANE_API TAngleUnitSet {
 public:
  /// Empty.
  TAngleUnitSet() = default;

  /// Empties the set.
  void Reset();

  /// Takes the angles of the n matrices; always true. What the allocator throws and the index error of a
  /// matrix smaller than 3 x 3 pass through, and the set is then empty.
  bool Set(TMatrix* matrices, std::size_t n);

  /// Fits polynomials in time by least squares: ν alone, γ and ψ in one system, in which a record at a pole
  /// is one equation for their combination (Å. Björck, Numerical Methods for Least Squares Problems, SIAM
  /// 1996). `times` holds a time per record, in any unit; each array of coefficients its degree + 1 elements,
  /// the constant first.
  ///
  /// Bring the times to about -1 to 1 first; an offset that is large beside their spread costs most, and the
  /// result stays true. For times over 2 s the angles come out wrong by 1e-6 rad at an offset of 8e4 s and by
  /// 0.01 rad at 1e7 s in degree 1, by 4e-9 rad at 10 s and by 0.03 rad at 1e3 s in degree 3.
  ///
  /// False when a degree is negative, or not below the number of different times; when the fit is singular or
  /// not finite; or when poles leave γ + ψ or γ - ψ known at no more different times than the lower of both
  /// degrees. Throws the C string (`const char*`) of `TOverdefinedLinearSystem` when there are fewer
  /// equations than unknowns, as many poles make them. The arrays are then unchanged. Not detected, when
  /// rounding hides it, is a system of different degrees for γ and ψ that poles leave undetermined with both
  /// combinations known at more times than the lower degree, but not than the higher.
  bool Aproximate(double* times, int degNyu, int degGamma, int degPsi, double* coefsNyu, double* coefsGamma,
                  double* coefsPsi);

  /// Number of angle sets.
  std::size_t Count() const { return count_; }
  /// How many of the records are at a pole. When all are, they are made regular: ψ is 0, γ has the
  /// combination, and none is counted.
  std::size_t PoleCount() const { return pole_count_; }
  /// Record `i` below `Count()`, which is not checked.
  const TAngleUnit& Unit(std::size_t i) const { return units_[i]; }

 private:
  std::unique_ptr<TAngleUnit[]> units_;
  std::size_t count_ = 0;
  std::size_t pole_count_ = 0;
};

/// `TAngleUnitSet::Set`, then `Aproximate`: bring the times to about -1 to 1 here too. False, the arrays
/// unchanged, when that is false or anything throws, as with no matrix at all.
KELVANE_API bool ApproximateAngles(TMatrix* matrices, double* times, std::size_t n, int degNyu, int degGamma,
                                   int degPsi, double* coefsNyu, double* coefsGamma, double* coefsPsi);

/// The same in the degrees that the polynomials have; false leaves them unchanged.
KELVANE_API bool ApproximateAngles(TMatrix* matrices, double* times, std::size_t n, TPolynome* nyu,
                                   TPolynome* gamma, TPolynome* psi);

}  // namespace SatAttitudeAngles
}  // namespace SatCommonUtils
