#include "kelvane/numeric/raw_matrix.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>

namespace {

using namespace SatCommonUtils;

TEST(RawMatrix, IsMadeAndReleased) {
  constexpr std::size_t TooMany = std::numeric_limits<std::size_t>::max() / 2;
  double** zeros = CreateMatrix(2, 3);
  EXPECT_EQ(zeros[0][0] + zeros[2][1], 0.0);
  zeros[1][0] = zeros[1][1] = zeros[2][0] = 5.0;
  SetToZero(zeros, 1, 2);
  EXPECT_EQ(zeros[1][0], 0.0);
  EXPECT_EQ(zeros[1][1], 5.0);
  EXPECT_EQ(zeros[2][0], 5.0);
  ReleaseVector(zeros[1]);
  zeros[1] = nullptr;
  ReleaseMatrix(zeros, 3);
  double** identity = CreateMatrix(3);
  for (std::size_t k = 0; k < 9; ++k) EXPECT_EQ(identity[k / 3][k % 3], k % 4 == 0 ? 1.0 : 0.0);
  ReleaseMatrix(identity, 3);
  ReleaseMatrix(nullptr, 3);
  EXPECT_EQ(CreateMatrix(TooMany, 2), nullptr);
  EXPECT_EQ(CreateMatrix(2, TooMany), nullptr);
  EXPECT_EQ(CreateMatrix(TooMany), nullptr);
  EXPECT_EQ(CreateVector(TooMany), nullptr);
}

}  // namespace
