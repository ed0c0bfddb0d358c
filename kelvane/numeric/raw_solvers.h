/// \file
/// Linear solvers over raw arrays. A matrix is an array of pointers to its rows, element (row r, column c) at
/// `A[r][c]`, such as `CreateMatrix` allocates; a vector is an array. All belong to the caller, the rows of a
/// matrix are different arrays, and no pointer to them is checked. `callback` may be null; it is called on
/// the calling thread after each unit of work, and where the function says so a non-zero result cancels.
///
/// Singularity and cancelling are told by the result, never by an exception; an allocation that fails throws
/// `std::bad_alloc`. For the accuracy see linear_solvers.h.
#pragma once

#include <cstddef>

#include "kelvane/module/export.h"

namespace SatCommonUtils {

/// Solves A·x = b for n equations by Gaussian elimination with partial pivoting, in place: `A` is left upper
/// triangular with its row pointers exchanged (what stands left of the diagonal is rounding), `b` likewise.
/// Returns the determinant; 0.0, with `x` not written, when it is 0.0 exactly, when a pivot column is all
/// zeros, or when cancelled. The callback comes after each of the n - 1 pivot columns. Zero equations have
/// the determinant 1.
KELVANE_API double Gauss(double** A, double* b, double* x, std::size_t n, int (*callback)());

/// Writes the upper triangular factor of the symmetric positive definite n x n matrix A = Uᵀ·U, with zeros
/// below its diagonal. Reads the upper triangle of `A` only; `U` may be `A`. False when a diagonal element is
/// not left above 1e-20 (a NaN is not), or when the callback, which comes after each row, cancels: the rows
/// of `U` before are then finished, with zeros below their diagonal elements, and the others untouched.
KELVANE_API bool CholesskyDecomposition(double** A, double** U, std::size_t n, int (*callback)());

/// Solves A·x = b for a symmetric positive definite `A`, which with `b` stays as it is; `x` may be `b`.
/// False, `x` not written, when `A` is not positive definite or the callback cancels. It comes after each row
/// of the decomposition and each element of the forward and the back substitution: 3·n times.
KELVANE_API bool Cholesky(double** A, double* b, double* x, std::size_t n, int (*callback)());

/// Writes the inverse of a symmetric positive definite n x n matrix, column by column; `Ainv` may be `A`.
/// False, `Ainv` not written, when `A` is not positive definite. The callback comes after each column; its
/// result is ignored.
KELVANE_API bool CholeskyMatrixInversion(double** A, double** Ainv, std::size_t n, int (*callback)());

/// Weighted least squares, A·x = l with m observations (rows) of n unknowns (columns). `w` holds the m
/// weights; null makes every weight 1. The normal equations are solved by Cholesky, and by elimination when
/// that fails; `x` is all zeros when that fails too. False, `x` not written, only when the callback, which
/// comes after each of the n rows of the normal matrix, cancels.
KELVANE_API bool SolveOverdefined(double** A, double* l, double* w, double* x, std::size_t n, std::size_t m,
                                  int (*callback)());

}  // namespace SatCommonUtils
