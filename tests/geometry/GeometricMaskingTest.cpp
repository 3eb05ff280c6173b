#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/geometry/Image3DClipper.h"
#include "arvo/geometry/SetVoxelsInside.h"
#include "arvo/platform/threading/ThreadCount.h"

#include "support/FloatToVoxel.h"
#include "support/RandomScenes.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

using namespace testing_support;
using primitives::BoundingBox;
using primitives::OrientedBoundingBox;
using primitives::Plane;

namespace {

constexpr unsigned char VALUE = 77;

QMatrix4x4 indexToWorld(const QVector3D& spacing)
{
    QMatrix4x4 shift, scale;
    shift.translate(spacing / 2);
    scale.scale(spacing);
    return shift * scale;
}

/// Sets element y * width + x of each slice of elements T where isInside(index of the voxel, as a point) holds.
template <class T, class IsInside> void setWhere(ArvoImage3D& image, T value, const IsInside& isInside)
{
    const math::Ivec3 size = image.imageSize();
    forEachVoxel(size, [&](int x, int y, int z, std::size_t) {
        if (isInside(QVector3D(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z))))
            reinterpret_cast<T*>(image.getAxialSlice(z))[y * size.x + x] = value;
    });
}

void setInsideBoxByDefinition(ArvoImage3D& image, const OrientedBoundingBox& box)
{
    const OrientedBoundingBox local = box.transformed(indexToWorld(image.voxelSize()).inverted());
    setWhere(image, VALUE, [&](const QVector3D& index) { return local.isInside(index); });
}

/// The box carried into voxel indices, which counts voxels from their corners, not their centres.
void paintByDefinition(ArvoImage3D& image, const OrientedBoundingBox& box, bool inside, float value)
{
    const QVector3D spacing = image.voxelSize();
    QMatrix4x4 toVoxels;
    toVoxels.scale(1.0f / spacing.x(), 1.0f / spacing.y(), 1.0f / spacing.z());
    const OrientedBoundingBox local = box.transformed(toVoxels);
    withType(image.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        setWhere(image, storedAs<T>(static_cast<double>(value)),
                 [&](const QVector3D& index) { return local.isInside(index) == inside; });
    });
}

void setInsidePolygonByDefinition(ArvoImage3D& image, const QSize& screen, const QPolygonF& polygon,
                                  const QMatrix4x4& transform)
{
    QImage raster(screen, QImage::Format_RGB32);
    raster.fill(0);
    QPainter painter(&raster);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QBrush(Qt::red));
    QPolygonF pixels;
    for (const QPointF& point : polygon)
        pixels << QPointF(screen.width() * point.x(), screen.height() * point.y());
    painter.drawPolygon(pixels, Qt::OddEvenFill);
    painter.end();
    QMatrix4x4 toScreen;
    toScreen.scale(static_cast<float>(screen.width()), static_cast<float>(screen.height()), 1);
    const QMatrix4x4 toPixels = toScreen * transform * indexToWorld(image.voxelSize());
    setWhere(image, VALUE, [&](const QVector3D& index) {
        const QVector3D p = toPixels.map(index);
        const QPoint pixel(storedAs<int>(static_cast<double>(p.x())),
                           storedAs<int>(static_cast<double>(p.y())));
        return raster.valid(pixel) && raster.pixelColor(pixel) == Qt::red;
    });
}

void clipByDefinition(ArvoImage3D& image, const Plane& plane, const QMatrix4x4& transform)
{
    withType(image.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        const T fill = storedAs<T>(static_cast<double>(image.getValueRange().first));
        const QVector3D spacing = image.voxelSize();
        setWhere(image, fill, [&](const QVector3D& index) {
            return plane.isInHalfSpace(transform.map(index * spacing + spacing / 2));
        });
    });
}

void clip(ArvoImage3D* image, Plane* plane, const QMatrix4x4& transform = {})
{
    Image3DClipper clipper;
    clipper.setImageToClip(image);
    clipper.setClipPlane(plane);
    clipper.setImageTransform(transform);
    clipper.clip();
}

/// Many random scenes, each changed by the library and by the definition.
class GeometricMasking : public testing::Test {
protected:
    template <class Definition, class Library>
    void expectSame(ArvoImage3D image, const Definition& definition, const Library& library)
    {
        ArvoImage3D expected = copyOf(image);
        definition(expected);
        expected.editFinished();
        image.getValueRange(); // known before, so that a stale one would show
        m_touched += !sameBits(image, expected);
        library(image);
        ASSERT_TRUE(sameBits(expected, image));
        ASSERT_EQ(expected.getValueRange(), image.getValueRange());
    }

    int m_touched = 0; ///< volumes that were changed, so that the scenes are known to reach them
};

} // namespace

TEST_F(GeometricMasking, SetsVoxelsInsideABoxAsTheTestOfEveryVoxel)
{
    Scenes scenes(23);
    for (int round = 0; round < 8000 && !HasFailure(); ++round) {
        const OrientedBoundingBox box = scenes.box();
        expectSame(
            scenes.image(round % 5 ? image::Binary : image::Int16),
            [&](ArvoImage3D& image) { setInsideBoxByDefinition(image, box); },
            [&](ArvoImage3D& image) { image3d::setVoxelsInsideBoundingBox(image, box, VALUE); });
    }
    EXPECT_GT(m_touched, 1000);
}

TEST_F(GeometricMasking, PaintsInsideOrOutsideABoxAsTheTestOfEveryVoxel)
{
    Scenes scenes(37);
    for (int round = 0; round < 8000 && !HasFailure(); ++round) {
        const OrientedBoundingBox box = scenes.box();
        const bool inside = scenes.pick(2);
        const float value = scenes.pick(2) ? 300.7f : -1.9f;
        expectSame(
            scenes.image(voxelTypes()[static_cast<std::size_t>(round) % 5]),
            [&](ArvoImage3D& image) { paintByDefinition(image, box, inside, value); },
            [&](ArvoImage3D& image) {
                ArvoImageBinaryTools::maskWithBoundingBox(&image, box, inside, value);
            });
    }
    EXPECT_GT(m_touched, 1000);
}

TEST_F(GeometricMasking, SetsVoxelsInsideAPolygonAsTheTestOfEveryVoxel)
{
    Scenes scenes(29);
    for (int round = 0; round < 4000 && !HasFailure(); ++round) {
        const QSize screen(1 + scenes.pick(60), 1 + scenes.pick(60));
        QPolygonF polygon;
        for (int k = scenes.pick(20) ? 3 + scenes.pick(6) : scenes.pick(3); k > 0; --k)
            polygon << QPointF(scenes.uniform(-0.3f, 1.3f), scenes.uniform(-0.3f, 1.3f));
        QMatrix4x4 transform;
        transform.translate(scenes.quarter(1) / 2, scenes.uniform(-0.1f, 0.6f));
        transform.scale(0.04f);
        if (scenes.pick(3))
            transform = transform * scenes.matrix();
        expectSame(
            scenes.image(round % 5 ? image::UInt8 : image::Float32),
            [&](ArvoImage3D& image) { setInsidePolygonByDefinition(image, screen, polygon, transform); },
            [&](ArvoImage3D& image) {
                image3d::setVoxelsInsideScreenspacePolygon(image, screen, polygon, transform, VALUE);
            });
    }
    EXPECT_GT(m_touched, 500);
}

TEST_F(GeometricMasking, ClipsAsTheTestOfEveryVoxel)
{
    Scenes scenes(31);
    for (int round = 0; round < 5000 && !HasFailure(); ++round) {
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
        expectSame(
            std::move(image), [&](ArvoImage3D& image) { clipByDefinition(image, plane, transform); },
            [&](ArvoImage3D& image) { clip(&image, &plane, transform); });
    }
    threading::setThreadLimit(0);
    EXPECT_GT(m_touched, 1000);
}

TEST_F(GeometricMasking, GoesByVoxelCentresAndTruncatesPixelsTowardZero)
{
    const auto row = [](const std::vector<unsigned char>& values) {
        return volumeOf<unsigned char>({6, 1, 1}, image::UInt8, values);
    };
    ArvoImage3D image = row({0, 0, 0, 0, 0, 0});
    image3d::setVoxelsInsideBoundingBox(image, OrientedBoundingBox(BoundingBox(0, 0, 0, 2, 2, 2)), 1);
    EXPECT_TRUE(sameBits(row({1, 1, 0, 0, 0, 0}), image));

    // Voxel centres -0.5, 0.5, ... 4.5 pixels from the left: the first is truncated into pixel 0.
    QMatrix4x4 transform;
    transform.scale(0.25f, 1.0f);
    transform.translate(-1, 0);
    const QPolygonF screenful({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    image3d::setVoxelsInsideScreenspacePolygon(image, QSize(4, 1), screenful, transform, 2);
    EXPECT_TRUE(sameBits(row({2, 2, 2, 2, 2, 0}), image));
    // Painted twice on the left, which the odd-even rule leaves out.
    const QPolygonF twice({{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}, {0.5, 0}, {0.5, 1}, {0, 1}});
    image3d::setVoxelsInsideScreenspacePolygon(image, QSize(4, 1), twice, transform, 3);
    EXPECT_TRUE(sameBits(row({2, 2, 2, 3, 3, 0}), image));
}

TEST_F(GeometricMasking, WarnsOfBadCalls)
{
    ArvoImage3D wide = randomVolume({2, 2, 2}, image::Int32, 1),
                grey = randomVolume({2, 2, 2}, image::Int16, 1);
    Plane plane({-1, 0, 0}, {1, 0, 0});
    const Warnings warnings;
    clip(&wide, &plane);
    clip(&wide, nullptr);
    clip(&grey, nullptr);
    clip(nullptr, &plane);
    const std::string wrongType = "Image3DClipper : clipping not implemented for this data type.";
    EXPECT_EQ(warnings.texts(),
              (std::vector<std::string>{wrongType, wrongType, "Image3DClipper : no clip plane.",
                                        "Image3DClipper : no valid image to clip."}));

    const QPolygonF polygon({{-9, -9}, {9, -9}, {0, 9}}), broken({{0, 0}, {NAN, 1}, {1, 1}});
    for (const QSize& screen : {QSize(), QSize(0, 4), QSize(-3, 4), QSize(4, 100000), QSize(2147483647, 1)})
        image3d::setVoxelsInsideScreenspacePolygon(grey, screen, polygon, {}, 1);
    image3d::setVoxelsInsideScreenspacePolygon(grey, QSize(4, 4), broken, {}, 1);
    EXPECT_EQ(warnings.texts().size(), 10u);
}
