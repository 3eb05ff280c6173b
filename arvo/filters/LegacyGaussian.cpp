#include "arvo/filters/LegacyGaussian.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/VoxelBlock.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>
#include <vector>

namespace legacy_gaussian {

namespace {

/// A block yields 41 slices and the next one starts 40 further on, so that one slice is made twice. In place, where
/// the second making starts from smoothed slices, hosts see it.
constexpr std::ptrdiff_t BLOCK_STEP = 40;

/// The kernel of one axis of `extent` positions, cut to the taps inside and scaled to sum 1.
class CutKernel {
public:
    CutKernel(std::ptrdiff_t radius, double sigma, std::ptrdiff_t extent)
        : m_radius(radius),
          m_sigma(sigma),
          m_extent(extent)
    {
    }

    /// Moves to a position; the weights are made anew only where the cut differs from the last one.
    void moveTo(std::ptrdiff_t position)
    {
        const std::ptrdiff_t first = std::max(-m_radius, -position);
        const std::ptrdiff_t last = std::min(m_radius, m_extent - 1 - position);
        if (first == m_first && !m_weights.empty() && last == lastTap())
            return;
        m_first = first;
        m_weights.clear();
        double sum = 0.0;
        for (std::ptrdiff_t d = first; d <= last; ++d) {
            m_weights.push_back(std::exp(static_cast<double>(-(d * d)) / (2.0 * m_sigma * m_sigma)));
            sum += m_weights.back();
        }
        for (double& weight : m_weights)
            weight /= sum;
    }

    /// The number of positions from `position` on that share its cut.
    std::ptrdiff_t runFrom(std::ptrdiff_t position) const
    {
        const bool isWhole = position >= m_radius && position < m_extent - m_radius;
        return isWhole ? m_extent - m_radius - position : 1;
    }

    bool isCopy() const { return m_sigma == 0.0; }
    std::ptrdiff_t firstTap() const { return m_first; }
    std::ptrdiff_t lastTap() const { return m_first + std::ssize(m_weights) - 1; }
    const std::vector<double>& weights() const { return m_weights; }

private:
    std::ptrdiff_t m_radius;
    double m_sigma;
    std::ptrdiff_t m_extent;
    std::ptrdiff_t m_first = 0;
    std::vector<double> m_weights;
};

/// out[i] = sum of weights[k] * from[k * stride + i], in the order of k.
template <class T>
ARVO_VECTOR_CLONES void weightRow(const T* from, std::ptrdiff_t stride, const std::vector<double>& weights,
                                  T* out, std::ptrdiff_t count)
{
    constexpr std::ptrdiff_t BLOCK = 256;
    for (std::ptrdiff_t begin = 0; begin < count; begin += BLOCK) {
        const std::ptrdiff_t width = std::min(BLOCK, count - begin);
        double sums[BLOCK] = {};
        const T* row = from + begin;
        for (const double weight : weights) {
            for (std::ptrdiff_t i = 0; i < width; ++i)
                sums[i] += weight * static_cast<double>(row[i]);
            row += stride;
        }
        for (std::ptrdiff_t i = 0; i < width; ++i)
            out[begin + i] = image::toVoxel<T>(sums[i]);
    }
}

/// The extents of a buffer of slices.
struct Extents {
    std::ptrdiff_t width, height, depth;

    std::ptrdiff_t slice() const { return width * height; }
    std::ptrdiff_t count() const { return slice() * depth; }
};

template <class T> void copyAll(const T* from, T* to, std::ptrdiff_t count)
{
    std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof(T));
}

template <class T> void smoothAlongX(CutKernel kernel, const T* from, T* to, const Extents& extents)
{
    if (kernel.isCopy())
        return copyAll(from, to, extents.count());
    for (std::ptrdiff_t x = 0, run = 0; x < extents.width; x += run) {
        kernel.moveTo(x);
        run = kernel.runFrom(x);
        for (std::ptrdiff_t row = 0; row < extents.count(); row += extents.width)
            weightRow(from + row + x + kernel.firstTap(), 1, kernel.weights(), to + row + x, run);
    }
}

template <class T> void smoothAlongY(CutKernel kernel, const T* from, T* to, const Extents& extents)
{
    if (kernel.isCopy())
        return copyAll(from, to, extents.count());
    for (std::ptrdiff_t y = 0; y < extents.height; ++y) {
        kernel.moveTo(y);
        for (std::ptrdiff_t slice = 0; slice < extents.count(); slice += extents.slice()) {
            const std::ptrdiff_t row = slice + y * extents.width;
            weightRow(from + row + kernel.firstTap() * extents.width, extents.width, kernel.weights(),
                      to + row, extents.width);
        }
    }
}

/// Slices [first, end) of the buffer only.
template <class T>
void smoothAlongZ(CutKernel kernel, const T* from, T* to, const Extents& extents, std::ptrdiff_t first,
                  std::ptrdiff_t end)
{
    const std::ptrdiff_t slice = extents.slice();
    if (kernel.isCopy())
        return copyAll(from + first * slice, to + first * slice, (end - first) * slice);
    for (std::ptrdiff_t z = first; z < end; ++z) {
        kernel.moveTo(z);
        weightRow(from + (z + kernel.firstTap()) * slice, slice, kernel.weights(), to + z * slice, slice);
    }
}

bool checkCall(const math::Ivec3& radius, const ArvoImage3D& in, const ArvoImage3D& out)
{
    if (!frame::haveEqualSize(in, out))
        return frame::refuse("ArvoImageGaussianSmooth : images must have the same size.");
    if (in.dataType() != out.dataType())
        return frame::refuse("ArvoImageGaussianSmooth : images must have the same data type.");
    if (radius.x < 0 || radius.y < 0 || radius.z < 0)
        return frame::refuse("ArvoImageGaussianSmooth : negative radius.");
    return true;
}

/// Smooths slices [first, end) of `in` into `out` through the two buffers.
template <class T>
bool smoothBlock(const math::Ivec3& radius, const QVector3D& sigma, const ArvoImage3D& in, ArvoImage3D& out,
                 std::ptrdiff_t first, std::ptrdiff_t end, T* a, T* b, const std::atomic<bool>& cancel)
{
    const math::Ivec3 size = in.imageSize();
    const std::ptrdiff_t firstLoaded = std::max<std::ptrdiff_t>(first - radius.z, 0);
    const std::ptrdiff_t endLoaded = std::min<std::ptrdiff_t>(end + radius.z, size.z);
    const Extents loaded{size.x, size.y, endLoaded - firstLoaded};
    ArvoImage3DReslicer::loadAxialSlices(&in, static_cast<int>(firstLoaded), static_cast<int>(loaded.depth),
                                         reinterpret_cast<char*>(a));
    if (cancel.load())
        return false;
    smoothAlongX(CutKernel(radius.x, sigma.x(), size.x), a, b, loaded);
    if (cancel.load())
        return false;
    smoothAlongY(CutKernel(radius.y, sigma.y(), size.y), b, a, loaded);
    if (cancel.load())
        return false;
    smoothAlongZ(CutKernel(radius.z, sigma.z(), loaded.depth), a, b, loaded, first - firstLoaded,
                 end - firstLoaded);
    for (std::ptrdiff_t z = first; z < end; ++z) {
        const T* slice = b + (z - firstLoaded) * loaded.slice();
        if (!out.setAxialSlice(static_cast<int>(z), reinterpret_cast<const char*>(slice))) {
            qWarning("Failed to set axial slice %d", static_cast<int>(z));
            return false;
        }
    }
    return true;
}

} // namespace

template <class T>
bool smooth(const math::Ivec3& radius, const QVector3D& sigma, const ArvoImage3D& in, ArvoImage3D& out,
            const std::atomic<bool>& cancel)
{
    if (!checkCall(radius, in, out))
        return false;
    const std::ptrdiff_t depth = in.imageSize().z;
    if (depth == 0 || in.sizeOfAxialSlice() == 0)
        return true;
    const std::ptrdiff_t buffered =
        std::min<std::ptrdiff_t>(BLOCK_STEP + 1 + 2 * std::ptrdiff_t(radius.z), depth);
    const std::size_t bytes = static_cast<std::size_t>(buffered) * in.sizeOfAxialSlice();
    image::VoxelBlock a = image::VoxelBlock::allocate(bytes);
    image::VoxelBlock b = image::VoxelBlock::allocate(bytes);
    try {
        if (!a || !b)
            throw std::bad_alloc();
        for (std::ptrdiff_t first = 0; first < depth; first += BLOCK_STEP) {
            const std::ptrdiff_t end = std::min(first + BLOCK_STEP + 1, depth);
            if (!smoothBlock(radius, sigma, in, out, first, end, reinterpret_cast<T*>(a.data()),
                             reinterpret_cast<T*>(b.data()), cancel))
                return false;
        }
    } catch (const std::bad_alloc&) {
        return frame::refuse("ArvoImageGaussianSmooth : out of memory.");
    }
    return true;
}

#define ARVO_INSTANTIATE(T)                                                                                  \
    template bool smooth<T>(const math::Ivec3&, const QVector3D&, const ArvoImage3D&, ArvoImage3D&,          \
                            const std::atomic<bool>&);
ARVO_INSTANTIATE(float)
ARVO_INSTANTIATE(unsigned char)
ARVO_INSTANTIATE(unsigned short)
ARVO_INSTANTIATE(short)
#undef ARVO_INSTANTIATE

} // namespace legacy_gaussian
