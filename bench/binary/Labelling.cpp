#include "arvo/binary/ArvoImageBinaryTools.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

struct Volumes {
    ArvoImage3D mask;
    ArvoImage3D labels;
};

auto copyOfInput(const ArvoImage3D& (*input)(int))
{
    return [=](int edge) { return Volumes{inputs::copyOf(input(edge)), ArvoImage3D()}; };
}

auto labelBy(ArvoImageBinaryTools::LABEL_TYPE type)
{
    return [=](Volumes& volumes) {
        volumes.labels.createFrom(&volumes.mask, image::Int16);
        ArvoImageBinaryTools tools;
        tools.setInput(&volumes.mask);
        tools.setOutput(&volumes.labels);
        tools.label(type);
    };
}

const auto byFaces = labelBy(ArvoImageBinaryTools::LABEL_STRAIGHT);
const auto byAll = labelBy(ArvoImageBinaryTools::LABEL_DIAGONAL);

const bool registered[] = {
    bench::workload({.name = "cc6_smooth"}, copyOfInput(inputs::smooth), byFaces),
    bench::workload({.name = "cc26_smooth"}, copyOfInput(inputs::smooth), byAll),
    bench::workload({.name = "cc6_parts"}, copyOfInput(inputs::parts), byFaces),
    bench::workload({.name = "cc26_parts", .isScaling = true}, copyOfInput(inputs::parts), byAll),
    bench::workload({.name = "cc6_noise"}, copyOfInput(inputs::noise), byFaces),
    bench::workload({.name = "cc26_noise"}, copyOfInput(inputs::noise), byAll),
};

} // namespace
