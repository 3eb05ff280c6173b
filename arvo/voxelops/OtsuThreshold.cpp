#include "arvo/voxelops/OtsuThreshold.h"
#include "arvo/frame/CallChecks.h"

#include "arvo/frame/VolumeView.h"
#include "arvo/platform/data/Histogram.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/voxelops/FloatedBinnedHistogram.h"

#include <algorithm>
#include <limits>
#include <new>

namespace {

constexpr std::uint64_t FLOAT_BINS = 100000;

// Counts and their sums are 32-bit and wrap; the unsigned detour keeps that defined.
int wrappingSum(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

int wrappingDifference(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}

double weight(int value, int count)
{
    return static_cast<int>(static_cast<unsigned>(count) * static_cast<unsigned>(value));
}

float weight(float value, int count)
{
    return static_cast<float>(count) * value;
}

/// Real: the precision of the search. Pairs: value to count, in ascending order of the values.
template <class Real, class Pairs>
utility::Optional<float> search(const Pairs& pairs, Real best, const std::atomic<bool>& cancel)
{
    int total = 0;
    Real totalSum = 0;
    for (const auto& [value, count] : pairs) {
        total = wrappingSum(total, count);
        totalSum += weight(value, count);
    }
    if (total == 0 || cancel.load(std::memory_order_relaxed))
        return {};

    float threshold = 0.0f;
    int below = 0;
    Real belowSum = 0;
    for (const auto& [value, count] : pairs) {
        if (cancel.load(std::memory_order_relaxed))
            return {};
        below = wrappingSum(below, count);
        if (below == 0)
            continue;
        if (below == total)
            break;
        belowSum += static_cast<Real>(count) * static_cast<Real>(value);
        const auto lower = static_cast<Real>(below);
        const auto upper = static_cast<Real>(wrappingDifference(total, below));
        const Real difference = belowSum / lower - (totalSum - belowSum) / upper;
        const Real variance = upper * lower * difference * difference;
        if (variance > best) {
            best = variance;
            threshold = static_cast<float>(value);
        }
    }
    return threshold;
}

/// False if the flag was seen.
bool addSlices(const ArvoImage3D& image, Histogram& histogram, const std::atomic<bool>& cancel)
{
    constexpr std::ptrdiff_t LARGEST_PIECE = 1 << 30; // the histogram takes an int
    const auto width = static_cast<std::ptrdiff_t>(image::elementWidth(image.dataType()));
    const HistogramDataType type = conversions::toHistogramDataType(image.dataType());
    const math::Ivec3 size = image.imageSize();
    const std::ptrdiff_t sliceCount = static_cast<std::ptrdiff_t>(size.x) * size.y;
    for (int z = 0; z < size.z; ++z) {
        if (cancel.load(std::memory_order_relaxed))
            return false;
        const char* slice = image.getConstAxialSlice(z);
        for (std::ptrdiff_t begin = 0; begin < sliceCount; begin += LARGEST_PIECE)
            histogram.addData(slice + begin * width,
                              static_cast<int>(std::min(LARGEST_PIECE, sliceCount - begin)), type);
    }
    return true;
}

} // namespace

utility::Optional<float> OtsuThreshold::calculate(const ArvoImage3D& image, const std::atomic<bool>& cancel)
try {
    if (image.dataType() == image::Float32) {
        const math::Range<float> range = image.getValueRange();
        return search(
            image3d::FloatedBinnedHistogram::computeHistogram(image, range.first, range.second, FLOAT_BINS),
            0.0f, cancel);
    }
    Histogram histogram(false, 1);
    if (!addSlices(image, histogram, cancel))
        return {};
    // Variances have to exceed this tiny number here, but 0 on the float path.
    return search(histogram.getHistogram().toStdMap(), std::numeric_limits<double>::min(), cancel);
} catch (const std::bad_alloc&) {
    frame::refuse("OtsuThreshold : out of memory.");
    return {};
}
