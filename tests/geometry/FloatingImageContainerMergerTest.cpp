#include "arvo/geometry/FloatingImageContainerMerger.h"

#include "arvo/platform/image/FloatingImageContainer.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cmath>
#include <limits>

using namespace testing_support;

namespace {

using Container = std::unique_ptr<FloatingImageContainer>;

Container merged(const std::vector<Container>& containers)
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

math::Ivec3 inVoxels(const QVector3D& distance, const QVector3D& voxelSize)
{
    const auto rounded = [](float quotient) {
        return static_cast<int>(std::lround(static_cast<double>(quotient)));
    };
    const QVector3D quotient = distance / voxelSize;
    return {rounded(quotient.x()), rounded(quotient.y()), rounded(quotient.z())};
}

/// The merge by its definition, with the bounds test at every voxel.
Container mergedByDefinition(const std::vector<Container>& containers)
{
    const QVector3D voxelSize = containers[0]->getImage()->voxelSize();
    QVector3D low = containers[0]->getBottomLeft(), high = low;
    float fill = -std::numeric_limits<float>::max();
    for (const Container& container : containers) {
        for (int k = 0; k < 3; ++k) {
            const float a = container->getBottomLeft()[k], b = container->getTopRight()[k];
            low[k] = std::min({low[k], a, b});
            high[k] = std::max({high[k], a, b});
        }
        fill = std::max(fill, container->getImage()->getValueRange().second);
    }
    const math::Ivec3 size = inVoxels(high - low, voxelSize);
    ArvoImage3D out(size, voxelSize, image::Float32);
    std::ranges::fill(voxels<float>(out), fill);
    for (const Container& container : containers) {
        const math::Ivec3 shift = inVoxels(container->getBottomLeft() - low, voxelSize);
        const ArvoImage3D& in = *container->getImage();
        forEachVoxel(in.imageSize(), [&](int x, int y, int z, std::size_t i) {
            if (!holds(size, x + shift.x, y + shift.y, z + shift.z))
                return;
            float& voxel = voxels<float>(out)[indexOf(size, x + shift.x, y + shift.y, z + shift.z)];
            voxel = std::min(voxel, voxels<float>(in)[i]);
        });
    }
    return placed(std::move(out), low, high);
}

} // namespace

TEST(MergeByUnion, AgreesWithTheDefinition)
{
    Random random(17);
    for (int round = 0; round < 100; ++round) {
        std::vector<Container> containers;
        for (unsigned k = 0; k < 1 + random() % 4; ++k) {
            const math::Ivec3& size = someSizes()[random() % someSizes().size()];
            ArvoImage3D image =
                randomVolume(size, image::Float32, random(), round % 2 ? Fill::Extremes : Fill::Uniform);
            // Corners on quarters of voxels make ties; extents are half a voxel off at times, and some containers lie
            // with their corners swapped.
            QVector3D corner, extent;
            for (int axis = 0; axis < 3; ++axis) {
                const int quarters = static_cast<int>(random() % 49) - 24;
                const int halves = 2 * size[axis] + static_cast<int>(random() % 2);
                corner[axis] = static_cast<float>(quarters) / 4 * image.voxelSize()[axis];
                extent[axis] = static_cast<float>(halves) / 2 * image.voxelSize()[axis];
            }
            containers.push_back(round % 10 == 9 ? placed(std::move(image), corner + extent, corner)
                                                 : placed(std::move(image), corner, corner + extent));
        }
        const Container expected = mergedByDefinition(containers);
        const Container actual = merged(containers);
        ASSERT_TRUE(actual);
        ASSERT_TRUE(sameBits(*expected->getImage(), *actual->getImage())) << "round " << round;
        ASSERT_EQ(expected->getBottomLeft(), actual->getBottomLeft());
        ASSERT_EQ(expected->getTopRight(), actual->getTopRight());
    }
}

TEST(MergeByUnion, FillsGapsAndTakesTheSmallerWhereVolumesOverlap)
{
    const auto rowAt = [](float x, const std::vector<float>& values) {
        const int count = static_cast<int>(values.size());
        return placed(volumeOf({count, 1, 1}, image::Float32, values), {x, 0, 0},
                      {x + static_cast<float>(count), 1, 1});
    };
    std::vector<Container> rows;
    rows.push_back(rowAt(-2, {-9, -8, -1}));
    rows.push_back(rowAt(2, {-5, -13}));
    rows.push_back(rowAt(-1, {-10, NAN}));
    const Container all = merged(rows);
    EXPECT_TRUE(
        sameBits(volumeOf<float>({6, 1, 1}, image::Float32, {-9, -10, -1, -1, -5, -13}), *all->getImage()));
}

TEST(MergeByUnion, RefusesWhatCannotBeMerged)
{
    const auto sized = [](float depth, image::DataType type = image::Float32, float end = 2) {
        ArvoImage3D image({2, 2, 2}, {1, 1, depth}, type);
        image.zeroSlices();
        return placed(std::move(image), {}, {end, 2, 2});
    };
    const auto isMerged = [](Container first, Container second) {
        std::vector<Container> containers;
        containers.push_back(std::move(first));
        containers.push_back(std::move(second));
        return merged(containers) != nullptr;
    };
    const Warnings warnings;
    EXPECT_FALSE(merged({}));
    EXPECT_FALSE(isMerged(sized(1), sized(1.0001f)));
    EXPECT_FALSE(isMerged(sized(NAN), sized(NAN)));
    EXPECT_TRUE(warnings.texts().empty());

    EXPECT_FALSE(isMerged(sized(1), nullptr));
    EXPECT_FALSE(
        isMerged(sized(1), std::make_unique<FloatingImageContainer>(nullptr, QVector3D(), QVector3D())));
    EXPECT_FALSE(isMerged(sized(1), placed(ArvoImage3D(), {}, {})));
    EXPECT_FALSE(isMerged(sized(1), sized(1, image::Int32)));
    EXPECT_FALSE(isMerged(sized(1), sized(1, image::Float32, 1e30f)));
    EXPECT_EQ(warnings.texts().size(), 5u);
}
