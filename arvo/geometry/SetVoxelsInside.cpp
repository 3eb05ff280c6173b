#include "arvo/geometry/SetVoxelsInside.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/geometry/GuardedRegion.h"
#include "arvo/geometry/PolygonRaster.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <array>
#include <new>

namespace image3d {

namespace {

/// The world position of a voxel's centre from its index.
QMatrix4x4 indexToWorld(const ArvoImage3D& image)
{
    const QVector3D size = image.voxelSize();
    QMatrix4x4 matrix;
    matrix.translate(size.x() / 2.0f, size.y() / 2.0f, size.z() / 2.0f);
    matrix.scale(size.x(), size.y(), size.z());
    return matrix;
}

/// The rows of a volume as bytes, whatever its type.
class ByteRows {
public:
    explicit ByteRows(ArvoImage3D& image) : m_image(image), m_size(image.imageSize()) {}

    /// Calls body(row, y, z) for all rows.
    template <class Body> void forEach(const Body& body) const
    {
        for (int z = 0; z < m_size.z; ++z) {
            auto* row = reinterpret_cast<unsigned char*>(m_image.getAxialSlice(z));
            for (int y = 0; y < m_size.y; ++y, row += m_size.x)
                body(row, y, z);
        }
    }

private:
    ArvoImage3D& m_image;
    math::Ivec3 m_size;
};

constexpr std::ptrdiff_t RUN = 256;

struct Pixels {
    std::array<int, RUN> x;
    std::array<int, RUN> y;
};

/// The pixels of voxels first to first + count - 1 of row (y, z): matrix.map(), truncated, with the operations of
/// map() in its order on as many voxels as a vector holds. Terms that map() leaves out for simple matrices are zeros,
/// and a division by a fourth coordinate of 1 changes nothing.
ARVO_VECTOR_CLONES void projectRun(const float* matrix, float y, float z, std::ptrdiff_t first,
                                   std::ptrdiff_t count, Pixels& pixels)
{
    const auto start = static_cast<int>(first);
    for (int i = 0; i < static_cast<int>(count); ++i) {
        const auto x = static_cast<float>(start + i);
        const float u = x * matrix[0] + y * matrix[4] + z * matrix[8] + matrix[12];
        const float v = x * matrix[1] + y * matrix[5] + z * matrix[9] + matrix[13];
        const float w = x * matrix[3] + y * matrix[7] + z * matrix[11] + matrix[15];
        const auto k = static_cast<std::size_t>(i);
        pixels.x[k] = image::truncateToInt32(u / w);
        pixels.y[k] = image::truncateToInt32(v / w);
    }
}

/// The voxels that may lie in the rectangle of painted pixels: truncation lets each edge reach one pixel further.
geometry::GuardedRegion regionOf(const QRect& painted, const QMatrix4x4& toPixels, const math::Ivec3& size)
{
    geometry::GuardedRegion region(size);
    region.addRange(toPixels, 0, static_cast<float>(painted.left() - 1),
                    static_cast<float>(painted.right() + 1));
    region.addRange(toPixels, 1, static_cast<float>(painted.top() - 1),
                    static_cast<float>(painted.bottom() + 1));
    return region;
}

} // namespace

void setVoxelsInsideBoundingBox(ArvoImage3D& image, const primitives::OrientedBoundingBox& box,
                                unsigned char value)
try {
    if (!frame::isUsable(&image)) {
        frame::refuse("image3d : no valid image to set voxels inside a box.");
        return;
    }
    const primitives::OrientedBoundingBox local = box.transformed(indexToWorld(image).inverted());
    bool isInvertible = false;
    const QMatrix4x4 toBox = local.placement().inverted(&isInvertible);
    if (!isInvertible)
        return; // such a box holds no point
    geometry::GuardedRegion region(image.imageSize());
    for (int axis = 0; axis < 3; ++axis)
        region.addRange(toBox, axis, local.box().min()[axis], local.box().max()[axis]);

    ByteRows(image).forEach([&](unsigned char* row, int y, int z) {
        geometry::forEachInside(
            region.spansOf(y, z),
            [&](std::ptrdiff_t x) {
                return local.isInside(
                    QVector3D(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)));
            },
            [&](std::ptrdiff_t first, std::ptrdiff_t end) { std::fill(row + first, row + end, value); });
    });
    image.editFinished();
} catch (const std::bad_alloc&) {
    frame::refuse("setVoxelsInsideBoundingBox : out of memory.");
}

void setVoxelsInsideScreenspacePolygon(ArvoImage3D& image, const QSize& screen, const QPolygonF& polygon,
                                       const QMatrix4x4& transform, unsigned char value)
try {
    if (!frame::isUsable(&image)) {
        frame::refuse("image3d : no valid image to set voxels inside a polygon.");
        return;
    }
    const geometry::PolygonRaster raster(screen, polygon);
    if (!raster.isValid()) {
        frame::refuse("image3d : cannot draw the polygon on a screen of that size.");
        return;
    }
    QMatrix4x4 toScreen;
    toScreen.scale(static_cast<float>(screen.width()), static_cast<float>(screen.height()), 1.0f);
    const QMatrix4x4 toPixels = toScreen * transform * indexToWorld(image);
    const geometry::GuardedRegion region = regionOf(raster.paintedRect(), toPixels, image.imageSize());

    Pixels pixels;
    ByteRows(image).forEach([&](unsigned char* row, int y, int z) {
        const geometry::RowSpans spans = region.spansOf(y, z);
        for (std::ptrdiff_t first = spans.maybeFirst; first < spans.maybeEnd; first += RUN) {
            const std::ptrdiff_t count = std::min(RUN, spans.maybeEnd - first);
            projectRun(toPixels.constData(), static_cast<float>(y), static_cast<float>(z), first, count,
                       pixels);
            for (std::ptrdiff_t i = 0; i < count; ++i) {
                const auto k = static_cast<std::size_t>(i);
                if (raster.isPainted(pixels.x[k], pixels.y[k]))
                    row[first + i] = value;
            }
        }
    });
    image.editFinished();
} catch (const std::bad_alloc&) {
    frame::refuse("setVoxelsInsideScreenspacePolygon : out of memory.");
}

} // namespace image3d
