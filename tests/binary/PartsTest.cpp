#include "MasksByDefinition.h"
#include "MaskTests.h"

using namespace testing_support;

namespace {

ArvoImage3D cubeOfNoise(int edge, double density)
{
    return randomMask({edge, edge, edge}, density, static_cast<std::uint64_t>(edge * 100 + density * 100));
}

/// Isolated voxels at even places, more of them than there are labels.
ArvoImage3D isolatedVoxels()
{
    return shape({67, 64, 80}, [](int x, int y, int z) { return x % 2 == 0 && y % 2 == 0 && z % 2 == 0; });
}

void expectAsDefined(const ArvoImage3D& mask, const std::string& what)
{
    for (const int type : {0, 1, -1}) {
        const Labelled expected = labelledByDefinition(mask, type == Tools::LABEL_DIAGONAL);
        expectResult(expected.labels, mask, what + ", neighbours " + std::to_string(type),
                     [&](ArvoImage3D& in, ArvoImage3D& out) {
                         EXPECT_EQ(std::ssize(expected.volumes),
                                   toolsOn(&in, &out).label(static_cast<Tools::LABEL_TYPE>(type)));
                     });
    }
}

/// The label of the first of the largest parts.
std::size_t largestOf(const Labelled& parts)
{
    return static_cast<std::size_t>(std::ranges::max_element(parts.volumes) - parts.volumes.begin());
}

template <class Body> void forEachMaskOfParts(Body&& body)
{
    forEachMask(0, body);
    for (const double density : {0.03, 0.08})
        body(randomMask({129, 127, 101}, density, 3), "more parts than labels");
}

} // namespace

TEST(Label, AgreesWithTheVoxelScan)
{
    forEachMask(0, expectAsDefined);
}

TEST(Label, LabelsRunOutAsInTheVoxelScan)
{
    for (const double density : {0.04, 0.1, 0.15, 0.25, 0.31, 0.35, 0.5})
        expectAsDefined(cubeOfNoise(100, density), "density " + std::to_string(density));
    expectAsDefined(isolatedVoxels(), "isolated voxels");
    // A bar along z that starts early takes the parts past the limit, which it touches, to its own number.
    ArvoImage3D withBar = isolatedVoxels();
    for (int z = 0; z < 80; ++z)
        withBar.getAxialSlice(z)[0] = 1;
    std::fill_n(withBar.getAxialSlice(77), 67, 1);
    expectAsDefined(withBar, "isolated voxels and a bar");
}

TEST(Label, NumbersPartsInScanOrderWithoutGapsUpToTheLimit)
{
    // A U whose arms meet in the second row, and contacts over corners and edges only.
    const math::Ivec3 size(5, 2, 2);
    ArvoImage3D mask =
        volumeOf<unsigned char>(size, image::UInt8, {1, 0, 200, 0, 1, 0, 0, 7, 1, 1, // the first slice
                                                     0, 0, 0,   0, 0, 0, 9, 0, 0, 0});
    ArvoImage3D labels(size, {1, 1, 1}, image::Int16);
    EXPECT_EQ(toolsOn(&mask, &labels).label(Tools::LABEL_DIAGONAL), 2);
    EXPECT_EQ(toolsOn(&mask, &labels).label(Tools::LABEL_STRAIGHT), 4);
    const std::vector<short> byFaces = {1, 0, 2, 0, 2, 0, 0, 2, 2, 2, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0};
    EXPECT_TRUE(sameBits(volumeOf(size, image::Int16, byFaces), labels));

    ArvoImage3D many = isolatedVoxels(), labelsOfMany(many.imageSize(), {1, 1, 1}, image::Int16);
    EXPECT_EQ(toolsOn(&many, &labelsOfMany).label(Tools::LABEL_DIAGONAL), 32768);
    EXPECT_EQ(labelsOfMany.getValue(66, 62, 0), 34 * 32);
    EXPECT_EQ(labelsOfMany.getValue(66, 62, 78), 32767); // as all that are left
}

TEST(LabelImage, NumbersTheBackgroundAfterTheObject)
{
    const auto expectBoth = [](const ArvoImage3D& mask, const std::string& what) {
        const ArvoImage3D background =
            maskLike(mask, [&](std::size_t i) { return voxels<unsigned char>(mask)[i] == 0; });
        Labelled parts = labelledByDefinition(mask, false);
        const Labelled others = labelledByDefinition(background, false);
        const int count = static_cast<int>(parts.volumes.size()) - 1;
        for (std::size_t i = 0; i < voxels<short>(parts.labels).size(); ++i) {
            if (short& label = voxels<short>(parts.labels)[i]; label == 0)
                label = static_cast<short>(count + voxels<short>(others.labels)[i]);
        }
        parts.labels.editFinished();
        expectResult(parts.labels, mask, what, [&](ArvoImage3D& in, ArvoImage3D& out) {
            EXPECT_EQ(Tools::labelImage(&in, &out), count + std::ssize(others.volumes) - 1);
        });
    };
    forEachMask(0, expectBoth);
    expectBoth(isolatedVoxels(), "together more parts than 16 bits hold");
    expectBoth(cubeOfNoise(90, 0.92), "more parts of the background");
}

TEST(KeepLargestPart, KeepsTheFirstOfTheLargestAndFillsAnEmptyMask)
{
    forEachMaskOfParts([](const ArvoImage3D& mask, const std::string& what) {
        const Labelled parts = labelledByDefinition(mask, true);
        const ArvoImage3D expected =
            keptParts(parts, [best = largestOf(parts)](std::size_t label) { return label == best; });
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
            const auto isAbove = [&](int x, int y, int z) { return image.getValue(x, y, z) > threshold; };
            const Labelled parts = labelledByDefinition(shape(size, isAbove), true);
            const std::size_t best = largestOf(parts);
            const ArvoImage3D isKept =
                keptParts(parts, [=](std::size_t label) { return label == best && label != 0; });
            ArvoImage3D expected = copyOf(image);
            for (std::size_t i = 0; i < voxels<short>(expected).size(); ++i) {
                if (voxels<char>(isKept)[i] == 0)
                    voxels<short>(expected)[i] = static_cast<short>(image.minValue());
            }
            expectResult(expected, image, describe(size, type, seed) + " > " + std::to_string(threshold),
                         [&](ArvoImage3D& in, ArvoImage3D& out) {
                             EXPECT_EQ(toolsOn(&in, &out).keepLargestPart(threshold), parts.volumes[best]);
                         });
        }
    });
}

TEST(KeepAllConnectedToSlice, AgreesWithTheDefinition)
{
    forEachMaskOfParts([](const ArvoImage3D& mask, const std::string& what) {
        const math::Ivec3 size = mask.imageSize();
        const Labelled parts = labelledByDefinition(mask, true);
        for (const int slice : {0, size.z / 2, size.z - 1}) {
            std::vector<bool> isOnSlice(parts.volumes.size());
            forEachVoxel(size, [&](int, int, int z, std::size_t i) {
                if (const short label = voxels<short>(parts.labels)[i]; z == slice && label != 0)
                    isOnSlice[static_cast<std::size_t>(label)] = true;
            });
            for (const int minVolume : {-1, 1, 2, 9}) { // below 0: the form without
                const auto isKept = [&](std::size_t label) {
                    return isOnSlice[label] && parts.volumes[label] >= minVolume;
                };
                int keptCount = 0;
                for (std::size_t label = 0; label < isOnSlice.size(); ++label)
                    keptCount += isKept(label);
                const auto keep = [&](ArvoImage3D& in, ArvoImage3D& out) {
                    Tools tools = toolsOn(&in, &out);
                    EXPECT_EQ(minVolume < 0 ? tools.keepAllConnectedToSlice(slice)
                                            : tools.keepAllConnectedToSlice(slice, minVolume),
                              keptCount);
                };
                if (size.z > 0) // else there is no slice
                    expectResult(keptParts(parts, isKept), mask, what, keep);
            }
        }
    });
}
