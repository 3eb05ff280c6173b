#include "arvo/reslice/ArvoImage3DReslicer.h"

#include "support/FloatToVoxel.h"
#include "support/NaiveSampler.h"
#include "support/Warnings.h"

#include "arvo/platform/image/Conversions.h"
#include "arvo/platform/image/Image2D.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

using namespace testing_support;

namespace {

using Reslicer = ArvoImage3DReslicer;

struct Plane {
    QVector3D origin, dir1, dir2;
    std::array<int, 2> size;

    QVector3D topOf(int column) const { return origin + static_cast<float>(column) * dir1; }
};

/// Both ways to sample: nearest and trilinear.
constexpr bool BOTH[] = {false, true};
using Load = void (*)(ArvoImage3D*, float*, float*, float*, int*, Image2D&);
constexpr Load loads[] = {Reslicer::loadReslice, Reslicer::loadInterpolatedReslice};
using LoadNew = bool (*)(ArvoImage3D*, float*, float*, float*, int*, Image2D*);
constexpr LoadNew newLoads[] = {Reslicer::loadReslice2D, Reslicer::loadInterpolatedReslice};

void load(ArvoImage3D* volume, Plane p, bool isTrilinear, Image2D& image)
{
    loads[isTrilinear](volume, &p.origin[0], &p.dir1[0], &p.dir2[0], p.size.data(), image);
}

bool loadNew(ArvoImage3D* volume, Plane p, bool isTrilinear, Image2D* image)
{
    return newLoads[isTrilinear](volume, &p.origin[0], &p.dir1[0], &p.dir2[0], p.size.data(), image);
}

Plane randomPlane(Random& random)
{
    return {naive::vector(random, 12.0f),
            naive::vector(random, 1.5f),
            naive::vector(random, 1.5f),
            {static_cast<int>(random() % 40), static_cast<int>(random() % 25)}};
}

float nearestAt(const ArvoImage3D& volume, const Plane& plane, int x, int y)
{
    QVector3D p = plane.topOf(x);
    for (int row = 0; row < y; ++row)
        p += plane.dir2;
    const math::Ivec3 v = naive::indexOf(p);
    const bool isInside = holds(volume.imageSize(), v.x, v.y, v.z);
    return isInside ? volume.getFloatValue(v.x, v.y, v.z) : static_cast<float>(volume.minValue());
}

float trilinearAt(const ArvoImage3D& volume, const Plane& plane, int x, int y)
{
    const QVector3D top = plane.topOf(x);
    const auto row = static_cast<float>(y);
    bool isInside = volume.sizeOfAxialSlice() > 0;
    for (int a = 0; a < 3; ++a) {
        const float t = top[a], d = plane.dir2[a], end = static_cast<float>(volume.imageSize()[a] - 2);
        const float first = std::ceil(((d < 0 ? end : 0.0f) - t) / d);
        const float last = std::floor(((d < 0 ? 0.0f : end) - t) / d);
        isInside = isInside && (d == 0 ? t >= 0 && t <= end : row >= first && row <= last);
    }
    const int value =
        isInside ? truncated(naive::trilinear(volume, top + row * plane.dir2)) : volume.minValue();
    return static_cast<float>(value);
}

/// Runs a reslice into a buffer larger than needed and compares every pixel, and that none is written behind them.
template <class Expected>
void checkReslice(ArvoImage3D& volume, const Plane& plane, bool isTrilinear, Expected expected)
{
    Image2D image(40, 26, conversions::toImage2DDataType(volume.dataType()), {}, true);
    load(&volume, plane, isTrilinear, image);
    withType(volume.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        const T* pixel = reinterpret_cast<const T*>(image.dataPtr());
        for (int y = 0; y < plane.size[1]; ++y) {
            for (int x = 0; x < plane.size[0]; ++x, ++pixel)
                ASSERT_EQ(*pixel, storedAs<T>(expected(x, y)))
                    << "pixel (" << x << ", " << y << "), trilinear " << isTrilinear;
        }
        EXPECT_EQ(*pixel, T(0));
    });
}

void checkReslice(ArvoImage3D& volume, const Plane& plane, bool isTrilinear)
{
    checkReslice(volume, plane, isTrilinear,
                 [&](int x, int y) { return (isTrilinear ? trilinearAt : nearestAt)(volume, plane, x, y); });
}

TEST(ObliqueReslices, AgreeWithTheDefinition)
{
    const auto check = [](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
        SCOPED_TRACE(describe(size, type, seed));
        ArvoImage3D volume = randomVolume(size, type, seed);
        Random random(seed);
        for (int i = 0; i < 60; ++i) {
            const Plane plane = randomPlane(random);
            checkReslice(volume, plane, false);
            if (type != image::Float32)
                checkReslice(volume, plane, true);
        }
    };
    forEachCase(voxelTypes(), check);
    check({3, 0, 2}, image::Int16, 3);
}

TEST(ObliqueReslices, ByHand)
{
    ArvoImage3D volume = randomVolume({21, 9, 4}, image::Int16, 5);
    const Plane axial{{0, 0, 2}, {1, 0, 0}, {0, 1, 0}, {21, 9}};
    checkReslice(volume, axial, false, [&](int x, int y) { return volume.getValue(x, y, 2); });
    checkReslice(volume, axial, true, [&](int x, int y) {
        return x < 20 && y < 8 ? volume.getValue(x, y, 2) : volume.minValue(); // needs an upper neighbour
    });

    // Ten times 0.3 added up stays below 3.
    for (const QVector3D& step : {QVector3D(0.3f, 0, 0), {0, 0.3f, 0}, {0, 0, 0.3f}})
        checkReslice(volume, {{}, {}, step, {1, 13}}, false);

    ArvoImage3D row = volumeOf<short>({3, 1, 1}, image::Int16, {8, 7, 9});
    ArvoImage3D pair = volumeOf<short>({3, 2, 2}, image::Int16, {-3, 0, 0, -3, 0, 0, -3, 0, 0, -3, 0, 0});
    const struct {
        ArvoImage3D& volume;
        QVector3D origin;
        bool isTrilinear;
        int pixel;
    } pixels[] = {{row, {-0.5f, -0.9f, 0.9f}, false, 8}, // truncated toward zero
                  {row, {-1.0f, 0, 0}, false, 7},        // outside: the minimum
                  {pair, {0.5f, 0, 0}, true, -1}};       // -1.5 truncated
    for (const auto& one : pixels)
        checkReslice(one.volume, {one.origin, {}, {}, {1, 1}}, one.isTrilinear,
                     [&](int, int) { return one.pixel; });
}

TEST(ObliqueReslices, MakeImagesWithThePixelSizeOfThePlane)
{
    ArvoImage3D volume = randomVolume({9, 8, 7}, image::UInt8, 1); // spacing 0.5, 0.75, 1.25
    const Plane plane{{1, 2, 3}, {2, 0, 0}, {0, 0.5f, 0}, {3, 2}};
    for (const bool isTrilinear : BOTH) {
        Image2D fresh, filled(3, 2, Image2D::UInt8, {}, false);
        EXPECT_TRUE(loadNew(&volume, plane, isTrilinear, &fresh));
        load(&volume, plane, isTrilinear, filled);
        EXPECT_EQ(fresh.pixelSize(), QVector3D(1.0f, 0.375f, volume.voxelSize().length()));
        EXPECT_EQ(fresh.dataType(), Image2D::UInt8);
        EXPECT_EQ(std::memcmp(fresh.dataPtr(), filled.dataPtr(), 6), 0);
        EXPECT_FALSE(loadNew(&volume, plane, isTrilinear, nullptr));
    }
}

TEST(ObliqueReslices, RefuseOtherTypesAndImagesThatDoNotFit)
{
    const Plane plane{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {3, 2}};
    ArvoImage3D bytes = randomVolume({4, 3, 2}, image::UInt8, 1);
    for (const bool isTrilinear : BOTH) {
        ArvoImage3D refused = randomVolume({4, 3, 2}, isTrilinear ? image::Float32 : image::Int32, 1);
        Image2D whole(3, 2, Image2D::Int32, {}, true), small(5, 1, Image2D::UInt8, {}, true),
            mask(3, 2, Image2D::Binary, {}, true);
        const Warnings warnings;
        load(&refused, plane, isTrilinear, whole);
        load(&bytes, plane, isTrilinear, whole);
        load(&bytes, plane, isTrilinear, small);
        for (const std::array<int, 2>& size : {std::array{-1, 2}, {3, -1}})
            load(&bytes, {plane.origin, plane.dir1, plane.dir2, size}, isTrilinear, mask);
        Reslicer::loadReslice(&bytes, nullptr, nullptr, nullptr, nullptr, mask);
        for (const Image2D* image : {&whole, &small, &mask})
            EXPECT_EQ(image->dataPtr()[0], 0);
        load(&bytes, plane, isTrilinear, mask); // bytes either way
        EXPECT_EQ(static_cast<unsigned char>(mask.dataPtr()[1]), bytes.getValue(1, 0, 0));
        EXPECT_TRUE(loadNew(&refused, plane, isTrilinear, &whole));
        const std::string noType = std::string("ArvoImage3D::") +
                                   (isTrilinear ? "loadInterpolatedReslice" : "loadReslice") +
                                   "() Data type not implemented";
        const std::string prefix = "ArvoImage3DReslicer : ";
        const std::string noPixels = prefix + "the image does not hold the pixels to write.";
        const std::string negative = prefix + "the size is negative.";
        EXPECT_EQ(warnings.texts(), (std::vector<std::string>{noType, noPixels, noPixels, negative, negative,
                                                              prefix + "no plane to sample.", noType}));
    }
}

} // namespace
