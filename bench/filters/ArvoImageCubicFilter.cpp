#include "arvo/filters/ArvoImageCubicFilter.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

struct BoxMean {
    const ArvoImage3D* in;
    unsigned long long kernelSize;
    std::unique_ptr<ArvoImage3D> out;
};

bool registerBox(const char* name, unsigned long long kernelSize,
                 const ArvoImage3D& (*input)(int edge, int seed), bool isScaling = false)
{
    return bench::workload(
        {.name = name, .isThreaded = true, .isScaling = isScaling},
        [=](int edge) {
            return BoxMean{&input(edge, 0), kernelSize, nullptr};
        },
        [](BoxMean& job) {
            job.out = ArvoImageCubicFilter::applyCubicFilter(
                *job.in, {job.kernelSize, job.kernelSize, job.kernelSize});
        });
}

const bool registered[] = {
    registerBox("box3_i16", 3, inputs::ct16),
    registerBox("box3_f32", 3, inputs::ctF),
    registerBox("box11_i16", 11, inputs::ct16, true),
    registerBox("box11_f32", 11, inputs::ctF),
};

} // namespace
