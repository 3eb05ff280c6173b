#include "arvo/differential/DirectGradientNorm.h"

#include "arvo/differential/DirectGradientNormWorker.h"
#include "arvo/differential/SliceThreads.h"
#include "arvo/frame/CallChecks.h"

#include <new>

DirectGradientNorm::~DirectGradientNorm() = default;

void DirectGradientNorm::calculateNormGradient(ArvoImage3D* input, ArvoImage3D* output)
try {
    if (!frame::isUsable(input)) {
        frame::refuse("DirectGradientNorm : no valid input image.");
        return;
    }
    if (!output || (output == input && output->dataType() == image::Float32)) {
        frame::refuse("DirectGradientNorm : no output image of its own.");
        return;
    }
    differential::runSliceThreads(input->imageSize().z, [&](int start, int stop) {
        auto worker = std::make_unique<DirectGradientNormWorker>(nullptr);
        worker->setImages(input, output);
        worker->setWork(start, stop);
        return worker;
    });
    output->editFinished();
} catch (const std::bad_alloc&) {
    frame::refuse("DirectGradientNorm : out of memory.");
}
