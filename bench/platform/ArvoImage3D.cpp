#include "arvo/platform/image/ArvoImage3D.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

/// Creates, touches and frees a volume: what every operation with a fresh result pays on top of its work.
void createTouchFree(const math::Ivec3& size)
{
    ArvoImage3D image(size, QVector3D(1.0f, 1.0f, 1.0f), image::Float32);
    image.zeroSlices();
    benchmark::DoNotOptimize(image.dataPtr());
}

void valueRange(ArvoImage3D& image)
{
    image.editFinished();
    benchmark::DoNotOptimize(image.getValueRange());
}

const bool registered[] = {
    bench::workload(
        {.name = "fresh_f32", .isScaling = true}, [](int edge) { return math::Ivec3(edge, edge, edge); },
        createTouchFree),
    bench::workload(
        {.name = "range_u8"}, [](int edge) { return inputs::copyOf(inputs::ct8(edge)); }, valueRange),
    bench::workload(
        {.name = "range_i16"}, [](int edge) { return inputs::copyOf(inputs::ct16(edge)); }, valueRange),
    bench::workload(
        {.name = "range_f32"}, [](int edge) { return inputs::copyOf(inputs::ctF(edge)); }, valueRange),
};

} // namespace
