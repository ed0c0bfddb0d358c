#include "kelvane/numeric/raw_products.h"

#include <omp.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "kelvane/module/host/runtime.h"
#include "kelvane/numeric/matrix_rows.h"
#include "kelvane/numeric/row_product.h"
#include "kelvane/numeric/row_product_tile.h"
#include "kelvane/numeric/simd_dispatch.h"

namespace SatCommonUtils {

namespace {

/// How many columns, or rows, are summed side by side for a vector: a line of the cache.
constexpr std::size_t SideBySide = 8;

struct TRange {
  std::size_t First;
  std::size_t Last;
};

/// One of the threads that share a result.
struct TWorker {
  std::size_t Number;
  std::size_t Count;
};

/// `work` must let no exception out.
template <class TWork>
void InParallel(TWork work) {
  omp_set_dynamic(0);
  omp_set_num_threads(KaGetThreadsCount());
  // What is chosen, and perhaps told, at the first use is so here and not among the threads.
  SimdTargetIndex();
#pragma omp parallel
  work(TWorker{static_cast<std::size_t>(omp_get_thread_num()),
               static_cast<std::size_t>(omp_get_num_threads())});
}

/// An exception must not leave the parallel region: it ends the process here.
void Report(int (*callback)(), std::size_t rows) noexcept {
  for (std::size_t i = 0; i < rows; ++i) callback();
}

TRange EvenShare(std::size_t rows, TWorker worker) {
  const auto start = [=](std::size_t number) {
    return rows / worker.Count * number + std::min(number, rows % worker.Count);
  };
  return {start(worker.Number), start(worker.Number + 1)};
}

/// Shares out rows of an n x n triangle, of which row i has n - i elements, so that all have about as many.
TRange TriangleShare(std::size_t n, TRange rows, TWorker worker) {
  // Tiles of terms that are read where they stand have so many rows.
  constexpr std::size_t Step = KeptTileHeight;
  const auto elements = [=](std::size_t last) {
    return (last - rows.First) * (2 * n + 1 - rows.First - last);
  };
  const auto start = [=](std::size_t number) {
    std::size_t row = rows.First;
    const std::size_t wanted = elements(rows.Last) / worker.Count * number;
    while (row + Step / 2 < rows.Last && elements(row + Step / 2) < wanted) row += Step;
    return std::min(row, rows.Last);
  };
  return {start(worker.Number), worker.Number + 1 == worker.Count ? rows.Last : start(worker.Number + 1)};
}

/// `strip(first, last)` for at most `most` rows of a share at a time.
template <class TStrip>
void ForStrips(TRange rows, std::size_t most, TStrip strip) {
  for (std::size_t i = rows.First; i < rows.Last; i += most) strip(i, std::min(rows.Last, i + most));
}

bool MultiplyInParallel(const TRowProduct& product, std::size_t height, int (*callback)()) {
  const std::size_t rows = product.Width == 0 ? 0 : height;
  InParallel([&](TWorker worker) {
    ForStrips(EvenShare(rows, worker), RowsTogether, [&](std::size_t first, std::size_t last) {
      MultiplyRows(product, first, last);
      Report(callback, last - first);
    });
  });
  return true;
}

/// Aᵀ·A from its upper triangle: the product of two numbers is the same either way round. Of a large
/// triangle rows are completed band by band, so that the callback tells of progress.
bool SquareInParallel(double* const* A, std::size_t m, std::size_t n, const double* divisors, double** C,
                      int (*callback)()) {
  const TRowProduct product{{A}, {A}, m, n, C, divisors, true};
  InParallel([&](TWorker worker) {
    ForStrips({0, n}, RowsTogether * worker.Count, [&](std::size_t first, std::size_t last) {
      const TRange own = TriangleShare(n, {first, last}, worker);
      MultiplyRows(product, own.First, own.Last);
      // What is mirrored stands in the rows of the others too.
#pragma omp barrier
      MirrorUpper(C, own.First, own.Last);
      Report(callback, own.Last - own.First);
    });
  });
  return true;
}

/// y[i] = A[i]·x for rows from `first` to before `last`.
void MultiplyByVector(const double* const* A, std::size_t n, const double* x, double* y, std::size_t first,
                      std::size_t last) {
  if (last - first < SideBySide) {
    for (std::size_t i = first; i < last; ++i) {
      double sum = 0.0;
      for (std::size_t k = 0; k < n; ++k) sum += A[i][k] * x[k];
      y[i] = sum;
    }
    return;
  }
  double sums[SideBySide] = {};
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t i = 0; i < SideBySide; ++i) sums[i] += A[first + i][k] * x[k];
  }
  std::copy_n(sums, SideBySide, y + first);
}

/// sums[c] = column j + c of `A` by x, for `width` columns.
void MultiplyColumns(const double* const* A, std::size_t j, std::size_t width, std::size_t m, const double* x,
                     double* sums) {
  std::fill_n(sums, width, 0.0);
  for (std::size_t k = 0; k < m; ++k) {
    for (std::size_t c = 0; c < width; ++c) sums[c] += A[k][j + c] * x[k];
  }
}

}  // namespace

bool MatrixMultiplication(double** A, std::size_t p, std::size_t m, double** B, std::size_t q, double** C,
                          int (*callback)()) {
  return MultiplyInParallel({{A, true}, {B}, p, q, C}, m, callback);
}

bool MultiplyATbyA(double** A, std::size_t m, std::size_t n, double** C, int (*callback)()) {
  return SquareInParallel(A, m, n, nullptr, C, callback);
}

bool MultiplyATbyB(double** A, std::size_t n, std::size_t m, double** B, std::size_t q, double** C,
                   int (*callback)()) {
  return MultiplyInParallel({{A}, {B}, m, q, C}, n, callback);
}

bool MultiplyAbyBT(double** A, std::size_t p, std::size_t m, double** B, std::size_t q, double** C,
                   int (*callback)()) {
  return MultiplyInParallel({{A, true}, {B, true}, p, q, C}, m, callback);
}

bool MatrixByVector(double** A, std::size_t n, std::size_t m, double* x, double* y, int (*callback)()) {
  InParallel([&](TWorker worker) {
    ForStrips(EvenShare(m, worker), SideBySide, [&](std::size_t first, std::size_t last) {
      MultiplyByVector(A, n, x, y, first, last);
      Report(callback, last - first);
    });
  });
  return true;
}

bool MatrixTByVector(double** A, std::size_t n, std::size_t m, double* x, double* y, int (*callback)()) {
  double sums[SideBySide];
  for (std::size_t j = 0; j < n; j += SideBySide) {
    const std::size_t width = std::min(SideBySide, n - j);
    MultiplyColumns(A, j, width, m, x, sums);
    for (std::size_t c = 0; c < width; ++c) {
      y[j + c] = sums[c];
      if (callback != nullptr && callback() != 0) return false;
    }
  }
  return true;
}

bool CalculateNormalMatrix(double** A, std::size_t m, std::size_t n, double** C, int (*callback)()) {
  return SquareInParallel(A, m, n, nullptr, C, callback);
}

bool CalculateNormalMatrix(double** A, std::size_t m, std::size_t n, double* p, double** C,
                           int (*callback)()) {
  return SquareInParallel(A, m, n, p, C, callback);
}

void MatrixMultiplication(const TMatrix& A, const TMatrix& B, TMatrix* C, int (*callback)()) {
  TMatrix result(B.width, A.height);
  const std::vector<double*> left = RowPointers(A);
  const std::vector<double*> right = RowPointers(B);
  const std::vector<double*> sums = RowPointers(result);
  std::size_t checked = 0;
  // Neighbouring rows of one length are multiplied together.
  for (std::size_t i = 0, next = 0; i < A.height; i = next) {
    const std::size_t depth = A.rows[i].size;
    while (next < A.height && next - i < RowsTogether && A.rows[next].size == depth) ++next;
    for (; B.width != 0 && checked < depth; ++checked) {
      static_cast<void>(std::as_const(B.rows[checked])[B.width - 1]);
    }
    MultiplyRows({{left.data(), true}, {right.data()}, depth, B.width, sums.data()}, i, next);
    for (std::size_t row = i; row < next; ++row) callback();
  }
  *C = std::move(result);
}

}  // namespace SatCommonUtils
