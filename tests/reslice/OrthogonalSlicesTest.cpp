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

struct Plane {
    const char* name;
    int across, columns, rows; // the axes: of the slice number, along a row, from row to row
    void (*load)(ArvoImage3D* volume, int first, int count, char* buffer);
    bool (*load2D)(ArvoImage3D* volume, int slice, Image2D* image);
};

const Plane axial = {"Axial",
                     2,
                     0,
                     1,
                     [](ArvoImage3D* volume, int first, int count, char* buffer) {
                         Reslicer::loadAxialSlices(volume, first, count, buffer);
                     },
                     Reslicer::loadAxialSlice2D};
const Plane coronal = {"Coronal", 1, 0, 2, Reslicer::loadCoronalSlices, Reslicer::loadCoronalSlice2D};
const Plane sagittal = {"Sagittal", 0, 1, 2, Reslicer::loadSagittalSlices, Reslicer::loadSagittalSlice2D};

/// Compares the slices with the definition; one element behind the buffer shows that nothing is written past its end.
template <class T> void checkSlices(ArvoImage3D& volume, const Plane& plane, int first, int count)
{
    const math::Ivec3 n = volume.imageSize();
    std::vector<T> expected;
    math::Ivec3 v;
    for (v[plane.across] = first; v[plane.across] < first + count; ++v[plane.across]) {
        for (v[plane.rows] = 0; v[plane.rows] < n[plane.rows]; ++v[plane.rows]) {
            for (v[plane.columns] = 0; v[plane.columns] < n[plane.columns]; ++v[plane.columns])
                expected.push_back(
                    voxels<T>(volume)[static_cast<std::size_t>((v.z * n.y + v.y) * n.x + v.x)]);
        }
    }
    std::vector<T> got(expected.size() + 1, T(77));
    expected.push_back(T(77));
    plane.load(&volume, first, count, reinterpret_cast<char*>(got.data()));
    EXPECT_EQ(got, expected) << plane.name << " slices " << first << " + " << count;
    if (count != 1)
        return;
    Image2D image;
    ASSERT_TRUE(plane.load2D(&volume, first, &image));
    EXPECT_EQ(image.width(), n[plane.columns]);
    EXPECT_EQ(image.height(), n[plane.rows]);
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
            for (const Plane& plane : {axial, coronal, sagittal}) {
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
    const std::string outside = "ArvoImage3DReslicer : the slices lie outside the volume.";
    for (const Plane& plane : {axial, coronal, sagittal}) {
        const int extent = volume.imageSize()[plane.across];
        const std::pair<int, int> ranges[] = {
            {-1, 1}, {0, extent + 1}, {extent, 1}, {1, -1}, {1 << 30, 1 << 30}};
        for (const auto& [first, count] : ranges) {
            const Warnings warnings;
            char untouched = 'u';
            plane.load(&volume, first, count, &untouched);
            EXPECT_EQ(untouched, 'u');
            EXPECT_EQ(warnings.texts(), Texts{outside});
        }
        Image2D image(1, 1, Image2D::UInt8, {}, true);
        const Warnings warnings;
        EXPECT_FALSE(plane.load2D(&volume, extent, &image));
        EXPECT_FALSE(plane.load2D(&volume, 0, nullptr));
        EXPECT_TRUE(warnings.texts().empty());
        EXPECT_FALSE(plane.load2D(&volume, -1, &image));
        EXPECT_EQ(warnings.texts(), Texts{outside});
        EXPECT_EQ(image.dataType(), Image2D::UInt8);
    }
}

TEST(OrthogonalSlices, OfOtherTypesAreRefusedExceptAxial)
{
    for (const image::DataType type : {image::Int32, image::Reserved}) {
        ArvoImage3D volume = randomVolume({4, 3, 2}, type, 1);
        std::vector<char> buffer(volume.sizeOfAxialSlice());
        axial.load(&volume, 1, 1, buffer.data());
        EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), volume.getConstAxialSlice(1)));
        for (const Plane& plane : {coronal, sagittal}) {
            const Warnings warnings;
            char untouched = 'u';
            plane.load(&volume, 0, 1, &untouched);
            EXPECT_EQ(untouched, 'u');
            Image2D image;
            EXPECT_TRUE(plane.load2D(&volume, 0, &image));
            EXPECT_EQ(image.dataPtr()[0], 0);
            const std::string text =
                std::string("ArvoImage3D::load") + plane.name + "Slices() Data type not implemented";
            EXPECT_EQ(warnings.texts(), (Texts{text, text}));
        }
    }
}

} // namespace
