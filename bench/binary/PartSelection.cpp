#include "arvo/binary/ArvoImageBinaryTools.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

struct Volumes {
    ArvoImage3D mask;
    ArvoImage3D kept;
};

const bool registered[] = {
    bench::workload(
        {.name = "keep26_parts"},
        [](int edge) {
            return Volumes{inputs::copyOf(inputs::parts(edge)), ArvoImage3D()};
        },
        [](Volumes& volumes) {
            volumes.kept.createFrom(&volumes.mask, image::Binary);
            ArvoImageBinaryTools tools;
            tools.setInput(&volumes.mask);
            tools.setOutput(&volumes.kept);
            int partCount = 0;
            tools.keepLargestPart(&partCount);
        }),
};

} // namespace
