#include "arvo/voxelops/ArvoImage3DOperations.h"

#include "support/Inputs.h"
#include "support/Workload.h"

#include <memory>

namespace {

using Operations = ArvoImage3DOperations;
using MakeInput = const ArvoImage3D& (*)(int edge, int seed);

struct Pair {
    ArvoImage3D a;
    const ArvoImage3D* b;
};

/// An operation that changes a volume with the help of the same kind of volume made with another seed.
template <class Run> bool inPlace(const char* name, MakeInput input, double bytes, bool isScaling, Run run)
{
    return bench::workload(
        {.name = name, .isScaling = isScaling, .bytes = [=](int edge) { return bytes * edge * edge * edge; }},
        [=](int edge) {
            return Pair{inputs::copyOf(input(edge, 0)), &input(edge, 1)};
        },
        run);
}

/// An operation that only reads.
template <class Run> bool scan(const char* name, MakeInput input, double bytes, Run run)
{
    return bench::workload(
        {.name = name, .bytes = [=](int edge) { return bytes * edge * edge * edge; }},
        [=](int edge) { return const_cast<ArvoImage3D*>(&input(edge, 0)); }, run);
}

const ArvoImage3D& partsMask(int edge, int)
{
    return inputs::parts(edge);
}

void add(Pair& pair)
{
    Operations::add(&pair.a, const_cast<ArvoImage3D*>(pair.b));
}

void countNonZero(ArvoImage3D* image)
{
    benchmark::DoNotOptimize(Operations::countNonZero(image));
}

const bool registered[] = {
    inPlace("add_u8", inputs::ct8, 3, false, add),
    inPlace("add_i16", inputs::ct16, 6, false, add),
    inPlace("add_f32", inputs::ctF, 12, true, add),
    inPlace("min_i16", inputs::ct16, 6, false, [](Pair& pair) { Operations::min(pair.a, *pair.b); }),
    inPlace("max_f32", inputs::ctF, 12, false, [](Pair& pair) { Operations::max(pair.a, *pair.b); }),
    inPlace("rescale_i16", inputs::ct16, 4, false,
            [](Pair& pair) { Operations::clipAndRescale(&pair.a, -500, 1500, 0, 255, 0); }),
    inPlace("rescale_u8", inputs::ct8, 2, false,
            [](Pair& pair) { Operations::clipAndRescale(&pair.a, 20, 200, 0, 255, 0); }),
    inPlace("normalize_f32", inputs::ctF, 12, false,
            [](Pair& pair) { Operations::normalizeIntensity(pair.a); }),
    scan("countnz_u8", partsMask, 1, countNonZero),
    scan("countnz_i16", inputs::ct16, 2, countNonZero),
    scan("bbox_i16", inputs::ct16, 2,
         [](ArvoImage3D* image) {
             std::unique_ptr<int[]> box(Operations::getBoundingBox(image, 300, 0));
             benchmark::DoNotOptimize(box.get());
         }),
};

} // namespace
