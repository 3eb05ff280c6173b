#pragma once

#include "arvo/frame/Export.h"
#include "arvo/frame/SliceWorkerCalculation.h"

class ArvoImage3D;

/// Overwrites, in place, every voxel whose mask voxel is 1 with one fixed value.
///
/// Image: 16-bit, 8-bit, mask or float voxels. Mask: at least as many slices, each at least as large, read as one byte
/// a voxel whatever its type; only bytes of exactly 1 count. Neither is owned. The value is truncated toward zero and
/// cut to the low bits of integer voxels (300 becomes 44 in 8 bits); float voxels take it as it is.
///
/// One worker thread per range of slices. A raised cancel flag stops each worker after the voxel it is at: voxels
/// before that are done, the others untouched, and the calculation fails; editFinished() is called on the image in
/// every case that reached the workers. An image of another type: "Image3DReplaceVoxelsWorker : not implemented for
/// the given input image data type." from each worker, whatever the mask, failure, nothing changed. A missing image or
/// mask, or a mask too small: one warning, failure, nothing changed. O(n) time for n voxels; no memory besides the
/// volumes.
class ARVO_VOLUME_EXPORT Image3DReplaceVoxels : public SliceWorkerCalculation {
public:
    Image3DReplaceVoxels();

    /// The volume to change and the mask; not owned.
    /// @{
    void setInputImage(ArvoImage3D* image) { m_inputImage = image; }
    void setMaskImage(ArvoImage3D* mask) { m_maskImage = mask; }
    /// @}
    /// 0 unless set.
    void setReplaceValue(float value) { m_replaceValue = value; }

    void execute(const std::atomic<bool>& cancel) override;

private:
    bool checkImages() const;
    void createAllWorkers();

    ArvoImage3D* m_inputImage = nullptr;
    ArvoImage3D* m_maskImage = nullptr;
    float m_replaceValue = 0.0f;
};
