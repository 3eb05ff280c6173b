#include "arvo/platform/math/OrientedBoundingBox.h"

#include "MaskTests.h"
#include "support/FloatToVoxel.h"
#include "support/RandomScenes.h"

using namespace testing_support;
using primitives::BoundingBox;
using primitives::OrientedBoundingBox;

namespace {

/// The box carried into voxel indices, and its own test for every voxel.
ArvoImage3D paintedByDefinition(const ArvoImage3D& image, const OrientedBoundingBox& box, bool inside,
                                float value)
{
    ArvoImage3D painted = copyOf(image);
    const QVector3D spacing = image.voxelSize();
    QMatrix4x4 toVoxels;
    toVoxels.scale(1.0f / spacing.x(), 1.0f / spacing.y(), 1.0f / spacing.z());
    const OrientedBoundingBox carried = box.transformed(toVoxels);
    withType(image.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        forEachVoxel(image.imageSize(), [&](int x, int y, int z, std::size_t i) {
            const QVector3D point(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z));
            if (carried.isInside(point) == inside)
                voxels<T>(painted)[i] = storedAs<T>(static_cast<double>(value));
        });
    });
    return painted;
}

void expectPainted(const ArvoImage3D& before, const OrientedBoundingBox& box, float value,
                   const std::string& what)
{
    for (const bool inside : {true, false}) {
        ArvoImage3D image = copyOf(before);
        image.getValueRange();
        ArvoImageBinaryTools::maskWithBoundingBox(&image, box, inside, value);
        expectVolume(paintedByDefinition(before, box, inside, value), image,
                     what + (inside ? ", inside" : ", outside"));
    }
}

} // namespace

TEST(MaskWithBoundingBox, AgreesWithTheTestOfEveryVoxel)
{
    Scenes scenes(37);
    for (int round = 0; round < 4000 && !testing::Test::HasFailure(); ++round) {
        QVector3D corner = scenes.point(12);
        if (scenes.pick(30) == 0)
            corner[scenes.pick(3)] = scenes.nonsense();
        const OrientedBoundingBox box(BoundingBox(corner, scenes.point(30)), scenes.matrix());
        const ArvoImage3D image = scenes.image(voxelTypes()[static_cast<std::size_t>(round) % 5]);
        expectPainted(image, box, round % 2 ? 300.7f : -1.9f, "round " + std::to_string(round));
    }
}

/// Faces next to voxel centres, where single precision decides: the box is a multiple of the spacing, scaled twice.
TEST(MaskWithBoundingBox, AgreesOnFacesNextToVoxels)
{
    const ArvoImage3D image = randomVolume({29, 17, 13}, image::Int16, 1);
    for (const float scale : {0.1f, 0.3f, 0.7f, 1.1f, 1.0f / 3, 1.0f / 7}) {
        QMatrix4x4 placement;
        placement.rotate(90.0f, QVector3D(0, 0, 1));
        placement.scale(scale);
        const BoundingBox box(1.5f / scale, -10 / scale, 2.5f / scale, 9 / scale, -2 / scale, 10 / scale);
        expectPainted(image, OrientedBoundingBox(box, placement), 7, "scale " + std::to_string(scale));
    }
}
