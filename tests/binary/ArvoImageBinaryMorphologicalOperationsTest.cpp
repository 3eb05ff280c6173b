#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"

#include "MaskTests.h"

#include <limits>
#include <new>
#include <numeric>
#include <utility>

using namespace testing_support;
using Morphology = ArvoImageBinaryMorphologicalOperations;
using Stencil = Morphology::Stencil;

namespace {

struct Shape {
    const char* name;
    Stencil (*make)(std::size_t);
    bool (*holds)(int dx, int dy, int dz, int radius);
};

const Shape CUBE = {"cube", Morphology::cube, [](int, int, int, int) { return true; }};
const Shape SPHERE = {"sphere", Morphology::sphere, [](int dx, int dy, int dz, int radius) {
                          return (radius + 0.5) * (radius + 0.5) > dx * dx + dy * dy + dz * dz;
                      }};
const Shape AXES = {"cardinalAxes", Morphology::cardinalAxes,
                    [](int dx, int dy, int dz, int) { return (dx == 0) + (dy == 0) + (dz == 0) >= 2; }};
const Shape SHAPES[] = {CUBE, SPHERE, AXES};

/// Calls body(dx, dy, dz) for all offsets of the cube, x fastest.
template <class Body> void forEachOffset(int radius, Body&& body)
{
    const int side = 2 * radius + 1;
    forEachVoxel({side, side, side},
                 [&](int x, int y, int z, std::size_t) { body(x - radius, y - radius, z - radius); });
}

/// The definition: every source voxel (object, or zero when eroding) writes to all voxels that its offsets lead to.
void expectAsDefined(const ArvoImage3D& mask, const Shape& shape, int radius, bool isErosion,
                     const std::string& what)
{
    const math::Ivec3 size = mask.imageSize();
    const Stencil stencil = shape.make(static_cast<std::size_t>(radius));
    ArvoImage3D expected = copyOf(mask);
    forEachVoxel(size, [&](int i, int j, int k, std::size_t source) {
        if ((voxels<unsigned char>(mask)[source] == 0) != isErosion)
            return;
        forEachOffset(radius, [&](int x, int y, int z) {
            if (shape.holds(x, y, z, radius) && holds(size, i + x, j + y, k + z))
                voxels<unsigned char>(expected)[indexOf(size, i + x, j + y, k + z)] = !isErosion;
        });
    });
    expectResult(expected, mask, what + ", " + shape.name + std::to_string(radius),
                 [&](const ArvoImage3D& in, ArvoImage3D& out) {
                     (isErosion ? Morphology::erode : Morphology::dilate)(in, out, stencil);
                 });
}

} // namespace

TEST(Stencil, HoldsTheOffsetsOfItsShape)
{
    for (const Shape& shape : SHAPES) {
        for (int radius = 0; radius < 8; ++radius) {
            const Stencil stencil = shape.make(static_cast<std::size_t>(radius));
            ASSERT_EQ(stencil.side(), static_cast<std::size_t>(2 * radius + 1));
            const unsigned char* flag = stencil.data();
            forEachOffset(radius, [&](int x, int y, int z) {
                ASSERT_EQ(*flag++, shape.holds(x, y, z, radius)) << shape.name << radius;
            });
        }
    }
    const auto flags = [](const Stencil& s) {
        return std::accumulate(s.data(), s.data() + s.side() * s.side() * s.side(), 0);
    };
    EXPECT_EQ(flags(Stencil::sphere(1)), 19);
    EXPECT_EQ(flags(Stencil::sphere(3)), 179);
    EXPECT_EQ(flags(Stencil::cardinalAxes(1)), 7);
    EXPECT_EQ(flags(Stencil::cube(1)), 27);
}

TEST(Stencil, IsEmptyAfterAMove)
{
    Stencil first = Morphology::sphere(2);
    Stencil second = std::move(first);
    EXPECT_EQ(first.side() + first.radius(), 0u); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(first.data(), nullptr);             // NOLINT(bugprone-use-after-move)
    first = std::move(second);
    EXPECT_EQ(first.radius(), 2u);
    EXPECT_EQ(second.side() + second.radius(), 0u); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(second.data(), nullptr);              // NOLINT(bugprone-use-after-move)
}

TEST(Stencil, ThatCannotBeAllocatedIsAnAllocationFailure)
{
    constexpr std::size_t one = 1, largest = std::numeric_limits<std::size_t>::max();
    // The last ones would wrap to sides of 2^64 - 1, 1, 2^64 - 3, 2^64 - 1 and to small cubes.
    for (const std::size_t radius :
         {one << 20, one << 31, one << 62, (one << 63) - 1, one << 63, largest - 1, largest}) {
        for (const Shape& shape : SHAPES)
            EXPECT_THROW(shape.make(radius), std::bad_alloc) << shape.name << radius;
    }
}

TEST(Morphology, AgreesWithTheDefinition)
{
    int radius = 0;
    forEachMask(1, [&](const ArvoImage3D& mask, const std::string& what) {
        radius = radius % 4 + 1;
        for (const Shape& shape : SHAPES) {
            for (const bool isErosion : {false, true})
                expectAsDefined(mask, shape, std::min(radius, mask.imageSize().z), isErosion, what);
        }
    });
}

TEST(Morphology, ReachesAcrossWordsAndBeyondTheVolume)
{
    ArvoImage3D dots = randomMask({201, 2, 80}, 0.0001, 9);
    dots.changeVoxelValues({{0, 0, 0}, {200, 1, 79}}, 1);
    for (const int radius : {12, 63, 64, 65})
        expectAsDefined(dots, AXES, radius, false, "dots");
    expectAsDefined(dots, SPHERE, 40, false, "dots");
}

TEST(Morphology, CopiesWithRadiusZeroWhateverTheOutputWas)
{
    const ArvoImage3D in = randomVolume({4, 3, 2}, image::UInt8, 4);
    for (const auto apply : {Morphology::dilate, Morphology::erode}) {
        for (const Shape& shape : SHAPES) {
            ArvoImage3D out, outOfEmpty;
            apply(in, out, shape.make(0));
            apply(in, outOfEmpty, Stencil());
            EXPECT_TRUE(sameBits(in, out)) << shape.name;
            EXPECT_TRUE(sameBits(in, outOfEmpty));
        }
    }
}
