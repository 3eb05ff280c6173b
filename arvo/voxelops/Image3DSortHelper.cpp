#include "arvo/voxelops/Image3DSortHelper.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/voxelops/SortKey.h"

#include <array>
#include <limits>
#include <new>

namespace {

/// Calls take(v) for every accepted voxel of the range, in order; false if the flag was seen.
template <class T, class Accept, class Take>
bool forEachAccepted(const frame::VolumeView<const T>& image, int startSlice, int stopSlice, Accept&& accept,
                     const std::atomic<bool>& cancel, Take&& take)
{
    for (int z = startSlice; z <= stopSlice; ++z) {
        const T* slice = image.slice(z);
        for (std::ptrdiff_t i = 0; i < image.sliceCount(); ++i) {
            if (accept(slice[i]))
                take(slice[i]);
            if (cancel.load(std::memory_order_relaxed))
                return false;
        }
    }
    return true;
}

/// Least significant digit first, 11 bits at a time; all three digits are counted in one pass.
void radixSort(std::vector<float>& values)
{
    constexpr int BITS = 11;
    constexpr std::size_t DIGITS = std::size_t(1) << BITS;
    constexpr int PASSES = 3;
    const auto digitOf = [](float value, int pass) {
        const auto ascending = static_cast<std::uint32_t>(voxelops::sortKeyOf(value)) ^ 0x80000000u;
        return (ascending >> (pass * BITS)) & (DIGITS - 1);
    };

    std::vector<std::array<std::size_t, DIGITS>> places(PASSES);
    for (const float value : values) {
        for (int pass = 0; pass < PASSES; ++pass)
            ++places[static_cast<std::size_t>(pass)][digitOf(value, pass)];
    }
    std::vector<float> sorted(values.size());
    for (int pass = 0; pass < PASSES; ++pass) {
        auto& place = places[static_cast<std::size_t>(pass)];
        std::size_t next = 0;
        for (std::size_t& count : place)
            next += std::exchange(count, next);
        for (const float value : values)
            sorted[place[digitOf(value, pass)]++] = value;
        values.swap(sorted);
    }
}

template <class T, class Accept>
std::vector<float> sortedValues(ArvoImage3D& image, int startSlice, int stopSlice, Accept&& accept,
                                const std::atomic<bool>& cancel)
try {
    std::vector<float> values;
    if (startSlice > stopSlice)
        return values;
    if (!frame::holdsSlices(image, startSlice, stopSlice, sizeof(T))) {
        frame::refuse("Image3DSortHelper : the image does not hold such slices.");
        return values;
    }
    const frame::VolumeView<const T> voxels(image);
    if constexpr (std::is_floating_point_v<T>) {
        values.reserve(static_cast<std::size_t>(voxels.sliceCount() * (stopSlice - startSlice + 1)));
        const bool isDone = forEachAccepted(voxels, startSlice, stopSlice, accept, cancel,
                                            [&](T value) { values.push_back(value); });
        if (!isDone)
            return {};
        radixSort(values);
    } else {
        constexpr int LOWEST = std::numeric_limits<T>::lowest();
        constexpr int HIGHEST = std::numeric_limits<T>::max();
        std::vector<std::size_t> counts(HIGHEST - LOWEST + 1);
        std::size_t total = 0;
        const bool isDone = forEachAccepted(voxels, startSlice, stopSlice, accept, cancel, [&](T value) {
            ++counts[static_cast<std::size_t>(value - LOWEST)];
            ++total;
        });
        if (!isDone)
            return values;
        values.reserve(total);
        for (int value = LOWEST; value <= HIGHEST; ++value)
            values.insert(values.end(), counts[static_cast<std::size_t>(value - LOWEST)],
                          static_cast<float>(value));
    }
    return values;
} catch (const std::bad_alloc&) {
    frame::refuse("Image3DSortHelper : out of memory.");
    return {};
}

} // namespace

template <class T> bool Image3DSortHelper<T>::sortAll(T)
{
    return true;
}

template <class T> bool Image3DSortHelper<T>::sortWhenNonZero(T value)
{
    return value != T(0);
}

template <class T>
std::vector<float> Image3DSortHelper<T>::sortVoxelsInStdVector(ArvoImage3D& image, int startSlice,
                                                               int stopSlice, bool (*accept)(T),
                                                               const std::atomic<bool>& cancel)
{
    return sortedValues<T>(image, startSlice, stopSlice, accept, cancel);
}

template <class T>
std::vector<float> Image3DSortHelper<T>::calculateSortedValues(ArvoImage3D& image, int startSlice,
                                                               int stopSlice, const std::atomic<bool>& cancel)
{
    return sortedValues<T>(
        image, startSlice, stopSlice, [](T value) { return sortAll(value); }, cancel);
}

template <class T>
std::vector<float> Image3DSortHelper<T>::calculateNonZeroSortedValues(ArvoImage3D& image, int startSlice,
                                                                      int stopSlice,
                                                                      const std::atomic<bool>& cancel)
{
    return sortedValues<T>(
        image, startSlice, stopSlice, [](T value) { return sortWhenNonZero(value); }, cancel);
}

template class Image3DSortHelper<unsigned char>;
template class Image3DSortHelper<short>;
template class Image3DSortHelper<unsigned short>;
template class Image3DSortHelper<float>;
