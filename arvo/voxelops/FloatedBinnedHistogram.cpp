#include "arvo/voxelops/FloatedBinnedHistogram.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

namespace image3d {

namespace {

/// The one place of the binning arithmetic: keys are looked up by exact equality.
struct Binning {
    Binning(double from, double to, std::uint64_t bins)
        : min(static_cast<float>(from)),
          range(static_cast<float>(to) - min),
          width(range / static_cast<float>(bins)),
          scale(static_cast<float>(bins) / (range + std::numeric_limits<float>::epsilon()))
    {
    }

    ARVO_KERNEL float position(float value) const { return (value - min) * scale; }
    float keyOfBin(float bin) const { return (bin + 1.0f) * width + min; }
    float keyOf(float value) const { return keyOfBin(std::floor(position(value))); }

    float min;
    float range;
    float width;
    float scale;
};

/// The floats from `from` to `to`, both inclusive.
struct Interval {
    Interval(double from, double to) : first(static_cast<float>(from)), last(static_cast<float>(to))
    {
        constexpr float INFINITE = std::numeric_limits<float>::infinity();
        if (first < from)
            first = std::nextafter(first, INFINITE);
        if (last > to)
            last = std::nextafter(last, -INFINITE);
    }

    ARVO_KERNEL bool holds(float value) const { return (value >= first) & (value <= last); }

    float first;
    float last;
};

ARVO_VECTOR_CLONES void findBins(const float* voxels, std::int32_t* bins, std::ptrdiff_t count,
                                 const Interval interval, const Binning binning, std::int32_t outside)
{
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const bool isInside = interval.holds(voxels[i]);
        // Not below 0 inside the interval, so that truncation is floor.
        const auto bin = static_cast<std::int32_t>(isInside ? binning.position(voxels[i]) : 0.0f);
        bins[i] = isInside ? bin : outside;
    }
}

/// Counts in a table of bins; range and scale are finite.
void countInTable(const frame::VolumeView<const float>& image, const Interval& interval,
                  const Binning& binning, std::size_t binCount, FloatedBinnedHistogram::Bins& bins)
{
    constexpr std::ptrdiff_t BLOCK = 4096;
    constexpr std::size_t LANES = 2; // equal neighbours do not wait for each other's store
    const std::size_t outside = binCount + 1;
    std::vector<std::array<std::uint32_t, LANES>> table(binCount + 2);
    std::array<std::int32_t, BLOCK> found;
    for (std::ptrdiff_t begin = 0; begin < image.count(); begin += BLOCK) {
        const std::ptrdiff_t count = std::min(BLOCK, image.count() - begin);
        findBins(image.data() + begin, found.data(), count, interval, binning,
                 static_cast<std::int32_t>(outside));
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i)
            ++table[static_cast<std::size_t>(found[i])][i % LANES];
    }
    for (std::size_t bin = 0; bin < outside; ++bin) {
        const std::uint32_t count = table[bin][0] + table[bin][1];
        if (count == 0)
            continue;
        // Several bins share a key when the width is below the resolution of floats there.
        const auto place = bins.try_emplace(bins.end(), binning.keyOfBin(static_cast<float>(bin)), 0);
        place->second += static_cast<int>(count);
    }
}

void countInMap(const frame::VolumeView<const float>& image, const Interval& interval, const Binning& binning,
                FloatedBinnedHistogram::Bins& bins)
{
    for (std::ptrdiff_t i = 0; i < image.count(); ++i) {
        if (interval.holds(image.data()[i]))
            ++bins[binning.keyOf(image.data()[i])];
    }
}

} // namespace

FloatedBinnedHistogram FloatedBinnedHistogram::computeHistogram(const ArvoImage3D& image, double min,
                                                                double max, std::uint64_t bins)
{
    constexpr std::uint64_t LARGEST_TABLE = 1 << 20;
    FloatedBinnedHistogram histogram;
    if (image.dataType() != image::Float32)
        return histogram;
    histogram.m_min = min;
    histogram.m_max = max;
    histogram.m_binCount = bins;
    const frame::VolumeView<const float> voxels(image);
    const Interval interval(min, max);
    const Binning binning(min, max, bins);
    try {
        if (bins <= LARGEST_TABLE && std::isfinite(binning.range) && std::isfinite(binning.scale))
            countInTable(voxels, interval, binning, bins, histogram.m_bins);
        else
            countInMap(voxels, interval, binning, histogram.m_bins);
    } catch (const std::bad_alloc&) {
        frame::refuse("FloatedBinnedHistogram : out of memory.");
        histogram.m_bins.clear();
    }
    return histogram;
}

int FloatedBinnedHistogram::operator[](float value) const
{
    const float key = Binning(m_min, m_max, m_binCount).keyOf(value);
    const auto bin = m_bins.find(key);
    if (bin == m_bins.end() || bin->first != key) // a map finds its first bin for NaN
        throw std::out_of_range("invalid map<K, T> key");
    return bin->second;
}

} // namespace image3d
