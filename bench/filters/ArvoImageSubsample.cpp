#include "arvo/filters/ArvoImageSubsample.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const std::atomic<bool> neverCancelled{false};

struct Halving {
    ArvoImage3D out;
    ArvoImageSubsample subsample;
};

std::unique_ptr<Halving> halve(int edge)
{
    auto job = std::make_unique<Halving>();
    job->subsample.setInput(&inputs::ct16(edge));
    job->subsample.setOutput(&job->out);
    job->subsample.setSampleFactor(2, 2, 2);
    return job;
}

bool registerMethod(const char* name, ArvoImageSubsample::SubsampleMethod method)
{
    return bench::workload({.name = name}, halve, [method](const std::unique_ptr<Halving>& job) {
        job->subsample.execute(method, neverCancelled);
    });
}

const bool registered[] = {
    registerMethod("sub_fast_i16", ArvoImageSubsample::Fast),
    registerMethod("sub_mean_i16", ArvoImageSubsample::Average),
    registerMethod("sub_max_i16", ArvoImageSubsample::Max),
};

} // namespace
