#include "arvo/binary/Image3DBoundary.h"

#include "DistanceByDefinition.h"
#include "MaskTests.h"

using namespace testing_support;

namespace {

Image takeFrom(Image3DBoundary& boundary)
{
    return Image(boundary.takeBoundaryImage());
}

Image boundaryOf(const ArvoImage3D& object, const std::atomic<bool>& cancel)
{
    Image3DBoundary boundary;
    boundary.setInputImage(&object);
    boundary.execute(cancel);
    EXPECT_EQ(boundary.isSuccess(), !cancel);
    return takeFrom(boundary);
}

} // namespace

TEST(Image3DBoundary, AgreesWithTheDefinitionEvenWhenCancelled)
{
    forEachMask(3, [](const ArvoImage3D& object, const std::string& what) {
        for (const auto* cancel : {&notCancelled, &cancelled}) {
            const Image boundary = boundaryOf(object, *cancel);
            EXPECT_TRUE(sameBits(boundaryByDefinition(object), *boundary)) << what;
            EXPECT_EQ(boundary->voxelSize(), object.voxelSize());
        }
    });
}

TEST(Image3DBoundary, StepsOverTheEndsOfRowsAndReadsBytesAsSigned)
{
    // The number of marked voxels in a volume of ones whose middle row has these values instead.
    const auto marksWithRow = [](const std::vector<unsigned char>& row) {
        ArvoImage3D object = boxIn({4, 7, 3}, {0, 0, 0}, {3, 6, 2});
        std::ranges::copy(row, voxels<unsigned char>(object).begin() + 28 + 12);
        return std::ranges::count(voxels<unsigned char>(*boundaryOf(object, notCancelled)), 1);
    };
    EXPECT_EQ(marksWithRow({1, 0, 1, 1}), 4); // left, right, above, below
    // At the end of a row the voxel to the right is the first of the next row; above, below and left as usual.
    EXPECT_EQ(marksWithRow({1, 1, 1, 0}), 4);
    // Not zero, so nothing touches zero; not above zero either, so not marked itself.
    EXPECT_EQ(marksWithRow({1, 200, 1, 1}), 0);
    EXPECT_EQ(marksWithRow({127, 0, 128, 1}), 3);
}

TEST(Image3DBoundary, FollowsTheCommonRules)
{
    expectCommonRules(Image3DBoundary(), Image3DBoundary(), takeFrom, true);
}
