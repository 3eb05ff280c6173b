#include "arvo/voxelops/Image3DReplaceVoxels.h"

#include "support/Inputs.h"
#include "support/Workload.h"

#include "arvo/frame/VolumeView.h"

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

/// The same job with a look at the flag after every voxel: what the cancel rule saves.
void replaceMaskedPolling(Volumes& volumes)
{
    const frame::VolumeView<short> voxels(volumes.image);
    const frame::VolumeView<const unsigned char> mask(volumes.mask);
    for (std::ptrdiff_t i = 0; i < voxels.count(); ++i) {
        if (mask.data()[i] == 1)
            voxels.data()[i] = -1000;
        if (neverCancelled.load(std::memory_order_relaxed))
            return;
    }
}

const bool registered[] = {
    bench::workload(
        {.name = "replace_i16_polled"},
        [](int edge) {
            return Volumes{inputs::copyOf(inputs::ct16(edge)), inputs::copyOf(inputs::parts(edge))};
        },
        replaceMaskedPolling),
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
