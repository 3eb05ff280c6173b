#include "arvo/differential/VectorFieldDivergenceWorker.h"

#include "arvo/differential/DifferentialHelper.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/frame/ThreeImages3D.h"
#include "arvo/platform/image/ElementTypes.h"

VectorFieldDivergenceWorker::VectorFieldDivergenceWorker(const ThreeImages3D* field, QObject* parent)
    : SliceWorker(parent),
      m_field(field)
{
}

void VectorFieldDivergenceWorker::processSlices()
{
    if (!m_field || !m_field->getU()) {
        frame::refuse("VectorFieldDivergenceWorker: The input vector field is not valid.");
        return;
    }
    const std::atomic<bool> neverCancelled{false};
    const bool isDone = image::withElementType(
        m_field->getU()->dataType(), image::VoxelTypes{},
        "VectorFieldDivergenceWorker: calculateVectorFieldDivergence is not implemented for current data "
        "type.",
        [&](auto element) {
            using T = typename decltype(element)::type;
            return DifferentialHelper<T>::calculateVectorFieldDivergence(
                *m_field, getOutputImage(), getStartSlice(), getStopSlice(), neverCancelled);
        });
    if (isDone)
        succeeded();
}
