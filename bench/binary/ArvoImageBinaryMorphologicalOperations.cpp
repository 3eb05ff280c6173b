#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

using Morphology = ArvoImageBinaryMorphologicalOperations;
using Operation = void (*)(const ArvoImage3D&, ArvoImage3D&, const Morphology::Stencil&);

struct Volumes {
    ArvoImage3D mask;
    ArvoImage3D result;
};

/// Fresh memory would cost more than the operation: the result is touched before the clock starts, as is the mask.
Volumes prepare(int edge)
{
    return {inputs::copyOf(inputs::smooth(edge)), inputs::copyOf(inputs::smooth(edge))};
}

bool registerJob(const char* name, Operation operation, Morphology::Stencil (*make)(std::size_t),
                 std::size_t radius, bool isScaling = false)
{
    const auto twoBytesAVoxel = [](int edge) { return 2.0 * edge * edge * edge; };
    return bench::workload({.name = name, .isScaling = isScaling, .bytes = twoBytesAVoxel}, prepare,
                           [=](Volumes& volumes) { operation(volumes.mask, volumes.result, make(radius)); });
}

const bool registered[] = {
    registerJob("dil_ball1", Morphology::dilate, Morphology::sphere, 1),
    registerJob("dil_ball2", Morphology::dilate, Morphology::sphere, 2, true),
    registerJob("dil_ball3", Morphology::dilate, Morphology::sphere, 3),
    registerJob("dil_cube2", Morphology::dilate, Morphology::cube, 2),
    registerJob("ero_ball1", Morphology::erode, Morphology::sphere, 1),
    registerJob("ero_ball2", Morphology::erode, Morphology::sphere, 2),
    registerJob("ero_ball3", Morphology::erode, Morphology::sphere, 3),
    registerJob("ero_cube2", Morphology::erode, Morphology::cube, 2),
};

} // namespace
