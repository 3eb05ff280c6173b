#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/platform/math/OrientedBoundingBox.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

using Tools = ArvoImageBinaryTools;

double voxels(int edge)
{
    return double(edge) * edge * edge;
}

/// A threshold into a mask whose memory has been touched.
bool threshold(const char* name, const ArvoImage3D& (*input)(int edge, int seed), int width, float value)
{
    struct Volumes {
        const ArvoImage3D& in;
        ArvoImage3D out;
    };
    return bench::workload(
        {.name = name, .bytes = [=](int edge) { return (width + 1) * voxels(edge); }},
        [=](int edge) {
            return Volumes{input(edge, 0), inputs::copyOf(inputs::noise(edge))};
        },
        [=](Volumes& volumes) { Tools::thresholdFilter(volumes.in, volumes.out, value, true); });
}

struct Mask {
    ArvoImage3D mask;
};

Mask partsOf(int edge)
{
    return {inputs::copyOf(inputs::parts(edge))};
}

void count(Mask& m)
{
    benchmark::DoNotOptimize(Tools::countNonZeroVoxels(m.mask));
}

void box(Mask& m)
{
    std::array<int, 3> min{}, max{};
    benchmark::DoNotOptimize(Tools::getBoundingBox(&m.mask, min, max));
}

struct Masked {
    const ArvoImage3D& mask;
    ArvoImage3D image;
};

struct Painting {
    ArvoImage3D image;
    primitives::OrientedBoundingBox box;
};

/// Half sizes n/4, n/5 and n/6 about the centre, turned by 28 degrees.
Painting paintingOf(int edge)
{
    const auto n = static_cast<float>(edge);
    QMatrix4x4 placement;
    placement.translate(n / 2, n / 2, n / 2);
    placement.rotate(28.0f, 0.6f, 0.7f, 0.4f);
    const QVector3D half(n / 4, n / 5, n / 6);
    return {inputs::copyOf(inputs::ct8(edge)),
            primitives::OrientedBoundingBox(primitives::BoundingBox(-half, half), placement)};
}

const bool registered[] = {
    threshold("threshold_u8", inputs::ct8, 1, 100.0f),
    threshold("threshold_i16", inputs::ct16, 2, 80.0f),
    threshold("threshold_f32", inputs::ctF, 4, 80.0f),
    bench::workload({.name = "countnonzero_mask", .bytes = voxels}, partsOf, count),
    bench::workload({.name = "boundingbox_mask", .bytes = voxels}, partsOf, box),
    bench::workload(
        {.name = "applymask_i16", .bytes = [](int edge) { return 5 * voxels(edge); }},
        [](int edge) {
            return Masked{inputs::smooth(edge), inputs::copyOf(inputs::ct16(edge))};
        },
        [](Masked& m) { Tools::applyMask(&m.mask, &m.image, false); }),
    bench::workload({.name = "maskbox_u8"}, paintingOf,
                    [](Painting& p) { Tools::maskWithBoundingBox(&p.image, p.box, true, 1.0f); }),
};

} // namespace
