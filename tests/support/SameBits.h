#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <gtest/gtest.h>

namespace testing_support {

/// Success when both volumes have the same size, type and voxels, compared through their bits; any NaN equals any NaN.
/// The failure names the first differing voxel. Use: EXPECT_TRUE(sameBits(expected, actual)) << describe(...).
testing::AssertionResult sameBits(const ArvoImage3D& expected, const ArvoImage3D& actual);

/// Whether two floats have the same bits or are both NaN.
bool sameBits(float expected, float actual);

} // namespace testing_support
