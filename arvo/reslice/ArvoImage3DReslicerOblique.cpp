#include "arvo/reslice/ArvoImage3DReslicer.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/TrilinearSampler.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/Conversions.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/Image2D.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"
#include "arvo/reslice/PixelBuffer.h"

#include <QVector3D>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

// Both reslices go down strips of a few columns: the columns are independent of each other, so that the arithmetic of
// a strip's row is done in vectors, while each pixel keeps its written order of operations.

namespace {

constexpr int STRIP = frame::SamplePositions::COUNT;

/// The plane origin + x * dir1 + y * dir2 with its pixels, x < width, y < height.
struct Plane {
    const float* origin;
    const float* dir1;
    const float* dir2;
    int width;
    int height;

    float columnBase(int x, int axis) const { return origin[axis] + static_cast<float>(x) * dir1[axis]; }
};

/// The columns [first, first + STRIP) of the plane; those past its width repeat its last column.
struct Strip {
    frame::SamplePositions base;
    int used;

    Strip(const Plane& plane, int first) : used(std::min(STRIP, plane.width - first))
    {
        for (int i = 0; i < STRIP; ++i) {
            const int column = first + std::min(i, used - 1);
            base.x[i] = plane.columnBase(column, 0);
            base.y[i] = plane.columnBase(column, 1);
            base.z[i] = plane.columnBase(column, 2);
        }
    }
};

template <class T>
ARVO_VECTOR_CLONES void nearestStrip(const frame::VolumeView<const T>& voxels, const Plane& plane,
                                     const Strip& strip, T outside, T* pixels)
{
    const auto width = static_cast<std::uint32_t>(voxels.width());
    const auto height = static_cast<std::uint32_t>(voxels.height());
    const auto depth = static_cast<std::uint32_t>(voxels.depth());
    frame::SamplePositions p = strip.base;
    for (int row = 0; row < plane.height; ++row, pixels += plane.width) {
        // Unsigned, so that a negative index lies past the end.
        std::uint32_t x[STRIP];
        std::uint32_t y[STRIP];
        std::uint32_t z[STRIP];
        std::int32_t isInside[STRIP];
        for (int i = 0; i < STRIP; ++i) {
            x[i] = static_cast<std::uint32_t>(image::truncateToInt32(p.x[i]));
            y[i] = static_cast<std::uint32_t>(image::truncateToInt32(p.y[i]));
            z[i] = static_cast<std::uint32_t>(image::truncateToInt32(p.z[i]));
            isInside[i] = (x[i] < width) & (y[i] < height) & (z[i] < depth);
            p.x[i] += plane.dir2[0];
            p.y[i] += plane.dir2[1];
            p.z[i] += plane.dir2[2];
        }
        for (int i = 0; i < strip.used; ++i)
            pixels[i] = isInside[i] ? voxels.row(y[i], z[i])[x[i]] : outside;
    }
}

int saturateToInt(float value)
{
    constexpr float limit = 2147483648.0f;
    if (value >= limit)
        return std::numeric_limits<int>::max();
    return value < -limit ? std::numeric_limits<int>::min() : static_cast<int>(value);
}

/// Rows of a column, both ends inclusive.
struct RowRange {
    int first;
    int last;

    /// Narrows to the rows y with base + y * step in [0, extent - 2], so that the upper neighbour is a voxel too; false
    /// when there are none.
    bool clip(float base, float step, std::ptrdiff_t extent)
    {
        const auto end = static_cast<float>(extent - 2);
        if (step == 0.0f)
            return base >= 0.0f && base <= end;
        const float toStart = (0.0f - base) / step;
        const float toEnd = (end - base) / step;
        const float lower = std::ceil(step < 0.0f ? toEnd : toStart);
        const float upper = std::floor(step < 0.0f ? toStart : toEnd);
        if (!(lower <= upper))
            return false;
        first = std::max(first, saturateToInt(lower));
        last = std::min(last, saturateToInt(upper));
        return first <= last;
    }
};

/// The rows in which each column of a strip is sampled, and the rows in which any of them is.
struct StripRows {
    int first[STRIP];
    int last[STRIP];
    RowRange any;

    template <class T>
    StripRows(const frame::VolumeView<const T>& voxels, const Plane& plane, const Strip& strip)
        : any{plane.height, -1}
    {
        for (int i = 0; i < STRIP; ++i) {
            RowRange rows{0, plane.height - 1};
            const bool isHit = voxels.count() > 0 && i < strip.used &&
                               rows.clip(strip.base.x[i], plane.dir2[0], voxels.width()) &&
                               rows.clip(strip.base.y[i], plane.dir2[1], voxels.height()) &&
                               rows.clip(strip.base.z[i], plane.dir2[2], voxels.depth());
            first[i] = isHit ? rows.first : 1;
            last[i] = isHit ? rows.last : 0;
            if (isHit)
                any = {std::min(any.first, rows.first), std::max(any.last, rows.last)};
        }
    }
};

template <class T>
ARVO_VECTOR_CLONES void trilinearRow(const frame::TrilinearSampler<T>& sampler, const Plane& plane,
                                     const Strip& strip, const StripRows& rows, int row, T outside, T* pixels)
{
    const auto y = static_cast<float>(row);
    frame::SamplePositions p;
    for (int i = 0; i < STRIP; ++i) {
        const bool isHit = (rows.first[i] <= row) & (row <= rows.last[i]);
        p.x[i] = isHit ? strip.base.x[i] + y * plane.dir2[0] : 0.0f;
        p.y[i] = isHit ? strip.base.y[i] + y * plane.dir2[1] : 0.0f;
        p.z[i] = isHit ? strip.base.z[i] + y * plane.dir2[2] : 0.0f;
    }
    float samples[STRIP];
    sampler.sample(p, samples);
    T values[STRIP];
    for (int i = 0; i < STRIP; ++i) {
        const bool isHit = (rows.first[i] <= row) & (row <= rows.last[i]);
        values[i] = isHit ? image::toVoxel<T>(samples[i]) : outside;
    }
    std::copy_n(values, strip.used, pixels);
}

template <class T> void loadNearest(const ArvoImage3D& volume, const Plane& plane, T* pixels)
{
    const frame::VolumeView<const T> voxels(volume);
    const T outside = image::toVoxel<T>(volume.minValue());
    for (int column = 0; column < plane.width; column += STRIP)
        nearestStrip(voxels, plane, Strip(plane, column), outside, pixels + column);
}

template <class T> void loadTrilinear(const ArvoImage3D& volume, const Plane& plane, T* pixels)
{
    const frame::VolumeView<const T> voxels(volume);
    const frame::TrilinearSampler<T> sampler(volume);
    const T outside = image::toVoxel<T>(volume.minValue());
    for (int column = 0; column < plane.width; column += STRIP) {
        const Strip strip(plane, column);
        const StripRows rows(voxels, plane, strip);
        T* out = pixels + column;
        for (int row = 0; row < plane.height; ++row, out += plane.width) {
            if (row < rows.any.first || row > rows.any.last)
                std::fill_n(out, strip.used, outside);
            else
                trilinearRow(sampler, plane, strip, rows, row, outside, out);
        }
    }
}

bool canReslice(const ArvoImage3D* volume, const float* origin, const float* dir1, const float* dir2,
                const int* size)
{
    if (!frame::isUsable(volume))
        return frame::refuse("ArvoImage3DReslicer : no valid volume.");
    if (!origin || !dir1 || !dir2 || !size)
        return frame::refuse("ArvoImage3DReslicer : no plane to sample.");
    if (size[0] < 0 || size[1] < 0)
        return frame::refuse("ArvoImage3DReslicer : the size is negative.");
    return true;
}

using LoadReslice = void (*)(ArvoImage3D*, float*, float*, float*, int*, Image2D&);

bool loadFresh(LoadReslice load, ArvoImage3D* volume, float* origin, float* dir1, float* dir2, int* size,
               Image2D* image)
{
    if (!canReslice(volume, origin, dir1, dir2, size) || !image)
        return false;
    *image = Image2D(size[0], size[1], conversions::toImage2DDataType(volume->dataType()),
                     QVector3D(1.0f, 1.0f, 1.0f), true);
    if (!image->isValid())
        return false;
    load(volume, origin, dir1, dir2, size, *image);
    const QVector3D voxelSize = volume->voxelSize();
    image->setPixelSize({(QVector3D(dir1[0], dir1[1], dir1[2]) * voxelSize).length(),
                         (QVector3D(dir2[0], dir2[1], dir2[2]) * voxelSize).length(), voxelSize.length()});
    image->editFinished();
    return image->isValid();
}

} // namespace

void ArvoImage3DReslicer::loadReslice(ArvoImage3D* volume, float* origin, float* dir1, float* dir2, int* size,
                                      Image2D& image)
{
    if (!canReslice(volume, origin, dir1, dir2, size))
        return;
    image::withElementType(volume->dataType(), image::VoxelTypes{},
                           "ArvoImage3D::loadReslice() Data type not implemented", [&](auto element) {
                               using T = typename decltype(element)::type;
                               T* pixels = reslice::pixelsOf<T>(image, size[0], size[1]);
                               if (pixels)
                                   loadNearest(*volume, {origin, dir1, dir2, size[0], size[1]}, pixels);
                           });
}

void ArvoImage3DReslicer::loadInterpolatedReslice(ArvoImage3D* volume, float* origin, float* dir1,
                                                  float* dir2, int* size, Image2D& image)
{
    if (!canReslice(volume, origin, dir1, dir2, size))
        return;
    image::withElementType(volume->dataType(), image::IntegerTypes{},
                           "ArvoImage3D::loadInterpolatedReslice() Data type not implemented",
                           [&](auto element) {
                               using T = typename decltype(element)::type;
                               T* pixels = reslice::pixelsOf<T>(image, size[0], size[1]);
                               if (pixels)
                                   loadTrilinear(*volume, {origin, dir1, dir2, size[0], size[1]}, pixels);
                           });
}

bool ArvoImage3DReslicer::loadReslice2D(ArvoImage3D* volume, float* origin, float* dir1, float* dir2,
                                        int* size, Image2D* image)
{
    return loadFresh(loadReslice, volume, origin, dir1, dir2, size, image);
}

bool ArvoImage3DReslicer::loadInterpolatedReslice(ArvoImage3D* volume, float* origin, float* dir1,
                                                  float* dir2, int* size, Image2D* image)
{
    return loadFresh(loadInterpolatedReslice, volume, origin, dir1, dir2, size, image);
}
