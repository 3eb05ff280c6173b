#include "arvo/voxelops/Image3DStatistics.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const std::atomic<bool> neverCancelled{false};

using Method = Image3DStatisticsMethod;
using MakeInput = const ArvoImage3D& (*)(int edge, int seed);

bool statistics(const char* name, MakeInput input, double width, Method::Method method,
                bool isScaling = false)
{
    return bench::workload(
        {.name = name,
         .isThreaded = true,
         .isScaling = isScaling,
         .bytes = [=](int edge) { return width * edge * edge * edge; }},
        [=](int edge) { return const_cast<ArvoImage3D*>(&input(edge, 0)); },
        [=](ArvoImage3D* image) {
            Image3DStatistics calculation(method);
            calculation.setInputImage(image);
            calculation.execute(neverCancelled);
            benchmark::DoNotOptimize(calculation.getValue());
        });
}

const bool registered[] = {
    statistics("mean_u8", inputs::ct8, 1, Method::Mean),
    statistics("mean_i16", inputs::ct16, 2, Method::Mean),
    statistics("mean_f32", inputs::ctF, 4, Method::Mean),
    statistics("meannz_u8", inputs::ct8, 1, Method::MeanOfNonZeroValues),
    statistics("median_u8", inputs::ct8, 1, Method::Median),
    statistics("median_i16", inputs::ct16, 2, Method::Median, true),
    statistics("median_f32", inputs::ctF, 4, Method::Median),
    statistics("mediannz_u8", inputs::ct8, 1, Method::MedianOfNonZeroValues),
};

} // namespace
