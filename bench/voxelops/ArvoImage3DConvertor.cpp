#include "arvo/voxelops/ArvoImage3DConvertor.h"

#include "arvo/platform/image/ArvoImage3D.h"
#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

struct Volumes {
    const ArvoImage3D* in;
    ArvoImage3D out;
};

/// Into a volume that has been written before.
bool conversion(const char* name, const ArvoImage3D& (*input)(int edge, int seed), image::DataType target)
{
    return bench::workload(
        {.name = name, .bytes = [](int edge) { return 6.0 * edge * edge * edge; }},
        [=](int edge) {
            Volumes volumes{&input(edge, 0), ArvoImage3D()};
            volumes.out.createFrom(volumes.in, target);
            volumes.out.zeroSlices();
            return volumes;
        },
        [](Volumes& volumes) { ArvoImage3DConvertor::convert(volumes.in, &volumes.out, 1); });
}

const bool registered[] = {
    conversion("conv_i16_f32", inputs::ct16, image::Float32),
    conversion("conv_f32_i16", inputs::ctF, image::Int16),
};

} // namespace
