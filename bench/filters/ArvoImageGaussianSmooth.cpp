#include "arvo/filters/ArvoImageGaussianSmooth.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const std::atomic<bool> neverCancelled{false};

struct Smoothing {
    ArvoImage3D out;
    ArvoImageGaussianSmooth smooth;
};

/// The output is made and touched outside the timed part, as the caller of the filter does.
std::unique_ptr<Smoothing> smoothingOf(const ArvoImage3D& in, int radius, float sigma)
{
    auto job = std::make_unique<Smoothing>();
    job->out.createFrom(&in, in.dataType());
    job->out.zeroSlices();
    job->smooth.setInput(&in);
    job->smooth.setOutput(&job->out);
    job->smooth.setRadius(math::Ivec3(radius, radius, radius));
    job->smooth.setStandardDeviation(QVector3D(sigma, sigma, sigma));
    return job;
}

void run(const std::unique_ptr<Smoothing>& job)
{
    job->smooth.execute(neverCancelled);
}

const bool registered[] = {
    bench::workload(
        {.name = "gauss3_f32", .isThreaded = true, .isScaling = true},
        [](int edge) { return smoothingOf(inputs::ctF(edge), 3, 2.0f); }, run),
    bench::workload(
        {.name = "gauss3_i16", .isThreaded = true},
        [](int edge) { return smoothingOf(inputs::ct16(edge), 3, 2.0f); }, run),
    bench::workload(
        {.name = "gauss3_u8", .isThreaded = true},
        [](int edge) { return smoothingOf(inputs::ct8(edge), 3, 2.0f); }, run),
    bench::workload(
        {.name = "gauss8_f32", .isThreaded = true},
        [](int edge) { return smoothingOf(inputs::ctF(edge), 8, 4.0f); }, run),
    bench::workload(
        {.name = "gauss3_legacy_i16"}, [](int edge) { return smoothingOf(inputs::ct16(edge), 3, 2.0f); },
        [](const std::unique_ptr<Smoothing>& job) { job->smooth.executeDeprecated(neverCancelled); }),
};

} // namespace
