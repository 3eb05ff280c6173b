#include "arvo/reslice/ArvoImage3DReslicer.h"

#include "support/RandomVolume.h"
#include "support/Warnings.h"

#include "arvo/platform/image/Image2D.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace testing_support;

namespace {

using Reslicer = ArvoImage3DReslicer;

/// The slices' voxels in the order of the definition: slice, row, column.
template <class T> std::vector<T> naiveSlices(const ArvoImage3D& volume, char plane, int first, int count)
{
    const math::Ivec3 n = volume.imageSize();
    const auto all = voxels<T>(volume);
    const int width = plane == 's' ? n.y : n.x;
    const int height = plane == 'a' ? n.y : n.z;
    std::vector<T> out;
    for (int k = first; k < first + count; ++k) {
        for (int r = 0; r < height; ++r) {
            for (int c = 0; c < width; ++c) {
                const int x = plane == 's' ? k : c;
                const int y = plane == 'a' ? r : plane == 'c' ? k : c;
                const int z = plane == 'a' ? k : r;
                out.push_back(all[static_cast<std::size_t>((z * n.y + y) * n.x + x)]);
            }
        }
    }
    return out;
}

void load(ArvoImage3D& volume, char plane, int first, int count, char* buffer)
{
    plane == 'a'   ? Reslicer::loadAxialSlices(&volume, first, count, buffer)
    : plane == 'c' ? Reslicer::loadCoronalSlices(&volume, first, count, buffer)
                   : Reslicer::loadSagittalSlices(&volume, first, count, buffer);
}

bool load2D(ArvoImage3D* volume, char plane, int slice, Image2D* image)
{
    return plane == 'a'   ? Reslicer::loadAxialSlice2D(volume, slice, image)
           : plane == 'c' ? Reslicer::loadCoronalSlice2D(volume, slice, image)
                          : Reslicer::loadSagittalSlice2D(volume, slice, image);
}

int extentAcross(const math::Ivec3& n, char plane)
{
    return plane == 'a' ? n.z : plane == 'c' ? n.y : n.x;
}

/// One element behind the buffer shows that nothing is written past its end.
template <class T> void checkSlices(ArvoImage3D& volume, char plane, int first, int count)
{
    const std::vector<T> expected = naiveSlices<T>(volume, plane, first, count);
    std::vector<T> got(expected.size() + 1, T(77));
    load(volume, plane, first, count, reinterpret_cast<char*>(got.data()));
    EXPECT_EQ(got.back(), T(77));
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), got.begin()))
        << plane << ", slices " << first << " + " << count;
}

} // namespace

TEST(OrthogonalSlices, HoldTheVoxelsOfTheirPlane)
{
    forEachCase(voxelTypes(), [](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
        SCOPED_TRACE(describe(size, type, seed));
        ArvoImage3D volume = randomVolume(size, type, seed);
        withType(type, [&](auto element) {
            using T = typename decltype(element)::type;
            for (const char plane : {'a', 'c', 's'}) {
                const int extent = extentAcross(size, plane);
                checkSlices<T>(volume, plane, 0, extent);
                checkSlices<T>(volume, plane, extent - 1, 1);
                checkSlices<T>(volume, plane, extent / 2, 0);
                Image2D image;
                ASSERT_TRUE(load2D(&volume, plane, extent / 2, &image));
                EXPECT_EQ(image.width(), plane == 's' ? size.y : size.x);
                EXPECT_EQ(image.height(), plane == 'a' ? size.y : size.z);
                EXPECT_EQ(image.pixelSize(), volume.voxelSize());
                EXPECT_EQ(int(image.dataType()), int(type));
                const auto expected = naiveSlices<T>(volume, plane, extent / 2, 1);
                EXPECT_TRUE(std::equal(expected.begin(), expected.end(),
                                       reinterpret_cast<const T*>(image.dataPtr())));
            }
        });
    });
}

TEST(OrthogonalSlices, OfManySagittalsAreTheTransposedSlab)
{
    ArvoImage3D volume = randomVolume({150, 67, 3}, image::Int16, 3); // more than a tile both ways
    checkSlices<short>(volume, 's', 0, 150);
    checkSlices<short>(volume, 's', 5, 71);
    checkSlices<short>(volume, 's', 149, 1);
}

TEST(OrthogonalSlices, RefuseSlicesOutsideTheVolume)
{
    ArvoImage3D volume = randomVolume({4, 3, 2}, image::UInt16, 1);
    for (const char plane : {'a', 'c', 's'}) {
        const int extent = extentAcross({4, 3, 2}, plane);
        const std::pair<int, int> ranges[] = {
            {-1, 1}, {0, extent + 1}, {extent, 1}, {1, -1}, {1 << 30, 1 << 30}};
        for (const auto& [first, count] : ranges) {
            const Warnings warnings;
            char untouched = 'u';
            load(volume, plane, first, count, &untouched);
            EXPECT_EQ(untouched, 'u');
            EXPECT_EQ(warnings.texts(),
                      std::vector<std::string>{"ArvoImage3DReslicer : the slices lie outside the volume."});
        }
        Image2D image(1, 1, Image2D::UInt8, {}, true);
        const Warnings warnings;
        EXPECT_FALSE(load2D(&volume, plane, extent, &image));
        EXPECT_FALSE(load2D(&volume, plane, 0, nullptr));
        EXPECT_TRUE(warnings.texts().empty());
        EXPECT_FALSE(load2D(&volume, plane, -1, &image));
        EXPECT_FALSE(load2D(nullptr, plane, 0, &image));
        EXPECT_EQ(warnings.texts(),
                  (std::vector<std::string>{"ArvoImage3DReslicer : the slices lie outside the volume.",
                                            "ArvoImage3DReslicer : no valid volume."}));
        EXPECT_EQ(image.dataType(), Image2D::UInt8);
    }
}

TEST(OrthogonalSlices, OfOtherTypesAreRefusedExceptAxial)
{
    for (const image::DataType type : {image::Int32, image::Reserved}) {
        ArvoImage3D volume = randomVolume({4, 3, 2}, type, 1);
        std::vector<char> buffer(volume.sizeOfAxialSlice());
        Reslicer::loadAxialSlices(&volume, 1, 1, buffer.data());
        EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), volume.getConstAxialSlice(1)));
        const Warnings warnings;
        std::fill(buffer.begin(), buffer.end(), 'u');
        load(volume, 'c', 0, 1, buffer.data());
        load(volume, 's', -1, 1, buffer.data());
        EXPECT_EQ(std::ranges::count(buffer, 'u'), std::ssize(buffer));
        Image2D image;
        EXPECT_TRUE(load2D(&volume, 'c', 0, &image));
        EXPECT_EQ(image.dataPtr()[0], 0);
        EXPECT_EQ(warnings.texts(),
                  (std::vector<std::string>{"ArvoImage3D::loadCoronalSlices() Data type not implemented",
                                            "ArvoImage3D::loadSagittalSlices() Data type not implemented",
                                            "ArvoImage3D::loadCoronalSlices() Data type not implemented"}));
    }
}

TEST(OrthogonalSlices, OfAnEmptyVolumeAreEmpty)
{
    ArvoImage3D volume({3, 2, 0}, {1, 1, 1}, image::Int16);
    Image2D image;
    const Warnings warnings;
    EXPECT_FALSE(load2D(&volume, 'a', 0, &image));
    EXPECT_TRUE(load2D(&volume, 'c', 1, &image));
    EXPECT_EQ(image.width(), 3);
    EXPECT_EQ(image.height(), 0);
    EXPECT_TRUE(warnings.texts().empty());
}
