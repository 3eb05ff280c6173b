#include "arvo/differential/VectorFieldDivergence.h"

#include "support/Inputs.h"
#include "support/Workload.h"

#include "arvo/frame/ThreeImages3D.h"

namespace {

struct Run {
    std::unique_ptr<ThreeImages3D> field;
    std::unique_ptr<ArvoImage3D> divergence;
};

const bool registered = bench::workload(
    {.name = "div_f32", .isThreaded = true, .bytes = [](int edge) { return 16.0 * edge * edge * edge; }},
    [](int edge) {
        const auto component = [=](int seed) {
            return new ArvoImage3D(inputs::copyOf(inputs::ctF(edge, seed)));
        };
        return Run{std::make_unique<ThreeImages3D>(component(0), component(1), component(2)), nullptr};
    },
    [](Run& run) { run.divergence = VectorFieldDivergence::calculate(*run.field); });

} // namespace
