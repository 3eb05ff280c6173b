#include "arvo/frame/TrilinearSampler.h"

#include "arvo/platform/image/VoxelConversion.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace frame {

namespace {

constexpr int COUNT = SamplePositions::COUNT;

/// Where the positions of a block lie along one axis: offsets of the lower and upper neighbour, and the fraction.
struct Neighbours {
    std::ptrdiff_t lower[COUNT];
    std::ptrdiff_t upper[COUNT];
    float fraction[COUNT];

    Neighbours(const float* positions, std::ptrdiff_t extent, std::ptrdiff_t stride)
    {
        const auto last = static_cast<std::int32_t>(extent - 1);
        for (int i = 0; i < COUNT; ++i) {
            const std::int32_t index = image::truncateToInt32(positions[i]);
            fraction[i] = positions[i] - static_cast<float>(index);
            lower[i] = std::clamp(index, 0, last) * stride;
            upper[i] = std::clamp(index + 1, 0, last) * stride;
        }
    }
};

} // namespace

template <class T>
void sampleOneByOne(const VolumeView<const T>& voxels, const SamplePositions& positions, float* samples)
{
    const Neighbours x(positions.x, voxels.width(), 1);
    const Neighbours y(positions.y, voxels.height(), voxels.width());
    const Neighbours z(positions.z, voxels.depth(), voxels.sliceCount());

    // The loads one by one, the arithmetic in vectors.
    using Loaded = std::conditional_t<std::is_floating_point_v<T>, float, std::int32_t>;
    Loaded voxel[8][COUNT];
    for (int i = 0; i < COUNT; ++i) {
        const T* rows[4] = {voxels.data() + z.lower[i] + y.lower[i], voxels.data() + z.lower[i] + y.upper[i],
                            voxels.data() + z.upper[i] + y.lower[i], voxels.data() + z.upper[i] + y.upper[i]};
        for (int k = 0; k < 4; ++k) {
            voxel[2 * k][i] = rows[k][x.lower[i]];
            voxel[2 * k + 1][i] = rows[k][x.upper[i]];
        }
    }
    for (int i = 0; i < COUNT; ++i) {
        const float alongX[2] = {1.0f - x.fraction[i], x.fraction[i]};
        const float alongY[2] = {1.0f - y.fraction[i], y.fraction[i]};
        const float alongZ[2] = {1.0f - z.fraction[i], z.fraction[i]};
        float sum = alongX[0] * alongY[0] * alongZ[0] * static_cast<float>(voxel[0][i]);
        for (int k = 1; k < 8; ++k)
            sum += alongX[k & 1] * alongY[k >> 1 & 1] * alongZ[k >> 2] * static_cast<float>(voxel[k][i]);
        samples[i] = sum;
    }
}

namespace {

template <class T>
void marchOneByOne(const VolumeView<const T>& voxels, SamplePositions& positions, const SampleStep& step,
                   int count, float* samples)
{
    for (int k = 0; k < count; ++k) {
        sampleOneByOne<T>(voxels, positions, samples + k * COUNT);
        for (int i = 0; i < COUNT; ++i) {
            positions.x[i] += step.x;
            positions.y[i] += step.y;
            positions.z[i] += step.z;
        }
    }
}

} // namespace

template <class T>
TrilinearSampler<T>::TrilinearSampler(const ArvoImage3D& volume)
    : m_voxels(volume),
      m_path(widePathFor(m_voxels).value_or(SamplingPath<T>{sampleOneByOne<T>, marchOneByOne<T>}))
{
}

#define ARVO_INSTANTIATE(T)                                                                                  \
    template class TrilinearSampler<T>;                                                                      \
    template void sampleOneByOne(const VolumeView<const T>&, const SamplePositions&, float*)

ARVO_INSTANTIATE(unsigned char);
ARVO_INSTANTIATE(short);
ARVO_INSTANTIATE(unsigned short);
ARVO_INSTANTIATE(float);

} // namespace frame
