#include "arvo/binary/Image3DBoundary.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const std::atomic<bool> neverCancelled{false};

struct Job {
    ArvoImage3D object;
    Image3DBoundary boundary;
};

bool markBoundary(const char* name, const ArvoImage3D& (*input)(int edge))
{
    return bench::workload(
        {.name = name},
        [=](int edge) { return std::make_unique<Job>(inputs::copyOf(input(edge)), Image3DBoundary()); },
        [](std::unique_ptr<Job>& job) {
            job->boundary.setInputImage(&job->object);
            job->boundary.execute(neverCancelled);
        });
}

const bool registered[] = {
    markBoundary("boundary_smooth", inputs::smooth),
    markBoundary("boundary_parts", inputs::parts),
};

} // namespace
