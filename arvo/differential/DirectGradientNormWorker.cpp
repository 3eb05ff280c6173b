#include "arvo/differential/DirectGradientNormWorker.h"

#include "arvo/differential/DifferentialHelper.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"

void DirectGradientNormWorker::processSlices()
{
    const ArvoImage3D& input = getInputImage();
    ArvoImage3D& output = getOutputImage();
    if (output.dataType() != image::Float32 || !frame::haveEqualSize(input, output)) {
        frame::refuse("DirectGradientNormWorker: the output is not a valid image");
        return;
    }
    // The norm is never cancelled: it has no way to tell its caller that it is incomplete.
    const std::atomic<bool> neverCancelled{false};
    const bool isDone = image::withElementType(
        input.dataType(), image::VoxelTypes{},
        "DirectGradientNormWorker: calculateNormGradient is not implemented for current data type",
        [&](auto element) {
            using T = typename decltype(element)::type;
            return DifferentialHelper<T>::calculateNormGradient(input, output, getStartSlice(),
                                                                getStopSlice(), neverCancelled);
        });
    if (isDone)
        succeeded();
}
