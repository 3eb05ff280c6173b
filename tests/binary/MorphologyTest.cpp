#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"

#include "MaskTests.h"

#include <cmath>
#include <limits>
#include <new>
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
/// Of erodeZ(), which has no stencil.
const Shape DISC = {"disc", nullptr, [](int dx, int dy, int dz, int radius) {
                        return dz == 0 && sqrtf(static_cast<float>(dx * dx + dy * dy)) < radius + 0.5;
                    }};

/// Calls body(dx, dy, dz) for all offsets of the cube, x fastest.
template <class Body> void forEachOffset(int radius, Body&& body)
{
    const int side = 2 * radius + 1;
    forEachVoxel({side, side, side},
                 [&](int x, int y, int z, std::size_t) { body(x - radius, y - radius, z - radius); });
}

/// The mask with `value` wherever an offset of the shape leads from an object voxel or, `fromZeros`, from one of the others.
ArvoImage3D spread(const ArvoImage3D& mask, const Shape& shape, int radius, bool fromZeros,
                   unsigned char value)
{
    std::vector<math::Ivec3> offsets;
    forEachOffset(radius, [&](int x, int y, int z) {
        if (shape.holds(x, y, z, radius))
            offsets.emplace_back(x, y, z);
    });
    ArvoImage3D result = copyOf(mask);
    forEachVoxel(mask.imageSize(), [&](int x, int y, int z, std::size_t i) {
        const bool isSource = (voxels<unsigned char>(mask)[i] == 0) == fromZeros;
        for (std::size_t k = 0; isSource && k < offsets.size(); ++k) {
            const math::Ivec3 to(x + offsets[k].x, y + offsets[k].y, z + offsets[k].z);
            if (holds(mask.imageSize(), to.x, to.y, to.z))
                voxels<unsigned char>(result)[indexOf(mask.imageSize(), to.x, to.y, to.z)] = value;
        }
    });
    return result;
}

/// What dilate(), erode() or, without a stencil, erodeZ() makes of the mask.
void expectAsDefined(const ArvoImage3D& mask, const Shape& shape, int radius, bool isErosion,
                     const std::string& what)
{
    const Stencil stencil = shape.make ? shape.make(static_cast<std::size_t>(radius)) : Stencil();
    expectResult(spread(mask, shape, radius, isErosion, !isErosion), mask, what + ", " + shape.name,
                 [&](ArvoImage3D& in, ArvoImage3D& out) {
                     if (!shape.make)
                         toolsOn(&in, &out).erodeZ(radius);
                     else
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
}

TEST(Stencil, IsEmptyAfterAMove)
{
    Stencil first = Morphology::sphere(2);
    Stencil second = std::move(first);
    EXPECT_EQ(first.side() + first.radius(), 0u); // NOLINT(bugprone-use-after-move)
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
        ArvoImage3D out, outOfEmpty;
        apply(in, out, Stencil::sphere(0));
        apply(in, outOfEmpty, Stencil());
        EXPECT_TRUE(sameBits(in, out));
        EXPECT_TRUE(sameBits(in, outOfEmpty));
    }
}

TEST(ErodeZ, AgreesWithTheDefinition)
{
    forEachMask(0, [](const ArvoImage3D& mask, const std::string& what) {
        for (const int radius : {0, 1, 2, 3, 7})
            expectAsDefined(mask, DISC, radius, true, what);
    });
    ArvoImage3D line = boxIn({301, 2, 1}, {0, 0, 0}, {300, 1, 0}, 200);
    line.changeVoxelValues({{150, 1, 0}}, 0);
    for (const int radius : {62, 63, 64, 130})
        expectAsDefined(line, DISC, radius, true, "across words");
    toolsOn(&line, &line).erodeZ(2000000000);
    EXPECT_EQ(line.maxValue(), 0);
}

TEST(EdgeDetection, MarksObjectVoxelsNextToBackground)
{
    forEachMask(0, [](const ArvoImage3D& mask, const std::string& what) {
        const ArvoImage3D inner = spread(mask, CUBE, 1, true, 0);
        const ArvoImage3D edges = maskLike(
            mask, [&](std::size_t i) { return voxels<char>(mask)[i] != 0 && voxels<char>(inner)[i] == 0; });
        expectResult(edges, mask, what,
                     [](ArvoImage3D& in, ArvoImage3D& out) { toolsOn(&in, &out).edgeDetection(); });
    });
}
