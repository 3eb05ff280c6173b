#include "arvo/binary/ArvoImageBinaryTools.h"

#include "binary/ByteObjects.h"

#include <limits>

using namespace testing_support;
using Tools = ArvoImageBinaryTools;
using Voxel = std::array<int, 3>;

namespace {

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
                unsigned char& voxel = voxels<unsigned char>(expected)[i];
                const bool isInside =
                    x >= min[0] && x <= max[0] && y >= min[1] && y <= max[1] && z >= min[2] && z <= max[2];
                voxel = isInside ? 1 : keepsRest ? voxel : 0;
            });
            EXPECT_EQ(mask.maxValue(), 3);
            if (keepsRest)
                Tools::addBoxToMask(min, max, mask);
            else
                Tools::convertBoxToMask(min, max, &mask);
            EXPECT_TRUE(sameBits(expected, mask)) << min[0] << " to " << max[0];
            EXPECT_EQ(mask.getValueRange(), expected.getValueRange());
        }
    }
}

TEST(BoxToMask, RefusesInvalidMasks)
{
    ArvoImage3D none;
    const Warnings warnings;
    Tools::addBoxToMask({0, 0, 0}, {1, 1, 1}, none);
    Tools::convertBoxToMask({0, 0, 0}, {1, 1, 1}, &none);
    Tools::convertBoxToMask({0, 0, 0}, {1, 1, 1}, nullptr);
    EXPECT_EQ(warnings.texts(),
              std::vector<std::string>(3, "ArvoImageBinaryTools : no valid mask for the box."));
}

TEST(GetBoundingBox, AgreesWithTheDefinition)
{
    for (const double density : {0.0, 0.01, 0.2}) {
        forEachCase({image::Binary}, [&](auto size, auto, auto seed) {
            ArvoImage3D mask = randomMask(size, density, seed);
            Random random(seed);
            for (unsigned char& voxel : voxels<unsigned char>(mask))
                voxel = static_cast<unsigned char>(voxel ? random() : random() % 8 == 0 ? 200 : 0);
            Voxel lowest = {size.x, size.y, size.z}, highest = {-1, -1, -1};
            forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
                const int here[] = {x, y, z};
                for (std::size_t axis = 0; axis < 3 && voxels<signed char>(mask)[i] > 0; ++axis) {
                    lowest[axis] = std::min(lowest[axis], here[axis]);
                    highest[axis] = std::max(highest[axis], here[axis]);
                }
            });
            Voxel min{}, max{};
            EXPECT_EQ(Tools::getBoundingBox(&mask, min, max), highest[0] >= 0);
            EXPECT_EQ(min, lowest) << describe(size, image::Binary, seed);
            EXPECT_EQ(max, highest) << describe(size, image::Binary, seed);
        });
    }
}

TEST(GetBoundingBox, OfNothing)
{
    Voxel min{}, max{};
    for (const math::Ivec3& size : {math::Ivec3(0, 3, 4), math::Ivec3(4, 0, 3), math::Ivec3(3, 4, 0)}) {
        ArvoImage3D mask(size, QVector3D(1, 1, 1), image::Binary);
        EXPECT_FALSE(Tools::getBoundingBox(&mask, min, max));
        EXPECT_EQ(min, (Voxel{size.x, size.y, size.z}));
        EXPECT_EQ(max, (Voxel{-1, -1, -1}));
    }
    min = max = {7, 8, 9};
    ArvoImage3D none;
    const Warnings warnings;
    EXPECT_FALSE(Tools::getBoundingBox(nullptr, min, max));
    EXPECT_FALSE(Tools::getBoundingBox(&none, min, max));
    EXPECT_EQ(min, (Voxel{7, 8, 9}));
    EXPECT_EQ(max, (Voxel{7, 8, 9}));
    EXPECT_EQ(warnings.texts(),
              std::vector<std::string>(2, "ArvoImageBinaryTools : no valid mask for the bounding box."));
}

} // namespace
