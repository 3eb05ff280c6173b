#include "arvo/reslice/ArvoImage3DReslicer.h"

#include "support/RandomVolume.h"
#include "support/Warnings.h"

#include "arvo/platform/image/Image2D.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace testing_support;

namespace {

using Reslicer = ArvoImage3DReslicer;
using Texts = std::vector<std::string>;

void loadAxialSlices(ArvoImage3D* volume, int first, int count, char* buffer)
{
    Reslicer::loadAxialSlices(volume, first, count, buffer);
}

const struct Plane {
    const char* name;
    int across, columns, rows; // the axes: of the slice number, along a row, from row to row
    void (*load)(ArvoImage3D* volume, int first, int count, char* buffer);
    bool (*load2D)(ArvoImage3D* volume, int slice, Image2D* image);
} planes[] = {{"Axial", 2, 0, 1, loadAxialSlices, Reslicer::loadAxialSlice2D},
              {"Coronal", 1, 0, 2, Reslicer::loadCoronalSlices, Reslicer::loadCoronalSlice2D},
              {"Sagittal", 0, 1, 2, Reslicer::loadSagittalSlices, Reslicer::loadSagittalSlice2D}};

/// Compares the slices with the definition; one element behind the buffer shows that nothing is written past its end.
template <class T> void checkSlices(ArvoImage3D& volume, const Plane& plane, int first, int count)
{
    const math::Ivec3 n = volume.imageSize();
    const math::Ivec3 sliceSize(n[plane.columns], n[plane.rows], count);
    std::vector<T> expected;
    forEachVoxel(sliceSize, [&](int column, int row, int slice, std::size_t) {
        math::Ivec3 v;
        v[plane.columns] = column;
        v[plane.rows] = row;
        v[plane.across] = first + slice;
        expected.push_back(voxels<T>(volume)[indexOf(n, v.x, v.y, v.z)]);
    });
    expected.push_back(T(77));
    std::vector<T> got(expected.size(), T(77));
    plane.load(&volume, first, count, reinterpret_cast<char*>(got.data()));
    EXPECT_EQ(got, expected) << plane.name << " slices " << first << " + " << count;
    if (count != 1)
        return;
    Image2D image;
    ASSERT_TRUE(plane.load2D(&volume, first, &image));
    EXPECT_EQ(image.width(), sliceSize.x);
    EXPECT_EQ(image.height(), sliceSize.y);
    EXPECT_EQ(image.pixelSize(), volume.voxelSize());
    EXPECT_EQ(int(image.dataType()), int(volume.dataType()));
    EXPECT_TRUE(
        std::equal(expected.begin(), expected.end() - 1, reinterpret_cast<const T*>(image.dataPtr())));
}

TEST(OrthogonalSlices, HoldTheVoxelsOfTheirPlane)
{
    const auto check = [](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
        SCOPED_TRACE(describe(size, type, seed));
        ArvoImage3D volume = randomVolume(size, type, seed);
        withType(type, [&](auto element) {
            using T = typename decltype(element)::type;
            for (const Plane& plane : planes) {
                const int extent = size[plane.across];
                checkSlices<T>(volume, plane, 0, extent);
                checkSlices<T>(volume, plane, extent / 2, extent > 0);
                checkSlices<T>(volume, plane, extent / 3, extent / 2);
            }
        });
    };
    forEachCase(voxelTypes(), check);
    check({150, 67, 3}, image::Int16, 3); // more than a tile both ways
    check({3, 2, 0}, image::Int16, 4);
}

TEST(OrthogonalSlices, OutsideTheVolumeAreRefused)
{
    ArvoImage3D volume = randomVolume({4, 3, 2}, image::UInt16, 1);
    const Texts outside = {"ArvoImage3DReslicer : the slices lie outside the volume."};
    for (const Plane& plane : planes) {
        const int extent = volume.imageSize()[plane.across];
        for (const auto& [first, count] :
             {std::pair{-1, 1}, {0, extent + 1}, {extent, 1}, {1, -1}, {1 << 30, 1 << 30}}) {
            const Warnings warnings;
            char untouched = 'u';
            plane.load(&volume, first, count, &untouched);
            EXPECT_EQ(untouched, 'u');
            EXPECT_EQ(warnings.texts(), outside);
        }
        Image2D image(1, 1, Image2D::UInt8, {}, true);
        const Warnings warnings;
        EXPECT_FALSE(plane.load2D(&volume, extent, &image));
        EXPECT_FALSE(plane.load2D(&volume, 0, nullptr));
        EXPECT_TRUE(warnings.texts().empty());
        EXPECT_FALSE(plane.load2D(&volume, -1, &image));
        plane.load(&volume, 0, 1, nullptr);
        EXPECT_EQ(warnings.texts(), (Texts{outside.front(), "ArvoImage3DReslicer : no buffer to write to."}));
        EXPECT_EQ(image.dataType(), Image2D::UInt8);
    }
}

TEST(OrthogonalSlices, OfOtherTypesAreRefusedExceptAxial)
{
    for (const image::DataType type : {image::Int32, image::Reserved}) {
        ArvoImage3D volume = randomVolume({4, 3, 2}, type, 1);
        for (const Plane& plane : planes) {
            const bool isAxial = plane.load == loadAxialSlices;
            std::vector<char> buffer(volume.sizeOfAxialSlice(), 'u');
            const std::vector<char> untouched = buffer;
            const char* slice = isAxial ? volume.getConstAxialSlice(1) : untouched.data();
            Image2D image;
            const Warnings warnings;
            plane.load(&volume, 1, 1, buffer.data());
            EXPECT_TRUE(std::ranges::equal(buffer, std::span(slice, buffer.size())));
            EXPECT_TRUE(isAxial || plane.load2D(&volume, 0, &image));
            EXPECT_TRUE(isAxial || image.dataPtr()[0] == 0);
            const std::string text =
                std::string("ArvoImage3D::load") + plane.name + "Slices() Data type not implemented";
            EXPECT_EQ(warnings.texts(), Texts(isAxial ? 0u : 2u, text));
        }
    }
}

} // namespace
