#include "arvo/binary/Image3DHoleClosing.h"

#include "arvo/platform/threading/ThreadProgress.h"

#include "binary/HoleClosingByDefinition.h"
#include "support/CancelFlags.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cmath>
#include <functional>
#include <memory>
#include <thread>

namespace {

using namespace testing_support;
using Texts = std::vector<std::string>;
using Image = std::unique_ptr<ArvoImage3D>;

ArvoImage3D shape(const math::Ivec3& size, const std::function<bool(int, int, int)>& isObject)
{
    ArvoImage3D mask(size, QVector3D(0.5f, 0.75f, 1.25f), image::Binary);
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        voxels<unsigned char>(mask)[i] = isObject(x, y, z);
    });
    return mask;
}

/// A ring about an axis along x, y or z.
auto ring(int axis, math::Ivec3 centre, double radius, double thickness)
{
    return [=](int x, int y, int z) {
        const double d[3] = {double(x - centre.x), double(y - centre.y), double(z - centre.z)};
        const double along = d[axis], a = d[(axis + 1) % 3], b = d[(axis + 2) % 3];
        const double fromCircle = std::hypot(a, b) - radius;
        return std::hypot(fromCircle, along) <= thickness;
    };
}

Image closed(ArvoImage3D& mask)
{
    Image3DHoleClosing closing;
    closing.setInputImage(&mask);
    closing.execute(notCancelled);
    EXPECT_TRUE(closing.isSuccess());
    return Image(closing.takeClosedImage());
}

void expectAsDefined(ArvoImage3D& mask, const std::string& what)
{
    const ArvoImage3D before = copyOf(mask);
    const Warnings warnings;
    const Image result = closed(mask);
    ASSERT_NE(result, nullptr) << what;
    EXPECT_TRUE(sameBits(closedByDefinition(mask), *result)) << what;
    EXPECT_EQ(result->voxelSize(), mask.voxelSize()) << what;
    EXPECT_TRUE(sameBits(before, mask)) << what;
    EXPECT_EQ(warnings.texts(), Texts{}) << what;
}

TEST(HoleClosing, ClosesShapesAsDefined)
{
    for (int axis = 0; axis < 3; ++axis) {
        ArvoImage3D torus = shape({19, 21, 20}, ring(axis, {9, 10, 10}, 6.5, 2.2));
        expectAsDefined(torus, "torus " + std::to_string(axis));
        const auto first = ring(axis, {9, 10, 10}, 5.5, 1.2);
        const auto second = ring((axis + 1) % 3, {10, 9, 13}, 5.0, 1.2);
        ArvoImage3D linked =
            shape({22, 20, 21}, [&](int x, int y, int z) { return first(x, y, z) || second(x, y, z); });
        expectAsDefined(linked, "linked rings " + std::to_string(axis));
    }
    const auto radius = [](int x, int y, int z) { return std::hypot(x - 8.5, y - 9.0, z - 8.0); };
    ArvoImage3D shell = shape(
        {18, 19, 17}, [&](int x, int y, int z) { return radius(x, y, z) < 8 && radius(x, y, z) > 5.5; });
    expectAsDefined(shell, "hollow shell");
    for (const int period : {3, 4, 5}) {
        ArvoImage3D pierced = shape({18, 19, 17}, [&](int x, int y, int z) {
            const bool isHole = x % period == 0 && y % period == 1;
            return radius(x, y, z) < 8 && radius(x, y, z) > 5.5 && !isHole;
        });
        expectAsDefined(pierced, "pierced shell " + std::to_string(period));
    }
    ArvoImage3D diagonal = shape({9, 9, 9}, [](int x, int y, int z) { return x == y && y == z; });
    expectAsDefined(diagonal, "diagonal");
    ArvoImage3D corners =
        shape({11, 7, 9}, [](int x, int y, int z) { return x % 10 == 0 && y % 6 == 0 && z % 8 == 0; });
    expectAsDefined(corners, "corners");
}

TEST(HoleClosing, ClosesNoiseAsDefined)
{
    const std::vector<math::Ivec3> sizes = {{1, 1, 1}, {2, 1, 3},  {1, 7, 2},  {5, 5, 1},   {6, 4, 5},
                                            {7, 6, 3}, {9, 8, 10}, {17, 5, 6}, {13, 11, 9}, {33, 6, 7}};
    for (const math::Ivec3& size : sizes) {
        for (const double density : {0.01, 0.05, 0.15, 0.3, 0.5, 0.8, 1.0}) {
            for (const std::uint64_t seed : {1u, 2u, 3u}) {
                ArvoImage3D mask = randomMask(size, density, seed);
                voxels<unsigned char>(mask)[0] = 1; // one object at least, on three faces
                expectAsDefined(mask,
                                describe(size, image::Binary, seed) + ", density " + std::to_string(density));
            }
        }
    }
}

TEST(HoleClosing, TakesBytesOtherThanOneAsDefined)
{
    for (const std::uint64_t seed : {1u, 2u, 3u, 4u}) {
        ArvoImage3D mask({11, 10, 9}, {1, 1, 1}, image::Binary);
        Random random(seed);
        for (unsigned char& voxel : voxels<unsigned char>(mask)) {
            constexpr unsigned char values[] = {1, 2, 3, 127, 128, 200, 254, 255};
            voxel = random() % 4 == 0 ? values[random() % 8] : 0;
        }
        expectAsDefined(mask, "seed " + std::to_string(seed));
    }
    // Bytes that are negative as signed values have no bounding box, but voxels have a distance to them.
    for (const math::Ivec3& away : {math::Ivec3(1, 2, 1), math::Ivec3(12, 6, 3), math::Ivec3(7, 12, 10)}) {
        ArvoImage3D mixed = shape({14, 15, 13}, ring(1, {6, 7, 6}, 3.0, 0.8));
        mixed.changeVoxelValues({away}, 200);
        expectAsDefined(mixed, "away at " + std::to_string(away.x));
    }
    ArvoImage3D negative({4, 4, 4}, {1, 1, 1}, image::Binary);
    negative.zeroSlices();
    negative.changeVoxelValues({{1, 1, 1}, {3, 2, 1}}, 200);
    expectAsDefined(negative, "negative");
}

TEST(HoleClosing, SealsCavitiesAndTunnels)
{
    ArvoImage3D box = shape({6, 7, 8}, [](int x, int y, int z) { return x > 0 && y > 1 && z > 1 && z < 6; });
    EXPECT_TRUE(sameBits(box, *closed(box)));
    const auto inBox = [](int x, int y, int z) { return x > 0 && y > 0 && z > 0 && x < 6 && y < 6 && z < 6; };
    ArvoImage3D solid = shape({7, 7, 7}, inBox);
    ArvoImage3D hollow = shape(
        {7, 7, 7}, [&](int x, int y, int z) { return inBox(x, y, z) && !(x == 3 && y == 3 && z == 3); });
    EXPECT_TRUE(sameBits(solid, *closed(hollow)));
    ArvoImage3D torus = shape({15, 15, 5}, ring(2, {7, 7, 2}, 4.5, 1.5));
    const Image sealed = closed(torus);
    bool isSealed = false; // somewhere straight through the middle
    for (int z = 0; z < 5; ++z)
        isSealed = isSealed || sealed->getValue(7, 7, z) != 0;
    EXPECT_TRUE(isSealed);
    EXPECT_EQ(sealed->getValue(0, 0, 2), 0);
}

TEST(HoleClosing, GivesZerosForAnEmptyInputEvenWhenCancelled)
{
    for (const math::Ivec3& size : {math::Ivec3(5, 4, 3), math::Ivec3(0, 4, 3), math::Ivec3(1, 1, 1)}) {
        ArvoImage3D empty = randomMask(size, 0.0, 1);
        for (const std::atomic<bool>* flag : {&notCancelled, &cancelled}) {
            Image3DHoleClosing closing;
            closing.setInputImage(&empty);
            closing.execute(*flag);
            EXPECT_TRUE(closing.isSuccess());
            EXPECT_TRUE(sameBits(empty, *Image(closing.takeClosedImage())));
        }
    }
}

TEST(HoleClosing, LeavesNoResultAfterACancelledRun)
{
    ArvoImage3D mask = shape({64, 64, 64}, ring(0, {32, 32, 32}, 22, 7));
    const Image whole = closed(mask);
    Image3DHoleClosing closing;
    closing.setInputImage(&mask);
    closing.execute(notCancelled);
    closing.execute(cancelled);
    EXPECT_FALSE(closing.isSuccess());
    EXPECT_EQ(closing.takeClosedImage(), nullptr);
    // Raised from another thread in every part of the run, which then ends at once.
    for (const int percent : {0, 1, 20, 40, 60, 80}) {
        ThreadProgress progress;
        std::atomic<bool> cancel{false};
        std::atomic<bool> isDone{false};
        std::thread watcher([&] {
            while (!isDone && (progress.total() == 0 || progress.value() < percent)) {
            }
            cancel = true;
        });
        closing.setProgress(&progress);
        closing.execute(cancel);
        isDone = true;
        watcher.join();
        closing.setProgress(nullptr);
        const Image result(closing.takeClosedImage());
        EXPECT_EQ(closing.isSuccess(), result != nullptr);
        EXPECT_EQ(closing.isSuccess(), progress.value() == progress.total());
        EXPECT_TRUE(!result || sameBits(*whole, *result));
    }
    closing.execute(notCancelled);
    EXPECT_TRUE(sameBits(*whole, *Image(closing.takeClosedImage())));
    EXPECT_EQ(closing.takeClosedImage(), nullptr);
}

TEST(HoleClosing, IgnoresInputsOfOtherTypesSilently)
{
    const Warnings warnings;
    ArvoImage3D mask = randomMask({5, 4, 3}, 0.5, 1);
    ArvoImage3D grey({5, 4, 3}, {1, 1, 1}, image::UInt8);
    ArvoImage3D invalid;
    Image3DHoleClosing closing;
    for (ArvoImage3D* refused : {static_cast<ArvoImage3D*>(nullptr), &grey, &invalid}) {
        EXPECT_FALSE(closing.checkValidInputImage(refused));
        closing.setInputImage(refused);
        closing.execute(notCancelled);
        EXPECT_FALSE(closing.isSuccess());
        EXPECT_EQ(closing.takeClosedImage(), nullptr);
        EXPECT_EQ(closing.createEmptyOutputImage(), nullptr);
    }
    closing.setInputImage(&mask);
    closing.setInputImage(&grey); // the mask stays
    closing.execute(notCancelled);
    EXPECT_TRUE(closing.isSuccess());
    Image3DHoleClosing copy(closing);
    EXPECT_FALSE(copy.isSuccess());
    EXPECT_EQ(copy.takeClosedImage(), nullptr);
    copy.execute(notCancelled);
    EXPECT_TRUE(sameBits(*Image(closing.takeClosedImage()), *Image(copy.takeClosedImage())));
    mask = ArvoImage3D(); // became invalid after it was set
    copy.execute(notCancelled);
    EXPECT_FALSE(copy.isSuccess());
    for (ArvoImage3D* unusable : {static_cast<ArvoImage3D*>(nullptr), &invalid}) {
        EXPECT_EQ(Image3DHoleClosing::createImageWithExtendedBorder(unusable), nullptr);
        EXPECT_EQ(Image3DHoleClosing::createBinaryImageWithRemovedBorder(unusable), nullptr);
        EXPECT_EQ(Image3DHoleClosing::createHull(unusable), nullptr);
        EXPECT_EQ(Image3DHoleClosing::getWorkingSet(unusable, unusable), nullptr);
    }
    EXPECT_EQ(warnings.texts(), Texts{});
}

TEST(HoleClosingSteps, AddAndRemoveABorder)
{
    for (const math::Ivec3& size : {math::Ivec3(5, 4, 3), math::Ivec3(1, 1, 1), math::Ivec3(0, 2, 3)}) {
        ArvoImage3D mask = randomMask(size, 0.5, 3);
        const Image bordered(Image3DHoleClosing::createImageWithExtendedBorder(&mask));
        ASSERT_EQ(bordered->imageSize(), math::Ivec3(size.x + 2, size.y + 2, size.z + 2));
        ArvoImage3D expected({size.x + 2, size.y + 2, size.z + 2}, mask.voxelSize(), image::Binary);
        expected.zeroSlices();
        const int origin[3] = {1, 1, 1};
        expected.copyIn(&mask, origin);
        EXPECT_TRUE(sameBits(expected, *bordered));
        EXPECT_EQ(bordered->voxelSize(), mask.voxelSize());
        const Image inner(Image3DHoleClosing::createBinaryImageWithRemovedBorder(bordered.get()));
        EXPECT_TRUE(sameBits(mask, *inner));
        EXPECT_EQ(inner->voxelSize(), mask.voxelSize());
    }
    ArvoImage3D thin({5, 1, 5}, {1, 1, 1}, image::Binary);
    EXPECT_EQ(Image3DHoleClosing::createBinaryImageWithRemovedBorder(&thin), nullptr);
}

TEST(HoleClosingSteps, MakeTheHullAndItsWorkingSet)
{
    ArvoImage3D object = shape({8, 8, 8}, [](int x, int y, int z) {
        return (x == 2 && y == 3 && z == 1) || (x == 5 && y == 5 && z == 4);
    });
    const auto inHull = [](int x, int y, int z) {
        return x >= 2 && x <= 5 && y >= 3 && y <= 5 && z >= 1 && z <= 4;
    };
    const Image hull(Image3DHoleClosing::createHull(&object));
    EXPECT_TRUE(sameBits(shape({8, 8, 8}, inHull), *hull));
    const Image workingSet(Image3DHoleClosing::getWorkingSet(&object, hull.get()));
    ArvoImage3D expected = shape({8, 8, 8}, [&](int x, int y, int z) {
        const bool isInner = x > 2 && x < 5 && y == 4 && z > 1 && z < 4;
        return inHull(x, y, z) && !isInner;
    });
    expected.changeVoxelValues({{2, 3, 1}, {5, 5, 4}}, 0);
    EXPECT_TRUE(sameBits(expected, *workingSet));
    ArvoImage3D thin = randomMask({2, 8, 8}, 0.5, 1);
    EXPECT_EQ(Image3DHoleClosing::getWorkingSet(&thin, &thin), nullptr);
    EXPECT_EQ(Image3DHoleClosing::getWorkingSet(&thin, hull.get()), nullptr);
}

} // namespace
