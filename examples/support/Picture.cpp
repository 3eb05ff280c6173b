#include "support/Picture.h"

#include "arvo/platform/image/ElementTypes.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace host {

namespace {

/// Calls visit(x, y, value) for every pixel, the value as a float.
template <class Visit> void forEachPixel(const Image2D& image, Visit&& visit)
{
    const auto type = static_cast<image::DataType>(image.dataType());
    image::withElementType(type, image::StoredTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        const T* pixel = reinterpret_cast<const T*>(image.dataPtr());
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                visit(x, y, static_cast<float>(*pixel++));
        }
    });
}

int mixed(int from, int to, float share)
{
    return from + static_cast<int>(std::lround(static_cast<float>(to - from) * share));
}

} // namespace

PlaneAxes axesOf(Plane plane)
{
    switch (plane) {
    case Plane::Axial:
        return {0, 1, 2};
    case Plane::Coronal:
        return {0, 2, 1};
    case Plane::Sagittal:
        break;
    }
    return {1, 2, 0};
}

Image2D sliceAt(const ArvoImage3D& volume, Plane plane, int index)
{
    auto* readable = const_cast<ArvoImage3D*>(&volume); // the loaders take a mutable volume and only read it
    Image2D slice;
    switch (plane) {
    case Plane::Axial:
        ArvoImage3DReslicer::loadAxialSlice2D(readable, index, &slice);
        break;
    case Plane::Coronal:
        ArvoImage3DReslicer::loadCoronalSlice2D(readable, index, &slice);
        break;
    case Plane::Sagittal:
        ArvoImage3DReslicer::loadSagittalSlice2D(readable, index, &slice);
        break;
    }
    return slice;
}

Image2D middleSlice(const ArvoImage3D& volume, Plane plane)
{
    return sliceAt(volume, plane, volume.imageSize()[axesOf(plane).through] / 2);
}

math::Range<float> windowOf(const ArvoImage3D& volume)
{
    const math::Range<float> range = volume.getValueRange();
    const bool isHounsfield = range.first < -500.0f && range.second > 500.0f;
    return isHounsfield ? math::Range<float>(-250.0f, 1300.0f) : range;
}

QImage greyPicture(const Image2D& image, const math::Range<float>& window)
{
    QImage picture(image.width(), image.height(), QImage::Format_RGB32);
    const float width = std::max(window.second - window.first, 1e-6f);
    forEachPixel(image, [&](int x, int y, float value) {
        const float share = std::clamp((value - window.first) / width, 0.0f, 1.0f);
        const int grey = mixed(0, 255, share);
        picture.setPixel(x, y, qRgb(grey, grey, grey));
    });
    return picture;
}

QImage signedPicture(const Image2D& image, float reach)
{
    QImage picture(image.width(), image.height(), QImage::Format_RGB32);
    forEachPixel(image, [&](int x, int y, float value) {
        const float share = std::min(std::abs(value) / reach, 1.0f);
        const QColor far = value < 0.0f ? QColor(20, 70, 140) : QColor(200, 90, 20);
        picture.setPixel(x, y,
                         qRgb(mixed(250, far.red(), share), mixed(250, far.green(), share),
                              mixed(245, far.blue(), share)));
    });
    return picture;
}

QImage overlaid(const QImage& picture, const Image2D& mask, const QColor& colour)
{
    QImage tinted = picture;
    forEachPixel(mask, [&](int x, int y, float value) {
        if (value == 0.0f || !tinted.valid(x, y))
            return;
        const QRgb below = tinted.pixel(x, y);
        tinted.setPixel(x, y,
                        qRgb(mixed(qRed(below), colour.red(), 0.55f),
                             mixed(qGreen(below), colour.green(), 0.55f),
                             mixed(qBlue(below), colour.blue(), 0.55f)));
    });
    return tinted;
}

QImage upright(const QImage& picture, Plane plane, const QVector3D& voxelSize)
{
    const PlaneAxes axes = axesOf(plane);
    const float step = std::min({voxelSize.x(), voxelSize.y(), voxelSize.z()});
    const auto scaled = [&](int count, int axis) {
        return std::max(1, static_cast<int>(std::lround(static_cast<float>(count) * voxelSize[axis] / step)));
    };
    return picture.mirrored(false, true)
        .scaled(scaled(picture.width(), axes.across), scaled(picture.height(), axes.along),
                Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

QImage sideBySide(const QList<QImage>& pictures)
{
    int width = 0;
    int height = 0;
    for (const QImage& picture : pictures) {
        width += picture.width();
        height = std::max(height, picture.height());
    }
    QImage joined(width, height, QImage::Format_RGB32);
    joined.fill(Qt::black);
    QPainter painter(&joined);
    int left = 0;
    for (const QImage& picture : pictures) {
        painter.drawImage(left, (height - picture.height()) / 2, picture);
        left += picture.width();
    }
    return joined;
}

} // namespace host
