#include "arvo/binary/Image3DKeepConnectedPart.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const std::atomic<bool> neverCancelled{false};

auto keepLargest(Image3DKeepConnectedPart::ConnectionDirection direction)
{
    return [=](ArvoImage3D& mask) {
        Image3DKeepConnectedPart keep(mask, Image3DKeepConnectedPart::KEEP_LARGEST_PARTS, direction);
        keep.setRelativeTolerance(0.5f);
        keep.execute(neverCancelled);
        benchmark::DoNotOptimize(keep.takeBinaryOutputImage());
    };
}

ArvoImage3D parts(int edge)
{
    return inputs::copyOf(inputs::parts(edge));
}

/// To be compared with cc6_parts and cc26_parts, the labelling alone.
const bool registered[] = {
    bench::workload({.name = "keepconnected6_parts"}, parts, keepLargest(Image3DKeepConnectedPart::STRAIGHT)),
    bench::workload({.name = "keepconnected26_parts"}, parts,
                    keepLargest(Image3DKeepConnectedPart::DIAGONAL)),
};

} // namespace
