/// \file
/// Rotations as another library makes them.
#pragma once

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <Eigen/Geometry>

#include "kelvane/numeric/matrix.h"

namespace test {

inline Eigen::Matrix3d EigenMatrix(const SatCommonUtils::TMatrix& m) {
  EXPECT_EQ(m.width * m.height, 9U);
  return Eigen::Matrix3d::NullaryExpr(
      [&m](Eigen::Index row, Eigen::Index col) { return m.rows[row].data[col]; });
}

inline Eigen::Matrix3d AboutX(double angle) {
  return Eigen::AngleAxisd(angle, Eigen::Vector3d::UnitX()).toRotationMatrix();
}
inline Eigen::Matrix3d AboutY(double angle) {
  return Eigen::AngleAxisd(angle, Eigen::Vector3d::UnitY()).toRotationMatrix();
}
inline Eigen::Matrix3d AboutZ(double angle) {
  return Eigen::AngleAxisd(angle, Eigen::Vector3d::UnitZ()).toRotationMatrix();
}

/// The largest difference of two elements; NaN when there is a NaN.
inline double Difference(const Eigen::Matrix3d& a, const Eigen::Matrix3d& b) {
  return (a - b).cwiseAbs().maxCoeff<Eigen::PropagateNaN>();
}

}  // namespace test
