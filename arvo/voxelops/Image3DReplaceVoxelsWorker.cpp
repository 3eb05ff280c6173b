#include "arvo/voxelops/Image3DReplaceVoxelsWorker.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/voxelops/Image3DReplaceVoxelsHelper.h"

void Image3DReplaceVoxelsWorker::processSlices()
{
    ArvoImage3D& image = getInputImage();
    const bool isDone = image::withElementType(
        image.dataType(), image::VoxelTypes{},
        "Image3DReplaceVoxelsWorker : not implemented for the given input image data type.",
        [&](auto element) {
            using T = typename decltype(element)::type;
            if (!m_maskImage)
                return frame::refuse("Image3DReplaceVoxelsWorker : no mask.");
            return Image3DReplaceVoxelsHelper<T>::replaceVoxels(
                image, *m_maskImage, m_replaceValue, getStartSlice(), getStopSlice(), getCancelFlag());
        });
    if (isDone)
        succeeded();
}
