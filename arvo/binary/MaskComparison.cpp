#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/utility/VectorClones.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr std::ptrdiff_t LANES = 16;
typedef signed char Lanes __attribute__((vector_size(LANES)));

struct IsObject {
    template <class V> ARVO_KERNEL auto operator()(V a, V) const { return a > 0; }
};

struct IsDifferent {
    template <class V> ARVO_KERNEL auto operator()(V a, V b) const { return a != b; }
};

ARVO_KERNEL Lanes load(const signed char* from)
{
    Lanes lanes;
    std::memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

/// The number of positions where the test of the two bytes holds. Each lane counts in its own byte, for as many vectors
/// as a byte can count.
template <class Test>
ARVO_VECTOR_CLONES std::size_t countBytes(const signed char* a, const signed char* b, std::ptrdiff_t count,
                                          Test test)
{
    constexpr std::ptrdiff_t BLOCK = 127 * LANES;
    std::size_t found = 0;
    std::ptrdiff_t i = 0;
    while (i + LANES <= count) {
        const std::ptrdiff_t end = count - i < BLOCK ? count : i + BLOCK;
        Lanes counts = {};
        for (; i + LANES <= end; i += LANES)
            counts -= test(load(a + i), load(b + i)); // true is -1
        for (std::ptrdiff_t lane = 0; lane < LANES; ++lane)
            found += static_cast<std::size_t>(counts[lane]);
    }
    for (; i < count; ++i)
        found += test(a[i], b[i]);
    return found;
}

/// Over the voxels of `a`, slice by slice, one byte a voxel.
template <class Test> std::size_t countVoxels(const ArvoImage3D& a, const ArvoImage3D& b, Test test)
{
    const math::Ivec3 size = a.imageSize();
    std::size_t found = 0;
    for (int z = 0; z < size.z; ++z)
        found += countBytes(reinterpret_cast<const signed char*>(a.getConstAxialSlice(z)),
                            reinterpret_cast<const signed char*>(b.getConstAxialSlice(z)),
                            std::ptrdiff_t(size.x) * size.y, test);
    return found;
}

bool failedToCompare()
{
    return frame::refuse("ArvoImageBinaryTools::compareRegionsOf3DBinaryImages() failed to compare images");
}

std::unique_ptr<ArvoImage3D> distanceTo(const ArvoImage3D& object)
{
    const std::atomic<bool> neverCancelled{false};
    Image3DDistanceMap map(Image3DDistanceMap::UNSIGNED_DISTANCE);
    map.setInputImage(&object);
    map.execute(neverCancelled);
    return std::unique_ptr<ArvoImage3D>(map.takeDistanceImage());
}

/// The background of the object as a mask; null when the memory cannot be had.
std::unique_ptr<ArvoImage3D> backgroundOf(const ArvoImage3D& object)
{
    auto background = std::make_unique<ArvoImage3D>(object.imageSize(), object.voxelSize(), image::Binary);
    if (!background->isValid())
        return nullptr;
    ArvoImageBinaryTools::convertByteToBinary(&object, background.get());
    ArvoImageBinaryTools::convertMaskToBinary(background.get(), background.get());
    background->editFinished();
    return background;
}

} // namespace

std::size_t ArvoImageBinaryTools::countNonZeroVoxels(const ArvoImage3D& mask)
{
    if (!mask.isValid()) {
        qWarning("ArvoImageBinaryTools : no valid mask to count.");
        return 0;
    }
    return countVoxels(mask, mask, IsObject{});
}

utility::Optional<std::size_t> ArvoImageBinaryTools::countMismatchedVoxels(const ArvoImage3D& a,
                                                                           const ArvoImage3D& b)
{
    if (!frame::haveEqualSize(a, b)) {
        qWarning("ArvoImageBinaryTools::differenceL1Norm failed due to different image sizes.");
        return {};
    }
    return countVoxels(a, b, IsDifferent{});
}

bool ArvoImageBinaryTools::compareRegionsOf3DBinaryImages(const ArvoImage3D* image,
                                                          const ArvoImage3D* reference, int maxSmallerLayers,
                                                          int maxLargerLayers)
try {
    if (!frame::isUsable(image) || !frame::isUsable(reference) ||
        !image::isOneOf(image->dataType(), image::ByteTypes{}) ||
        !frame::coversLoopOver(*image, *reference, 1))
        return failedToCompare();

    // How far the image reaches beyond the reference: the distance to the reference, on the image.
    auto distance = distanceTo(*reference);
    if (!distance)
        return failedToCompare();
    applyMask(image, distance.get(), false);
    if (const int layers = distance->maxValue(); layers > maxLargerLayers) {
        qWarning("Image object is up to %d voxel layers larger than the reference object", layers);
        return false;
    }
    // How much of the reference the image misses: the distance to the reference's background, beside the image.
    distance.reset();
    const auto background = backgroundOf(*reference);
    if (!background)
        return failedToCompare();
    distance = distanceTo(*background);
    if (!distance)
        return failedToCompare();
    applyMask(image, distance.get(), true);
    if (const int layers = distance->maxValue(); layers > maxSmallerLayers) {
        qWarning("Image object is up to %d voxel layers smaller than the reference object", layers);
        return false;
    }
    return true;
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageBinaryTools : out of memory.");
}
