#include "arvo/geometry/Image3DClipper.h"
#include "arvo/geometry/SetVoxelsInside.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/threading/ThreadCount.h"

#include "support/RandomScenes.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <cmath>
#include <limits>

using namespace testing_support;
using primitives::BoundingBox;
using primitives::OrientedBoundingBox;
using primitives::Plane;

namespace {

constexpr unsigned char VALUE = 77;

QMatrix4x4 indexToWorld(const QVector3D& spacing)
{
    QMatrix4x4 shift, scale;
    shift.translate(spacing.x() / 2, spacing.y() / 2, spacing.z() / 2);
    scale.scale(spacing);
    return shift * scale;
}

/// Sets element y * width + x of each slice of elements T where isInside(x, y, z) holds.
template <class T, class IsInside> void setWhere(ArvoImage3D& image, T value, const IsInside& isInside)
{
    const math::Ivec3 size = image.imageSize();
    forEachVoxel(size, [&](int x, int y, int z, std::size_t) {
        if (isInside(x, y, z))
            reinterpret_cast<T*>(image.getAxialSlice(z))[y * size.x + x] = value;
    });
}

void setInsideBoxByDefinition(ArvoImage3D& image, const OrientedBoundingBox& box)
{
    const OrientedBoundingBox local = box.transformed(indexToWorld(image.voxelSize()).inverted());
    setWhere(image, VALUE, [&](int x, int y, int z) {
        return local.isInside(QVector3D(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)));
    });
}

void setInsidePolygonByDefinition(ArvoImage3D& image, const QSize& screen, const QPolygonF& polygon,
                                  const QMatrix4x4& transform)
{
    QImage raster(screen, QImage::Format_RGB32);
    raster.fill(0);
    QPolygonF pixels;
    for (const QPointF& point : polygon)
        pixels << QPointF(screen.width() * point.x(), screen.height() * point.y());
    QPainter painter(&raster);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QBrush(Qt::red));
    painter.drawPolygon(pixels, Qt::OddEvenFill);
    painter.end();
    QMatrix4x4 toScreen;
    toScreen.scale(static_cast<float>(screen.width()), static_cast<float>(screen.height()), 1);
    const QMatrix4x4 toPixels = toScreen * transform * indexToWorld(image.voxelSize());
    setWhere(image, VALUE, [&](int x, int y, int z) {
        const QVector3D p =
            toPixels.map(QVector3D(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)));
        const QPoint pixel(image::truncateToInt32(p.x()), image::truncateToInt32(p.y()));
        return raster.valid(pixel) && raster.pixel(pixel) == QColor(Qt::red).rgb();
    });
}

void clipByDefinition(ArvoImage3D& image, const Plane& plane, const QMatrix4x4& transform)
{
    withType(image.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        const T fill = image::toVoxel<T>(image.getValueRange().first);
        const QVector3D s = image.voxelSize();
        setWhere(image, fill, [&](int x, int y, int z) {
            return plane.isInHalfSpace(transform.map(QVector3D(static_cast<float>(x) * s.x() + s.x() / 2,
                                                               static_cast<float>(y) * s.y() + s.y() / 2,
                                                               static_cast<float>(z) * s.z() + s.z() / 2)));
        });
    });
}

/// Runs both on copies of a random volume and compares; counts the rounds that set something, so that the scenes are
/// known to reach the volume.
template <class Definition, class Library>
void expectSame(ArvoImage3D image, int round, int& touched, const Definition& definition,
                const Library& library)
{
    ArvoImage3D expected = copyOf(image);
    definition(expected);
    expected.editFinished();
    image.getValueRange(); // known before, so that a stale one would show
    touched += !sameBits(image, expected);
    library(image);
    ASSERT_TRUE(sameBits(expected, image)) << "round " << round;
    ASSERT_EQ(expected.getValueRange(), image.getValueRange()) << "round " << round;
}

TEST(SetVoxelsInsideBoundingBox, AgreesWithTheTestOfEveryVoxel)
{
    Scenes scenes(23);
    int touched = 0;
    for (int round = 0; round < 8000; ++round) {
        QVector3D corner = scenes.point(12);
        if (scenes.pick(30) == 0)
            corner[scenes.pick(3)] = scenes.nonsense();
        const OrientedBoundingBox box(BoundingBox(corner, scenes.point(30)), scenes.matrix());
        const image::DataType type = round % 5 ? image::Binary : image::Int16;
        ASSERT_NO_FATAL_FAILURE(expectSame(
            scenes.image(type), round, touched,
            [&](ArvoImage3D& image) { setInsideBoxByDefinition(image, box); },
            [&](ArvoImage3D& image) { image3d::setVoxelsInsideBoundingBox(image, box, VALUE); }));
    }
    EXPECT_GT(touched, 1000);
}

TEST(SetVoxelsInsideBoundingBox, SetsTheVoxelsWithTheirCentresInside)
{
    ArvoImage3D image({4, 4, 4}, QVector3D(1, 1, 1), image::UInt8);
    image.zeroSlices();
    image3d::setVoxelsInsideBoundingBox(image, OrientedBoundingBox(BoundingBox(0, 0, 0, 2, 2, 2)), 1);
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(image.getValue(i % 4, i / 4 % 4, i / 16), i % 4 < 2 && i / 4 % 4 < 2 && i / 16 < 2);
}

TEST(SetVoxelsInsideScreenspacePolygon, AgreesWithTheTestOfEveryVoxel)
{
    Scenes scenes(29);
    int touched = 0;
    for (int round = 0; round < 4000; ++round) {
        const QSize screen(1 + scenes.pick(60), 1 + scenes.pick(60));
        QPolygonF polygon;
        for (int k = scenes.pick(20) ? 3 + scenes.pick(6) : scenes.pick(3); k > 0; --k)
            polygon << QPointF(scenes.uniform(-0.3f, 1.3f), scenes.uniform(-0.3f, 1.3f));
        QMatrix4x4 transform;
        transform.translate(scenes.quarter(1) / 2, scenes.uniform(-0.1f, 0.6f));
        transform.scale(0.04f);
        if (scenes.pick(3))
            transform = transform * scenes.matrix();
        ASSERT_NO_FATAL_FAILURE(expectSame(
            scenes.image(round % 5 ? image::UInt8 : image::Float32), round, touched,
            [&](ArvoImage3D& image) { setInsidePolygonByDefinition(image, screen, polygon, transform); },
            [&](ArvoImage3D& image) {
                image3d::setVoxelsInsideScreenspacePolygon(image, screen, polygon, transform, VALUE);
            }));
    }
    EXPECT_GT(touched, 500);
}

TEST(SetVoxelsInsideScreenspacePolygon, TruncatesTowardZeroAndFillsByTheOddEvenRule)
{
    // Voxel centres -0.5, 0.5, ... 4.5 pixels from the left: the first is truncated into pixel 0.
    ArvoImage3D image({6, 1, 1}, QVector3D(1, 1, 1), image::UInt8);
    image.zeroSlices();
    QMatrix4x4 transform;
    transform.scale(0.25f, 1.0f);
    transform.translate(-1, 0);
    const QPolygonF screenful({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    image3d::setVoxelsInsideScreenspacePolygon(image, QSize(4, 1), screenful, transform, 1);
    EXPECT_TRUE(sameBits(volumeOf<unsigned char>({6, 1, 1}, image::UInt8, {1, 1, 1, 1, 1, 0}), image));

    image.zeroSlices();
    const QPolygonF twice({{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}, {0.5, 0}, {0.5, 1}, {0, 1}});
    image3d::setVoxelsInsideScreenspacePolygon(image, QSize(4, 1), twice, transform, 1);
    EXPECT_TRUE(sameBits(volumeOf<unsigned char>({6, 1, 1}, image::UInt8, {0, 0, 0, 1, 1, 0}), image));
}

TEST(Image3DClipper, AgreesWithTheTestOfEveryVoxel)
{
    Scenes scenes(31);
    int touched = 0;
    for (int round = 0; round < 5000; ++round) {
        QVector3D normal = scenes.point(3);
        if (scenes.pick(3) == 0) // along an axis: the plane may run through the centres of whole rows
            normal = QVector3D(scenes.pick(3) == 0 ? 1 : 0, scenes.pick(2) ? -2 : 0, scenes.pick(2) ? 1 : 0);
        const QMatrix4x4 transform = scenes.matrix();
        ArvoImage3D image = scenes.image(voxelTypes()[static_cast<std::size_t>(round) % voxelTypes().size()]);
        QVector3D point = scenes.point(20);
        if (scenes.pick(2)) // a voxel's centre: its distance is 0 but for rounding
            point = transform.map(indexToWorld(image.voxelSize())
                                      .map(QVector3D(static_cast<float>(scenes.pick(17)),
                                                     static_cast<float>(scenes.pick(5)), 1)));
        Plane plane(point, normal * (scenes.pick(6) ? 1.0f : scenes.scaleFactor()));
        threading::setThreadLimit(round % 3);
        ASSERT_NO_FATAL_FAILURE(expectSame(
            std::move(image), round, touched,
            [&](ArvoImage3D& image) { clipByDefinition(image, plane, transform); },
            [&](ArvoImage3D& image) {
                Image3DClipper clipper;
                clipper.setImageToClip(&image);
                clipper.setClipPlane(&plane);
                clipper.setImageTransform(transform);
                clipper.clip();
            }));
    }
    threading::setThreadLimit(0);
    EXPECT_GT(touched, 1000);
}

TEST(GeometricMasking, WarnsOfBadCallsAndTouchesNothing)
{
    ArvoImage3D wide = randomVolume({2, 2, 2}, image::Int32, 1),
                grey = randomVolume({2, 2, 2}, image::Int16, 1);
    const ArvoImage3D wideBefore = copyOf(wide), greyBefore = copyOf(grey);
    Plane plane({-1, 0, 0}, {1, 0, 0});
    const Warnings warnings;
    const auto clip = [&](ArvoImage3D* image, Plane* clipPlane) {
        Image3DClipper clipper;
        clipper.setImageToClip(image);
        clipper.setClipPlane(clipPlane);
        clipper.clip();
        return warnings.texts().back();
    };
    const std::string wrongType = "Image3DClipper : clipping not implemented for this data type.";
    EXPECT_EQ(clip(&wide, &plane), wrongType);
    EXPECT_EQ(clip(&wide, nullptr), wrongType);
    EXPECT_EQ(clip(&grey, nullptr), "Image3DClipper : no clip plane.");
    EXPECT_EQ(clip(nullptr, &plane), "Image3DClipper : no valid image to clip.");

    const QPolygonF polygon({{-9, -9}, {9, -9}, {0, 9}}), broken({{0, 0}, {NAN, 1}, {1, 1}});
    for (const QSize& screen : {QSize(), QSize(0, 4), QSize(-3, 4), QSize(4, 100000), QSize(2147483647, 1)})
        image3d::setVoxelsInsideScreenspacePolygon(grey, screen, polygon, {}, 1);
    image3d::setVoxelsInsideScreenspacePolygon(grey, QSize(4, 4), broken, {}, 1);
    EXPECT_EQ(warnings.texts().size(), 10u);
    EXPECT_TRUE(sameBits(wideBefore, wide));
    EXPECT_TRUE(sameBits(greyBefore, grey));
}

} // namespace
