/// \file
/// The blocks of weighted least-squares normal equations.
///
/// A is the design matrix: n = A.width unknowns (columns) by m = A.height observations (rows). Every sum runs
/// over the observations in order, from 0.0.
///
/// All three return false, with the output untouched, when a size is 0 or the sizes disagree; and throw
/// `std::runtime_error` "double& TVector::operator[] (size_t index)", with the output untouched too, when a
/// row is shorter than its matrix is wide. The output may be one of the inputs; it keeps its name.
#pragma once

#include "kelvane/module/export.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/vector.h"

namespace SatCommonUtils {

/// N = A^T W A, n by n and exactly symmetric, W the diagonal of the m weights `w`: element (i, j) is the sum
/// of w[k]*A(i, k)*A(j, k), j at most i.
KELVANE_API bool NormalEquationsMatrix(const TMatrix& A, const TVector& w, TMatrix* N);

/// u[i] is the sum of A(i, k)*(a[k]*b[k]): with the m observations `a` and their weights `b`, A^T W a.
KELVANE_API bool NormalEquationsFreeTerm(const TMatrix& A, const TVector& a, const TVector& b, TVector* u);

/// C = A^T W B, of width p = B.width and height n: element (j, i) is the sum of w[k]*A(i, k)*B(j, k). B has
/// m rows.
KELVANE_API bool NormalEquationsSubMatrix(const TMatrix& A, const TVector& w, const TMatrix& B, TMatrix* C);

}  // namespace SatCommonUtils
