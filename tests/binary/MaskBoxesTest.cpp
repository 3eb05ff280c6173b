#include "MaskTests.h"

#include <limits>

using namespace testing_support;
using Tools = ArvoImageBinaryTools;
using Voxel = std::array<int, 3>;

TEST(BoxToMask, FillsTheClampedBox)
{
    constexpr int low = std::numeric_limits<int>::min(), high = std::numeric_limits<int>::max();
    const math::Ivec3 size(5, 4, 3);
    const std::pair<Voxel, Voxel> boxes[] = {
        {{1, 1, 1}, {3, 2, 1}},    {{0, 0, 0}, {4, 3, 2}},
        {{-3, 2, 1}, {1, 99, 99}}, {{low, low, low}, {high, high, high}},
        {{2, 2, 2}, {2, 2, 2}},    {{3, 1, 1}, {2, 2, 2}},
        {{5, 0, 0}, {9, 3, 2}},    {{1, 4, 0}, {3, 9, 2}},
        {{1, 1, 3}, {3, 2, 9}},    {{-5, 0, 0}, {-1, 3, 2}},
        {{0, -5, 0}, {4, -1, 2}},  {{0, 0, low}, {4, 3, -1}},
    };
    for (const auto& [min, max] : boxes) {
        for (const bool keepsRest : {true, false}) {
            ArvoImage3D mask = randomVolume(size, image::UInt8, 1, Fill::FewValues);
            ArvoImage3D expected = copyOf(mask);
            forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
                const bool isInside =
                    x >= min[0] && x <= max[0] && y >= min[1] && y <= max[1] && z >= min[2] && z <= max[2];
                if (isInside || !keepsRest)
                    voxels<unsigned char>(expected)[i] = isInside;
            });
            mask.getValueRange();
            if (keepsRest)
                Tools::addBoxToMask(min, max, mask);
            else
                Tools::convertBoxToMask(min, max, &mask);
            expectVolume(expected, mask, testing::PrintToString(min) + testing::PrintToString(max));
        }
    }
}

TEST(GetBoundingBox, HoldsThePositiveSignedBytes)
{
    forEachMask(0, [](ArvoImage3D mask, const std::string& what) {
        const math::Ivec3 size = mask.imageSize();
        Voxel lowest = {size.x, size.y, size.z}, highest = {-1, -1, -1};
        forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
            if (i % 7 == 0 && voxels<unsigned char>(mask)[i] == 0)
                voxels<unsigned char>(mask)[i] = 200;
            if (voxels<signed char>(mask)[i] <= 0)
                return;
            lowest = {std::min(lowest[0], x), std::min(lowest[1], y), std::min(lowest[2], z)};
            highest = {std::max(highest[0], x), std::max(highest[1], y), std::max(highest[2], z)};
        });
        Voxel min{}, max{};
        EXPECT_EQ(Tools::getBoundingBox(&mask, min, max), highest[0] >= 0) << what;
        EXPECT_EQ(min, lowest) << what;
        EXPECT_EQ(max, highest) << what;
    });
}
