#include "MaskTests.h"

#include <cmath>

using namespace testing_support;

namespace {

/// Clears, around every background voxel, the disc of its slice.
void expectEroded(const ArvoImage3D& mask, int radius, const std::string& what)
{
    const math::Ivec3 size = mask.imageSize();
    ArvoImage3D expected = copyOf(mask);
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        for (int dy = -radius; voxels<unsigned char>(mask)[i] == 0 && dy <= radius; ++dy) {
            for (int dx = -radius; dx <= radius; ++dx) {
                const bool isInDisc = sqrtf(static_cast<float>(dx * dx + dy * dy)) < radius + 0.5;
                if (isInDisc && holds(size, x + dx, y + dy, z))
                    voxels<unsigned char>(expected)[indexOf(size, x + dx, y + dy, z)] = 0;
            }
        }
    });
    expectResult(expected, mask, what + ", radius " + std::to_string(radius),
                 [=](ArvoImage3D& in, ArvoImage3D& out) { toolsOn(&in, &out).erodeZ(radius); });
}

} // namespace

TEST(ErodeZ, AgreesWithTheDefinition)
{
    forEachMask(0, [](const ArvoImage3D& mask, const std::string& what) {
        for (const int radius : {0, 1, 2, 3, 7, 20})
            expectEroded(mask, radius, what);
    });
    ArvoImage3D line = boxIn({301, 2, 1}, {0, 0, 0}, {300, 1, 0}, 200);
    line.changeVoxelValues({{150, 1, 0}}, 0);
    for (const int radius : {62, 63, 64, 130})
        expectEroded(line, radius, "across words");
}

TEST(ErodeZ, CutsTheCornersOfTheDiscAndTakesAnyRadius)
{
    ArvoImage3D image = boxIn({7, 7, 2}, {0, 0, 0}, {6, 6, 1}, 200);
    image.changeVoxelValues({{3, 3, 1}}, 0);
    toolsOn(&image, &image).erodeZ(2);
    EXPECT_EQ(std::ranges::count(voxels<unsigned char>(image), 0), 21);
    EXPECT_EQ(image.getValue(1, 1, 1), 200);
    EXPECT_EQ(image.getValue(1, 2, 1), 0);
    toolsOn(&image, &image).erodeZ(2000000000);
    EXPECT_TRUE(sameBits(boxIn({7, 7, 2}, {0, 0, 0}, {6, 6, 0}, 200), image));
}

TEST(EdgeDetection, MarksObjectVoxelsNextToBackground)
{
    forEachMask(0, [](const ArvoImage3D& mask, const std::string& what) {
        const math::Ivec3 size = mask.imageSize();
        ArvoImage3D expected(size, mask.voxelSize(), image::Binary);
        forEachVoxel(size, [&](int x, int y, int z, std::size_t index) {
            bool isEdge = false;
            for (int n = 0; n < 27; ++n) {
                const int i = x + n % 3 - 1, j = y + n / 3 % 3 - 1, k = z + n / 9 - 1;
                isEdge |= holds(size, i, j, k) && voxels<unsigned char>(mask)[indexOf(size, i, j, k)] == 0;
            }
            voxels<unsigned char>(expected)[index] = voxels<unsigned char>(mask)[index] != 0 && isEdge;
        });
        expectResult(expected, mask, what,
                     [](ArvoImage3D& in, ArvoImage3D& out) { toolsOn(&in, &out).edgeDetection(); });
    });
}
