#include "arvo/voxelops/Image3DReplaceVoxels.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/voxelops/Image3DReplaceVoxelsWorker.h"

#include <new>

Image3DReplaceVoxels::Image3DReplaceVoxels() = default;

void Image3DReplaceVoxels::execute(const std::atomic<bool>& cancel)
try {
    m_success = false;
    if (!checkImages())
        return;
    defineWorkLoad(m_inputImage->imageSize().z);
    createAllWorkers();
    const bool wasCancelled = cancel.load();
    const bool allSucceeded = runAllWorkers(cancel);
    m_inputImage->editFinished();
    deleteAllWorkers();
    m_success = allSucceeded && !wasCancelled;
} catch (const std::bad_alloc&) {
    deleteAllWorkers();
    frame::refuse("Image3DReplaceVoxels : out of memory.");
}

bool Image3DReplaceVoxels::checkImages() const
{
    if (!frame::isUsable(m_inputImage))
        return frame::refuse("Image3DReplaceVoxels : no valid input image.");
    // The workers warn of such a type, whatever the mask.
    if (m_inputImage->imageSize().z > 0 && !image::isOneOf(m_inputImage->dataType(), image::VoxelTypes{}))
        return true;
    if (!frame::isUsable(m_maskImage))
        return frame::refuse("Image3DReplaceVoxels : no valid mask image.");
    if (!frame::coversLoopOver(*m_maskImage, *m_inputImage, 1))
        return frame::refuse("Image3DReplaceVoxels : the mask image is smaller than the input image.");
    return true;
}

void Image3DReplaceVoxels::createAllWorkers()
{
    forEachRange(m_inputImage->imageSize().z, [&](int start, int stop) {
        auto* worker = new Image3DReplaceVoxelsWorker;
        addWorker(worker);
        worker->setImages(m_inputImage, nullptr);
        worker->setMaskImage(m_maskImage);
        worker->setReplaceValue(m_replaceValue);
        worker->setWork(start, stop);
    });
}
