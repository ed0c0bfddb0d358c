#include "kelvane/numeric/linear_solvers.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "kelvane/numeric/elimination.h"
#include "kelvane/numeric/row_solvers.h"
#include "kelvane/numeric/small_systems.h"

namespace SatCommonUtils {

namespace {

/// The rows of a `TMatrix`; exchanging two exchanges their arrays.
struct TMatrixRows {
  TVector* Rows;
  double* operator[](std::size_t i) const { return Rows[i].data; }
  void Exchange(std::size_t i, std::size_t j) const { std::swap(Rows[i], Rows[j]); }
};

/// Throws the index error when the vector has fewer than n elements.
void Require(const TVector& v, std::size_t n) {
  if (n > 0) static_cast<void>(v[n - 1]);
}

/// The same when one of the first `count` rows is missing or has fewer than n elements.
void RequireRows(const TMatrix& A, std::size_t count, std::size_t n) {
  if (A.height < count) Require(TVector(), 1);
  for (std::size_t r = 0; r < count; ++r) Require(A.rows[r], n);
}

/// Pointers to the rows, which must hold at least n elements; `Element` is what the caller may do with them.
template <class Element>
std::vector<Element*> RowPointers(const TMatrix& A, std::size_t count, std::size_t n) {
  RequireRows(A, count, n);
  std::vector<Element*> rows(count);
  for (std::size_t r = 0; r < count; ++r) rows[r] = A.rows[r].data;
  return rows;
}

}  // namespace

double GaussTriangle(TMatrix& A, TVector& b, TVector& x) {
  const std::size_t n = b.size;
  RequireRows(A, n, n);
  std::size_t columns = n == 0 ? 0 : A.rows[0].size;
  for (std::size_t r = 1; r < n; ++r) columns = std::min(columns, A.rows[r].size);

  const TMatrixRows rows{A.rows};
  const double determinant = Triangulate(rows, b.data, n, TWholeRows{columns}, TUnwatched());
  if (determinant != 0.0) {
    Require(x, n);
    SubstituteBack(rows, b.data, x.data, n);
  }
  return determinant;
}

double Gauss(const TMatrix& A, const TVector& b, TVector& x) {
  const std::size_t n = b.size;
  const std::vector<const double*> rows = RowPointers<const double>(A, n, n);
  std::vector<double> solution(n);
  const double determinant = GaussRows(rows.data(), b.data, solution.data(), n);
  if (determinant != 0.0) {
    Require(x, n);
    std::copy(solution.begin(), solution.end(), x.data);
  }
  return determinant;
}

double Cond(const TMatrix& A) { return (~A).Norma1() * A.Norma1(); }

bool CholesskyDecomposition(const TMatrix& A, TMatrix& U, int (*callback)()) {
  const std::size_t n = A.width;
  const std::vector<double*> factor = RowPointers<double>(U, n, n);
  return DecomposeRows(RowPointers<const double>(A, n, n).data(), factor.data(), n, callback);
}

bool Cholesky(const TMatrix& A, const TVector& b, TVector& x) {
  const std::size_t n = A.width;
  Require(b, n);
  std::vector<double> solution(n);
  if (!CholeskyRows(RowPointers<const double>(A, n, n).data(), b.data, solution.data(), n, nullptr))
    return false;
  Require(x, n);
  std::copy(solution.begin(), solution.end(), x.data);
  return true;
}

bool CholeskyMatrixInversion(const TMatrix& A, TMatrix* Ainv, int (*callback)()) {
  const std::size_t n = A.width;
  const std::vector<double*> inverse = RowPointers<double>(*Ainv, n, n);
  return InvertRows(RowPointers<const double>(A, n, n).data(), inverse.data(), n, callback);
}

bool SolveEquationsSet(const double& a, const double& b, const double& c, const double& d, const double& e,
                       const double& f, double* x, double* y) {
  return SmallEquationsSet(a, b, c, d, e, f, x, y);
}

namespace {

/// The determinant of the rows (r[0], r[1], r[2]), (r[3], ...), (r[6], ...), expanded along the first.
double Determinant3(const double* r) {
  return r[0] * (r[4] * r[8] - r[5] * r[7]) - r[1] * (r[3] * r[8] - r[5] * r[6]) +
         r[2] * (r[3] * r[7] - r[4] * r[6]);
}

}  // namespace

void SolveKramer3(const double* A, const double* b, double* x) {
  const double determinant = Determinant3(A);
  if (determinant == 0.0) return;
  double solution[3];
  for (std::size_t i = 0; i < 3; ++i) {
    double replaced[9];
    std::copy_n(A, 9, replaced);
    for (std::size_t r = 0; r < 3; ++r) replaced[3 * r + i] = b[r];
    solution[i] = Determinant3(replaced) / determinant;
  }
  std::copy_n(solution, 3, x);
}

void TLinearSystem::Set(const TMatrix& coef, const TVector& free) { *this = TLinearSystem(coef, free); }

double TLinearSystem::SolutionGauss(TVector& x) const {
  if (x.size != free_.size) x.Reset(free_.size);
  return Gauss(coef_, free_, x);
}

double TLinearSystem::Det() const {
  TVector x;
  return SolutionGauss(x);
}

TOverdefinedLinearSystem::TOverdefinedLinearSystem(const TMatrix& A, const TVector& l)
    : TOverdefinedLinearSystem(A, l, TVector(l.size).FillWithValue(1.0)) {}

TOverdefinedLinearSystem::TOverdefinedLinearSystem(const TMatrix& A, const TVector& l, const TVector& w)
    : coef_(A), free_(l), weights_(w) {
  if (A.height < A.width || l.size != A.height || l.size == 0 || w.size != l.size) {
    throw "TOverdefinedLinearSystem::TOverdefinedLinearSystem(const TMatrix&,const TVector&)";
  }
}

void TOverdefinedLinearSystem::Solution(TVector& x) const { Solve(x); }

bool TOverdefinedLinearSystem::Solve(TVector& x) const {
  const std::size_t n = coef_.width;
  const std::size_t m = coef_.height;
  const std::vector<const double*> rows = RowPointers<const double>(coef_, m, n);
  std::vector<double> solution(n);
  const TLeastSquaresEnd end =
      LeastSquaresRows(rows.data(), free_.data, weights_.data, solution.data(), n, m, nullptr);
  x.Reset(n);
  std::copy(solution.begin(), solution.end(), x.data);
  return end == TLeastSquaresEnd::Solved;
}

}  // namespace SatCommonUtils
