#include "kelvane/orientation/angle_unit_set.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "kelvane/numeric/different_numbers.h"
#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/polynomial_approximation.h"
#include "kelvane/numeric/rounded.h"
#include "kelvane/orientation/attitude_angles.h"

namespace SatCommonUtils {
namespace SatAttitudeAngles {

namespace {

constexpr double TwoPi = 2.0 * M_PI;

/// What the records are brought near to.
struct TReference {
  double nyu;
  double gamma;
  double psi;
};

TReference Angles(const TAngleUnit& unit) { return {unit.nyu, unit.gamma, unit.psi}; }

bool IsFar(double angle, double reference) {
  return std::fabs(GetArranged_PI_PI(angle - reference)) > M_PI_2;
}

/// Away from the seam: in [0, 2π) when the reference within (-π, π] is nearer to π than to 0, else in
/// (-π, π].
double InRangeOf(double reference, double angle) {
  return std::fabs(reference) >= M_PI_2 ? GetArranged_0_2PI(angle) : GetArranged_PI_PI(angle);
}

// The regular record that stands for its series when there are poles, with m = n / 2:
//
//   records           0   1  ...  m-1   m   m+1 ...  n-1
//   preference      last          then  first, in this order
//
// The distance to m is unsigned: what lies before m counts as very far, and among those the first one met
// stays. A choice of 0 also says that nothing is chosen yet, so record 0 gives way to any other. Callers
// depend on the angles that come of it; it stays as it is.
bool Supersedes(std::size_t i, std::size_t chosen, std::size_t middle) {
  return chosen == 0 || static_cast<double>(i - middle) < static_cast<double>(chosen - middle);
}

/// Angles and kinds as they come, and which records matter for the reference.
struct TExtraction {
  std::size_t PoleCount = 0;
  std::size_t LastPole = 0;
  std::size_t Chosen = 0;
};

TExtraction Extract(TMatrix* matrices, std::size_t n, TAngleUnit* units) {
  TExtraction found;
  for (std::size_t i = 0; i < n; ++i) {
    TAngleUnit& unit = units[i];
    const double sine = GetAnglesExt(matrices[i], unit.nyu, unit.gamma, unit.psi);
    unit.kind = sine >= 1.0 ? AtPlusPole : sine <= -1.0 ? AtMinusPole : Regular;
    if (unit.kind != Regular) {
      ++found.PoleCount;
      found.LastPole = i;
    } else if (Supersedes(i, found.Chosen, n / 2)) {
      found.Chosen = i;
    }
  }
  return found;
}

// | Poles | Reference nu     | Reference gamma, psi                                                   |
// |-------|------------------|------------------------------------------------------------------------|
// | none  | record n/2       | record n/2                                                             |
// | all   | record n/2       | record n/2: the combination, 0                                         |
// | some  | last pole (±π/2) | chosen record; its twin's when it is more than π/2 of nu from the pole |
TReference Reference(const TAngleUnit* units, std::size_t n, const TExtraction& found) {
  if (found.PoleCount == 0) return Angles(units[n / 2]);
  const TAngleUnit& chosen = units[found.Chosen];
  TReference reference = Angles(chosen);
  reference.nyu = units[found.LastPole].nyu;
  if (IsFar(chosen.nyu, reference.nyu)) {
    reference.gamma += M_PI;
    reference.psi += M_PI;
  }
  return reference;
}

// | Triple | nu     | gamma     | psi     |
// |--------|--------|-----------|---------|
// | found  | ν      | γ         | ψ       |
// | twin   | π - ν  | γ + π     | ψ + π   |
void TakeTwinIfFar(const TReference& reference, TAngleUnit* unit) {
  if (!IsFar(unit->nyu, reference.nyu) && !IsFar(unit->gamma, reference.gamma) &&
      !IsFar(unit->psi, reference.psi))
    return;
  unit->nyu = M_PI - unit->nyu;
  unit->gamma += M_PI;
  unit->psi += M_PI;
}

/// Whole turns to both angles, which hold the combination, until it is within π of the reference's.
void TurnTowards(double combination, TAngleUnit* unit) {
  while (unit->gamma - combination > M_PI) {
    unit->gamma -= TwoPi;
    unit->psi -= TwoPi;
  }
  while (combination - unit->gamma > M_PI) {
    unit->gamma += TwoPi;
    unit->psi += TwoPi;
  }
}

// | Record  | nu                       | gamma and psi                                          |
// |---------|--------------------------|--------------------------------------------------------|
// | regular | range of the reference's | range of the reference's, each                         |
// | +90°    | range of the reference's | both hold ψ + γ: within π of the reference's γ + ψ     |
// | -90°    | range of the reference's | both hold γ - ψ: within π of the reference's γ - ψ     |
void ChooseRanges(TReference reference, TAngleUnit* units, std::size_t n) {
  reference.nyu = GetArranged_PI_PI(reference.nyu);
  reference.gamma = GetArranged_PI_PI(reference.gamma);
  reference.psi = GetArranged_PI_PI(reference.psi);
  const double gamma = InRangeOf(reference.gamma, reference.gamma);
  const double psi = InRangeOf(reference.psi, reference.psi);
  std::for_each(units, units + n, [&](TAngleUnit& unit) {
    unit.nyu = InRangeOf(reference.nyu, unit.nyu);
    switch (unit.kind) {
      case AtMinusPole:
        TurnTowards(gamma - psi, &unit);
        break;
      case AtPlusPole:
        TurnTowards(gamma + psi, &unit);
        break;
      default:
        unit.gamma = InRangeOf(reference.gamma, unit.gamma);
        unit.psi = InRangeOf(reference.psi, unit.psi);
    }
  });
}

/// The equations of γ and ψ, one by one: coefficients of γ, then of ψ, in ascending powers.
class TJointSystem {
 public:
  TJointSystem(std::size_t equations, int gamma_degree, int psi_degree)
      : gamma_count_(static_cast<std::size_t>(gamma_degree) + 1),
        psi_count_(static_cast<std::size_t>(psi_degree) + 1),
        design_(gamma_count_ + psi_count_, equations),
        observed_(equations) {}

  /// gamma_factor · γ(t) + psi_factor · ψ(t) = value.
  void Add(double t, double gamma_factor, double psi_factor, double value) {
    double* const row = design_.rows[next_].data;
    for (std::size_t k = 0; k < gamma_count_; ++k) row[k] = gamma_factor * Power(t, k);
    for (std::size_t k = 0; k < psi_count_; ++k) row[gamma_count_ + k] = psi_factor * Power(t, k);
    observed_[next_++] = value;
  }

  /// False when the system is singular or the solution not finite.
  bool Solve(TVector* solution) const {
    return TOverdefinedLinearSystem(design_, observed_).Solve(*solution) &&
           std::all_of(solution->data, solution->data + solution->size,
                       [](double coef) { return std::isfinite(coef); });
  }

 private:
  static double Power(double t, std::size_t k) { return rounded::pow(t, static_cast<double>(k)); }

  std::size_t gamma_count_;
  std::size_t psi_count_;
  TMatrix design_;
  TVector observed_;
  std::size_t next_ = 0;
};

}  // namespace

void TAngleUnitSet::Reset() {
  units_.reset();
  count_ = 0;
  pole_count_ = 0;
}

bool TAngleUnitSet::Set(TMatrix* matrices, std::size_t n) {
  Reset();
  if (n == 0) return true;
  auto units = std::make_unique<TAngleUnit[]>(n);
  TExtraction found = Extract(matrices, n, units.get());
  if (found.PoleCount == n) {
    for (std::size_t i = 0; i < n; ++i) {
      units[i].kind = Regular;
      units[i].psi = 0.0;
    }
    found.PoleCount = 0;
  }
  const TReference reference = Reference(units.get(), n, found);
  for (std::size_t i = 0; i < n; ++i) {
    if (units[i].kind == Regular) TakeTwinIfFar(reference, &units[i]);
  }
  ChooseRanges(reference, units.get(), n);

  units_ = std::move(units);
  count_ = n;
  pole_count_ = found.PoleCount;
  return true;
}

bool TAngleUnitSet::Aproximate(double* times, int degNyu, int degGamma, int degPsi, double* coefsNyu,
                               double* coefsGamma, double* coefsPsi) {
  for (const int degree : {degNyu, degGamma, degPsi}) {
    if (degree < 0 || !HasDifferent(times, count_, static_cast<std::size_t>(degree) + 1)) return false;
  }
  std::vector<double> values(count_);
  std::transform(units_.get(), units_.get() + count_, values.begin(),
                 [](const TAngleUnit& unit) { return unit.nyu; });
  TLeastSquaresPolynomialApproximation nyu(degNyu);
  if (!nyu.Build(count_, times, values.data())) return false;

  TJointSystem system(2 * (count_ - pole_count_) + pole_count_, degGamma, degPsi);
  std::vector<double> sum_times;         // where γ + ψ is determined
  std::vector<double> difference_times;  // where γ - ψ is
  for (std::size_t i = 0; i < count_; ++i) {
    const TAngleUnit& unit = units_[i];
    if (unit.kind != AtMinusPole) sum_times.push_back(times[i]);
    if (unit.kind != AtPlusPole) difference_times.push_back(times[i]);
    if (unit.kind == Regular) {
      system.Add(times[i], 1.0, 0.0, unit.gamma);
      system.Add(times[i], 0.0, 1.0, unit.psi);
    } else {
      system.Add(times[i], 1.0, unit.kind == AtPlusPole ? 1.0 : -1.0, unit.gamma);
    }
  }
  TVector joint;
  if (!system.Solve(&joint)) return false;
  // Each combination may be any polynomial of the lower degree, and rounding may hide that it is left open.
  const std::size_t needed = static_cast<std::size_t>(std::min(degGamma, degPsi)) + 1;
  for (const std::vector<double>& known : {sum_times, difference_times}) {
    if (!HasDifferent(known.data(), known.size(), needed)) return false;
  }

  nyu.GetCoefs(coefsNyu, degNyu + 1);
  std::copy_n(joint.data, degGamma + 1, coefsGamma);
  std::copy_n(joint.data + degGamma + 1, degPsi + 1, coefsPsi);
  return true;
}

bool ApproximateAngles(TMatrix* matrices, double* times, std::size_t n, int degNyu, int degGamma, int degPsi,
                       double* coefsNyu, double* coefsGamma, double* coefsPsi) try {
  TAngleUnitSet set;
  return set.Set(matrices, n) &&
         set.Aproximate(times, degNyu, degGamma, degPsi, coefsNyu, coefsGamma, coefsPsi);
} catch (...) {
  return false;
}

bool ApproximateAngles(TMatrix* matrices, double* times, std::size_t n, TPolynome* nyu, TPolynome* gamma,
                       TPolynome* psi) try {
  const auto room = [](const TPolynome& p) {
    return std::vector<double>(static_cast<std::size_t>(p.Order() + 1));
  };
  std::vector<double> coefs_nyu = room(*nyu);
  std::vector<double> coefs_gamma = room(*gamma);
  std::vector<double> coefs_psi = room(*psi);
  return ApproximateAngles(matrices, times, n, nyu->Order(), gamma->Order(), psi->Order(), coefs_nyu.data(),
                           coefs_gamma.data(), coefs_psi.data()) &&
         nyu->Initialize(coefs_nyu, false) && gamma->Initialize(coefs_gamma, false) &&
         psi->Initialize(coefs_psi, false);
} catch (...) {
  return false;
}

}  // namespace SatAttitudeAngles
}  // namespace SatCommonUtils
