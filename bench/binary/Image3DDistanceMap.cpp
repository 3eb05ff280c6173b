#include "arvo/binary/Image3DDistanceMap.h"

#include "arvo/binary/Image3DBoundary.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const std::atomic<bool> neverCancelled{false};

/// The boundary of SMOOTH.
ArvoImage3D edgeOf(int edge)
{
    Image3DBoundary boundary;
    boundary.setInputImage(&inputs::smooth(edge));
    boundary.execute(neverCancelled);
    const std::unique_ptr<ArvoImage3D> mask(boundary.takeBoundaryImage());
    return inputs::copyOf(*mask);
}

ArvoImage3D smoothOf(int edge)
{
    return inputs::copyOf(inputs::smooth(edge));
}

struct Job {
    ArvoImage3D object;
    Image3DDistanceMap map;
};

bool distance(const char* name, bool isScaling, Image3DDistanceMap::DISTANCE_TYPE type,
              ArvoImage3D (*object)(int edge))
{
    return bench::workload(
        {.name = name, .isScaling = isScaling},
        [=](int edge) { return std::make_unique<Job>(object(edge), Image3DDistanceMap(type)); },
        [](std::unique_ptr<Job>& job) {
            job->map.setInputImage(&job->object);
            job->map.execute(neverCancelled);
        });
}

const bool registered[] = {
    distance("dist_object", true, Image3DDistanceMap::UNSIGNED_DISTANCE, smoothOf),
    distance("dist_boundary", false, Image3DDistanceMap::UNSIGNED_DISTANCE, edgeOf),
    distance("dist_signed", false, Image3DDistanceMap::SIGNED_DISTANCE, smoothOf),
};

} // namespace
