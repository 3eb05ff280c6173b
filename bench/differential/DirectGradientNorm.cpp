#include "arvo/differential/DirectGradientNorm.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

struct Run {
    ArvoImage3D image;
    ArvoImage3D norm;
};

const bool registered = bench::workload(
    {.name = "gradnorm_f32", .isThreaded = true, .bytes = [](int edge) { return 8.0 * edge * edge * edge; }},
    [](int edge) {
        return Run{inputs::copyOf(inputs::ctF(edge)), {}};
    },
    [](Run& run) {
        run.norm.createFrom(&run.image, image::Float32);
        DirectGradientNorm::calculateNormGradient(&run.image, &run.norm);
    });

} // namespace
