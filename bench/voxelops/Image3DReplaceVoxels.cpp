#include "arvo/voxelops/Image3DReplaceVoxels.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const std::atomic<bool> neverCancelled{false};

struct Volumes {
    ArvoImage3D image;
    ArvoImage3D mask;
};

void replaceMasked(Volumes& volumes)
{
    Image3DReplaceVoxels replace;
    replace.setInputImage(&volumes.image);
    replace.setMaskImage(&volumes.mask);
    replace.setReplaceValue(-1000.0f);
    replace.execute(neverCancelled);
}

const bool registered[] = {
    bench::workload(
        {.name = "replace_i16", .isThreaded = true},
        [](int edge) {
            return Volumes{inputs::copyOf(inputs::ct16(edge)), inputs::copyOf(inputs::parts(edge))};
        },
        replaceMasked),
    bench::workload(
        {.name = "replace_f32", .isThreaded = true},
        [](int edge) {
            return Volumes{inputs::copyOf(inputs::ctF(edge)), inputs::copyOf(inputs::parts(edge))};
        },
        replaceMasked),
};

} // namespace
