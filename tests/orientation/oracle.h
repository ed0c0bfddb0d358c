/// \file
/// Rotations as another library makes them.
#pragma once

#include <gtest/gtest.h>

#include <Eigen/Dense>

#include "kelvane/numeric/matrix.h"

namespace test {

inline Eigen::Matrix3d EigenMatrix(const SatCommonUtils::TMatrix& m) {
  EXPECT_EQ(m.width * m.height, 9U);
  return Eigen::Matrix3d::NullaryExpr([&m](auto row, auto col) { return m.rows[row].data[col]; });
}

/// About axis 0 (X), 1 (Y) or 2 (Z).
inline Eigen::Matrix3d Turn(int axis, double angle) {
  return Eigen::AngleAxisd(angle, Eigen::Vector3d::Unit(axis)).toRotationMatrix();
}

/// The largest difference of two elements; NaN when there is a NaN.
inline double Difference(const SatCommonUtils::TMatrix& a, const Eigen::Matrix3d& b) {
  return (EigenMatrix(a) - b).cwiseAbs().maxCoeff<Eigen::PropagateNaN>();
}

}  // namespace test
