#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cstdint>
#include <limits>
#include <new>
#include <numeric>
#include <utility>

namespace {

using namespace testing_support;
using Morphology = ArvoImageBinaryMorphologicalOperations;
using Stencil = Morphology::Stencil;
using Texts = std::vector<std::string>;

const Texts TOO_SMALL = {"Image size too small: image size should be larger than the stencil radius."};

struct Shape {
    const char* name;
    Stencil (*make)(std::size_t);
    bool (*holds)(int dx, int dy, int dz, int radius);
};

const Shape SHAPES[] = {
    {"cube", Morphology::cube, [](int, int, int, int) { return true; }},
    {"sphere", Morphology::sphere,
     [](int dx, int dy, int dz, int radius) {
         return (radius + 0.5) * (radius + 0.5) > dx * dx + dy * dy + dz * dz;
     }},
    {"cardinalAxes", Morphology::cardinalAxes,
     [](int dx, int dy, int dz, int) { return (dx == 0) + (dy == 0) + (dz == 0) >= 2; }},
};

/// The definition: every source voxel (object, or zero when eroding) writes to all voxels that its offsets lead to.
ArvoImage3D naive(const ArvoImage3D& in, const Shape& shape, int radius, bool isErosion)
{
    ArvoImage3D out = copyOf(in);
    const math::Ivec3 size = in.imageSize();
    const auto isInside = [&](int x, int y, int z) {
        return x >= 0 && y >= 0 && z >= 0 && x < size.x && y < size.y && z < size.z;
    };
    const auto scatter = [&](int i, int j, int k) {
        for (int z = -radius; z <= radius; ++z) {
            for (int y = -radius; y <= radius; ++y) {
                for (int x = -radius; x <= radius; ++x) {
                    if (shape.holds(x, y, z, radius) && isInside(i + x, j + y, k + z))
                        out.getAxialSlice(k + z)[(j + y) * size.x + i + x] = isErosion ? 0 : 1;
                }
            }
        }
    };
    for (int k = 0; k < size.z; ++k) {
        for (int j = 0; j < size.y; ++j) {
            for (int i = 0; i < size.x; ++i) {
                if ((in.getConstAxialSlice(k)[j * size.x + i] == 0) == isErosion)
                    scatter(i, j, k);
            }
        }
    }
    return out;
}

void apply(const ArvoImage3D& in, ArvoImage3D& out, const Stencil& stencil, bool isErosion)
{
    isErosion ? Morphology::erode(in, out, stencil) : Morphology::dilate(in, out, stencil);
}

void expectAsDefined(const ArvoImage3D& in, const Shape& shape, int radius, const std::string& what)
{
    const Stencil stencil = shape.make(static_cast<std::size_t>(radius));
    for (const bool isErosion : {false, true}) {
        const ArvoImage3D expected = naive(in, shape, radius, isErosion);
        ArvoImage3D out(in.imageSize(), in.voxelSize(), in.dataType());
        out.memsetSlices(77);
        apply(in, out, stencil, isErosion);
        EXPECT_TRUE(sameBits(expected, out)) << what << shape.name << radius << " erosion " << isErosion;
        ArvoImage3D inPlace = copyOf(in);
        apply(inPlace, inPlace, stencil, isErosion);
        EXPECT_TRUE(sameBits(expected, inPlace)) << what << shape.name << radius << " erosion " << isErosion;
    }
}

TEST(Stencil, HoldsTheOffsetsOfItsShape)
{
    for (const Shape& shape : SHAPES) {
        for (int radius = 0; radius < 8; ++radius) {
            const Stencil stencil = shape.make(static_cast<std::size_t>(radius));
            ASSERT_EQ(stencil.side(), static_cast<std::size_t>(2 * radius + 1));
            const unsigned char* flag = stencil.data();
            for (int z = -radius; z <= radius; ++z) {
                for (int y = -radius; y <= radius; ++y) {
                    for (int x = -radius; x <= radius; ++x)
                        ASSERT_EQ(*flag++, shape.holds(x, y, z, radius)) << shape.name << radius;
                }
            }
        }
    }
    const auto flags = [](const Stencil& stencil) {
        return std::accumulate(stencil.data(),
                               stencil.data() + stencil.side() * stencil.side() * stencil.side(), 0);
    };
    EXPECT_EQ(flags(Stencil::sphere(1)), 19);
    EXPECT_EQ(flags(Stencil::sphere(2)), 81);
    EXPECT_EQ(flags(Stencil::sphere(3)), 179);
    EXPECT_EQ(flags(Stencil::cardinalAxes(1)), 7);
    EXPECT_EQ(flags(Stencil::cube(1)), 27);
}

TEST(Stencil, IsEmptyAfterAMove)
{
    Stencil first = Morphology::sphere(2);
    Stencil second = std::move(first);
    for (const Stencil* empty : {&std::as_const(first)}) { // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(empty->side(), 0u);
        EXPECT_EQ(empty->radius(), 0u);
        EXPECT_EQ(empty->data(), nullptr);
    }
    first = std::move(second);
    EXPECT_EQ(first.radius(), 2u);
    EXPECT_EQ(second.data(), nullptr); // NOLINT(bugprone-use-after-move)
}

TEST(Stencil, ThatCannotBeAllocatedIsAnAllocationFailure)
{
    constexpr std::size_t largest = std::numeric_limits<std::size_t>::max();
    // The last ones would wrap to sides of 2^64 - 1, 0, 1 and to small cubes.
    for (const std::size_t radius :
         {std::size_t(1) << 20, std::size_t(1) << 31, std::size_t(1) << 62, (std::size_t(1) << 63) - 1,
          std::size_t(1) << 63, largest - 1, largest}) {
        for (const Shape& shape : SHAPES)
            EXPECT_THROW(shape.make(radius), std::bad_alloc) << shape.name << radius;
    }
}

TEST(Morphology, AgreesWithTheDefinition)
{
    const std::vector<math::Ivec3> sizes = {{1, 1, 4},  {5, 1, 4},  {1, 7, 5},   {15, 4, 4},
                                            {16, 3, 5}, {17, 5, 4}, {33, 6, 7},  {63, 3, 4},
                                            {64, 4, 5}, {65, 5, 4}, {129, 3, 6}, {13, 11, 9}};
    for (const math::Ivec3& size : sizes) {
        for (const double density : {0.01, 0.5, 0.98}) {
            const std::string what = describe(size, image::Binary, 3) + ' ';
            const ArvoImage3D mask = randomMask(size, density, 3);
            for (const Shape& shape : SHAPES) {
                for (int radius = 1; radius <= 4; ++radius)
                    expectAsDefined(mask, shape, radius, what);
            }
        }
        // Bytes of any value: object is what is not zero, and erosion keeps the values.
        const ArvoImage3D grey = randomVolume(size, image::UInt8, 5, Fill::Extremes);
        expectAsDefined(grey, SHAPES[1], 2, "grey ");
        expectAsDefined(grey, SHAPES[2], 1, "grey ");
    }
}

TEST(Morphology, ReachesAcrossWordsAndBeyondTheVolume)
{
    ArvoImage3D dots = randomMask({201, 2, 80}, 0.0001, 9);
    dots.changeVoxelValues({{0, 0, 0}, {200, 1, 79}}, 1);
    ArvoImage3D out(dots.imageSize(), dots.voxelSize(), image::Binary);
    for (const int radius : {12, 40, 63, 64, 65}) {
        for (const Shape& shape : SHAPES) {
            Morphology::dilate(dots, out, shape.make(static_cast<std::size_t>(radius)));
            EXPECT_TRUE(sameBits(naive(dots, shape, radius, false), out)) << shape.name << radius;
        }
    }
}

TEST(Morphology, TreatsTheOutsideAsBackgroundAndAsObject)
{
    ArvoImage3D full({5, 4, 3}, {1, 1, 1}, image::Binary);
    full.memsetSlices(1);
    ArvoImage3D out = copyOf(full);
    Morphology::erode(full, out, Morphology::cube(2));
    EXPECT_TRUE(sameBits(full, out));
    ArvoImage3D corner({5, 4, 3}, {1, 1, 1}, image::Binary);
    corner.zeroSlices();
    corner.changeVoxelValues({{4, 3, 2}}, 1);
    Morphology::dilate(corner, out, Morphology::cube(1));
    const auto set = voxels<unsigned char>(out);
    EXPECT_EQ(std::accumulate(set.begin(), set.end(), 0), 8);
}

TEST(Morphology, ComparesOnlyTheSliceCountWithTheRadius)
{
    const Warnings warnings;
    for (const bool isErosion : {false, true}) {
        const ArvoImage3D in = randomMask({2, 1, 4}, 0.5, 1);
        ArvoImage3D out({2, 1, 4}, {1, 1, 1}, image::Binary);
        apply(in, out, Morphology::cube(4), isErosion);
        EXPECT_TRUE(sameBits(naive(in, SHAPES[0], 4, isErosion), out));
    }
    EXPECT_EQ(warnings.texts(), Texts{});
    const ArvoImage3D flat = randomMask({9, 9, 3}, 0.5, 1);
    ArvoImage3D out = randomMask({9, 9, 3}, 0.5, 2);
    const ArvoImage3D before = copyOf(out);
    for (const bool isErosion : {false, true}) {
        const Warnings refusal;
        apply(flat, out, Morphology::cube(4), isErosion);
        EXPECT_EQ(refusal.texts(), TOO_SMALL);
        EXPECT_TRUE(sameBits(before, out));
    }
}

TEST(Morphology, CopiesWithRadiusZero)
{
    const ArvoImage3D in = randomVolume({4, 3, 2}, image::UInt8, 4);
    const Stencil empty;
    for (const bool isErosion : {false, true}) {
        for (const Shape& shape : SHAPES) {
            ArvoImage3D out;
            apply(in, out, shape.make(0), isErosion);
            EXPECT_TRUE(sameBits(in, out));
        }
        ArvoImage3D out;
        apply(in, out, empty, isErosion);
        EXPECT_TRUE(sameBits(in, out));
        apply(out, out, empty, isErosion);
        EXPECT_TRUE(sameBits(in, out));
    }
}

TEST(Morphology, MarksTheOutputAsEdited)
{
    const ArvoImage3D in = randomMask({4, 3, 3}, 0.5, 1);
    ArvoImage3D out({4, 3, 3}, {1, 1, 1}, image::Binary);
    out.memsetSlices(9);
    EXPECT_EQ(out.maxValue(), 9);
    Morphology::dilate(in, out, Morphology::cube(1));
    EXPECT_EQ(out.maxValue(), 1);
}

TEST(Morphology, RefusesVolumesThatItCannotUse)
{
    const ArvoImage3D mask = randomMask({5, 4, 3}, 0.5, 1);
    const ArvoImage3D invalid;
    const Stencil stencil = Morphology::sphere(1);
    const std::string prefix = "ArvoImageBinaryMorphologicalOperations : ";
    const Texts noInput = {prefix + "no valid input image."};
    const Texts smallOutput = {prefix + "the output image is smaller than the input image."};
    for (const bool isErosion : {false, true}) {
        const auto expectRefusal = [&](const ArvoImage3D& in, ArvoImage3D&& out, const Stencil& with,
                                       const Texts& expected) {
            const Warnings warnings;
            const ArvoImage3D before = out.isValid() ? copyOf(out) : ArvoImage3D();
            apply(in, out, with, isErosion);
            EXPECT_EQ(warnings.texts(), expected);
            EXPECT_EQ(out.isValid(), before.isValid());
            EXPECT_TRUE(!before.isValid() || sameBits(before, out));
        };
        expectRefusal(invalid, copyOf(mask), stencil, TOO_SMALL);
        expectRefusal(invalid, copyOf(mask), Stencil(), noInput);
        expectRefusal(mask, ArvoImage3D(), stencil, smallOutput);
        expectRefusal(mask, randomMask({5, 4, 2}, 0.5, 1), stencil, smallOutput);
        expectRefusal(mask, randomMask({4, 4, 3}, 0.5, 1), stencil, smallOutput);
    }
    const Warnings warnings;
    ArvoImage3D empty({0, 4, 3}, {1, 1, 1}, image::Binary);
    Morphology::dilate(empty, empty, stencil);
    Morphology::erode(empty, empty, stencil);
    EXPECT_EQ(warnings.texts(), Texts{});
}

} // namespace
