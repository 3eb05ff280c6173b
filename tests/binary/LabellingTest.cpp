#include "arvo/binary/ArvoImageBinaryTools.h"

#include "binary/ToolsOn.h"
#include "NaiveLabelling.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

struct Result {
    ArvoImage3D labels;
    int value = 0;
};

Result labelled(ArvoImage3D& mask, Tools::LABEL_TYPE type)
{
    Result result;
    result.labels.createFrom(&mask, image::Int16);
    result.labels.memsetSlices(0x55);
    result.value = toolsOn(&mask, &result.labels).label(type);
    return result;
}

void expectAsDefined(ArvoImage3D& mask, const std::string& what)
{
    for (const Tools::LABEL_TYPE type : {Tools::LABEL_DIAGONAL, Tools::LABEL_STRAIGHT}) {
        const Result actual = labelled(mask, type);
        const naive::Labelled expected = naive::label(mask, type == Tools::LABEL_DIAGONAL);
        EXPECT_TRUE(sameBits(expected.labels, actual.labels)) << what << ", connectivity " << type;
        EXPECT_EQ(expected.tableSize, actual.value) << what << ", connectivity " << type;
    }
}

ArvoImage3D cubeOfNoise(int edge, double density)
{
    return randomMask(math::Ivec3(edge, edge, edge), density,
                      static_cast<std::uint64_t>(edge * 100 + density * 100));
}

} // namespace

TEST(Label, AgreesWithTheVoxelScan)
{
    std::vector<math::Ivec3> sizes = someSizes();
    sizes.insert(sizes.end(),
                 {{63, 5, 4}, {64, 5, 4}, {65, 9, 5}, {130, 7, 6}, {2, 40, 20}, {0, 3, 3}, {3, 0, 2}});
    std::uint64_t seed = 1;
    for (const math::Ivec3& size : sizes) {
        for (const double density : {0.0, 0.02, 0.08, 0.2, 0.35, 0.5, 0.7, 0.95, 1.0}) {
            ArvoImage3D mask = randomMask(size, density, ++seed);
            expectAsDefined(mask, describe(size, image::Binary, seed));
        }
    }
}

TEST(Label, LabelsRunOutAsInTheVoxelScan)
{
    for (const int edge : {61, 100}) {
        for (const double density : {0.04, 0.1, 0.15, 0.25, 0.31, 0.35, 0.5}) {
            ArvoImage3D mask = cubeOfNoise(edge, density);
            expectAsDefined(mask, std::to_string(edge) + " cubed, density " + std::to_string(density));
        }
    }
}

TEST(Label, PartsPastTheLimitShareTheLastLabel)
{
    const math::Ivec3 size(67, 64, 80); // isolated voxels at even places: 34 * 32 * 40 parts
    ArvoImage3D mask(size, QVector3D(1, 1, 1), image::Binary);
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        voxels<unsigned char>(mask)[i] = x % 2 == 0 && y % 2 == 0 && z % 2 == 0;
    });
    const Result result = labelled(mask, Tools::LABEL_DIAGONAL);
    EXPECT_EQ(32768, result.value);
    EXPECT_EQ(34 * 32, result.labels.getValue(66, 62, 0));
    EXPECT_EQ(32767, result.labels.getValue(66, 62, 78));
    expectAsDefined(mask, "isolated voxels");
    // A bar along z that starts early takes the parts past the limit, which it touches, to its own number.
    for (int z = 0; z < size.z; ++z)
        mask.getAxialSlice(z)[0] = 1;
    for (int x = 0; x < size.x; ++x)
        mask.getAxialSlice(77)[x] = 1;
    EXPECT_EQ(1, labelled(mask, Tools::LABEL_STRAIGHT).labels.getValue(66, 62, 78));
    expectAsDefined(mask, "isolated voxels and a bar");
}

TEST(Label, NumbersPartsInScanOrderWithoutGaps)
{
    // An edge contact, a corner contact, and a U whose arms meet in the last row.
    ArvoImage3D mask = volumeOf<unsigned char>(math::Ivec3(5, 3, 2), image::UInt8,
                                               {
                                                   1,   0, 200, 0, 1, //
                                                   0,   0, 7,   0, 1, //
                                                   0,   0, 1,   1, 1, //

                                                   0,   0, 0,   0, 0, //
                                                   255, 0, 0,   0, 0, //
                                                   0,   9, 0,   0, 0, //
                                               });
    const ArvoImage3D diagonal = volumeOf<short>(math::Ivec3(5, 3, 2), image::Int16,
                                                 {
                                                     1, 0, 1, 0, 1, //
                                                     0, 0, 1, 0, 1, //
                                                     0, 0, 1, 1, 1, //

                                                     0, 0, 0, 0, 0, //
                                                     1, 0, 0, 0, 0, //
                                                     0, 1, 0, 0, 0, //
                                                 });
    const ArvoImage3D straight = volumeOf<short>(math::Ivec3(5, 3, 2), image::Int16,
                                                 {
                                                     1, 0, 2, 0, 2, //
                                                     0, 0, 2, 0, 2, //
                                                     0, 0, 2, 2, 2, //

                                                     0, 0, 0, 0, 0, //
                                                     3, 0, 0, 0, 0, //
                                                     0, 4, 0, 0, 0, //
                                                 });
    const Result byAll = labelled(mask, Tools::LABEL_DIAGONAL);
    EXPECT_TRUE(sameBits(diagonal, byAll.labels));
    EXPECT_EQ(2, byAll.value);
    for (const int type : {1, 2, -1}) {
        const Result byFaces = labelled(mask, static_cast<Tools::LABEL_TYPE>(type));
        EXPECT_TRUE(sameBits(straight, byFaces.labels)) << type;
        EXPECT_EQ(5, byFaces.value);
    }
}

TEST(LabelImage, NumbersTheBackgroundAfterTheObject)
{
    std::uint64_t seed = 0;
    std::vector<ArvoImage3D> masks;
    for (const math::Ivec3& size : someSizes())
        masks.push_back(randomMask(size, 0.4, ++seed));
    masks.push_back(randomMask(math::Ivec3(70, 65, 9), 0.6, 5));
    masks.push_back(cubeOfNoise(90, 0.08)); // object and background parts exceed 16 bits together
    masks.push_back(cubeOfNoise(90, 0.92));
    for (ArvoImage3D& mask : masks) {
        ArvoImage3D inverted = copyOf(mask);
        for (unsigned char& voxel : voxels<unsigned char>(inverted))
            voxel = voxel == 0;
        naive::Labelled object = naive::label(mask, false);
        const naive::Labelled background = naive::label(inverted, false);
        const auto expected = voxels<short>(object.labels);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (expected[i] == 0)
                expected[i] = static_cast<short>(object.tableSize - 1 + voxels<short>(background.labels)[i]);
        }
        ArvoImage3D actual;
        actual.createFrom(&mask, image::Int16);
        EXPECT_EQ(object.tableSize + background.tableSize - 2, Tools::labelImage(&mask, &actual));
        EXPECT_TRUE(sameBits(object.labels, actual)) << describe(mask.imageSize(), image::Binary, 0);
    }
}
