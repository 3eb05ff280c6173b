#include "support/Picture.h"

#include <QPainter>

#include <algorithm>
#include <array>
#include <cmath>

namespace host {

namespace {

/// Which volume axes run along the columns and rows of a picture, and which one is cut.
struct Axes {
    int column, row, cut;
};

Axes axesOf(Plane plane)
{
    switch (plane) {
    case Plane::Axial:
        return {0, 1, 2};
    case Plane::Coronal:
        return {0, 2, 1};
    case Plane::Sagittal:
        return {1, 2, 0};
    }
    return {0, 1, 2};
}

} // namespace

QImage slicePicture(const ArvoImage3D& image, Plane plane, int index, const math::Range<float>& window)
{
    const Axes axes = axesOf(plane);
    const math::Ivec3 size = image.imageSize();
    const int width = size[axes.column];
    const int height = size[axes.row];
    QImage picture(width, height, QImage::Format_Grayscale8);
    for (int row = 0; row < height; ++row) {
        // y runs from back to front and z from the feet up; the rows of a picture run downwards.
        uchar* line = picture.scanLine(height - 1 - row);
        for (int column = 0; column < width; ++column) {
            std::array<int, 3> voxel;
            voxel[static_cast<std::size_t>(axes.column)] = column;
            voxel[static_cast<std::size_t>(axes.row)] = row;
            voxel[static_cast<std::size_t>(axes.cut)] = index;
            const float value = image.getFloatValue(voxel[0], voxel[1], voxel[2]);
            const float share = (value - window.first) / (window.second - window.first);
            line[column] = static_cast<uchar>(std::lround(255.0f * std::clamp(share, 0.0f, 1.0f)));
        }
    }
    const QVector3D spacing = image.voxelSize();
    const float step = std::min({spacing.x(), spacing.y(), spacing.z()});
    const auto scaled = [&](int count, int axis) {
        return std::max(1, static_cast<int>(std::lround(static_cast<float>(count) * spacing[axis] / step)));
    };
    return picture.scaled(scaled(width, axes.column), scaled(height, axes.row), Qt::IgnoreAspectRatio,
                          Qt::SmoothTransformation);
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
