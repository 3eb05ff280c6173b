#include "arvo/filters/ArvoImageGaussianSmoothHelper.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/ParallelFor.h"
#include "arvo/frame/RoundToVoxel.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <vector>

namespace {

using Floats = std::unique_ptr<float[]>;

Floats scratch(std::ptrdiff_t count)
{
    return std::make_unique_for_overwrite<float[]>(static_cast<std::size_t>(count));
}

/// The taps of one axis for d = -radius ... radius.
std::vector<float> kernelTaps(std::ptrdiff_t radius, float sigma)
{
    std::vector<float> taps(static_cast<std::size_t>(2 * radius + 1), 0.0f);
    if (sigma == 0.0f) {
        taps[static_cast<std::size_t>(radius)] = 1.0f;
        return taps;
    }
    float sum = 0.0f;
    std::ptrdiff_t d = -radius;
    for (float& tap : taps) {
        tap = std::exp(static_cast<float>(-(d * d)) / (sigma * sigma + sigma * sigma));
        sum += tap;
        ++d;
    }
    for (float& tap : taps)
        tap /= sum;
    return taps;
}

/// Eight floats anywhere in memory. Wider than a baseline register on purpose: the compiler splits it there.
using Vec [[gnu::vector_size(32), gnu::aligned(4), gnu::may_alias]] = float;
constexpr std::ptrdiff_t LANES = 8;

/// sums[i] = 0 + taps[0] * rows[0][i] + taps[1] * rows[1][i] + ... for VECTORS * LANES voxels: the sums stay in
/// registers while the taps run, and every voxel keeps the order of its taps.
template <int VECTORS>
ARVO_KERNEL void weightBlock(const std::vector<const float*>& rows, const std::vector<float>& taps,
                             std::ptrdiff_t begin, float* sums)
{
    Vec sum[VECTORS] = {};
    for (std::size_t tap = 0; tap < taps.size(); ++tap) {
        const float* row = rows[tap] + begin;
        for (int v = 0; v < VECTORS; ++v)
            sum[v] += taps[tap] * *reinterpret_cast<const Vec*>(row + v * LANES);
    }
    for (int v = 0; v < VECTORS; ++v)
        *reinterpret_cast<Vec*>(sums + begin + v * LANES) = sum[v];
}

ARVO_VECTOR_CLONES void weightRows(const std::vector<const float*>& rows, const std::vector<float>& taps,
                                   float* sums, std::ptrdiff_t count)
{
    std::ptrdiff_t i = 0;
    for (; i + 6 * LANES <= count; i += 6 * LANES)
        weightBlock<6>(rows, taps, i, sums);
    for (; i + LANES <= count; i += LANES)
        weightBlock<1>(rows, taps, i, sums);
    for (; i < count; ++i) {
        float sum = 0.0f;
        for (std::size_t tap = 0; tap < taps.size(); ++tap)
            sum += taps[tap] * rows[tap][i];
        sums[i] = sum;
    }
}

template <class T> ARVO_VECTOR_CLONES void toFloats(const T* from, float* to, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        to[i] = static_cast<float>(from[i]);
}

template <class T> ARVO_VECTOR_CLONES void roundRow(const float* from, T* to, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        to[i] = frame::roundToVoxel<T>(from[i]);
}

struct Kernels {
    std::vector<float> x, y, z;
};

std::ptrdiff_t radiusOf(const std::vector<float>& taps)
{
    return std::ssize(taps) / 2;
}

/// Smooths the rows [firstRow, endRow) of every slice; bands share nothing but the input.
template <class T> class Band {
public:
    Band(const Kernels& kernels, const frame::VolumeView<const T>& in, const frame::VolumeView<T>& out,
         std::ptrdiff_t firstRow, std::ptrdiff_t endRow)
        : m_kernels(kernels),
          m_in(in),
          m_out(out),
          m_firstRow(firstRow),
          m_endRow(endRow),
          m_firstSource(std::max<std::ptrdiff_t>(firstRow - radiusOf(kernels.y), 0)),
          m_endSource(std::min(endRow + radiusOf(kernels.y), in.height())),
          m_slotCount(std::min(std::ssize(kernels.z), in.depth())),
          m_padded(scratch(in.width() + 2 * radiusOf(kernels.x))),
          m_alongX(scratch((m_endSource - m_firstSource) * in.width())),
          m_ring(scratch(m_slotCount * (endRow - firstRow) * in.width())),
          m_sums(scratch(in.width())),
          m_xRows(kernels.x.size()),
          m_yRows(kernels.y.size()),
          m_zRows(kernels.z.size())
    {
        for (std::size_t tap = 0; tap < m_xRows.size(); ++tap)
            m_xRows[tap] = m_padded.get() + tap;
    }

    /// A slice is filtered along x and y once, just before the first output slice that needs it; beyond the ends the
    /// ring's first and last slice stand in.
    void smooth()
    {
        std::ptrdiff_t filtered = 0;
        for (std::ptrdiff_t z = 0; z < m_in.depth(); ++z) {
            const std::ptrdiff_t newest = std::min(z + radiusOf(m_kernels.z), m_in.depth() - 1);
            for (; filtered <= newest; ++filtered) {
                filterAlongX(filtered);
                filterAlongY(filtered);
            }
            filterAlongZ(z);
        }
    }

private:
    float* ringRow(std::ptrdiff_t y, std::ptrdiff_t z) const
    {
        const std::ptrdiff_t slot = z % m_slotCount;
        return m_ring.get() + (slot * (m_endRow - m_firstRow) + y - m_firstRow) * m_in.width();
    }

    float* rowAlongX(std::ptrdiff_t y) const { return m_alongX.get() + (y - m_firstSource) * m_in.width(); }

    void filterAlongX(std::ptrdiff_t z)
    {
        const std::ptrdiff_t radius = radiusOf(m_kernels.x);
        float* voxels = m_padded.get() + radius;
        for (std::ptrdiff_t y = m_firstSource; y < m_endSource; ++y) {
            toFloats(m_in.row(y, z), voxels, m_in.width());
            std::fill_n(m_padded.get(), radius, voxels[0]);
            std::fill_n(voxels + m_in.width(), radius, voxels[m_in.width() - 1]);
            weightRows(m_xRows, m_kernels.x, rowAlongX(y), m_in.width());
        }
    }

    void filterAlongY(std::ptrdiff_t z)
    {
        for (std::ptrdiff_t y = m_firstRow; y < m_endRow; ++y) {
            std::ptrdiff_t source = y - radiusOf(m_kernels.y);
            for (const float*& row : m_yRows)
                row = rowAlongX(std::clamp<std::ptrdiff_t>(source++, 0, m_in.height() - 1));
            weightRows(m_yRows, m_kernels.y, ringRow(y, z), m_in.width());
        }
    }

    void filterAlongZ(std::ptrdiff_t z)
    {
        for (std::ptrdiff_t y = m_firstRow; y < m_endRow; ++y) {
            std::ptrdiff_t source = z - radiusOf(m_kernels.z);
            for (const float*& row : m_zRows)
                row = ringRow(y, std::clamp<std::ptrdiff_t>(source++, 0, m_in.depth() - 1));
            weightRows(m_zRows, m_kernels.z, m_sums.get(), m_in.width());
            roundRow(m_sums.get(), m_out.row(y, z), m_in.width());
        }
    }

    const Kernels& m_kernels;
    const frame::VolumeView<const T>& m_in;
    const frame::VolumeView<T>& m_out;
    std::ptrdiff_t m_firstRow;
    std::ptrdiff_t m_endRow;
    std::ptrdiff_t m_firstSource;
    std::ptrdiff_t m_endSource;
    std::ptrdiff_t m_slotCount;
    Floats m_padded; ///< one row of voxels, the edge voxels repeated at both ends
    Floats m_alongX; ///< the newest slice after the x pass: the band's rows and those within the y radius
    Floats m_ring;   ///< slices after the y pass, slice z in slot z % m_slotCount
    Floats m_sums;
    std::vector<const float*> m_xRows, m_yRows, m_zRows;
};

/// Rows a band holds: its ring should stay in a core's second-level cache, and the rows that two bands both filter along
/// x should not weigh much.
template <class T> std::ptrdiff_t rowsPerBand(const Kernels& kernels, const frame::VolumeView<const T>& in)
{
    constexpr std::ptrdiff_t RING_BYTES = 512 << 10;
    const std::ptrdiff_t ringSlices = std::min(std::ssize(kernels.z), in.depth());
    const std::ptrdiff_t cached = RING_BYTES / (ringSlices * in.width() * std::ptrdiff_t(sizeof(float)));
    return frame::evenPieceSize(in.height(), std::max(cached, 6 * radiusOf(kernels.y)));
}

template <class T> bool holdsElements(const ArvoImage3D& image)
{
    return image::withElementType(image.dataType(), image::VoxelTypes{}, nullptr, [](auto element) {
        return std::is_same_v<T, typename decltype(element)::type>;
    });
}

} // namespace

template <class T>
bool ArvoImageGaussianSmoothHelper<T>::smooth(const math::Ivec3& radius, const QVector3D& sigma,
                                              const ArvoImage3D* in, ArvoImage3D* out,
                                              const std::atomic<bool>& cancel)
{
    if (!in || !out)
        return frame::refuse("ArvoImageGaussianSmooth : no input image or no output image.");
    if (!frame::haveEqualSize(*in, *out)) {
        qWarning("%s:Images must have the same size.", Q_FUNC_INFO);
        return false;
    }
    if (!holdsElements<T>(*in) || in->dataType() != out->dataType())
        return frame::refuse("ArvoImageGaussianSmooth : images must have the same data type.");
    if (radius.x < 0 || radius.y < 0 || radius.z < 0)
        return frame::refuse("ArvoImageGaussianSmooth : negative radius.");

    const frame::VolumeView<const T> source(*in);
    const frame::VolumeView<T> target(*out);
    if (source.count() == 0)
        return !cancel.load();
    try {
        const Kernels kernels{kernelTaps(radius.x, sigma.x()), kernelTaps(radius.y, sigma.y()),
                              kernelTaps(radius.z, sigma.z())};
        // In place, a band would read rows that its neighbour has overwritten.
        const std::ptrdiff_t height = source.height();
        const std::ptrdiff_t rows = in == out ? height : rowsPerBand(kernels, source);
        frame::parallelFor(static_cast<int>((height - 1) / rows + 1), [&](int first, int end) {
            for (std::ptrdiff_t band = first; band < end; ++band)
                Band<T>(kernels, source, target, band * rows, std::min((band + 1) * rows, height)).smooth();
        });
    } catch (const std::bad_alloc&) {
        return frame::refuse("ArvoImageGaussianSmooth : out of memory.");
    }
    return !cancel.load();
}

template class ArvoImageGaussianSmoothHelper<float>;
template class ArvoImageGaussianSmoothHelper<unsigned char>;
template class ArvoImageGaussianSmoothHelper<unsigned short>;
template class ArvoImageGaussianSmoothHelper<short>;
