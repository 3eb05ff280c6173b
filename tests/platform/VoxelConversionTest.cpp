#include "arvo/platform/image/VoxelConversion.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(ToVoxel, TruncatesAndKeepsTheLowBits)
{
    EXPECT_EQ(image::toVoxel<unsigned char>(300.9f), 44);
    EXPECT_EQ(image::toVoxel<unsigned short>(-1.0f), 65535);
    EXPECT_EQ(image::toVoxel<short>(-0.9f), 0);
    EXPECT_EQ(image::toVoxel<short>(40000.0), -25536);
    EXPECT_TRUE(std::signbit(image::toVoxel<float>(-0.0f)));
}

TEST(ToVoxel, TakesWhatNoIntHoldsAsTheSmallestInt)
{
    for (const double value :
         {2147483648.0, -2147483904.0, 3e9, 1e300, double(INFINITY), double(-INFINITY), double(NAN)}) {
        EXPECT_EQ(image::truncateToInt32(value), -2147483647 - 1) << value;
        EXPECT_EQ(image::truncateToInt32(static_cast<float>(value)), -2147483647 - 1) << value;
        EXPECT_EQ(image::toVoxel<short>(value), 0) << value;
    }
    EXPECT_EQ(image::truncateToInt32(2147483647.9), 2147483647);
    EXPECT_EQ(image::truncateToInt32(-2147483648.9), -2147483647 - 1);
    EXPECT_EQ(image::truncateToInt32(2147483520.0f), 2147483520);
}

} // namespace
