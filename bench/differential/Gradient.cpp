#include "arvo/differential/Gradient.h"

#include "support/Inputs.h"
#include "support/Workload.h"

#include "arvo/frame/ThreeImages3D.h"

namespace {

const std::atomic<bool> neverCancelled{false};

/// The result is kept beside the calculation, so that it is freed outside the timed part.
struct Run {
    ArvoImage3D image;
    std::unique_ptr<ThreeImages3D> field;
};

bool gradientOf(const char* name, const ArvoImage3D& (*input)(int edge, int seed), double bytesPerVoxel)
{
    return bench::workload(
        {.name = name,
         .isThreaded = true,
         .isScaling = true,
         .bytes = [=](int edge) { return (bytesPerVoxel + 12.0) * edge * edge * edge; }},
        [=](int edge) {
            return Run{inputs::copyOf(input(edge, 0)), nullptr};
        },
        [](Run& run) {
            Gradient gradient;
            gradient.setInputImage(&run.image);
            gradient.execute(neverCancelled);
            run.field.reset(gradient.takeGradientImage());
        });
}

const bool registered[] = {
    gradientOf("grad_f32", inputs::ctF, 4.0),
    gradientOf("grad_i16", inputs::ct16, 2.0),
};

} // namespace
