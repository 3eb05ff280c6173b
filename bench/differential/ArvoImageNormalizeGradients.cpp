#include "arvo/differential/ArvoImageNormalizeGradients.h"

#include "support/Inputs.h"
#include "support/Workload.h"

#include "arvo/frame/ThreeImages3D.h"

namespace {

const bool registered = bench::workload(
    {.name = "normalize_f32",
     .isThreaded = true,
     .bytes = [](int edge) { return 24.0 * edge * edge * edge; }},
    [](int edge) {
        const auto component = [=](int seed) {
            return new ArvoImage3D(inputs::copyOf(inputs::ctF(edge, seed)));
        };
        return std::make_unique<ThreeImages3D>(component(0), component(1), component(2));
    },
    [](std::unique_ptr<ThreeImages3D>& field) { ArvoImageNormalizeGradients::normalize(*field); });

} // namespace
