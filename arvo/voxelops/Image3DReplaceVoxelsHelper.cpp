#include "arvo/voxelops/Image3DReplaceVoxelsHelper.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/CancelRule.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"

namespace {

template <class T>
ARVO_KERNEL void replaceEach(T* voxels, const unsigned char* mask, T value, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        voxels[i] = mask[i] == 1 ? value : voxels[i];
}

/// Blocks without a voxel to replace are left alone. Nothing has then to be written back to memory, which is what this
/// loop waits for.
template <class T>
ARVO_VECTOR_CLONES void replaceRun(T* voxels, const unsigned char* mask, T value, std::ptrdiff_t count)
{
    constexpr std::ptrdiff_t BLOCK = 64;
    std::ptrdiff_t begin = 0;
    for (; begin + BLOCK <= count; begin += BLOCK) {
        unsigned char isAny = 0;
        for (std::ptrdiff_t i = begin; i < begin + BLOCK; ++i)
            isAny |= static_cast<unsigned char>(mask[i] == 1);
        if (isAny)
            replaceEach(voxels + begin, mask + begin, value, BLOCK);
    }
    replaceEach(voxels + begin, mask + begin, value, count - begin);
}

} // namespace

template <class T>
bool Image3DReplaceVoxelsHelper<T>::replaceVoxels(ArvoImage3D& image, ArvoImage3D& mask, float value,
                                                  int startSlice, int stopSlice,
                                                  const std::atomic<bool>& cancel)
{
    if (startSlice > stopSlice)
        return true;
    if (!frame::holdsSlices(image, startSlice, stopSlice, sizeof(T)) || mask.imageSize().z <= stopSlice ||
        mask.sizeOfAxialSlice() < image.sizeOfAxialSlice() / sizeof(T))
        return frame::refuse("Image3DReplaceVoxelsHelper : image and mask do not hold such slices.");
    const frame::VolumeView<T> voxels(image);
    const T replacement = image::toVoxel<T>(value);
    for (int z = startSlice; z <= stopSlice; ++z) {
        T* slice = voxels.slice(z);
        const auto* maskSlice = reinterpret_cast<const unsigned char*>(mask.getConstAxialSlice(z));
        const bool isDone = frame::forEachRun(
            cancel, voxels.sliceCount(), voxels.width(), [&](std::ptrdiff_t begin, std::ptrdiff_t end) {
                replaceRun(slice + begin, maskSlice + begin, replacement, end - begin);
            });
        if (!isDone)
            return false;
    }
    return true;
}

template class Image3DReplaceVoxelsHelper<unsigned char>;
template class Image3DReplaceVoxelsHelper<short>;
template class Image3DReplaceVoxelsHelper<unsigned short>;
template class Image3DReplaceVoxelsHelper<float>;
