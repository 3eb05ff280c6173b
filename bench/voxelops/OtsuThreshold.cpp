#include "arvo/voxelops/OtsuThreshold.h"

#include "arvo/platform/image/ArvoImage3D.h"
#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const std::atomic<bool> neverCancelled{false};

/// The value range of a volume is part of the job, so that each repetition starts without one.
bool otsu(const char* name, const ArvoImage3D& (*input)(int edge, int seed), double width)
{
    return bench::workload(
        {.name = name, .bytes = [=](int edge) { return width * edge * edge * edge; }},
        [=](int edge) {
            auto* image = const_cast<ArvoImage3D*>(&input(edge, 0));
            image->editFinished();
            return image;
        },
        [](ArvoImage3D* image) {
            benchmark::DoNotOptimize(OtsuThreshold::calculate(*image, neverCancelled));
        });
}

const bool registered[] = {
    otsu("otsu_i16", inputs::ct16, 2),
    otsu("otsu_f32", inputs::ctF, 4),
};

} // namespace
