#include "arvo/reslice/ArvoImage3DReslicer.h"

#include "NaiveSampler.h"
#include "RandomComponents.h"
#include "support/RandomVolume.h"
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
    Vec origin;
    Vec dir1;
    Vec dir2;
    std::array<int, 2> size;
};

Plane randomPlane(Random& random)
{
    Plane plane;
    for (std::size_t a = 0; a < 3; ++a) {
        plane.origin[a] = component(random, 12.0f);
        plane.dir1[a] = component(random, 1.5f);
        plane.dir2[a] = component(random, 1.5f);
    }
    plane.size = {static_cast<int>(random() % 40), static_cast<int>(random() % 25)};
    return plane;
}

float column(const Plane& plane, int x, std::size_t axis)
{
    return plane.origin[axis] + static_cast<float>(x) * plane.dir1[axis];
}

int nearestAt(const ArvoImage3D& volume, const Plane& plane, int x, int y)
{
    int index[3];
    for (std::size_t a = 0; a < 3; ++a) {
        float p = column(plane, x, a);
        for (int row = 0; row < y; ++row)
            p += plane.dir2[a];
        index[a] = naive::indexOf(p);
    }
    // Tests of float volumes use whole voxels.
    return naive::isInside(volume, index[0], index[1], index[2])
               ? static_cast<int>(volume.getFloatValue(index[0], index[1], index[2]))
               : volume.minValue();
}

int trilinearAt(const ArvoImage3D& volume, const Plane& plane, int x, int y)
{
    Vec p;
    for (std::size_t a = 0; a < 3; ++a) {
        const float b = column(plane, x, a);
        const float d = plane.dir2[a];
        const auto end = static_cast<float>(volume.imageSize()[static_cast<int>(a)] - 2);
        const float toStart = (0.0f - b) / d, toEnd = (end - b) / d;
        const auto row = static_cast<float>(y);
        const bool isIn = d == 0  ? b >= 0 && b <= end
                          : d > 0 ? row >= std::ceil(toStart) && row <= std::floor(toEnd)
                                  : row >= std::ceil(toEnd) && row <= std::floor(toStart);
        if (!isIn)
            return volume.minValue();
        p[a] = b + row * d;
    }
    const float value = naive::trilinear(volume, p);
    return std::abs(value) < 2e9f ? static_cast<int>(value) : -2147483647 - 1;
}

/// Runs a reslice into a buffer larger than needed and compares every pixel.
template <class At> void checkReslice(ArvoImage3D& volume, Plane plane, bool isTrilinear, At at)
{
    Image2D image(40, 26, conversions::toImage2DDataType(volume.dataType()), {}, true);
    float *o = plane.origin.data(), *d1 = plane.dir1.data(), *d2 = plane.dir2.data();
    isTrilinear ? Reslicer::loadInterpolatedReslice(&volume, o, d1, d2, plane.size.data(), image)
                : Reslicer::loadReslice(&volume, o, d1, d2, plane.size.data(), image);
    withType(volume.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        const T* pixels = reinterpret_cast<const T*>(image.dataPtr());
        for (int y = 0; y < plane.size[1]; ++y) {
            for (int x = 0; x < plane.size[0]; ++x) {
                const T expected = static_cast<T>(at(volume, plane, x, y));
                const T got = pixels[y * plane.size[0] + x];
                if (got != expected) {
                    ADD_FAILURE() << "pixel (" << x << ", " << y << ") is " << +got << ", expected "
                                  << +expected << ", trilinear " << isTrilinear;
                    return;
                }
            }
        }
        EXPECT_EQ(pixels[plane.size[0] * plane.size[1]], T(0));
    });
}

ArvoImage3D wholeFloats(const math::Ivec3& size, std::uint64_t seed)
{
    ArvoImage3D volume = randomVolume(size, image::Float32, seed);
    for (float& voxel : voxels<float>(volume))
        voxel = std::round(voxel);
    volume.editFinished();
    return volume;
}

} // namespace

TEST(ObliqueReslices, AgreeWithTheDefinition)
{
    forEachCase(voxelTypes(), [](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
        SCOPED_TRACE(describe(size, type, seed));
        ArvoImage3D volume =
            type == image::Float32 ? wholeFloats(size, seed) : randomVolume(size, type, seed);
        Random random(seed);
        for (int i = 0; i < 60; ++i) {
            const Plane plane = randomPlane(random);
            checkReslice(volume, plane, false, nearestAt);
            if (type != image::Float32)
                checkReslice(volume, plane, true, trilinearAt);
        }
    });
}

TEST(ObliqueReslices, AlongTheAxesAreTheAxialSliceButForTheTrilinearBorder)
{
    ArvoImage3D volume = randomVolume({21, 9, 4}, image::Int16, 5);
    Plane plane{{0, 0, 2}, {1, 0, 0}, {0, 1, 0}, {21, 9}};
    checkReslice(volume, plane, false,
                 [](const ArvoImage3D& v, const Plane&, int x, int y) { return v.getValue(x, y, 2); });
    checkReslice(volume, plane, true, [](const ArvoImage3D& v, const Plane&, int x, int y) {
        return x < 20 && y < 8 ? v.getValue(x, y, 2) : v.minValue();
    });
}

TEST(ObliqueReslices, TruncateTowardZero)
{
    ArvoImage3D volume = volumeOf<short>({3, 1, 1}, image::Int16, {7, 8, 9});
    const auto at = [](float x) {
        return [x](const ArvoImage3D& v, const Plane&, int, int) {
            return x == -1.0f ? 7 : v.getValue(0, 0, 0);
        };
    };
    checkReslice(volume, {{-0.5f, -0.9f, 0.9f}, {}, {}, {1, 1}}, false, at(-0.5f));
    checkReslice(volume, {{-1.0f, 0, 0}, {}, {}, {1, 1}}, false, at(-1.0f));
    // Halfway between -3 and 0 lies -1.5, which becomes -1.
    ArvoImage3D pair = volumeOf<short>({3, 2, 2}, image::Int16, {-3, 0, 0, -3, 0, 0, -3, 0, 0, -3, 0, 0});
    checkReslice(pair, {{0.5f, 0, 0}, {}, {}, {1, 1}}, true,
                 [](const ArvoImage3D&, const Plane&, int, int) { return -1; });
}

TEST(ObliqueReslices, MakeImagesWithThePixelSizeOfThePlane)
{
    ArvoImage3D volume = randomVolume({9, 8, 7}, image::UInt8, 1); // spacing 0.5, 0.75, 1.25
    Plane plane{{1, 2, 3}, {2, 0, 0}, {0, 0.5f, 0}, {3, 2}};
    for (const bool isTrilinear : {false, true}) {
        Image2D fresh;
        float *o = plane.origin.data(), *d1 = plane.dir1.data(), *d2 = plane.dir2.data();
        int* size = plane.size.data();
        EXPECT_TRUE(isTrilinear ? Reslicer::loadInterpolatedReslice(&volume, o, d1, d2, size, &fresh)
                                : Reslicer::loadReslice2D(&volume, o, d1, d2, size, &fresh));
        EXPECT_EQ(fresh.pixelSize(), QVector3D(1.0f, 0.375f, volume.voxelSize().length()));
        EXPECT_EQ(fresh.dataType(), Image2D::UInt8);
        Image2D filled(3, 2, Image2D::UInt8, {}, false);
        isTrilinear ? Reslicer::loadInterpolatedReslice(&volume, o, d1, d2, size, filled)
                    : Reslicer::loadReslice(&volume, o, d1, d2, size, filled);
        EXPECT_EQ(std::memcmp(fresh.dataPtr(), filled.dataPtr(), 6), 0);
    }
}

TEST(ObliqueReslices, RefuseOtherTypesAndBadCalls)
{
    Plane plane{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {3, 2}};
    float *o = plane.origin.data(), *d1 = plane.dir1.data(), *d2 = plane.dir2.data();
    int* size = plane.size.data();
    const std::string noNearest = "ArvoImage3D::loadReslice() Data type not implemented";
    const std::string noTrilinear = "ArvoImage3D::loadInterpolatedReslice() Data type not implemented";
    const std::string noPixels = "ArvoImage3DReslicer : the image does not hold the pixels to write.";
    const std::string noVolume = "ArvoImage3DReslicer : no valid volume.";
    const std::string noPlane = "ArvoImage3DReslicer : no plane to sample.";
    const std::string negative = "ArvoImage3DReslicer : the size is negative.";
    ArvoImage3D whole = randomVolume({4, 3, 2}, image::Int32, 1);
    ArvoImage3D floats = randomVolume({4, 3, 2}, image::Float32, 1);
    ArvoImage3D bytes = randomVolume({4, 3, 2}, image::UInt8, 1);
    Image2D image(3, 2, Image2D::Int32, {}, true), small(5, 1, Image2D::UInt8, {}, true),
        mask(3, 2, Image2D::Binary, {}, true);
    const Warnings warnings;
    Reslicer::loadReslice(&whole, o, d1, d2, size, image);
    Reslicer::loadInterpolatedReslice(&floats, o, d1, d2, size, image);
    Reslicer::loadReslice(&floats, o, d1, d2, size, image);
    Reslicer::loadReslice(&bytes, o, d1, d2, size, small);
    Reslicer::loadInterpolatedReslice(&bytes, o, d1, d2, size, small);
    Reslicer::loadReslice(&bytes, o, d1, d2, size, mask); // bytes either way
    Reslicer::loadReslice(nullptr, o, d1, d2, size, image);
    Reslicer::loadInterpolatedReslice(&bytes, o, nullptr, d2, size, image);
    plane.size = {-1, 2};
    EXPECT_FALSE(Reslicer::loadReslice2D(&bytes, o, d1, d2, size, &image));
    EXPECT_EQ(warnings.texts(), (std::vector<std::string>{noNearest, noTrilinear, noPixels, noPixels,
                                                          noPixels, noVolume, noPlane, negative}));
    EXPECT_EQ(image.width(), 3);
    EXPECT_EQ(std::count(image.dataPtr(), image.dataPtr() + 24, 0), 24);
    EXPECT_EQ(std::count(small.dataPtr(), small.dataPtr() + 5, 0), 5);
    EXPECT_EQ(static_cast<unsigned char>(mask.dataPtr()[2]), bytes.getValue(2, 0, 0));
    plane.size = {3, 2};
    EXPECT_FALSE(Reslicer::loadInterpolatedReslice(&bytes, o, d1, d2, size, nullptr));
    EXPECT_TRUE(Reslicer::loadReslice2D(&whole, o, d1, d2, size, &image));
    EXPECT_EQ(warnings.texts().size(), 9u);
    EXPECT_EQ(image.dataPtr()[0], 0);
}

TEST(ObliqueReslices, OfAnEmptyVolumeAreZero)
{
    ArvoImage3D volume({3, 0, 2}, {1, 1, 1}, image::Int16);
    const auto zero = [](const ArvoImage3D&, const Plane&, int, int) { return 0; };
    checkReslice(volume, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {20, 4}}, false, zero);
    checkReslice(volume, {{0, -1e9f, 0}, {1, 0, 0}, {0, 3e8f, 0}, {20, 4}}, true, zero);
}
