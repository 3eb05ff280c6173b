#include "arvo/reslice/ProjectionBand.h"

#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/reslice/RayBlock.h"

#include <algorithm>

namespace reslice {

namespace {

constexpr int COUNT = RayBlock::COUNT;

/// Calls project(rays, results, depths) for all pixels of the band, block by block, and stores what it leaves in the two
/// arrays.
template <class Project> void forEachBlock(const ProjectionBand& band, RayEnd rayEnd, Project&& project)
{
    for (int row = 0; row < band.rows; row += RayBlock::ROWS) {
        for (int column = 0; column < band.width; column += RayBlock::COLUMNS) {
            RayBlock rays(band, column, row, rayEnd);
            float results[COUNT];
            float depths[COUNT];
            project(rays, results, depths);
            const int columns = std::min(RayBlock::COLUMNS, band.width - column);
            const int rows = std::min(RayBlock::ROWS, band.rows - row);
            for (int k = 0; k < rows; ++k) {
                const std::ptrdiff_t pixel = band.pixel(column, row + k);
                std::copy_n(results + k * RayBlock::COLUMNS, columns, band.result + pixel);
                if (band.depth)
                    std::copy_n(depths + k * RayBlock::COLUMNS, columns, band.depth + pixel);
            }
        }
    }
}

/// The first of the largest samples above `lowest`, and its parameter.
template <class T>
ARVO_VECTOR_CLONES void findMaximum(const frame::TrilinearSampler<T>& sampler, RayBlock& rays, float lowest,
                                    float* largest, float* depths)
{
    std::fill_n(largest, COUNT, lowest);
    std::copy_n(rays.start, COUNT, depths);
    bool isAnyActive = rays.isAnyActive;
    while (isAnyActive) {
        float sample[COUNT];
        sampler.sample(rays.position, sample);
        for (int i = 0; i < COUNT; ++i) {
            const bool isLarger = (rays.active[i] != 0) & (sample[i] > largest[i]);
            largest[i] = isLarger ? sample[i] : largest[i];
            depths[i] = isLarger ? rays.t[i] : depths[i];
        }
        isAnyActive = rays.advance<RayEnd::Before>();
    }
}

/// The same maximum, with the mean parameter of the local peaks as its depth: samples that neither the one before nor
/// the one after exceeds by more than a tolerance. In front of the first sample lie two of value `lowest`.
template <class T>
ARVO_VECTOR_CLONES void findPeaks(const frame::TrilinearSampler<T>& sampler, RayBlock& rays, float lowest,
                                  float* largest, float* depths)
{
    constexpr float TOLERANCE = 0.001f;
    float previous[COUNT];
    float beforePrevious[COUNT];
    float sum[COUNT] = {};
    std::int32_t count[COUNT] = {};
    std::fill_n(largest, COUNT, lowest);
    std::fill_n(previous, COUNT, lowest);
    std::fill_n(beforePrevious, COUNT, lowest);
    bool isAnyActive = rays.isAnyActive;
    while (isAnyActive) {
        float sample[COUNT];
        sampler.sample(rays.position, sample);
        for (int i = 0; i < COUNT; ++i) {
            const bool isActive = rays.active[i] != 0;
            const float threshold = previous[i] + TOLERANCE;
            const bool isPeak = isActive & (threshold >= sample[i]) & (threshold >= beforePrevious[i]);
            largest[i] = isActive & (sample[i] > largest[i]) ? sample[i] : largest[i];
            sum[i] = isPeak ? sum[i] + (rays.t[i] - 1.0f) : sum[i];
            count[i] += isPeak;
            beforePrevious[i] = isActive ? previous[i] : beforePrevious[i];
            previous[i] = isActive ? sample[i] : previous[i];
        }
        isAnyActive = rays.advance<RayEnd::Before>();
    }
    for (int i = 0; i < COUNT; ++i)
        depths[i] = count[i] > 0 ? sum[i] / static_cast<float>(count[i]) : rays.start[i];
}

/// How X-ray samples are normalised and weighted.
struct XRayScale {
    float volumeMin;
    float volumeRange;
    float low;
    float high;
};

template <class T>
ARVO_VECTOR_CLONES void weightSamples(const frame::TrilinearSampler<T>& sampler, RayBlock& rays,
                                      const XRayScale& scale, float* results)
{
    constexpr float LEAST_WEIGHT = 0.05f;
    const float width = scale.high - scale.low;
    float weights[COUNT] = {};
    float weighted[COUNT] = {};
    bool isAnyActive = rays.isAnyActive;
    while (isAnyActive) {
        float sample[COUNT];
        sampler.sample(rays.position, sample);
        for (int i = 0; i < COUNT; ++i) {
            const bool isActive = rays.active[i] != 0;
            const float s = (sample[i] - scale.volumeMin) / scale.volumeRange;
            const float notAbove = scale.high < s ? scale.high : s;
            const float clamped = notAbove < scale.low ? scale.low : notAbove;
            const float linear = (clamped - scale.low) / width;
            const float weight = linear < LEAST_WEIGHT ? LEAST_WEIGHT : linear;
            weights[i] = isActive ? weights[i] + weight : weights[i];
            weighted[i] = isActive ? weighted[i] + weight * s : weighted[i];
        }
        isAnyActive = rays.advance<RayEnd::At>();
    }
    for (int i = 0; i < COUNT; ++i) {
        // NaN, which a range or a volume without width gives, and 0 / 0 of a ray without samples fail the test.
        const float mean = weighted[i] / weights[i];
        results[i] = mean > 0.0f ? std::min(mean, 1.0f) : 0.0f;
    }
}

ARVO_VECTOR_CLONES void sumSamples(const frame::TrilinearSampler<float>& sampler, RayBlock& rays,
                                   float* results)
{
    double sum[COUNT] = {};
    bool isAnyActive = rays.isAnyActive;
    while (isAnyActive) {
        float sample[COUNT];
        sampler.sample(rays.position, sample);
        for (int i = 0; i < COUNT; ++i)
            sum[i] += static_cast<double>(rays.active[i] != 0 ? sample[i] : 0.0f);
        isAnyActive = rays.advance<RayEnd::At>();
    }
    for (int i = 0; i < COUNT; ++i)
        results[i] = static_cast<float>(sum[i]);
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
    forEachBlock(band, RayEnd::Before, [&](RayBlock& rays, float* results, float* depths) {
        (findsPeaks ? findPeaks<T> : findMaximum<T>)(sampler, rays, normalize.min, results, depths);
        for (int i = 0; i < COUNT; ++i) {
            const float value = rays.hasSlab[i] ? results[i] : 0.0f;
            results[i] = isNormalized ? normalize(value) : value;
        }
    });
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
    forEachBlock(band, RayEnd::At, [&](RayBlock& rays, float* results, float*) {
        weightSamples(sampler, rays, scale, results);
    });
}

void projectSum(const ProjectionBand& band)
{
    const frame::TrilinearSampler<float> sampler(band.volume);
    forEachBlock(band, RayEnd::OneBefore,
                 [&](RayBlock& rays, float* results, float*) { sumSamples(sampler, rays, results); });
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
