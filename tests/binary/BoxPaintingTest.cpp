#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/platform/math/OrientedBoundingBox.h"

#include "binary/ByteObjects.h"
#include "support/FloatToVoxel.h"

#include <cmath>
#include <limits>

using namespace testing_support;
using primitives::BoundingBox;
using primitives::OrientedBoundingBox;

namespace {

/// Voxel by voxel: the box carried into voxel indices, and its own test.
ArvoImage3D paintedByDefinition(const ArvoImage3D& image, const OrientedBoundingBox& box, bool inside,
                                float value)
{
    ArvoImage3D painted = copyOf(image);
    const QVector3D spacing = image.voxelSize();
    QMatrix4x4 scaling;
    scaling.scale(1.0f / spacing.x(), 1.0f / spacing.y(), 1.0f / spacing.z());
    const OrientedBoundingBox carried = box.transformed(scaling);
    withType(image.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        forEachVoxel(image.imageSize(), [&](int x, int y, int z, std::size_t i) {
            const QVector3D point(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z));
            if (carried.isInside(point) != inside)
                return;
            voxels<T>(painted)[i] = storedAs<T>(value);
        });
    });
    return painted;
}

void expectPainted(const math::Ivec3& size, image::DataType type, const OrientedBoundingBox& box, float value,
                   const std::string& label)
{
    for (const bool inside : {true, false}) {
        ArvoImage3D image = randomVolume(size, type, 1);
        const ArvoImage3D expected = paintedByDefinition(image, box, inside, value);
        ArvoImageBinaryTools::maskWithBoundingBox(&image, box, inside, value);
        EXPECT_TRUE(sameBits(expected, image))
            << describe(size, type, 1) << ", inside " << inside << ", " << label;
    }
}

TEST(MaskWithBoundingBox, AgreesWithTheTestOfEveryVoxel)
{
    Random random(5);
    std::uniform_real_distribution<float> number(-1.0f, 1.0f);
    for (int repeat = 0; repeat < 60; ++repeat) {
        const QVector3D a(5 + 5 * number(random), 5 + 5 * number(random), 8 + 9 * number(random));
        const QVector3D b(5 + 5 * number(random), 5 + 5 * number(random), 8 + 9 * number(random));
        QMatrix4x4 placement;
        placement.translate(5, 4, 6);
        // From no turn at all by way of nearly parallel faces to any.
        const float angle = repeat < 10   ? 0.0f
                            : repeat < 25 ? std::ldexp(90.0f, 10 - repeat)
                                          : 180 * number(random);
        placement.rotate(angle, number(random), number(random), number(random));
        if (repeat % 3 == 0)
            placement.scale(1.0f, 0.7f, -1.3f);
        placement.translate(-5, -4, -6);
        expectPainted({29, 17, 13}, voxelTypes()[static_cast<std::size_t>(repeat) % 5],
                      OrientedBoundingBox(BoundingBox(a, b), placement), 300.7f, std::to_string(repeat));
    }
}

TEST(MaskWithBoundingBox, AgreesOnFacesThroughVoxels)
{
    // Spacing 0.5, 0.75, 1.25: faces exactly on voxel centres, and turns by right angles that are not quite exact.
    for (const float angle : {0.0f, 90.0f, 45.0f, 180.0f}) {
        for (const auto& axis : {QVector3D(1, 0, 0), QVector3D(0, 1, 0), QVector3D(0, 0, 1)}) {
            QMatrix4x4 placement;
            placement.translate(6, 6, 5);
            placement.rotate(angle, axis);
            const OrientedBoundingBox box(BoundingBox(-3, -1.5f, -2.5f, 2, 3, 2.5f), placement);
            expectPainted({29, 17, 13}, image::Int16, box, -1.9f, std::to_string(angle));
        }
    }
    // Faces next to voxel centres, where single precision decides: the box is a multiple of the spacing, scaled twice.
    for (const float scale : {0.1f, 0.3f, 0.7f, 1.1f, 1.0f / 3, 1.0f / 7}) {
        QMatrix4x4 placement;
        placement.rotate(90.0f, QVector3D(0, 0, 1));
        placement.scale(scale);
        const OrientedBoundingBox box(
            BoundingBox(1.5f / scale, -10 / scale, 2.5f / scale, 9 / scale, -2 / scale, 10 / scale),
            placement);
        expectPainted({29, 17, 13}, image::Int16, box, 7, "scale " + std::to_string(scale));
    }
    expectPainted({1, 1, 1}, image::UInt8, OrientedBoundingBox(BoundingBox(0, 0, 0, 0, 0, 0)), 1, "a point");
}

TEST(MaskWithBoundingBox, AgreesOnBoxesThatAreNone)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(),
                infinity = std::numeric_limits<float>::infinity();
    QMatrix4x4 flat;
    flat.scale(1, 0, 1);
    QMatrix4x4 broken;
    broken(0, 1) = nan;
    QMatrix4x4 perspective;
    perspective.perspective(60, 1, 1, 50);
    QMatrix4x4 huge;
    huge.scale(1e-38f);
    const BoundingBox unit(-2, -2, -2, 6, 6, 6);
    const OrientedBoundingBox boxes[] = {
        OrientedBoundingBox(unit, flat),
        OrientedBoundingBox(unit, broken),
        OrientedBoundingBox(unit, perspective),
        OrientedBoundingBox(unit, huge),
        OrientedBoundingBox(BoundingBox(3, 3, 3, 1, 1, 1)),
        OrientedBoundingBox(BoundingBox(-infinity, -infinity, -infinity, 3, infinity, infinity)),
        OrientedBoundingBox(BoundingBox(nan, 0, 0, 5, 5, 5))};
    int which = 0;
    for (const OrientedBoundingBox& box : boxes)
        expectPainted({7, 6, 5}, image::Float32, box, 2.5f, "box " + std::to_string(which++));
}

TEST(MaskWithBoundingBox, RefusesBadCallsAndTellsTheVolume)
{
    const OrientedBoundingBox box(BoundingBox(0, 0, 0, 9, 9, 9));
    ArvoImage3D none, wide = randomVolume({3, 3, 3}, image::Int32, 1),
                      grey = randomVolume({3, 3, 3}, image::UInt8, 1);
    const ArvoImage3D before = copyOf(wide);
    const Warnings warnings;
    ArvoImageBinaryTools::maskWithBoundingBox(nullptr, box, true, 1);
    ArvoImageBinaryTools::maskWithBoundingBox(&none, box, true, 1);
    ArvoImageBinaryTools::maskWithBoundingBox(&wide, box, true, 1);
    EXPECT_TRUE(sameBits(before, wide));
    grey.getValueRange();
    ArvoImageBinaryTools::maskWithBoundingBox(&grey, box, true, 9);
    EXPECT_EQ(grey.minValue(), 9);
    EXPECT_EQ(warnings.texts(),
              (std::vector<std::string>{"ArvoImageBinaryTools::maskWithBoundingBox()  - image not valid",
                                        "ArvoImageBinaryTools::maskWithBoundingBox()  - image not valid",
                                        "ArvoImage3D::maskWithBoundingBox() Data type not implemented"}));
}

} // namespace
