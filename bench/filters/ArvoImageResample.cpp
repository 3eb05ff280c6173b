#include "arvo/filters/ArvoImageResample.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

struct Resampling {
    ArvoImage3D in, out;
};

Resampling resamplingTo(const math::Ivec3& size, float voxelSize, int edge)
{
    Resampling job{inputs::copyOf(inputs::ct16(edge)), {}};
    job.out.create(size, QVector3D(voxelSize, voxelSize, voxelSize), image::Int16);
    job.out.zeroSlices();
    return job;
}

/// The rotation (1/13) * [[12, -3, 4], [4, 12, -3], [-3, 4, 12]] about the centre.
Resampling rotated(int edge)
{
    Resampling job = resamplingTo(math::Ivec3(edge, edge, edge), 1.0f, edge);
    float columns[9] = {12, 4, -3, -3, 12, 4, 4, -3, 12};
    for (float& c : columns)
        c /= 13.0f;
    job.out.addInfo(0x20001, "ImageOrientation",
                    QByteArray(reinterpret_cast<const char*>(columns), sizeof(columns)));
    return job;
}

Resampling fine(int edge)
{
    return resamplingTo(math::Ivec3(2 * edge, 2 * edge, edge / 4), 0.5f, edge);
}

void run(Resampling& job)
{
    ArvoImageResample resample;
    resample.setInput(&job.in);
    resample.setOutput(&job.out);
    resample.execute();
}

const bool registered[] = {
    bench::workload({.name = "resample_rot_i16", .isScaling = true}, rotated, run),
    bench::workload({.name = "resample_fine_i16"}, fine, run),
};

} // namespace
