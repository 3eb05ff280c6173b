#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"

#include "support/Warnings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

TEST(WithElementType, CallsOnlyForTheAcceptedTypes)
{
    using Set = image::TypeSet<image::Int16, image::Binary>;
    const Warnings warnings;
    for (int number = -1; number <= 7; ++number) {
        const auto type = static_cast<image::DataType>(number);
        const bool isAccepted = type == image::Int16 || type == image::Binary;
        int calls = 0;
        const auto body = [&](auto element) {
            EXPECT_EQ(sizeof(typename decltype(element)::type), type == image::Int16 ? 2u : 1u);
            ++calls;
        };
        EXPECT_EQ(image::withElementType(type, Set{}, "Test : no 5 % \"type\".", body), isAccepted) << number;
        EXPECT_EQ(calls, isAccepted ? 1 : 0) << number;
        EXPECT_EQ(image::isOneOf(type, Set{}), isAccepted) << number;
    }
    EXPECT_FALSE(image::withElementType(image::Int16, Set{}, "none", [](auto) { return false; }));
    EXPECT_EQ(warnings.texts(), std::vector<std::string>(7, "Test : no 5 % \"type\"."));
}

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
    constexpr int smallest = std::numeric_limits<int>::min();
    for (const double value : {2147483648.0, -2147483904.0, 3e9, 1e300, HUGE_VAL, -HUGE_VAL, double(NAN)}) {
        EXPECT_EQ(image::truncateToInt32(value), smallest) << value;
        EXPECT_EQ(image::truncateToInt32(static_cast<float>(value)), smallest) << value;
        EXPECT_EQ(image::toVoxel<short>(value), 0) << value;
    }
    EXPECT_EQ(image::truncateToInt32(2147483647.9), std::numeric_limits<int>::max());
    EXPECT_EQ(image::truncateToInt32(-2147483648.9), smallest);
    EXPECT_EQ(image::truncateToInt32(2147483520.0f), 2147483520);
}

} // namespace
