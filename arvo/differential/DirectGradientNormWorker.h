#pragma once

#include "arvo/frame/Export.h"
#include "arvo/frame/SliceWorker.h"

/// Computes the gradient norm in one range of slices, whatever its cancel flag says; see DirectGradientNorm.
class ARVO_VOLUME_EXPORT DirectGradientNormWorker : public SliceWorker {
    Q_OBJECT

public:
    /// Volumes and range are set as for any SliceWorker.
    explicit DirectGradientNormWorker(QObject* parent = nullptr) : SliceWorker(parent) {}

protected:
    void processSlices() override;
};
