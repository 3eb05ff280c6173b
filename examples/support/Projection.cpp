#include "support/Projection.h"

#include <cmath>
#include <numbers>

namespace host {

namespace {

void append(std::vector<float>& table, const QVector3D& v)
{
    table.insert(table.end(), {v.x(), v.y(), v.z()});
}

} // namespace

QVector3D extentOf(const ArvoImage3D& volume)
{
    const math::Ivec3 size = volume.imageSize();
    return QVector3D(static_cast<float>(size.x), static_cast<float>(size.y), static_cast<float>(size.z)) *
           volume.voxelSize();
}

ViewDirection viewAround(float degrees)
{
    const float angle = degrees * std::numbers::pi_v<float> / 180.0f;
    const float c = std::cos(angle), s = std::sin(angle);
    return {{c, s, 0}, {0, 0, -1}, {-s, c, 0}};
}

RayTables::RayTables(const ArvoImage3D& volume, const ViewDirection& view, int width, int height, float step)
{
    const QVector3D spacing = volume.voxelSize();
    const QVector3D middle = extentOf(volume) * 0.5f / spacing;
    origin = {middle.x(), middle.y(), middle.z()};
    const auto fill = [&](std::vector<float>& table, int count, const QVector3D& direction) {
        for (int i = 0; i < count; ++i)
            append(table,
                   direction * (static_cast<float>(i) - 0.5f * static_cast<float>(count)) * step / spacing);
    };
    fill(columns, width, view.across);
    fill(rows, height, view.down);
    for (int i = 0; i < width; ++i)
        append(steps, view.along * step / spacing);
}

} // namespace host
