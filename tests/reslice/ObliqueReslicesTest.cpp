#include "arvo/reslice/ArvoImage3DReslicer.h"

#include "NaiveSampler.h"
#include "support/FloatToVoxel.h"
#include "support/Warnings.h"

#include "arvo/platform/image/Conversions.h"
#include "arvo/platform/image/Image2D.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace testing_support;

namespace {

using Reslicer = ArvoImage3DReslicer;
using naive::Vec;

struct Plane {
    Vec origin, dir1, dir2;
    std::array<int, 2> size;

    float column(int x, std::size_t axis) const { return origin[axis] + static_cast<float>(x) * dir1[axis]; }

    void load(ArvoImage3D& volume, bool isTrilinear, Image2D& image)
    {
        float *o = origin.data(), *d1 = dir1.data(), *d2 = dir2.data();
        isTrilinear ? Reslicer::loadInterpolatedReslice(&volume, o, d1, d2, size.data(), image)
                    : Reslicer::loadReslice(&volume, o, d1, d2, size.data(), image);
    }
    bool load2D(ArvoImage3D& volume, bool isTrilinear, Image2D* image)
    {
        float *o = origin.data(), *d1 = dir1.data(), *d2 = dir2.data();
        return isTrilinear ? Reslicer::loadInterpolatedReslice(&volume, o, d1, d2, size.data(), image)
                           : Reslicer::loadReslice2D(&volume, o, d1, d2, size.data(), image);
    }
};

Plane randomPlane(Random& random)
{
    Plane plane;
    for (std::size_t a = 0; a < 3; ++a) {
        plane.origin[a] = naive::component(random, 12.0f);
        plane.dir1[a] = naive::component(random, 1.5f);
        plane.dir2[a] = naive::component(random, 1.5f);
    }
    plane.size = {static_cast<int>(random() % 40), static_cast<int>(random() % 25)};
    return plane;
}

int nearestAt(const ArvoImage3D& volume, const Plane& plane, int x, int y)
{
    Vec p;
    for (std::size_t a = 0; a < 3; ++a) {
        p[a] = plane.column(x, a);
        for (int row = 0; row < y; ++row)
            p[a] += plane.dir2[a];
    }
    const math::Ivec3 v = naive::indexOf(p);
    return naive::isInside(volume, v) ? volume.getValue(v.x, v.y, v.z) : volume.minValue();
}

int trilinearAt(const ArvoImage3D& volume, const Plane& plane, int x, int y)
{
    Vec p;
    for (std::size_t a = 0; a < 3; ++a) {
        const float b = plane.column(x, a), d = plane.dir2[a];
        const auto end = static_cast<float>(volume.imageSize()[static_cast<int>(a)] - 2);
        const float toStart = (0.0f - b) / d, toEnd = (end - b) / d;
        const auto row = static_cast<float>(y);
        const bool isIn = d == 0  ? b >= 0 && b <= end
                          : d > 0 ? row >= std::ceil(toStart) && row <= std::floor(toEnd)
                                  : row >= std::ceil(toEnd) && row <= std::floor(toStart);
        if (!isIn || volume.sizeOfAxialSlice() == 0)
            return volume.minValue();
        p[a] = b + row * d;
    }
    return truncated(naive::trilinear(volume, p));
}

/// Runs a reslice into a buffer larger than needed and compares every pixel, and that none is written behind them.
template <class At> void checkReslice(ArvoImage3D& volume, Plane plane, bool isTrilinear, At at)
{
    Image2D image(40, 26, conversions::toImage2DDataType(volume.dataType()), {}, true);
    plane.load(volume, isTrilinear, image);
    withType(volume.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        const T* pixel = reinterpret_cast<const T*>(image.dataPtr());
        for (int y = 0; y < plane.size[1]; ++y) {
            for (int x = 0; x < plane.size[0]; ++x, ++pixel)
                ASSERT_EQ(*pixel, static_cast<T>(at(volume, plane, x, y)))
                    << "pixel (" << x << ", " << y << "), trilinear " << isTrilinear;
        }
        EXPECT_EQ(*pixel, T(0));
    });
}

TEST(ObliqueReslices, AgreeWithTheDefinition)
{
    const auto check = [](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
        SCOPED_TRACE(describe(size, type, seed));
        ArvoImage3D volume = randomVolume(size, type, seed);
        if (type == image::Float32) {
            for (float& voxel : voxels<float>(volume))
                voxel = std::round(voxel); // the naive pixels are integers
            volume.editFinished();
        }
        Random random(seed);
        for (int i = 0; i < 60; ++i) {
            const Plane plane = randomPlane(random);
            checkReslice(volume, plane, false, nearestAt);
            if (type != image::Float32)
                checkReslice(volume, plane, true, trilinearAt);
        }
    };
    forEachCase(voxelTypes(), check);
    check({3, 0, 2}, image::Int16, 3);
}

TEST(ObliqueReslices, ByHand)
{
    ArvoImage3D volume = randomVolume({21, 9, 4}, image::Int16, 5);
    const Plane axial{{0, 0, 2}, {1, 0, 0}, {0, 1, 0}, {21, 9}};
    checkReslice(volume, axial, false,
                 [](const ArvoImage3D& v, const Plane&, int x, int y) { return v.getValue(x, y, 2); });
    checkReslice(volume, axial, true, [](const ArvoImage3D& v, const Plane&, int x, int y) {
        return x < 20 && y < 8 ? v.getValue(x, y, 2) : v.minValue(); // the upper neighbour has to be a voxel
    });

    // Ten times 0.3 added up stays below 3.
    for (const Vec& step : {Vec{0.3f, 0, 0}, Vec{0, 0.3f, 0}, Vec{0, 0, 0.3f}})
        checkReslice(volume, {{0, 0, 0}, {0, 0, 0}, step, {1, 13}}, false, nearestAt);

    const auto pixelIs = [](int value) {
        return [value](const ArvoImage3D&, const Plane&, int, int) { return value; };
    };
    ArvoImage3D row = volumeOf<short>({3, 1, 1}, image::Int16, {8, 7, 9});
    checkReslice(row, {{-0.5f, -0.9f, 0.9f}, {}, {}, {1, 1}}, false, pixelIs(8)); // truncated toward zero
    checkReslice(row, {{-1.0f, 0, 0}, {}, {}, {1, 1}}, false, pixelIs(7));        // outside: the minimum
    ArvoImage3D pair = volumeOf<short>({3, 2, 2}, image::Int16, {-3, 0, 0, -3, 0, 0, -3, 0, 0, -3, 0, 0});
    checkReslice(pair, {{0.5f, 0, 0}, {}, {}, {1, 1}}, true, pixelIs(-1)); // -1.5 truncated
}

TEST(ObliqueReslices, MakeImagesWithThePixelSizeOfThePlane)
{
    ArvoImage3D volume = randomVolume({9, 8, 7}, image::UInt8, 1); // spacing 0.5, 0.75, 1.25
    Plane plane{{1, 2, 3}, {2, 0, 0}, {0, 0.5f, 0}, {3, 2}};
    for (const bool isTrilinear : {false, true}) {
        Image2D fresh, filled(3, 2, Image2D::UInt8, {}, false);
        EXPECT_TRUE(plane.load2D(volume, isTrilinear, &fresh));
        plane.load(volume, isTrilinear, filled);
        EXPECT_EQ(fresh.pixelSize(), QVector3D(1.0f, 0.375f, volume.voxelSize().length()));
        EXPECT_EQ(fresh.dataType(), Image2D::UInt8);
        EXPECT_EQ(std::memcmp(fresh.dataPtr(), filled.dataPtr(), 6), 0);
        EXPECT_FALSE(plane.load2D(volume, isTrilinear, nullptr));
    }
}

TEST(ObliqueReslices, RefuseOtherTypesAndImagesThatDoNotFit)
{
    Plane plane{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {3, 2}};
    const std::string noPixels = "ArvoImage3DReslicer : the image does not hold the pixels to write.";
    for (const bool isTrilinear : {false, true}) {
        const std::string noType = std::string("ArvoImage3D::") +
                                   (isTrilinear ? "loadInterpolatedReslice" : "loadReslice") +
                                   "() Data type not implemented";
        ArvoImage3D refused = randomVolume({4, 3, 2}, isTrilinear ? image::Float32 : image::Int32, 1);
        ArvoImage3D bytes = randomVolume({4, 3, 2}, image::UInt8, 1);
        Image2D whole(3, 2, Image2D::Int32, {}, true), small(5, 1, Image2D::UInt8, {}, true),
            mask(3, 2, Image2D::Binary, {}, true);
        const Warnings warnings;
        plane.load(refused, isTrilinear, whole);
        plane.load(bytes, isTrilinear, whole);
        plane.load(bytes, isTrilinear, small);
        EXPECT_EQ(std::count(whole.dataPtr(), whole.dataPtr() + 24, 0), 24);
        EXPECT_EQ(std::count(small.dataPtr(), small.dataPtr() + 5, 0), 5);
        plane.load(bytes, isTrilinear, mask); // bytes either way
        EXPECT_EQ(static_cast<unsigned char>(mask.dataPtr()[1]), bytes.getValue(1, 0, 0));
        EXPECT_TRUE(plane.load2D(refused, isTrilinear, &whole));
        EXPECT_EQ(warnings.texts(), (std::vector<std::string>{noType, noPixels, noPixels, noType}));
    }
}

} // namespace
