#include "arvo/binary/ArvoImageBinaryTools.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

struct Volumes {
    ArvoImage3D mask;
    ArvoImage3D result;
};

Volumes smoothMask(int edge)
{
    return {inputs::copyOf(inputs::smooth(edge)), ArvoImage3D()};
}

ArvoImageBinaryTools toolsOn(Volumes& volumes)
{
    volumes.result.createFrom(&volumes.mask, image::Binary);
    ArvoImageBinaryTools tools;
    tools.setInput(&volumes.mask);
    tools.setOutput(&volumes.result);
    return tools;
}

const bool registered[] = {
    bench::workload({.name = "erodez_smooth"}, smoothMask,
                    [](Volumes& volumes) { toolsOn(volumes).erodeZ(2); }),
    bench::workload({.name = "edges_smooth"}, smoothMask,
                    [](Volumes& volumes) { toolsOn(volumes).edgeDetection(); }),
};

} // namespace
