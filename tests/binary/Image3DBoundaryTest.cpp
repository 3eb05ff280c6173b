#include "arvo/binary/Image3DBoundary.h"

#include "binary/ByteObjects.h"

#include <algorithm>

using namespace testing_support;

namespace {

std::unique_ptr<ArvoImage3D> boundaryOf(const ArvoImage3D& object)
{
    Image3DBoundary boundary;
    boundary.setInputImage(&object);
    boundary.execute(notCancelled);
    EXPECT_TRUE(boundary.isSuccess());
    return std::unique_ptr<ArvoImage3D>(boundary.takeBoundaryImage());
}

TEST(Image3DBoundary, AgreesWithTheDefinition)
{
    forEachObject([](const ArvoImage3D& object, const std::string& label) {
        const auto boundary = boundaryOf(object);
        EXPECT_TRUE(sameBits(boundaryByDefinition(object), *boundary)) << label;
        EXPECT_EQ(boundary->voxelSize(), object.voxelSize());
    });
}

/// The number of marked voxels in a 4 x 7 x 3 volume of ones whose middle row has these values instead.
std::ptrdiff_t marksWithRow(const std::vector<unsigned char>& row)
{
    ArvoImage3D object = boxIn({4, 7, 3}, {0, 0, 0}, {3, 6, 2});
    std::ranges::copy(row, voxels<unsigned char>(object).begin() + 28 + 12);
    const auto boundary = boundaryOf(object);
    return std::ranges::count(voxels<unsigned char>(*boundary), 1);
}

TEST(Image3DBoundary, StepsOverTheEndsOfRowsAndReadsBytesAsSigned)
{
    EXPECT_EQ(marksWithRow({1, 1, 1, 1}), 0);
    EXPECT_EQ(marksWithRow({1, 0, 1, 1}), 4); // left, right, above, below
    // At the end of a row the voxel to the right is the first of the next row; above, below and left as usual.
    EXPECT_EQ(marksWithRow({1, 1, 1, 0}), 4);
    // Not zero, so nothing touches zero; not above zero either, so not marked itself.
    EXPECT_EQ(marksWithRow({1, 200, 1, 1}), 0);
    EXPECT_EQ(marksWithRow({127, 0, 128, 1}), 3);
}

TEST(Image3DBoundary, ACubeHasItsSurface)
{
    const auto boundary = boundaryOf(boxIn({7, 7, 7}, {1, 1, 1}, {5, 5, 5}));
    EXPECT_EQ(std::ranges::count(voxels<unsigned char>(*boundary), 1), 98);
    EXPECT_EQ(boundary->getValue(1, 1, 1), 1);
    EXPECT_EQ(boundary->getValue(2, 2, 2), 0);
}

TEST(Image3DBoundary, ARaisedFlagFailsButLeavesTheMask)
{
    const ArvoImage3D object = randomMask({9, 8, 7}, 0.5, 1);
    Image3DBoundary boundary;
    boundary.setInputImage(&object);
    boundary.execute(cancelled);
    EXPECT_FALSE(boundary.isSuccess());
    const std::unique_ptr<ArvoImage3D> mask(boundary.takeBoundaryImage());
    ASSERT_TRUE(mask);
    EXPECT_TRUE(sameBits(boundaryByDefinition(object), *mask));
}

TEST(Image3DBoundary, FollowsTheCommonRules)
{
    expectCommonRules(Image3DBoundary(), [](Image3DBoundary& b) { return b.takeBoundaryImage(); });
}

} // namespace
