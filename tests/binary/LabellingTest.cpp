#include "MaskTests.h"
#include "NaiveLabelling.h"

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

ArvoImage3D cubeOfNoise(int edge, double density)
{
    return randomMask({edge, edge, edge}, density, static_cast<std::uint64_t>(edge * 100 + density * 100));
}

/// Isolated voxels at even places, more of them than there are labels.
ArvoImage3D isolatedVoxels()
{
    ArvoImage3D mask({67, 64, 80}, {1, 1, 1}, image::Binary);
    forEachVoxel(mask.imageSize(), [&](int x, int y, int z, std::size_t i) {
        voxels<unsigned char>(mask)[i] = x % 2 == 0 && y % 2 == 0 && z % 2 == 0;
    });
    return mask;
}

void expectAsDefined(const ArvoImage3D& mask, const std::string& what)
{
    for (const int type : {0, 1, -1}) {
        const naive::Labelled expected = naive::label(mask, type == Tools::LABEL_DIAGONAL);
        expectResult(expected.labels, mask, what + ", neighbours " + std::to_string(type),
                     [&](ArvoImage3D& in, ArvoImage3D& out) {
                         EXPECT_EQ(std::ssize(expected.volumes),
                                   toolsOn(&in, &out).label(static_cast<Tools::LABEL_TYPE>(type)));
                     });
    }
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

TEST(Label, PartsPastTheLimitShareTheLastLabel)
{
    ArvoImage3D mask = isolatedVoxels();
    ArvoImage3D labels(mask.imageSize(), {1, 1, 1}, image::Int16);
    EXPECT_EQ(toolsOn(&mask, &labels).label(Tools::LABEL_DIAGONAL), 32768);
    EXPECT_EQ(labels.getValue(66, 62, 0), 34 * 32);
    EXPECT_EQ(labels.getValue(66, 62, 78), 32767);
}

TEST(Label, NumbersPartsInScanOrderWithoutGaps)
{
    // A U whose arms meet in the last row, and contacts over corners and edges only.
    const math::Ivec3 size(5, 3, 2);
    ArvoImage3D mask = volumeOf<unsigned char>(size, image::UInt8,
                                               {
                                                   1,   0, 200, 0, 1, //
                                                   0,   0, 7,   0, 1, //
                                                   0,   0, 1,   1, 1, //

                                                   0,   0, 0,   0, 0, //
                                                   255, 0, 0,   0, 0, //
                                                   0,   9, 0,   0, 0, //
                                               });
    const ArvoImage3D byFaces = volumeOf<short>(size, image::Int16,
                                                {
                                                    1, 0, 2, 0, 2, //
                                                    0, 0, 2, 0, 2, //
                                                    0, 0, 2, 2, 2, //

                                                    0, 0, 0, 0, 0, //
                                                    3, 0, 0, 0, 0, //
                                                    0, 4, 0, 0, 0, //
                                                });
    ArvoImage3D labels(size, {1, 1, 1}, image::Int16);
    EXPECT_EQ(toolsOn(&mask, &labels).label(Tools::LABEL_DIAGONAL), 2);
    EXPECT_EQ(toolsOn(&mask, &labels).label(Tools::LABEL_STRAIGHT), 5);
    EXPECT_TRUE(sameBits(byFaces, labels));
}

TEST(LabelImage, NumbersTheBackgroundAfterTheObject)
{
    const auto expectBoth = [](const ArvoImage3D& mask, const std::string& what) {
        const ArvoImage3D background =
            maskWhere(mask, [&](std::size_t i) { return voxels<unsigned char>(mask)[i] == 0; });
        naive::Labelled parts = naive::label(mask, false);
        const naive::Labelled others = naive::label(background, false);
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
    expectBoth(cubeOfNoise(90, 0.08), "together more parts than 16 bits hold");
    expectBoth(cubeOfNoise(90, 0.92), "more parts of the background");
}
