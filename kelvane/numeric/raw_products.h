/// \file
/// Matrix products over raw arrays, for tall design matrices. A matrix is an array of pointers to its rows,
/// element (row r, column c) at `A[r][c]`, such as `CreateMatrix` allocates; a vector is an array. All belong
/// to the caller, results included, and no pointer, shape or overlap is checked. Mind the size arguments:
/// their order differs from function to function.
///
/// Every element of a result is written. It is summed from 0.0 in increasing k by one thread, so that its
/// bits do not depend on the number of threads.
///
/// The functions that return `bool`, but for `MatrixTByVector`, work in parallel: each call sets, for the
/// whole process and for good, `omp_set_dynamic(0)` and `omp_set_num_threads(KaGetThreadsCount())`, and
/// shares the rows of the result out among the threads beforehand. They allocate nothing and return true.
/// Their `callback` must not be null. It is called once for each row of the result, after that row is done
/// (rows are worked out several at a time), by the thread that did it and maybe by several at once; its
/// result is ignored, and an exception that leaves it ends the process. A result without elements makes no
/// call.
#pragma once

#include <cstddef>

#include "kelvane/module/export.h"
#include "kelvane/numeric/matrix.h"

namespace SatCommonUtils {

/// C = A·B, m rows of q columns: `A` is m rows of p columns, `B` p rows of q columns.
KELVANE_API bool MatrixMultiplication(double** A, std::size_t p, std::size_t m, double** B, std::size_t q,
                                      double** C, int (*callback)());

/// C = Aᵀ·A, n rows of n columns and exactly symmetric: `A` is m rows of n columns.
KELVANE_API bool MultiplyATbyA(double** A, std::size_t m, std::size_t n, double** C, int (*callback)());

/// C = Aᵀ·B, n rows of q columns: `A` is m rows of n columns, `B` m rows of q columns.
KELVANE_API bool MultiplyATbyB(double** A, std::size_t n, std::size_t m, double** B, std::size_t q,
                               double** C, int (*callback)());

/// C = A·Bᵀ, m rows of q columns: `A` is m rows of p columns, `B` q rows of p columns.
KELVANE_API bool MultiplyAbyBT(double** A, std::size_t p, std::size_t m, double** B, std::size_t q,
                               double** C, int (*callback)());

/// y = A·x, m elements: `A` is m rows of n columns. An element of `y` counts as a row of the result.
KELVANE_API bool MatrixByVector(double** A, std::size_t n, std::size_t m, double* x, double* y,
                                int (*callback)());

/// y = Aᵀ·x, n elements, on the calling thread: `A` is m rows of n columns. `callback`, which may be null,
/// comes after each element; when it returns other than 0 the function returns false at once, with the
/// elements behind as they were. True otherwise.
KELVANE_API bool MatrixTByVector(double** A, std::size_t n, std::size_t m, double* x, double* y,
                                 int (*callback)());

/// The normal matrix of m observations (rows) of n unknowns (columns) of equal accuracy: `MultiplyATbyA`.
KELVANE_API bool CalculateNormalMatrix(double** A, std::size_t m, std::size_t n, double** C,
                                       int (*callback)());

/// The same for observations of the variances `p` (m of them; variances, not weights): C[i][j] is the sum of
/// A[k][i]·A[k][j]/p[k]. A variance of 0 gives what the division gives.
KELVANE_API bool CalculateNormalMatrix(double** A, std::size_t m, std::size_t n, double* p, double** C,
                                       int (*callback)());

/// C = A·B on the calling thread: `C` takes the width of `B` and the height of `A`; it may be one of them and
/// keeps its name. Each element is summed over the length of its row of `A`, which is at most the height of
/// `B`. `callback`, which must not be null, is called once for each row done; its result is ignored. Throws
/// `std::runtime_error` "double& TVector::operator[] (size_t index)" when a row of `B` that is needed is
/// shorter than `B` is wide; `C` is then, and when the callback throws, as it was.
KELVANE_API void MatrixMultiplication(const TMatrix& A, const TMatrix& B, TMatrix* C, int (*callback)());

}  // namespace SatCommonUtils
