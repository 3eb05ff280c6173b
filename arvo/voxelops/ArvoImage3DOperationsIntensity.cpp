#include "arvo/voxelops/ArvoImage3DOperations.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/PageStreams.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>
#include <vector>

namespace {

using MaskableTypes = image::TypeSet<image::Int16, image::UInt8, image::Binary, image::Float32>;
using InvertibleTypes = image::TypeSet<image::Binary, image::Float32>;
using SignedTypes = image::TypeSet<image::Int16, image::Float32>;
using FloatTypes = image::TypeSet<image::Float32>;

template <class T> ARVO_VECTOR_CLONES void maskRun(T* voxels, const unsigned char* mask, std::ptrdiff_t count)
{
    utility::forEachElement<sizeof(T)>(
        count, [&](std::ptrdiff_t i) ARVO_INLINED { voxels[i] = mask[i] == 0 ? T(0) : voxels[i]; });
}

template <class T> ARVO_VECTOR_CLONES void invertRun(T* voxels, std::ptrdiff_t count)
{
    utility::forEachElement<sizeof(T)>(
        count, [&](std::ptrdiff_t i) ARVO_INLINED { voxels[i] = static_cast<T>(T(1) - voxels[i]); });
}

template <class T> ARVO_VECTOR_CLONES void negateRun(T* voxels, std::ptrdiff_t count)
{
    utility::forEachElement<sizeof(T)>(count, [&](std::ptrdiff_t i)
                                                  ARVO_INLINED { voxels[i] = static_cast<T>(-voxels[i]); });
}

template <class T> ARVO_VECTOR_CLONES void normalizeRun(T* voxels, std::ptrdiff_t count, T min, T range)
{
    utility::forEachElement<sizeof(T)>(count, [&](std::ptrdiff_t i)
                                                  ARVO_INLINED { voxels[i] = (voxels[i] - min) / range; });
}

/// The window of clipAndRescale, and what its voxels become.
template <class T> struct Window {
    T low; // the part of the window that voxels of type T can be in
    T high;
    double lowIn;
    double lowOut;
    double scale;
    T outside;

    template <class Real = double> ARVO_KERNEL Real mapped(int v) const
    {
        return (static_cast<Real>(v) - static_cast<Real>(lowIn)) * static_cast<Real>(scale) +
               static_cast<Real>(lowOut);
    }
    ARVO_KERNEL bool holds(T v) const { return (v >= low) & (v <= high); }
};

/// In three loops over a short block, each of which stays in vectors of its own width: as one loop over elements of 1, 4
/// and 8 bytes it takes three times as long. The block is so short that the compiler keeps it in registers.
///
/// `AlwaysFits`: no voxel at all is mapped beyond 32-bit integers, so that the conversion needs no test.
template <class Real, bool AlwaysFits, class T>
ARVO_VECTOR_CLONES void rescaleRun(T* voxels, std::ptrdiff_t count, const Window<T> window)
{
    constexpr std::ptrdiff_t BLOCK = 32;
    alignas(64) std::int32_t mapped[BLOCK];
    utility::forEachPiece<sizeof(T)>(count, [&](std::ptrdiff_t begin, std::ptrdiff_t end) ARVO_INLINED {
        for (; begin < end; begin += BLOCK) {
            T* block = voxels + begin;
            const std::ptrdiff_t size = std::min(BLOCK, end - begin);
            for (std::ptrdiff_t i = 0; i < size; ++i)
                mapped[i] = block[i];
            for (std::ptrdiff_t i = 0; i < size; ++i) {
                const Real value = window.template mapped<Real>(mapped[i]);
                mapped[i] = AlwaysFits ? static_cast<std::int32_t>(value) : image::truncateToInt32(value);
            }
            for (std::ptrdiff_t i = 0; i < size; ++i)
                block[i] = window.holds(block[i]) ? static_cast<T>(mapped[i]) : window.outside;
        }
    });
}

/// Whether single precision maps every value in the window to the same voxel as double precision does; false as well
/// when there is no memory to try it.
template <class T> bool isExactInSinglePrecision(const Window<T>& window)
try {
    std::vector<T> inDouble(static_cast<std::size_t>(window.high - window.low) + 1);
    std::iota(inDouble.begin(), inDouble.end(), window.low);
    std::vector<T> inSingle = inDouble;
    const auto count = static_cast<std::ptrdiff_t>(inDouble.size());
    rescaleRun<double, true>(inDouble.data(), count, window);
    rescaleRun<float, true>(inSingle.data(), count, window);
    return inSingle == inDouble;
} catch (const std::bad_alloc&) {
    return false;
}

template <class T> void rescale(T* voxels, std::ptrdiff_t count, const Window<T>& window)
{
    using Limits = std::numeric_limits<T>;
    const auto staysBelow = [&](double bound) { // the map is monotonic: its ends tell
        return std::abs(window.mapped(Limits::lowest())) < bound &&
               std::abs(window.mapped(Limits::max())) < bound;
    };
    // Single precision takes half the time; trying all values first has to pay.
    const bool isWorthATry = count / 8 > window.high - window.low;
    if (isWorthATry && staysBelow(1 << 30) && isExactInSinglePrecision(window))
        rescaleRun<float, true>(voxels, count, window);
    else if (staysBelow(2147483648.0))
        rescaleRun<double, true>(voxels, count, window);
    else
        rescaleRun<double, false>(voxels, count, window);
}

} // namespace

void ArvoImage3DOperations::applyMask(ArvoImage3D* image, ArvoImage3D* mask)
{
    const char* const noVolumes = "ArvoImage3DOperations : no valid image and mask to apply.";
    if (!image) {
        frame::refuse(noVolumes);
        return;
    }
    const bool isDone = image::withElementType(
        image->dataType(), MaskableTypes{}, "ArvoImage3DOperations applyMask(): data type not implemented.",
        [&](auto element) {
            using T = typename decltype(element)::type;
            if (!frame::isUsable(mask))
                return frame::refuse(noVolumes);
            if (!frame::coversLoopOver(*image, *mask, sizeof(T)))
                return frame::refuse("ArvoImage3DOperations : the mask is larger than the image.");
            const frame::VolumeView<T> voxels(*image);
            const math::Ivec3 extent = mask->imageSize();
            for (int z = 0; z < extent.z; ++z)
                maskRun(voxels.slice(z), reinterpret_cast<const unsigned char*>(mask->getConstAxialSlice(z)),
                        static_cast<std::ptrdiff_t>(extent.x) * extent.y);
            return true;
        });
    if (isDone)
        image->editFinished();
}

void ArvoImage3DOperations::clipAndRescale(ArvoImage3D* image, int lowIn, int highIn, int lowOut, int highOut,
                                           int outsideValue)
{
    if (!image) {
        frame::refuse("ArvoImage3DOperations : no image to rescale.");
        return;
    }
    const double scale =
        (static_cast<double>(highOut) - lowOut + 0.5) / (static_cast<double>(highIn) - lowIn + 0.5);
    const bool isDone = image::withElementType(
        image->dataType(), image::IntegerTypes{},
        "ArvoImage3DOperations::clipAndRescale() Data type not implemented", [&](auto element) {
            using T = typename decltype(element)::type;
            using Limits = std::numeric_limits<T>;
            const frame::VolumeView<T> voxels(*image);
            const T outside = image::toVoxel<T>(outsideValue);
            if (lowIn > highIn || lowIn > Limits::max() || highIn < Limits::lowest()) {
                std::fill_n(voxels.data(), voxels.count(), outside);
                return;
            }
            const auto low = static_cast<T>(std::max<int>(lowIn, Limits::lowest()));
            const auto high = static_cast<T>(std::min<int>(highIn, Limits::max()));
            rescale(voxels.data(), voxels.count(),
                    Window<T>{low, high, static_cast<double>(lowIn), static_cast<double>(lowOut), scale,
                              outside});
        });
    if (isDone)
        image->editFinished();
}

void ArvoImage3DOperations::invert(ArvoImage3D* image)
{
    if (!image) {
        frame::refuse("ArvoImage3DOperations : no image to invert.");
        return;
    }
    const bool isDone = image::withElementType(
        image->dataType(), InvertibleTypes{},
        "ArvoImage3DOperations : invert not implemented for this data type.", [&](auto element) {
            using T = typename decltype(element)::type;
            if (std::is_same_v<T, float>) {
                const math::Range<float> range = image->getValueRange();
                if (range.first < 0.0f || range.second > 1.0f)
                    return frame::refuse(
                        "ArvoImage3DOperations : Input image is supposed to be normalized within the [0,1] "
                        "range, see ArvoImage3DOperations::normalizeIntensity.");
            }
            const frame::VolumeView<T> voxels(*image);
            invertRun(voxels.data(), voxels.count());
            return true;
        });
    if (isDone)
        image->editFinished();
}

void ArvoImage3DOperations::invertSign(ArvoImage3D* image)
{
    if (!image) {
        frame::refuse("ArvoImage3DOperations : no image to invert the sign of.");
        return;
    }
    const bool isDone = image::withElementType(
        image->dataType(), SignedTypes{}, "ArvoImage3DOperations::invertSign() Data type not implemented",
        [&](auto element) {
            const frame::VolumeView<typename decltype(element)::type> voxels(*image);
            negateRun(voxels.data(), voxels.count());
        });
    if (isDone)
        image->editFinished();
}

void ArvoImage3DOperations::normalizeIntensity(ArvoImage3D& image)
{
    const bool isDone = image::withElementType(
        image.dataType(), FloatTypes{},
        "ArvoImage3DOperations::normalizeIntensity() Data type not implemented", [&](auto element) {
            const math::Range<float> range = image.getValueRange();
            if (range.first == range.second)
                return frame::refuse("ArvoImage3DOperations::normalizeIntensity() Invalid input image");
            const frame::VolumeView<typename decltype(element)::type> voxels(image);
            normalizeRun(voxels.data(), voxels.count(), range.first, range.second - range.first);
            return true;
        });
    if (isDone)
        image.editFinished();
}
