#include "arvo/geometry/FloatingImageContainerMerger.h"

#include "arvo/platform/image/FloatingImageContainer.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace testing_support;

namespace {

using Container = std::unique_ptr<FloatingImageContainer>;

std::unique_ptr<FloatingImageContainer> merged(const std::vector<Container>& containers)
{
    std::vector<FloatingImageContainer*> pointers;
    for (const Container& container : containers)
        pointers.push_back(container.get());
    return FloatingImageContainerMerger::mergeByUnion(pointers);
}

Container placed(ArvoImage3D image, const QVector3D& bottomLeft, const QVector3D& topRight)
{
    return std::make_unique<FloatingImageContainer>(std::make_unique<ArvoImage3D>(std::move(image)),
                                                    bottomLeft, topRight);
}

/// A row of voxels of spacing 1 that starts at x and spans y and z from 0 to 1.
Container rowAt(float x, const std::vector<float>& values)
{
    const int count = static_cast<int>(values.size());
    return placed(volumeOf({count, 1, 1}, image::Float32, values), {x, 0, 0},
                  {x + static_cast<float>(count), 1, 1});
}

std::vector<Container> both(Container first, Container second)
{
    std::vector<Container> containers;
    containers.push_back(std::move(first));
    containers.push_back(std::move(second));
    return containers;
}

int rounded(float distance, float voxelSize)
{
    return static_cast<int>(std::lround(static_cast<double>(distance / voxelSize)));
}

/// The merge by its definition, with the bounds test at every voxel.
ArvoImage3D mergedByDefinition(const std::vector<Container>& containers)
{
    const QVector3D v = containers[0]->getImage()->voxelSize();
    QVector3D low = containers[0]->getBottomLeft();
    QVector3D high = low;
    float fill = -std::numeric_limits<float>::max();
    for (const Container& container : containers) {
        for (const QVector3D& corner : {container->getBottomLeft(), container->getTopRight()}) {
            for (int k = 0; k < 3; ++k) {
                low[k] = std::min(low[k], corner[k]);
                high[k] = std::max(high[k], corner[k]);
            }
        }
        fill = std::max(fill, container->getImage()->getValueRange().second);
    }
    math::Ivec3 size;
    for (int k = 0; k < 3; ++k)
        size[k] = rounded(high[k] - low[k], v[k]);
    ArvoImage3D out(size, v, image::Float32);
    float* values = reinterpret_cast<float*>(out.dataPtr());
    std::fill_n(values, size.x * size.y * size.z, fill);
    for (const Container& container : containers) {
        const ArvoImage3D& in = *container->getImage();
        const QVector3D shift = container->getBottomLeft() - low;
        forEachVoxel(in.imageSize(), [&](int x, int y, int z, std::size_t) {
            const int outX = x + rounded(shift.x(), v.x());
            const int outY = y + rounded(shift.y(), v.y());
            const int outZ = z + rounded(shift.z(), v.z());
            if (outX >= size.x || outY >= size.y || outZ >= size.z)
                return;
            float& voxel = values[(outZ * size.y + outY) * size.x + outX];
            voxel = std::min(voxel, in.getFloatValue(x, y, z));
        });
    }
    return out;
}

TEST(MergeByUnion, AgreesWithTheDefinition)
{
    Random random(17);
    std::uniform_real_distribution<float> jitter(-6.0f, 6.0f);
    for (int round = 0; round < 60; ++round) {
        std::vector<Container> containers;
        for (unsigned k = 0; k < 1 + random() % 4; ++k) {
            const math::Ivec3& size = someSizes()[random() % someSizes().size()];
            ArvoImage3D image =
                randomVolume(size, image::Float32, random(), round % 2 ? Fill::Extremes : Fill::Uniform);
            const QVector3D spacing = image.voxelSize();
            // Corners on quarters of voxels make ties; extents are half a voxel off at times, one container lies
            // with its corners swapped.
            QVector3D corner, extent;
            for (int axis = 0; axis < 3; ++axis) {
                corner[axis] = std::round(jitter(random) * 4) / 4 * spacing[axis];
                extent[axis] = (static_cast<float>(size[axis]) + 0.5f * static_cast<float>(random() % 2)) *
                               spacing[axis];
            }
            containers.push_back(round % 10 == 9 ? placed(std::move(image), corner + extent, corner)
                                                 : placed(std::move(image), corner, corner + extent));
        }
        const Container actual = merged(containers);
        ASSERT_TRUE(actual);
        ASSERT_TRUE(sameBits(mergedByDefinition(containers), *actual->getImage())) << "round " << round;
    }
}

TEST(MergeByUnion, FillsGapsAndTakesTheSmallerWhereVolumesOverlap)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Container apart = merged(both(rowAt(-2, {1, 2}), rowAt(2, {5, -3})));
    ASSERT_TRUE(apart);
    EXPECT_TRUE(
        sameBits(volumeOf<float>({6, 1, 1}, image::Float32, {1, 2, 5, 5, 5, -3}), *apart->getImage()));
    EXPECT_EQ(apart->getBottomLeft(), QVector3D(-2, 0, 0));
    EXPECT_EQ(apart->getTopRight(), QVector3D(4, 1, 1));
    const Container across = merged(both(rowAt(0, {1, 2, 9}), rowAt(1, {0, 7, nan})));
    ASSERT_TRUE(across);
    EXPECT_TRUE(sameBits(volumeOf<float>({4, 1, 1}, image::Float32, {1, 0, 7, 9}), *across->getImage()));
}

TEST(MergeByUnion, RefusesWhatCannotBeMerged)
{
    const auto sized = [](const QVector3D& spacing, image::DataType type = image::Float32) {
        ArvoImage3D image({2, 2, 2}, spacing, type);
        image.zeroSlices();
        return image;
    };
    const auto mergedWith = [&](Container other) {
        return merged(both(placed(sized({1, 1, 1}), {0, 0, 0}, {2, 2, 2}), std::move(other)));
    };
    const QVector3D end(2, 2, 2);
    const Warnings warnings;
    EXPECT_FALSE(merged({}));
    EXPECT_FALSE(mergedWith(placed(sized({1, 1, 1.0001f}), {}, end)));
    EXPECT_FALSE(mergedWith(placed(sized({1, NAN, 1}), {}, end)));
    std::vector<Container> unplaced;
    unplaced.push_back(placed(sized({NAN, 1, 1}), {}, end));
    EXPECT_FALSE(merged(unplaced));
    EXPECT_TRUE(warnings.texts().empty());

    EXPECT_FALSE(mergedWith(nullptr));
    EXPECT_FALSE(mergedWith(std::make_unique<FloatingImageContainer>(nullptr, QVector3D(), end)));
    EXPECT_FALSE(mergedWith(placed(ArvoImage3D(), {}, end)));
    EXPECT_FALSE(mergedWith(placed(sized({1, 1, 1}, image::Int32), {}, end)));
    EXPECT_FALSE(mergedWith(placed(sized({1, 1, 1}), {}, {2e9f, 2e9f, 2e9f})));
    EXPECT_FALSE(mergedWith(placed(sized({1, 1, 1}), {}, {1e30f, 1, 1})));
    const std::string missing = "FloatingImageContainerMerger : a container without a valid volume.";
    const std::string type = "FloatingImageContainerMerger : cannot merge volumes other than float.";
    const std::string memory = "FloatingImageContainerMerger : cannot create the merged volume.";
    EXPECT_EQ(warnings.texts(), (std::vector<std::string>{missing, missing, missing, type, memory, memory}));
}

} // namespace
