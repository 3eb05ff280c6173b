#pragma once

#include "arvo/frame/Export.h"
#include "arvo/frame/SliceWorker.h"

class ThreeImages3D;

/// Computes the divergence of a field in one range of slices of its output image, whatever its cancel flag says; see
/// VectorFieldDivergence.
class ARVO_VOLUME_EXPORT VectorFieldDivergenceWorker : public SliceWorker {
    Q_OBJECT

public:
    /// The field is not owned.
    VectorFieldDivergenceWorker(const ThreeImages3D* field, QObject* parent);

protected:
    void processSlices() override;

private:
    const ThreeImages3D* m_field;
};
