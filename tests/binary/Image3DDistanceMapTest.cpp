#include "arvo/binary/Image3DDistanceMap.h"

#include "arvo/platform/threading/ThreadProgress.h"

#include "binary/ByteObjects.h"

#include <cstdlib>
#include <thread>

using namespace testing_support;

namespace {

constexpr auto UNSIGNED = Image3DDistanceMap::UNSIGNED_DISTANCE;
constexpr auto SIGNED = Image3DDistanceMap::SIGNED_DISTANCE;

std::unique_ptr<ArvoImage3D> distanceMap(const ArvoImage3D& object, Image3DDistanceMap::DISTANCE_TYPE type)
{
    Image3DDistanceMap map(type);
    map.setInputImage(&object);
    map.execute(notCancelled);
    EXPECT_TRUE(map.isSuccess());
    return std::unique_ptr<ArvoImage3D>(map.takeDistanceImage());
}

/// One raster sweep, voxel by voxel over the 13 neighbours that it has met before.
void sweep(ArvoImage3D& distance, int firstSlice, int lastSlice, int step)
{
    const auto [width, height, depth] = distance.imageSize();
    const auto first = [&](int extent) { return step > 0 ? 0 : extent - 1; };
    const auto value = [&](int x, int y, int z) -> short& {
        return reinterpret_cast<short*>(distance.getAxialSlice(z))[y * width + x];
    };
    for (int z = firstSlice; z != lastSlice + step; z += step) {
        for (int y = first(height); y >= 0 && y < height; y += step) {
            for (int x = first(width); x >= 0 && x < width; x += step) {
                int lowest = 32766;
                for (int a = -1; a <= 1; ++a) {
                    for (int b = -1; b <= 1; ++b) {
                        const int nx = x + b * step, ny = y + a * step;
                        if (nx < 0 || nx >= width || ny < 0 || ny >= height)
                            continue;
                        lowest = std::min<int>(lowest, value(nx, ny, z - step));
                        if (a < 0 || (a == 0 && b < 0))
                            lowest = std::min<int>(lowest, value(nx, ny, z));
                    }
                }
                if (value(x, y, z) > lowest + 1)
                    value(x, y, z) = static_cast<short>(lowest + 1);
            }
        }
    }
}

ArvoImage3D unsignedByDefinition(const ArvoImage3D& object)
{
    ArvoImage3D distance(object.imageSize(), object.voxelSize(), image::Int16);
    for (std::size_t i = 0; i < voxels<short>(distance).size(); ++i)
        voxels<short>(distance)[i] = voxels<unsigned char>(object)[i] ? 0 : 32766;
    const int depth = object.imageSize().z;
    sweep(distance, 1, depth - 1, 1);
    sweep(distance, depth - 2, 0, -1);
    return distance;
}

ArvoImage3D signedByDefinition(const ArvoImage3D& object)
{
    ArvoImage3D distance = unsignedByDefinition(boundaryByDefinition(object));
    for (std::size_t i = 0; i < voxels<short>(distance).size(); ++i) {
        if (voxels<unsigned char>(object)[i])
            voxels<short>(distance)[i] = static_cast<short>(-voxels<short>(distance)[i]);
    }
    return distance;
}

TEST(Image3DDistanceMap, AgreesWithTheDefinition)
{
    forEachObject([](const ArvoImage3D& object, const std::string& label) {
        const auto distance = distanceMap(object, UNSIGNED);
        EXPECT_TRUE(sameBits(unsignedByDefinition(object), *distance)) << label;
        EXPECT_TRUE(sameBits(signedByDefinition(object), *distanceMap(object, SIGNED))) << label;
        EXPECT_EQ(distance->voxelSize(), object.voxelSize());
    });
}

TEST(Image3DDistanceMap, AVoxelInTheMiddleHasCubesAroundIt)
{
    const auto distance = distanceMap(boxIn({5, 5, 5}, {2, 2, 2}, {2, 2, 2}), UNSIGNED);
    forEachVoxel({5, 5, 5}, [&](int x, int y, int z, std::size_t) {
        EXPECT_EQ(distance->getValue(x, y, z), std::max({abs(x - 2), abs(y - 2), abs(z - 2)}));
    });
}

TEST(Image3DDistanceMap, TheOuterSlicesMissOneSweep)
{
    const auto inLast = distanceMap(boxIn({5, 5, 3}, {1, 2, 2}, {1, 2, 2}), UNSIGNED);
    EXPECT_EQ(inLast->getValue(2, 2, 2), 1) << "after the object voxel in raster order";
    EXPECT_EQ(inLast->getValue(0, 2, 2), Image3DDistanceMap::infinity) << "before it: no backward sweep";
    EXPECT_EQ(inLast->getValue(0, 2, 1), 1);

    const auto inFirst = distanceMap(boxIn({5, 5, 3}, {1, 2, 0}, {1, 2, 0}), UNSIGNED);
    EXPECT_EQ(inFirst->getValue(0, 2, 0), 1);
    EXPECT_EQ(inFirst->getValue(2, 2, 0), 2) << "by way of slice 1: no forward sweep";
}

TEST(Image3DDistanceMap, TheSignedMapOfACube)
{
    const auto distance = distanceMap(boxIn({11, 11, 11}, {2, 2, 2}, {8, 8, 8}), SIGNED);
    const int line[] = {2, 1, 0, -1, -2, -3, -2, -1, 0, 1, 2};
    for (int x = 0; x < 11; ++x)
        EXPECT_EQ(distance->getValue(x, 5, 5), line[x]);
}

TEST(Image3DDistanceMap, WhatNothingReachesIsInfinite)
{
    const ArvoImage3D none = randomMask({4, 4, 4}, 0.0, 1);
    const ArvoImage3D all = randomMask({4, 4, 4}, 1.0, 1);
    EXPECT_EQ(distanceMap(none, UNSIGNED)->getValueRange(), (math::Range<float>{32766, 32766}));
    EXPECT_EQ(distanceMap(none, SIGNED)->getValueRange(), (math::Range<float>{32766, 32766}));
    EXPECT_EQ(distanceMap(all, SIGNED)->getValueRange(), (math::Range<float>{-32766, -32766}));
}

TEST(Image3DDistanceMap, DistancesPastInfinityStayInfinite)
{
    for (const int x : {0, 32785}) {
        const ArvoImage3D object = boxIn({32790, 3, 3}, {x, 1, 1}, {x, 1, 1});
        EXPECT_TRUE(sameBits(unsignedByDefinition(object), *distanceMap(object, UNSIGNED)));
    }
}

TEST(Image3DDistanceMap, AnyTypeButUnsignedIsSigned)
{
    const ArvoImage3D object = randomMask({6, 5, 4}, 0.5, 1);
    for (const int type : {1, 2, -1})
        EXPECT_TRUE(sameBits(signedByDefinition(object),
                             *distanceMap(object, static_cast<Image3DDistanceMap::DISTANCE_TYPE>(type))));
}

TEST(Image3DDistanceMap, ARaisedFlagLeavesNoResult)
{
    const ArvoImage3D object = randomMask({6, 5, 4}, 0.5, 1);
    for (const auto type : {UNSIGNED, SIGNED}) {
        ThreadProgress progress;
        Image3DDistanceMap map(type);
        map.setInputImage(&object);
        map.setProgress(&progress);
        map.execute(notCancelled);
        EXPECT_TRUE(map.isSuccess());
        EXPECT_GT(progress.total(), 0);
        EXPECT_EQ(progress.value(), progress.total());
        map.execute(cancelled);
        EXPECT_FALSE(map.isSuccess());
        EXPECT_EQ(map.takeDistanceImage(), nullptr);
    }
}

TEST(Image3DDistanceMap, AFlagRaisedDuringTheRunLeavesNoHalfDoneResult)
{
    const ArvoImage3D object = randomMask({96, 96, 96}, 0.01, 1);
    const ArvoImage3D expected = unsignedByDefinition(object);
    for (int stage = 0; stage <= 2; ++stage) {
        std::atomic<bool> cancel{false};
        ThreadProgress progress;
        Image3DDistanceMap map(UNSIGNED);
        map.setInputImage(&object);
        map.setProgress(&progress);
        std::jthread other([&](const std::stop_token& stop) {
            while (progress.value() < stage && !stop.stop_requested())
                std::this_thread::yield();
            cancel = true;
        });
        map.execute(cancel);
        const std::unique_ptr<ArvoImage3D> result(map.takeDistanceImage());
        EXPECT_EQ(map.isSuccess(), result != nullptr);
        EXPECT_TRUE(!result || sameBits(expected, *result));
    }
}

TEST(Image3DDistanceMap, FollowsTheCommonRules)
{
    for (const auto type : {UNSIGNED, SIGNED})
        expectCommonRules(Image3DDistanceMap(type),
                          [](Image3DDistanceMap& m) { return m.takeDistanceImage(); });
}

TEST(Image3DDistanceMap, ACopyHasTheTypeToo)
{
    const ArvoImage3D object = randomMask({6, 5, 4}, 0.5, 1);
    Image3DDistanceMap original(SIGNED);
    original.setInputImage(&object);
    Image3DDistanceMap copy(UNSIGNED);
    copy = original;
    copy.execute(notCancelled);
    const std::unique_ptr<ArvoImage3D> result(copy.takeDistanceImage());
    ASSERT_TRUE(result);
    EXPECT_TRUE(sameBits(signedByDefinition(object), *result));
}

} // namespace
