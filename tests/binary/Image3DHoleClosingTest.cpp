#include "arvo/binary/Image3DHoleClosing.h"

#include "MasksByDefinition.h"
#include "MaskTests.h"

#include <cmath>
#include <cstdlib>
#include <queue>
#include <tuple>

using namespace testing_support;
using Closing = Image3DHoleClosing;

namespace {

int lengthOf(const math::Ivec3& step)
{
    return std::abs(step.x) + std::abs(step.y) + std::abs(step.z);
}

/// Whether these voxels around one are connected by faces: not none and not several pieces.
bool areOnePiece(std::vector<math::Ivec3> rest)
{
    if (rest.empty())
        return false;
    std::vector<math::Ivec3> piece = {rest.back()};
    rest.pop_back();
    for (std::size_t i = 0; i < piece.size(); ++i) {
        const auto next = std::ranges::partition(rest, [from = piece[i]](const math::Ivec3& step) {
            return lengthOf({step.x - from.x, step.y - from.y, step.z - from.z}) != 1;
        });
        piece.insert(piece.end(), next.begin(), next.end());
        rest.erase(next.begin(), next.end());
    }
    return rest.empty();
}

/// The closing as it is defined, from its public steps: a heap of voxels, the neighbours of each looked at one by one.
ArvoImage3D closedByDefinition(ArvoImage3D& mask)
{
    const Image object(Closing::createImageWithExtendedBorder(&mask));
    const Image hull(Closing::createHull(object.get()));
    const auto state = voxels<unsigned char>(*hull);
    for (std::size_t i = 0; i < state.size(); ++i)
        state[i] = static_cast<unsigned char>(state[i] + voxels<unsigned char>(*object)[i]);
    const Image surface(Closing::getWorkingSet(object.get(), hull.get()));
    const ArvoImage3D distance = unsignedDistanceByDefinition(*object);

    // The greatest distance first, of equal ones the voxel that came first.
    std::priority_queue<std::tuple<short, std::ptrdiff_t, std::size_t>> queue;
    std::ptrdiff_t pushed = 0;
    const auto push = [&](std::size_t voxel) {
        state[voxel] = Closing::VOXEL_IN_QUEUE;
        queue.emplace(voxels<short>(distance)[voxel], -pushed++, voxel);
    };
    for (std::size_t i = 0; i < state.size(); ++i) {
        if (voxels<unsigned char>(*surface)[i])
            push(i);
    }
    while (!queue.empty()) {
        const std::size_t voxel = std::get<2>(queue.top());
        queue.pop();
        std::vector<math::Ivec3> background;
        std::vector<std::size_t> candidates;
        forEachVoxel({3, 3, 3}, [&](int x, int y, int z, std::size_t) {
            const std::size_t other =
                voxel + indexOf(hull->imageSize(), x, y, z) - indexOf(hull->imageSize(), 1, 1, 1);
            if (state[other] == Closing::VOXEL_BACKGROUND)
                background.emplace_back(x, y, z);
            if (state[other] == Closing::VOXEL_WORKING_DIFFERENCE)
                candidates.push_back(other);
        });
        const bool isPeeled = areOnePiece(background);
        state[voxel] = isPeeled ? Closing::VOXEL_BACKGROUND : Closing::VOXEL_WORKING_DIFFERENCE;
        if (isPeeled)
            std::ranges::for_each(candidates, push);
    }
    const Image closed(Closing::createBinaryImageWithRemovedBorder(hull.get()));
    return maskLike(mask, [&](std::size_t i) { return voxels<unsigned char>(*closed)[i] != 0; });
}

/// A ring about an axis along x, y or z.
auto ring(int axis, math::Ivec3 centre, double radius, double thickness)
{
    return [=](int x, int y, int z) {
        const double d[3] = {double(x - centre.x), double(y - centre.y), double(z - centre.z)};
        const double fromCircle = std::hypot(d[(axis + 1) % 3], d[(axis + 2) % 3]) - radius;
        return std::hypot(fromCircle, d[axis]) <= thickness;
    };
}

Image takeFrom(Closing& closing)
{
    return Image(closing.takeClosedImage());
}

Image closed(ArvoImage3D& mask, const std::atomic<bool>& cancel = notCancelled)
{
    Closing closing;
    ThreadProgress progress;
    closing.setProgress(&progress);
    closing.setInputImage(&mask);
    closing.execute(cancel);
    EXPECT_TRUE(closing.isSuccess());
    EXPECT_EQ(progress.value(), progress.total());
    return takeFrom(closing);
}

void expectAsDefined(ArvoImage3D mask, const std::string& what)
{
    const ArvoImage3D before = copyOf(mask);
    expectMade(closedByDefinition(mask), closed(mask), what);
    EXPECT_TRUE(sameBits(before, mask)) << what;
}

} // namespace

TEST(HoleClosing, ClosesShapesAsDefined)
{
    for (int axis = 0; axis < 3; ++axis)
        expectAsDefined(shape({19, 21, 20}, ring(axis, {9, 10, 10}, 6.5, 2.2)), "torus");
    for (const int period : {3, 4, 5, 99}) {
        const auto isShell = [=](int x, int y, int z) {
            const double radius = std::hypot(x - 8.5, y - 9.0, z - 8.0);
            return radius < 8 && radius > 5.5 && !(x % period == 0 && y % period == 1);
        };
        expectAsDefined(shape({18, 19, 17}, isShell), "shell with holes " + std::to_string(period));
    }
    // Bytes that are negative as signed values have no bounding box, but voxels have a distance to them.
    expectAsDefined(boxIn({4, 4, 4}, {1, 1, 1}, {3, 1, 1}, 200), "negative");
    for (const math::Ivec3& away : {math::Ivec3(1, 2, 1), math::Ivec3(12, 6, 3), math::Ivec3(7, 12, 10)}) {
        ArvoImage3D mixed = shape({14, 15, 13}, ring(1, {6, 7, 6}, 3.0, 0.8));
        mixed.changeVoxelValues({away}, 200);
        expectAsDefined(std::move(mixed), "away at " + std::to_string(away.x));
    }
}

TEST(HoleClosing, ClosesNoiseOfAnyBytesAsDefined)
{
    const math::Ivec3 sizes[] = {{1, 1, 1}, {2, 1, 3},  {1, 7, 2},  {5, 5, 1},   {6, 4, 5},
                                 {7, 6, 3}, {9, 8, 10}, {17, 5, 6}, {13, 11, 9}, {33, 6, 7}};
    constexpr unsigned char bytes[] = {1, 2, 3, 127, 128, 200, 254, 255};
    for (const math::Ivec3& size : sizes) {
        for (const double density : {0.01, 0.05, 0.15, 0.3, 0.5, 0.8, 1.0}) {
            for (const std::uint64_t seed : {1u, 2u, 3u, 4u}) {
                ArvoImage3D mask = randomMask(size, density, seed);
                voxels<unsigned char>(mask)[0] = 1; // one object at least, on three faces
                Random random(seed);
                for (unsigned char& voxel : voxels<unsigned char>(mask))
                    voxel = voxel ? bytes[seed % 2 ? 0 : random() % 8] : 0;
                expectAsDefined(std::move(mask),
                                describe(size, image::Binary, seed) + ", density " + std::to_string(density));
            }
        }
    }
}

TEST(HoleClosing, SealsCavitiesAndTunnels)
{
    ArvoImage3D solid = boxIn({7, 7, 8}, {1, 1, 1}, {5, 5, 5}), hollow = copyOf(solid);
    hollow.changeVoxelValues({{3, 3, 3}}, 0);
    EXPECT_TRUE(sameBits(solid, *closed(solid)));
    EXPECT_TRUE(sameBits(solid, *closed(hollow)));
    ArvoImage3D torus = shape({15, 15, 1}, ring(2, {7, 7, 0}, 4.5, 1.5));
    const Image sealed = closed(torus);
    EXPECT_NE(sealed->getValue(7, 7, 0), 0);
    EXPECT_EQ(sealed->getValue(0, 0, 0), 0);
}

TEST(HoleClosing, GivesZerosForAnEmptyInputEvenWhenCancelled)
{
    for (const math::Ivec3& size : {math::Ivec3(5, 4, 3), math::Ivec3(0, 4, 3), math::Ivec3(1, 1, 1)}) {
        ArvoImage3D empty = randomMask(size, 0.0, 1);
        expectMade(empty, closed(empty), "empty");
        expectMade(empty, closed(empty, cancelled), "empty, cancelled");
    }
}

TEST(HoleClosing, FollowsTheCommonRules)
{
    std::vector<ArvoImage3D> bytes;
    bytes.emplace_back(math::Ivec3(5, 5, 5), QVector3D(1, 1, 1), image::UInt8);
    expectCommonRules(Closing(), Closing(), std::move(bytes), takeFrom);
}

TEST(HoleClosingSteps, AddAndRemoveABorder)
{
    for (const math::Ivec3& size : {math::Ivec3(5, 4, 3), math::Ivec3(1, 1, 1), math::Ivec3(0, 2, 3)}) {
        ArvoImage3D mask = randomMask(size, 0.5, 3);
        const Image outer(Closing::createImageWithExtendedBorder(&mask));
        const auto bordered = [&](int x, int y, int z) {
            return holds(size, x - 1, y - 1, z - 1) && mask.getValue(x - 1, y - 1, z - 1) != 0;
        };
        expectMade(shape({size.x + 2, size.y + 2, size.z + 2}, bordered), outer, "outer");
        const Image inner(Closing::createBinaryImageWithRemovedBorder(outer.get()));
        expectMade(mask, inner, "inner");
    }
    ArvoImage3D thin({5, 1, 5}, {1, 1, 1}, image::Binary);
    EXPECT_EQ(Closing::createBinaryImageWithRemovedBorder(&thin), nullptr);
}

TEST(HoleClosingSteps, MakeTheHullAndItsWorkingSet)
{
    const math::Ivec3 size(8, 8, 8);
    ArvoImage3D object = boxIn(size, {2, 3, 1}, {2, 3, 1});
    object.changeVoxelValues({{5, 5, 4}}, 1);
    const Image hull(Closing::createHull(&object));
    EXPECT_TRUE(sameBits(boxIn(size, {2, 3, 1}, {5, 5, 4}), *hull));
    const Image workingSet(Closing::getWorkingSet(&object, hull.get()));
    const ArvoImage3D expected = shape(size, [&](int x, int y, int z) {
        const bool isInner = x > 2 && x < 5 && y == 4 && z > 1 && z < 4;
        return hull->getValue(x, y, z) != 0 && !isInner && object.getValue(x, y, z) == 0;
    });
    EXPECT_TRUE(sameBits(expected, *workingSet));
    ArvoImage3D thin = randomMask({2, 8, 8}, 0.5, 1);
    EXPECT_EQ(Closing::getWorkingSet(&thin, &thin), nullptr);
    EXPECT_EQ(Closing::getWorkingSet(&thin, hull.get()), nullptr);
}
