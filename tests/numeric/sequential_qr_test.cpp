#include "kelvane/numeric/sequential_qr.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <random>
#include <vector>

#include "kelvane/numeric/singular_values.h"

namespace {

using namespace SatCommonUtils;

TEST(SequentialQR, IsTheTriangleOfAllItsRows) {
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> number(-1.0, 1.0);
  for (const Eigen::Index width : {1, 8, 40, 64}) {
    for (const Eigen::Index rows : {3, 64, 129, 1000}) {
      Eigen::MatrixXd a = Eigen::MatrixXd::NullaryExpr(rows, width, [&] { return number(random); });
      a.rightCols(1) *= 1e-9;
      // A column that depends on others leaves nothing on the diagonal.
      if (width > 8) a.col(5) = a.col(2) - 2.0 * a.col(3);
      TSequentialQR qr(static_cast<std::size_t>(width));
      for (Eigen::Index i = 0; i < rows; ++i) Eigen::Map<Eigen::RowVectorXd>(qr.NextRow(), width) = a.row(i);
      qr.Fold();
      const Eigen::MatrixXd r =
          Eigen::MatrixXd::NullaryExpr(width, width, [&](Eigen::Index i, Eigen::Index j) {
            return qr(static_cast<std::size_t>(i), static_cast<std::size_t>(j));
          });
      EXPECT_TRUE(r.isUpperTriangular(1e-14));
      const Eigen::VectorXd lengths = a.colwise().norm();
      const Eigen::MatrixXd difference = r.transpose() * r - a.transpose() * a;
      EXPECT_LT((lengths.cwiseInverse().asDiagonal() * difference * lengths.cwiseInverse().asDiagonal())
                    .cwiseAbs()
                    .maxCoeff(),
                1e-13)
          << width << " by " << rows;
      if (width > 8 && rows > width) {
        EXPECT_LT(std::fabs(r(5, 5)), 1e-13);
      }
    }
  }
}

TEST(ExtremeSingularValues, LosesNoSmallOneBesideALargeOne) {
  // A Hilbert matrix, its columns of very different lengths.
  constexpr int N = 8;
  std::vector<std::vector<double>> columns;
  Eigen::Matrix<long double, N, N> same;
  for (int j = 0; j < N; ++j) {
    std::vector<double> column;
    for (int i = 0; i < N; ++i) {
      column.push_back(std::pow(10.0, -j) / (i + j + 1));
      same(i, j) = static_cast<long double>(column.back());
    }
    columns.push_back(column);
  }
  const Eigen::JacobiSVD<Eigen::Matrix<long double, N, N>> svd(same);
  const auto [largest, smallest] = ExtremeSingularValues(columns);
  EXPECT_NEAR(largest / static_cast<double>(svd.singularValues()[0]), 1.0, 1e-14);
  EXPECT_NEAR(smallest / static_cast<double>(svd.singularValues()[N - 1]), 1.0, 1e-6);
}

}  // namespace
