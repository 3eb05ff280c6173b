#include "MaskTests.h"

#include <climits>

using namespace testing_support;
using Voxel = std::array<int, 3>;

namespace {

ArvoImage3D bytes(const std::vector<unsigned char>& values)
{
    return volumeOf<unsigned char>({static_cast<int>(values.size()), 1, 1}, image::Binary, values);
}

} // namespace

TEST(BoxToMask, FillsTheClampedBox)
{
    constexpr int coordinates[] = {INT_MIN, -3, -1, 0, 1, 2, 3, 4, 5, 99, INT_MAX};
    const math::Ivec3 size(5, 4, 3);
    Random random(1);
    for (int round = 0; round < 1000; ++round) {
        Voxel min, max;
        for (int& coordinate : min)
            coordinate = coordinates[random() % 9];
        for (int& coordinate : max)
            coordinate = coordinates[random() % 11];
        const ArvoImage3D box = boxIn(size, {min[0], min[1], min[2]}, {max[0], max[1], max[2]});
        ArvoImage3D mask = randomVolume(size, image::Binary, 1, Fill::FewValues), added = copyOf(mask);
        for (std::size_t i = 0; i < voxels<char>(added).size(); ++i)
            voxels<char>(added)[i] = voxels<char>(box)[i] ? 1 : voxels<char>(added)[i];
        const std::string what = testing::PrintToString(min) + testing::PrintToString(max);
        mask.getValueRange();
        Tools::addBoxToMask(min, max, mask);
        expectVolume(added, mask, what);
        Tools::convertBoxToMask(min, max, &mask);
        expectVolume(box, mask, what);
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

TEST(CountVoxels, AgreesWithTheDefinition)
{
    for (const math::Ivec3& size : someSizes()) {
        for (const Fill fill : {Fill::Uniform, Fill::FewValues, Fill::Mask}) {
            const ArvoImage3D a = randomVolume(size, image::UInt8, 1, fill);
            const ArvoImage3D b = randomVolume(size, image::UInt8, 2, fill);
            std::size_t objects = 0, differences = 0;
            for (std::size_t i = 0; i < voxels<signed char>(a).size(); ++i) {
                objects += voxels<signed char>(a)[i] >= 1;
                differences += voxels<signed char>(a)[i] != voxels<signed char>(b)[i];
            }
            EXPECT_EQ(Tools::countNonZeroVoxels(a), objects) << describe(size, image::UInt8, 1);
            EXPECT_EQ(Tools::countMismatchedVoxels(a, b), utility::Optional<std::size_t>(differences));
        }
    }
    EXPECT_EQ(Tools::countNonZeroVoxels(randomMask({300, 300, 2}, 1.0, 1)), 180000u);
}

TEST(CompareRegions, CountsTheLayersBeyondAndTheLayersMissing)
{
    const auto cube = [](int first, int last) {
        return boxIn({16, 14, 12}, {first, first, first}, {last, last, last}, 200);
    };
    const ArvoImage3D none = cube(1, 0), small = cube(4, 7), large = cube(2, 9);
    const struct {
        const ArvoImage3D& image;
        const ArvoImage3D& reference;
        int maxSmaller;
        int maxLarger;
        std::string tooFar; // empty: close enough
    } cases[] = {
        {large, large, 0, 0, ""},
        {large, small, 0, 2, ""},
        {large, small, 0, 1, "2 voxel layers larger"},
        {small, large, 2, 0, ""},
        {small, large, 1, 0, "2 voxel layers smaller"},
        {small, none, 9, 9, "32766 voxel layers larger"},
        {none, large, 3, 0, "4 voxel layers smaller"},
        {large, large, -1, -1, "0 voxel layers larger"}, // is asked first
        {large, large, -1, 0, "0 voxel layers smaller"},
    };
    for (const auto& [image, reference, maxSmaller, maxLarger, tooFar] : cases) {
        const Warnings warnings;
        const bool isAlike = Tools::compareRegionsOf3DBinaryImages(&image, &reference, maxSmaller, maxLarger);
        EXPECT_EQ(isAlike, tooFar.empty());
        const Texts warned = {"Image object is up to " + tooFar + " than the reference object"};
        EXPECT_EQ(warnings.texts(), isAlike ? Texts{} : warned);
    }
}

TEST(ApplyMask, ClearsOutsideOrInsideTheMask)
{
    forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
        const ArvoImage3D mask = randomVolume(size, image::UInt8, seed + 10, Fill::FewValues);
        for (const bool invert : {false, true}) {
            ArvoImage3D image = randomVolume(size, type, seed, Fill::Extremes), expected = copyOf(image);
            withType(type, [&](auto element) {
                using T = typename decltype(element)::type;
                for (std::size_t i = 0; i < voxels<T>(expected).size(); ++i) {
                    if ((voxels<unsigned char>(mask)[i] != 0) == invert)
                        voxels<T>(expected)[i] = T(0);
                }
            });
            image.getValueRange();
            Tools::applyMask(&mask, &image, invert);
            expectVolume(expected, image, describe(size, type, seed) + (invert ? ", invert" : ""));
        }
    });
}

TEST(UnionBinaryImages, TakesTheLargerSignedByte)
{
    ArvoImage3D a = bytes({0, 1, 0, 200, 200, 5}), larger = bytes({0, 0, 1, 0, 255, 127, 99});
    EXPECT_TRUE(sameBits(bytes({0, 1, 1, 0, 255, 127}), *Image(Tools::unionBinaryImages(&a, &larger))));

    forEachCase({image::Binary}, [](auto size, auto type, auto seed) {
        ArvoImage3D left = randomVolume(size, type, seed), right = randomVolume(size, type, seed + 10);
        const Image both(Tools::unionBinaryImages(&left, &right));
        for (std::size_t i = 0; i < voxels<signed char>(left).size(); ++i)
            voxels<signed char>(left)[i] =
                std::max(voxels<signed char>(left)[i], voxels<signed char>(right)[i]);
        expectMade(left, both, describe(size, type, seed));
    });
}
