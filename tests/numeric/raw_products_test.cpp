#include "kelvane/numeric/raw_products.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <random>
#include <stdexcept>

#include "kelvane/numeric/matrix_rows.h"
#include "kelvane/numeric/simd_target.h"
#include "tests/support/allocations.h"
#include "tests/support/matrices.h"

namespace {

using namespace SatCommonUtils;
using test::BitsOf;
using test::Sums;

std::atomic<std::size_t> calls{0};

int Count() {
  ++calls;
  return 1;
}
int StopAtTen() { return ++calls == 10 ? 1 : 0; }
int Throw() { throw std::runtime_error("callback"); }

class RawProducts : public testing::Test {
 protected:
  ~RawProducts() override {
    KaSetThreadsCount(0);
    SetSimdTarget(SimdTargets().front());
  }

  /// Numbers of different size and sign, so that another order of the terms is seen.
  TMatrix Random(std::size_t width, std::size_t height) {
    return test::Filled(width, height, [this] { return std::ldexp(uniform_(random_), exponent_(random_)); });
  }

  std::mt19937_64 random_{24};
  std::uniform_real_distribution<double> uniform_{-1.0, 1.0};
  std::uniform_int_distribution<int> exponent_{-8, 8};
};

/// What `multiply(C)` leaves where something stood before, having called back once for each row and allocated
/// nothing, is the expected matrix.
template <class Multiply>
void ExpectProduct(const TMatrix& expected, Multiply multiply) {
  TMatrix c = test::Filled(expected.width, expected.height, [] { return 7.0; });
  const std::vector<double*> rows = RowPointers(c);
  calls = 0;
  const long allocations = test::AllocationCount();
  EXPECT_TRUE(multiply(const_cast<double**>(rows.data())));
  EXPECT_EQ(test::AllocationCount(), allocations);
  EXPECT_EQ(BitsOf(c), BitsOf(expected));
  EXPECT_EQ(calls, expected.width == 0 ? 0 : expected.height);
}

TEST_F(RawProducts, SumInOrderWithAnyNumberOfThreads) {
  using TShape = std::array<std::size_t, 3>;
  for (const TShape& shape : {TShape{1, 1, 1},
                              {0, 9, 8},
                              {4, 0, 3},
                              {5, 3, 0},
                              {130, 39, 7},
                              {5000, 39, 2},
                              {64, 49, 50},
                              {65, 6, 101},
                              {100, 197, 4},
                              {97, 48, 8},
                              {97, 9, 3},
                              {97, 2, 33}}) {
    const std::size_t m = shape[0], n = shape[1], q = shape[2];
    const TMatrix a = Random(n, m);
    const TMatrix b = Random(q, m);
    const TMatrix c = Random(q, n);
    const TMatrix d = Random(n, q);
    const TVector x = Random(n, 1).rows[0];
    const TVector variances = Random(m, 1).rows[0];
    const auto at = [](const TMatrix& of) {
      return [&of](std::size_t row, std::size_t column) { return of.rows[row].data[column]; };
    };
    const auto A = at(a), B = at(b), C = at(c), D = at(d);
    const auto square = Sums(n, n, m, [&](auto i, auto j, auto k) { return A(k, i) * A(k, j); });
    const auto divided =
        Sums(n, n, m, [&](auto i, auto j, auto k) { return A(k, i) * A(k, j) / variances[k]; });
    const auto product = Sums(q, m, n, [&](auto i, auto j, auto k) { return A(i, k) * C(k, j); });
    const auto left = Sums(q, n, m, [&](auto i, auto j, auto k) { return A(k, i) * B(k, j); });
    const auto right = Sums(q, m, n, [&](auto i, auto j, auto k) { return A(i, k) * D(j, k); });
    const auto vector = Sums(1, m, n, [&](auto i, auto, auto k) { return A(i, k) * x[k]; });
    std::vector<double*> a_rows = RowPointers(a), b_rows = RowPointers(b), c_rows = RowPointers(c),
                         d_rows = RowPointers(d);
    double** const pa = a_rows.data();
    for (const std::string& target : SimdTargets()) {
      ASSERT_TRUE(SetSimdTarget(target));
      for (const int threads : {1, 2, 3, 8}) {
        SCOPED_TRACE(testing::Message()
                     << m << "x" << n << "x" << q << ", threads: " << threads << ", " << target);
        KaSetThreadsCount(threads);
        // The team of this size is made outside what is counted.
        MatrixByVector(pa, n, 0, nullptr, nullptr, Count);
        ExpectProduct(product,
                      [&](double** r) { return MatrixMultiplication(pa, n, m, c_rows.data(), q, r, Count); });
        ExpectProduct(square, [&](double** r) { return MultiplyATbyA(pa, m, n, r, Count); });
        ExpectProduct(square, [&](double** r) { return CalculateNormalMatrix(pa, m, n, r, Count); });
        ExpectProduct(divided,
                      [&](double** r) { return CalculateNormalMatrix(pa, m, n, variances.data, r, Count); });
        ExpectProduct(left, [&](double** r) { return MultiplyATbyB(pa, n, m, b_rows.data(), q, r, Count); });
        ExpectProduct(right, [&](double** r) { return MultiplyAbyBT(pa, n, m, d_rows.data(), q, r, Count); });
        TVector y(m);
        calls = 0;
        EXPECT_TRUE(MatrixByVector(pa, n, m, x.data, y.data, Count));
        EXPECT_EQ(BitsOf(y), BitsOf(vector));
        EXPECT_EQ(calls, m);
      }
    }
    TMatrix result("C");
    calls = 0;
    MatrixMultiplication(a, c, &result, Count);
    EXPECT_EQ(BitsOf(result), BitsOf(product));
    EXPECT_EQ(calls, m);
  }
}

TEST_F(RawProducts, TransposedByVectorStopsWhenAsked) {
  const TMatrix a = Random(21, 70);
  TVector x = Random(70, 1).rows[0];
  std::vector<double*> rows = RowPointers(a);
  const auto expected = Sums(1, 21, 70, [&](auto i, auto, auto k) { return a.rows[k].data[i] * x[k]; })(0);
  TVector y(21);
  EXPECT_TRUE(MatrixTByVector(rows.data(), 21, 70, x.data, y.data, nullptr));
  EXPECT_EQ(BitsOf(y), BitsOf(expected));
  y.FillWithZeroes();
  calls = 0;
  EXPECT_FALSE(MatrixTByVector(rows.data(), 21, 70, x.data, y.data, StopAtTen));
  EXPECT_EQ(BitsOf(y.GetSubVector(0, 10)), BitsOf(expected.GetSubVector(0, 10)));
  EXPECT_TRUE(y.GetSubVector(10, 11).IsNull());
}

TEST_F(RawProducts, ShortRowsAreNeededOrNot) {
  const TMatrix a = Random(4, 3);
  TMatrix b = Random(5, 6);
  b.rows[4].Clip(4);
  TMatrix c(1);
  MatrixMultiplication(a, b, &c, Count);
  EXPECT_EQ(c.width * c.height, 15U);
  b.rows[3].Clip(4);
  EXPECT_EQ(test::RuntimeErrorOf([&] { MatrixMultiplication(a, b, &c, Count); }), test::IndexError);
  EXPECT_EQ(c.width * c.height, 15U);
}

TEST_F(RawProducts, AnExceptionOfTheCallbackEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  KaSetThreadsCount(2);
  double row[] = {1.0};
  double* rows[] = {row};
  double result[] = {0.0};
  double* results[] = {result};
  EXPECT_DEATH(MultiplyATbyA(rows, 1, 1, results, Throw), "");
  EXPECT_DEATH(MultiplyATbyB(rows, 1, 1, rows, 1, results, Throw), "");
  EXPECT_DEATH(MatrixByVector(rows, 1, 1, row, result, Throw), "");
}

}  // namespace
