#include "arvo/reslice/ProjectionBand.h"

#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/reslice/RayTiles.h"

#include <algorithm>

namespace reslice {

namespace {

constexpr int COUNT = RayBlock::COUNT;

/// The first of the largest samples above `lowest`, and its parameter.
struct Maximum {
    float largest[COUNT];
    float depth[COUNT];

    Maximum(const RayBlock& rays, float lowest)
    {
        std::fill_n(largest, COUNT, lowest);
        std::copy_n(rays.start, COUNT, depth);
    }
    void finish(const RayBlock&, float* results, float* depths) const
    {
        std::copy_n(largest, COUNT, results);
        std::copy_n(depth, COUNT, depths);
    }
};

template <class T>
ARVO_VECTOR_CLONES void findMaximum(const frame::TrilinearSampler<T>& sampler, RayBlock& rays, Maximum& state,
                                    int steps)
{
    for (int step = 0; step < steps && rays.isAnyActive; ++step) {
        float sample[COUNT];
        sampler.sample(rays.position, sample);
        for (int i = 0; i < COUNT; ++i) {
            const bool isLarger = (rays.active[i] != 0) & (sample[i] > state.largest[i]);
            state.largest[i] = isLarger ? sample[i] : state.largest[i];
            state.depth[i] = isLarger ? rays.t[i] : state.depth[i];
        }
        rays.advance<RayEnd::Before>();
    }
}

/// The same maximum, with the mean parameter of the local peaks as its depth: samples that neither the one before nor
/// the one after exceeds by more than a tolerance. In front of the first sample lie two of value `lowest`.
struct Peaks {
    float largest[COUNT];
    float previous[COUNT];
    float beforePrevious[COUNT];
    float sum[COUNT] = {};
    std::int32_t count[COUNT] = {};

    Peaks(const RayBlock&, float lowest)
    {
        std::fill_n(largest, COUNT, lowest);
        std::fill_n(previous, COUNT, lowest);
        std::fill_n(beforePrevious, COUNT, lowest);
    }
    void finish(const RayBlock& rays, float* results, float* depths) const
    {
        std::copy_n(largest, COUNT, results);
        for (int i = 0; i < COUNT; ++i)
            depths[i] = count[i] > 0 ? sum[i] / static_cast<float>(count[i]) : rays.start[i];
    }
};

template <class T>
ARVO_VECTOR_CLONES void findPeaks(const frame::TrilinearSampler<T>& sampler, RayBlock& rays, Peaks& state,
                                  int steps)
{
    constexpr float TOLERANCE = 0.001f;
    for (int step = 0; step < steps && rays.isAnyActive; ++step) {
        float sample[COUNT];
        sampler.sample(rays.position, sample);
        for (int i = 0; i < COUNT; ++i) {
            const bool isActive = rays.active[i] != 0;
            const float threshold = state.previous[i] + TOLERANCE;
            const bool isPeak = isActive & (threshold >= sample[i]) & (threshold >= state.beforePrevious[i]);
            state.largest[i] = (isActive & (sample[i] > state.largest[i])) ? sample[i] : state.largest[i];
            state.sum[i] = isPeak ? state.sum[i] + (rays.t[i] - 1.0f) : state.sum[i];
            state.count[i] += isPeak;
            state.beforePrevious[i] = isActive ? state.previous[i] : state.beforePrevious[i];
            state.previous[i] = isActive ? sample[i] : state.previous[i];
        }
        rays.advance<RayEnd::Before>();
    }
}

/// How X-ray samples are normalised and weighted.
struct XRayScale {
    float volumeMin;
    float volumeRange;
    float low;
    float high;
};

/// The sums of the weights and of the weighted samples.
struct WeightedSum {
    float weights[COUNT] = {};
    float weighted[COUNT] = {};

    explicit WeightedSum(const RayBlock&) {}
    void finish(const RayBlock&, float* results, float*) const
    {
        for (int i = 0; i < COUNT; ++i) {
            // NaN, which a range or a volume without width gives, and 0 / 0 of a ray without samples fail the test.
            const float mean = weighted[i] / weights[i];
            results[i] = mean > 0.0f ? std::min(mean, 1.0f) : 0.0f;
        }
    }
};

template <class T>
ARVO_VECTOR_CLONES void weightSamples(const frame::TrilinearSampler<T>& sampler, RayBlock& rays,
                                      const XRayScale& scale, WeightedSum& state, int steps)
{
    constexpr float LEAST_WEIGHT = 0.05f;
    const float width = scale.high - scale.low;
    for (int step = 0; step < steps && rays.isAnyActive; ++step) {
        float sample[COUNT];
        sampler.sample(rays.position, sample);
        for (int i = 0; i < COUNT; ++i) {
            const bool isActive = rays.active[i] != 0;
            const float s = (sample[i] - scale.volumeMin) / scale.volumeRange;
            const float notAbove = scale.high < s ? scale.high : s;
            const float clamped = notAbove < scale.low ? scale.low : notAbove;
            const float linear = (clamped - scale.low) / width;
            const float weight = linear < LEAST_WEIGHT ? LEAST_WEIGHT : linear;
            state.weights[i] = isActive ? state.weights[i] + weight : state.weights[i];
            state.weighted[i] = isActive ? state.weighted[i] + weight * s : state.weighted[i];
        }
        rays.advance<RayEnd::At>();
    }
}

struct Sum {
    double sum[COUNT] = {};

    explicit Sum(const RayBlock&) {}
    void finish(const RayBlock&, float* results, float*) const
    {
        for (int i = 0; i < COUNT; ++i)
            results[i] = static_cast<float>(sum[i]);
    }
};

ARVO_VECTOR_CLONES void sumSamples(const frame::TrilinearSampler<float>& sampler, RayBlock& rays, Sum& state,
                                   int steps)
{
    for (int step = 0; step < steps && rays.isAnyActive; ++step) {
        float sample[COUNT];
        sampler.sample(rays.position, sample);
        for (int i = 0; i < COUNT; ++i)
            state.sum[i] += static_cast<double>(rays.active[i] != 0 ? sample[i] : 0.0f);
        rays.advance<RayEnd::At>();
    }
}

/// The volume's smallest and largest voxel, to normalise by.
struct Normalization {
    float min;
    float max;

    explicit Normalization(const ArvoImage3D& volume)
        : min(static_cast<float>(volume.minValue())),
          max(static_cast<float>(volume.maxValue()))
    {
    }
    float operator()(float value) const { return (value - min) / (max - min); }
};

/// Maximum or Peaks, in the values of the result.
template <class State> struct Normalized : State {
    Normalization normalize;
    bool isNormalized;

    Normalized(const RayBlock& rays, const Normalization& normalization, bool normalizes)
        : State(rays, normalization.min),
          normalize(normalization),
          isNormalized(normalizes)
    {
    }
    void finish(const RayBlock& rays, float* results, float* depths) const
    {
        State::finish(rays, results, depths);
        for (int i = 0; i < COUNT; ++i) {
            const float value = rays.hasSlab[i] ? results[i] : 0.0f;
            results[i] = isNormalized ? normalize(value) : value;
        }
    }
};

/// Moves a position whose upper neighbour lies past the end onto the last voxel, which drops that neighbour; false
/// outside the volume.
bool moveInside(float& position, int extent)
{
    const std::int32_t index = image::truncateToInt32(position);
    if (index < 0 || index >= extent)
        return false;
    if (index == extent - 1)
        position = static_cast<float>(index);
    return true;
}

} // namespace

template <class T>
void projectMaximum(const ProjectionBand& band, ArvoImage3DEnums::MIP_COMPARE_FUNCTION compare,
                    bool isNormalized)
{
    const frame::TrilinearSampler<T> sampler(band.volume);
    const Normalization normalize(band.volume);
    const bool findsPeaks = compare == ArvoImage3DEnums::MIP_COMPARE_LOCAL_MAXIMA && band.depth;
    if (findsPeaks)
        forEachTile<Normalized<Peaks>>(
            band, RayEnd::Before,
            [&](RayBlock& rays, Peaks& state, int steps) { findPeaks<T>(sampler, rays, state, steps); },
            normalize, isNormalized);
    else
        forEachTile<Normalized<Maximum>>(
            band, RayEnd::Before,
            [&](RayBlock& rays, Maximum& state, int steps) { findMaximum<T>(sampler, rays, state, steps); },
            normalize, isNormalized);
}

template <class T> void projectXRay(const ProjectionBand& band, const math::Range<float>& intensityRange)
{
    const frame::TrilinearSampler<T> sampler(band.volume);
    const Normalization normalize(band.volume);
    // Grey-value bytes have a fixed range, masks do not: hosts rely on it.
    const bool isByte = band.volume.dataType() == image::UInt8;
    const XRayScale scale{normalize.min, normalize.max - normalize.min,
                          normalize(isByte ? 0.0f : intensityRange.first),
                          normalize(isByte ? 255.0f : intensityRange.second)};
    forEachTile<WeightedSum>(band, RayEnd::At, [&](RayBlock& rays, WeightedSum& state, int steps) {
        weightSamples(sampler, rays, scale, state, steps);
    });
}

void projectSum(const ProjectionBand& band)
{
    const frame::TrilinearSampler<float> sampler(band.volume);
    forEachTile<Sum>(band, RayEnd::OneBefore,
                     [&](RayBlock& rays, Sum& state, int steps) { sumSamples(sampler, rays, state, steps); });
}

template <class T> void sampleNormalized(const ProjectionBand& band)
{
    const frame::TrilinearSampler<T> sampler(band.volume);
    const Normalization normalize(band.volume);
    const math::Ivec3 size = band.volume.imageSize();
    for (int row = 0; row < band.rows; ++row) {
        for (int first = 0; first < band.width; first += COUNT) {
            const int used = std::min(COUNT, band.width - first);
            frame::SamplePositions positions{};
            bool isInside[COUNT] = {};
            bool isAnyInside = false;
            for (int i = 0; i < used; ++i) {
                float p[3];
                for (int axis = 0; axis < 3; ++axis)
                    p[axis] = band.base(first + i, row, axis);
                isInside[i] =
                    moveInside(p[0], size.x) && moveInside(p[1], size.y) && moveInside(p[2], size.z);
                if (!isInside[i])
                    continue;
                isAnyInside = true;
                positions.x[i] = p[0];
                positions.y[i] = p[1];
                positions.z[i] = p[2];
            }
            float samples[COUNT];
            if (isAnyInside)
                sampler.sample(positions, samples);
            float* results = band.result + band.pixel(first, row);
            for (int i = 0; i < used; ++i)
                results[i] = normalize(isInside[i] ? samples[i] : normalize.min);
        }
    }
}

#define ARVO_INSTANTIATE(T)                                                                                  \
    template void projectMaximum<T>(const ProjectionBand&, ArvoImage3DEnums::MIP_COMPARE_FUNCTION, bool);    \
    template void projectXRay<T>(const ProjectionBand&, const math::Range<float>&);                          \
    template void sampleNormalized<T>(const ProjectionBand&)

ARVO_INSTANTIATE(unsigned char);
ARVO_INSTANTIATE(short);
ARVO_INSTANTIATE(unsigned short);
template void projectMaximum<float>(const ProjectionBand&, ArvoImage3DEnums::MIP_COMPARE_FUNCTION, bool);

} // namespace reslice
