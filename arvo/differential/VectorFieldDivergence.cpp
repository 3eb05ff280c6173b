#include "arvo/differential/VectorFieldDivergence.h"

#include "arvo/differential/SliceThreads.h"
#include "arvo/differential/VectorFieldDivergenceWorker.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/frame/ThreeImages3D.h"

#include <new>

std::unique_ptr<ArvoImage3D> VectorFieldDivergence::calculate(const ThreeImages3D& field)
try {
    if (!field.isValid()) {
        frame::refuse("VectorFieldDivergenceWorker: The input vector field is not valid.");
        return nullptr;
    }
    const ArvoImage3D& u = *field.getU();
    auto divergence = std::make_unique<ArvoImage3D>(u.imageSize(), u.voxelSize(), image::Float32);
    if (!divergence->isValid()) {
        frame::refuse("VectorFieldDivergence : no memory for the divergence.");
        return nullptr;
    }
    differential::runSliceThreads(u.imageSize().z, [&](int start, int stop) {
        auto worker = std::make_unique<VectorFieldDivergenceWorker>(&field, nullptr);
        worker->setImages(nullptr, divergence.get());
        worker->setWork(start, stop);
        return worker;
    });
    divergence->editFinished();
    return divergence;
} catch (const std::bad_alloc&) {
    frame::refuse("VectorFieldDivergence : out of memory.");
    return nullptr;
}
