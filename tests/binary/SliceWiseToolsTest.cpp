#include "arvo/binary/ArvoImageBinaryTools.h"

#include "binary/ToolsOn.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"

#include <algorithm>
#include <cmath>

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

/// A mask of any non-zero bytes, with that share of zeros.
ArvoImage3D holedMask(const math::Ivec3& size, image::DataType type, double holes, std::uint64_t seed)
{
    ArvoImage3D image = randomVolume(size, type, seed);
    const ArvoImage3D zeros = randomMask(size, holes, seed + 1);
    for (std::size_t i = 0; i < voxels<unsigned char>(zeros).size(); ++i) {
        unsigned char& voxel = voxels<unsigned char>(image)[i];
        voxel = voxels<unsigned char>(zeros)[i] ? 0 : static_cast<unsigned char>(voxel | 1);
    }
    return image;
}

/// Clears, around every background voxel, the disc of its slice.
ArvoImage3D naiveErosion(ArvoImage3D& in, int radius)
{
    ArvoImage3D out = copyOf(in);
    const math::Ivec3 size = in.imageSize();
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        for (int dy = -radius; voxels<unsigned char>(in)[i] == 0 && dy <= radius; ++dy) {
            for (int dx = -radius; dx <= radius; ++dx) {
                const bool isInside = x + dx >= 0 && x + dx < size.x && y + dy >= 0 && y + dy < size.y;
                if (isInside && sqrtf(static_cast<float>(dx * dx + dy * dy)) < radius + 0.5)
                    out.getAxialSlice(z)[(y + dy) * size.x + x + dx] = 0;
            }
        }
    });
    return out;
}

ArvoImage3D naiveEdges(ArvoImage3D& in)
{
    ArvoImage3D out = copyOf(in);
    const math::Ivec3 size = in.imageSize();
    forEachVoxel(size, [&](int x, int y, int z, std::size_t index) {
        bool isEdge = false;
        for (int n = 0; n < 27; ++n) {
            const int i = x + n % 3 - 1, j = y + n / 3 % 3 - 1, k = z + n / 9 - 1;
            const bool isInside = i >= 0 && i < size.x && j >= 0 && j < size.y && k >= 0 && k < size.z;
            isEdge |= isInside && in.getValue(i, j, k) == 0;
        }
        unsigned char& voxel = voxels<unsigned char>(out)[index];
        voxel = voxel != 0 && isEdge;
    });
    return out;
}

template <class Body> void forEachHoledMask(const std::vector<image::DataType>& types, Body&& body)
{
    std::vector<math::Ivec3> sizes = someSizes();
    sizes.insert(sizes.end(), {{70, 40, 2}, {0, 4, 3}, {4, 0, 3}, {4, 3, 0}});
    std::uint64_t seed = 0;
    for (const math::Ivec3& size : sizes) {
        for (const image::DataType type : types) {
            for (const double holes : {0.0, 0.01, 0.1, 0.5, 1.0}) {
                seed += 2;
                body(holedMask(size, type, holes, seed), describe(size, type, seed));
            }
        }
    }
}

} // namespace

TEST(ErodeZ, AgreesWithTheDefinition)
{
    forEachHoledMask({image::UInt8, image::Binary}, [](ArvoImage3D in, const std::string& what) {
        for (const int radius : {0, 1, 2, 3, 4, 7, 40}) {
            const ArvoImage3D expected = naiveErosion(in, radius);
            ArvoImage3D out = randomVolume(in.imageSize(), in.dataType(), 99);
            toolsOn(&in, &out).erodeZ(radius);
            EXPECT_TRUE(sameBits(expected, out)) << what << ", radius " << radius;
            ArvoImage3D inPlace = copyOf(in);
            toolsOn(&inPlace, &inPlace).erodeZ(radius);
            EXPECT_TRUE(sameBits(expected, inPlace)) << what << ", radius " << radius << ", in place";
        }
    });
}

TEST(ErodeZ, CutsTheCornersOfTheDisc)
{
    const math::Ivec3 size(7, 7, 2);
    ArvoImage3D image(size, QVector3D(1, 1, 1), image::UInt8);
    image.memsetSlices(200);
    image.getAxialSlice(1)[3 * 7 + 3] = 0;
    toolsOn(&image, &image).erodeZ(2);
    EXPECT_EQ(200, image.getValue(3, 3, 0));
    EXPECT_EQ(21, std::ranges::count(voxels<unsigned char>(image), 0));
    EXPECT_EQ(200, image.getValue(1, 1, 1));
    EXPECT_EQ(0, image.getValue(1, 2, 1));
}

TEST(ErodeZ, TakesARadiusFarBeyondTheSlice)
{
    ArvoImage3D image = holedMask(math::Ivec3(9, 8, 3), image::Binary, 0.0, 1);
    image.getAxialSlice(1)[0] = 0;
    const ArvoImage3D before = copyOf(image);
    toolsOn(&image, &image).erodeZ(2000000000);
    forEachVoxel(image.imageSize(), [&](int x, int y, int z, std::size_t) {
        EXPECT_EQ(z == 1 ? 0 : before.getValue(x, y, z), image.getValue(x, y, z));
    });
}

TEST(EdgeDetection, AgreesWithTheDefinition)
{
    forEachHoledMask({image::Binary}, [](ArvoImage3D in, const std::string& what) {
        const ArvoImage3D expected = naiveEdges(in);
        ArvoImage3D out = randomVolume(in.imageSize(), image::Binary, 99);
        toolsOn(&in, &out).edgeDetection();
        EXPECT_TRUE(sameBits(expected, out)) << what;
        toolsOn(&in, &in).edgeDetection();
        EXPECT_TRUE(sameBits(expected, in)) << what << ", in place";
    });
}
