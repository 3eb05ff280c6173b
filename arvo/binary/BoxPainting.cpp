#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/math/OrientedBoundingBox.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using primitives::OrientedBoundingBox;

/// Voxels of a row, from `first` to before `end`; empty unless first < end.
struct Run {
    std::ptrdiff_t first;
    std::ptrdiff_t end;
};

/// For each row of a volume the voxels that are inside a box for certain, and those outside of which none is.
///
/// What lies between is left to OrientedBoundingBox::isInside. Along a row each coordinate of the point in the box's own
/// frame is a linear function of x, so the box's three slabs cut the row in three intervals. These are computed in double
/// and moved by more than the single-precision test can err.
class RowsInBox {
public:
    RowsInBox(const OrientedBoundingBox& box, const math::Ivec3& size) : m_width(size.x)
    {
        bool isInvertible = false;
        const QMatrix4x4 toBox = box.placement().inverted(&isInvertible);
        const double farthest[3] = {double(size.x), double(size.y), double(size.z)};
        double weightError = std::abs(double(toBox(3, 3)) - 1.0);
        for (int axis = 0; axis < 3; ++axis)
            weightError += std::abs(double(toBox(3, axis))) * farthest[axis];
        // A perspective matrix, one that cannot be inverted and numbers that are none are left to the test.
        m_isUsable = isInvertible && weightError < 1e-6;
        for (int c = 0; c < 3; ++c) {
            Slab& slab = m_slabs[c];
            double magnitude = std::abs(double(toBox(c, 3)));
            for (int axis = 0; axis < 3; ++axis) {
                slab.step[axis] = double(toBox(c, axis));
                magnitude += std::abs(slab.step[axis]) * farthest[axis];
            }
            slab.origin = double(toBox(c, 3));
            slab.low = double(box.box().min()[c]);
            slab.high = double(box.box().max()[c]);
            slab.error = 1e-5 * magnitude; // some hundred times what single precision can lose
            m_isUsable =
                m_isUsable && magnitude < 1e37 && std::isfinite(slab.low) && std::isfinite(slab.high);
        }
    }

    /// The voxels that may be inside.
    Run possible(std::ptrdiff_t y, std::ptrdiff_t z) const
    {
        return m_isUsable ? cut(y, z, 1) : Run{0, m_width};
    }
    /// The voxels that are inside for certain.
    Run certain(std::ptrdiff_t y, std::ptrdiff_t z) const { return m_isUsable ? cut(y, z, -1) : Run{0, 0}; }

private:
    struct Slab {
        double origin;
        double step[3];
        double low;
        double high;
        double error;
    };

    Run cut(std::ptrdiff_t y, std::ptrdiff_t z, int sign) const
    {
        double first = 0;
        double last = static_cast<double>(m_width - 1);
        for (const Slab& slab : m_slabs) {
            const double start =
                slab.origin + slab.step[1] * static_cast<double>(y) + slab.step[2] * static_cast<double>(z);
            const double low = slab.low - sign * slab.error - start;
            const double high = slab.high + sign * slab.error - start;
            if (slab.step[0] == 0.0) {
                if (low > 0.0 || high < 0.0)
                    return {0, 0};
                continue;
            }
            const double a = low / slab.step[0];
            const double b = high / slab.step[0];
            first = std::max(first, std::ceil(slab.step[0] > 0 ? a : b));
            last = std::min(last, std::floor(slab.step[0] > 0 ? b : a));
        }
        if (!(first <= last))
            return {0, 0};
        return {static_cast<std::ptrdiff_t>(first), static_cast<std::ptrdiff_t>(last) + 1};
    }

    std::ptrdiff_t m_width;
    Slab m_slabs[3];
    bool m_isUsable;
};

template <class T> void paintByBox(ArvoImage3D& image, const OrientedBoundingBox& box, bool inside, T value)
{
    const frame::VolumeView<T> voxels(image);
    const RowsInBox rows(box, image.imageSize());
    for (std::ptrdiff_t z = 0; z < voxels.depth(); ++z) {
        for (std::ptrdiff_t y = 0; y < voxels.height(); ++y) {
            T* row = voxels.row(y, z);
            const auto paint = [&](std::ptrdiff_t first, std::ptrdiff_t end) {
                if (first < end)
                    std::fill(row + first, row + end, value);
            };
            const auto paintByTest = [&](std::ptrdiff_t first, std::ptrdiff_t end) {
                for (std::ptrdiff_t x = first; x < end; ++x) {
                    const QVector3D point(static_cast<float>(x), static_cast<float>(y),
                                          static_cast<float>(z));
                    if (box.isInside(point) == inside)
                        row[x] = value;
                }
            };
            const Run possible = rows.possible(y, z);
            Run certain = rows.certain(y, z);
            if (certain.first >= certain.end)
                certain = {possible.end, possible.end};
            if (inside) {
                paint(certain.first, certain.end);
            } else {
                paint(0, possible.first);
                paint(possible.end, voxels.width());
            }
            paintByTest(possible.first, certain.first);
            paintByTest(certain.end, possible.end);
        }
    }
}

} // namespace

void ArvoImageBinaryTools::maskWithBoundingBox(ArvoImage3D* image, const OrientedBoundingBox& box,
                                               bool inside, float value)
{
    if (!frame::isUsable(image)) {
        qWarning("ArvoImageBinaryTools::maskWithBoundingBox()  - image not valid");
        return;
    }
    const QVector3D voxelSize = image->voxelSize();
    QMatrix4x4 toVoxels;
    toVoxels.scale(1.0f / voxelSize.x(), 1.0f / voxelSize.y(), 1.0f / voxelSize.z());
    const OrientedBoundingBox inVoxels = box.transformed(toVoxels);
    image::withElementType(image->dataType(), image::VoxelTypes{},
                           "ArvoImage3D::maskWithBoundingBox() Data type not implemented", [&](auto element) {
                               using T = typename decltype(element)::type;
                               paintByBox(*image, inVoxels, inside, image::toVoxel<T>(value));
                               image->editFinished();
                           });
}
