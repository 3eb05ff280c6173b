#pragma once

#include "arvo/frame/Export.h"
#include "arvo/frame/SliceWorker.h"

/// Replaces the masked voxels of one range of slices of its input image; see Image3DReplaceVoxels.
class ARVO_VOLUME_EXPORT Image3DReplaceVoxelsWorker : public SliceWorker {
    Q_OBJECT

public:
    /// Volumes and range are set as for any SliceWorker.
    explicit Image3DReplaceVoxelsWorker(QObject* parent = nullptr) : SliceWorker(parent) {}

    /// The mask, not owned, and the value to write.
    /// @{
    void setMaskImage(ArvoImage3D* mask) { m_maskImage = mask; }
    void setReplaceValue(float value) { m_replaceValue = value; }
    /// @}

protected:
    void processSlices() override;

private:
    ArvoImage3D* m_maskImage = nullptr;
    float m_replaceValue = 0.0f;
};
