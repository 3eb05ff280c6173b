#include "arvo/binary/Image3DBoundary.h"

#include "binary/BoundaryByDefinition.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <memory>

using namespace testing_support;

namespace {

const std::atomic<bool> notCancelled{false};

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
    for (const math::Ivec3& size : objectSizes()) {
        for (const ArvoImage3D& object : someObjects(size))
            EXPECT_TRUE(sameBits(boundaryByDefinition(object), *boundaryOf(object)))
                << describe(size, object.dataType(), 0);
    }
}

TEST(Image3DBoundary, HasTheGeometryOfTheInput)
{
    const ArvoImage3D object = randomVolume({5, 4, 3}, image::UInt8, 1);
    const auto boundary = boundaryOf(object);
    EXPECT_EQ(boundary->dataType(), image::Binary);
    EXPECT_EQ(boundary->voxelSize(), object.voxelSize());
}

/// The number of marked voxels, in a 4 x 7 x 3 volume of ones whose middle row has these values instead.
int marksWithRow(const std::vector<unsigned char>& row)
{
    ArvoImage3D object = volumeOf<unsigned char>({4, 7, 3}, image::UInt8, std::vector<unsigned char>(84, 1));
    std::ranges::copy(row, voxels<unsigned char>(object).begin() + 28 + 12);
    const auto boundary = boundaryOf(object);
    return static_cast<int>(std::ranges::count(voxels<unsigned char>(*boundary), 1));
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
    ArvoImage3D object = randomMask({7, 7, 7}, 0.0, 1);
    for (int z = 1; z < 6; ++z) {
        for (int y = 1; y < 6; ++y) {
            for (int x = 1; x < 6; ++x)
                voxels<unsigned char>(object)[static_cast<std::size_t>((z * 7 + y) * 7 + x)] = 1;
        }
    }
    const auto boundary = boundaryOf(object);
    EXPECT_EQ(std::ranges::count(voxels<unsigned char>(*boundary), 1), 98);
    EXPECT_EQ(boundary->getValue(1, 1, 1), 1);
    EXPECT_EQ(boundary->getValue(2, 2, 2), 0);
}

TEST(Image3DBoundary, ARaisedFlagFailsButLeavesTheMask)
{
    const ArvoImage3D object = randomMask({9, 8, 7}, 0.5, 1);
    const std::atomic<bool> cancel{true};
    Image3DBoundary boundary;
    boundary.setInputImage(&object);
    boundary.execute(cancel);
    EXPECT_FALSE(boundary.isSuccess());
    const std::unique_ptr<ArvoImage3D> mask(boundary.takeBoundaryImage());
    ASSERT_TRUE(mask);
    EXPECT_TRUE(sameBits(boundaryByDefinition(object), *mask));
}

TEST(Image3DBoundary, IgnoresWhatCannotBeAnInputSilently)
{
    const ArvoImage3D object = randomMask({4, 4, 4}, 0.5, 1);
    const Warnings warnings;
    for (const ArvoImage3D& bad : unfitObjects()) {
        Image3DBoundary boundary;
        boundary.setInputImage(&bad);
        boundary.execute(notCancelled);
        EXPECT_FALSE(boundary.isSuccess());
        EXPECT_EQ(boundary.takeBoundaryImage(), nullptr);
    }
    Image3DBoundary boundary;
    boundary.setInputImage(&object);
    boundary.setInputImage(nullptr);
    boundary.setInputImage(&unfitObjects().front());
    boundary.execute(notCancelled);
    EXPECT_TRUE(boundary.isSuccess()) << "the first input stays";
    EXPECT_TRUE(warnings.texts().empty());
}

TEST(Image3DBoundary, DropsTheResultWhenTheInputHasBecomeUnfit)
{
    ArvoImage3D object = randomMask({4, 4, 4}, 0.5, 1);
    Image3DBoundary boundary;
    boundary.setInputImage(&object);
    boundary.execute(notCancelled);
    object = randomMask({4, 2, 4}, 0.5, 1);
    boundary.execute(notCancelled);
    EXPECT_FALSE(boundary.isSuccess());
    EXPECT_EQ(boundary.takeBoundaryImage(), nullptr);
}

TEST(Image3DBoundary, ACopyTakesOverTheInputAndNotTheResult)
{
    const ArvoImage3D object = randomMask({4, 4, 4}, 0.5, 1);
    Image3DBoundary original;
    original.setInputImage(&object);
    original.execute(notCancelled);

    Image3DBoundary copy(original);
    EXPECT_FALSE(copy.isSuccess());
    EXPECT_EQ(copy.takeBoundaryImage(), nullptr);
    copy.execute(notCancelled);
    EXPECT_TRUE(copy.isSuccess());
    copy = original;
    EXPECT_EQ(copy.takeBoundaryImage(), nullptr);

    const std::unique_ptr<ArvoImage3D> result(original.takeBoundaryImage());
    EXPECT_TRUE(result);
    EXPECT_EQ(original.takeBoundaryImage(), nullptr);
}

} // namespace
