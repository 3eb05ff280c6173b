#include "MaskTests.h"
#include "NaiveLabelling.h"

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

/// The label of the largest volume above `start`, the first of equals; -1 for none.
int largestAbove(int start, const std::vector<int>& volumes)
{
    const auto largest = std::ranges::max_element(volumes);
    return *largest > start ? static_cast<int>(largest - volumes.begin()) : -1;
}

template <class Body> void forEachMaskOfParts(Body&& body)
{
    forEachMask(0, body);
    for (const double density : {0.03, 0.08})
        body(randomMask({129, 127, 101}, density, 3), "more parts than labels");
}

} // namespace

TEST(KeepLargestPart, KeepsTheFirstOfTheLargestAndFillsAnEmptyMask)
{
    forEachMaskOfParts([](const ArvoImage3D& mask, const std::string& what) {
        const naive::Labelled parts = naive::label(mask, true);
        const int best = largestAbove(-1, parts.volumes);
        const ArvoImage3D expected =
            maskWhere(mask, [&](std::size_t i) { return voxels<short>(parts.labels)[i] == best; });
        expectResult(expected, mask, what, [&](ArvoImage3D& in, ArvoImage3D& out) {
            int partCount = 0;
            EXPECT_TRUE(toolsOn(&in, &out).keepLargestPart(&in == &out ? nullptr : &partCount)) << what;
            EXPECT_TRUE(&in == &out || partCount == std::ssize(parts.volumes)) << what;
        });
    });
}

TEST(KeepLargestPart, KeepsGreyValuesAboveAThreshold)
{
    forEachCase({image::Int16, image::UInt16}, [](auto size, auto type, auto seed) {
        ArvoImage3D image = randomVolume(size, type, seed);
        for (const int threshold : {-40000, -20000, 0, 25000, 28000, 50000, 60000, 70000}) {
            ArvoImage3D mask(size, image.voxelSize(), image::Binary);
            forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
                voxels<unsigned char>(mask)[i] = image.getValue(x, y, z) > threshold;
            });
            const naive::Labelled parts = naive::label(mask, true);
            const int best = largestAbove(0, parts.volumes);
            ArvoImage3D expected = copyOf(image);
            for (std::size_t i = 0; i < voxels<short>(expected).size(); ++i) {
                if (voxels<short>(parts.labels)[i] != best)
                    voxels<short>(expected)[i] = static_cast<short>(image.minValue());
            }
            expectResult(expected, image, describe(size, type, seed) + " > " + std::to_string(threshold),
                         [&](ArvoImage3D& in, ArvoImage3D& out) {
                             EXPECT_EQ(toolsOn(&in, &out).keepLargestPart(threshold),
                                       *std::ranges::max_element(parts.volumes));
                         });
        }
    });
}

TEST(KeepAllConnectedToSlice, AgreesWithTheDefinition)
{
    forEachMaskOfParts([](const ArvoImage3D& mask, const std::string& what) {
        const math::Ivec3 size = mask.imageSize();
        if (size.z == 0)
            return; // has no slice
        const naive::Labelled parts = naive::label(mask, true);
        for (const int slice : {0, size.z / 2, size.z - 1}) {
            std::vector<bool> isOnSlice(parts.volumes.size());
            forEachVoxel(size, [&](int, int, int z, std::size_t i) {
                if (const short label = voxels<short>(parts.labels)[i]; z == slice && label != 0)
                    isOnSlice[static_cast<std::size_t>(label)] = true;
            });
            for (const int minVolume : {-1, 1, 2, 9}) { // below 0: the form without
                std::vector<bool> isKept = isOnSlice;
                for (std::size_t label = 0; label < isKept.size(); ++label)
                    isKept[label] = isKept[label] && parts.volumes[label] >= minVolume;
                const ArvoImage3D expected = maskWhere(mask, [&](std::size_t i) {
                    return isKept[static_cast<std::size_t>(voxels<short>(parts.labels)[i])];
                });
                expectResult(expected, mask, what, [&](ArvoImage3D& in, ArvoImage3D& out) {
                    Tools tools = toolsOn(&in, &out);
                    EXPECT_EQ(minVolume < 0 ? tools.keepAllConnectedToSlice(slice)
                                            : tools.keepAllConnectedToSlice(slice, minVolume),
                              std::ranges::count(isKept, true));
                });
            }
        }
    });
}
