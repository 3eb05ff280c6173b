#include "arvo/reslice/ArvoImage3DWorker.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/reslice/ProjectionBand.h"

#include <QDeadlineTimer>

#include <new>

ArvoImage3DWorker::ArvoImage3DWorker() = default;
ArvoImage3DWorker::~ArvoImage3DWorker() = default;

void ArvoImage3DWorker::init(JobType jobType, ArvoImage3D* volume, float* origin, float* columnOffsets,
                             float* rowOffsets, int width, int rows, float* raySteps, int stepCount,
                             float* result)
{
    m_jobType = jobType;
    m_volume = volume;
    m_origin = origin;
    m_columnOffsets = columnOffsets;
    m_rowOffsets = rowOffsets;
    m_width = width;
    m_rows = rows;
    m_raySteps = raySteps;
    m_stepCount = stepCount;
    m_result = result;
}

void ArvoImage3DWorker::initLoadInterpolatedNormalizedReslice(ArvoImage3D* volume, float* origin,
                                                              float* columnOffsets, float* rowOffsets,
                                                              int width, int rows, float* result)
{
    init(InterpolatedNormalized, volume, origin, columnOffsets, rowOffsets, width, rows, nullptr, 0, result);
}

void ArvoImage3DWorker::initLoadXRayNormalizedReslice(ArvoImage3D* volume, float* origin,
                                                      float* columnOffsets, float* rowOffsets, int width,
                                                      int rows, float* raySteps, int stepCount,
                                                      const math::Range<float>& intensityRange, float* result)
{
    init(XRayNormalized, volume, origin, columnOffsets, rowOffsets, width, rows, raySteps, stepCount, result);
    m_intensityRange = intensityRange;
}

void ArvoImage3DWorker::initLoadMIPNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                                     float* rowOffsets, int width, int rows, float* raySteps,
                                                     int stepCount, float* result)
{
    init(MIPNormalized, volume, origin, columnOffsets, rowOffsets, width, rows, raySteps, stepCount, result);
}

void ArvoImage3DWorker::initLoadMIPReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                           float* rowOffsets, int width, int rows, float* raySteps,
                                           int stepCount, float* result, float* depth,
                                           ArvoImage3DEnums::MIP_COMPARE_FUNCTION compareFunction)
{
    init(MIP, volume, origin, columnOffsets, rowOffsets, width, rows, raySteps, stepCount, result);
    m_depth = depth;
    m_compareFunction = compareFunction;
}

void ArvoImage3DWorker::initLoadCephNormalizedReslice(ArvoImage3D* volume, float* origin,
                                                      float* columnOffsets, float* rowOffsets, int width,
                                                      int rows, float* raySteps, int stepCount, float* result)
{
    init(CephNormalized, volume, origin, columnOffsets, rowOffsets, width, rows, raySteps, stepCount, result);
}

bool ArvoImage3DWorker::hasTables() const
{
    const bool needsRays = m_jobType != InterpolatedNormalized;
    return m_origin && m_columnOffsets && m_rowOffsets && (m_raySteps || !needsRays) && m_result;
}

void ArvoImage3DWorker::waitUntilDone()
{
    wait(QDeadlineTimer(QDeadlineTimer::Forever));
    (void)m_isDone.load(std::memory_order_acquire);
}

void ArvoImage3DWorker::run()
{
    try {
        runJob();
    } catch (const std::bad_alloc&) {
        qWarning("ArvoImage3DWorker : out of memory.");
    }
    m_isDone.store(true, std::memory_order_release);
}

void ArvoImage3DWorker::runJob()
{
    if (m_jobType == NoJob) {
        frame::refuse("ArvoImage3DWorker : nothing to do, call an init function first.");
        return;
    }
    if (!frame::isUsable(m_volume)) {
        frame::refuse("ArvoImage3DWorker : no valid volume.");
        return;
    }
    if (!hasTables()) {
        frame::refuse("ArvoImage3DWorker : a table or buffer is missing.");
        return;
    }
    switch (m_jobType) {
    case InterpolatedNormalized:
        return runLoadInterpolatedNormalizedReslice();
    case XRayNormalized:
        return runLoadXRayNormalizedReslice();
    case MIPNormalized:
        return runLoadMIPNormalizedReslice();
    case MIP:
        return runLoadMIPReslice();
    case CephNormalized:
        return runLoadCephNormalizedReslice();
    default:
        frame::refuse("ArvoImage3DWorker : nothing to do, unknown job type.");
    }
}

void ArvoImage3DWorker::runLoadInterpolatedNormalizedReslice()
{
    image::withElementType(m_volume->dataType(), image::IntegerTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        reslice::sampleNormalized<T>(band(nullptr));
    });
}

void ArvoImage3DWorker::runLoadXRayNormalizedReslice()
{
    image::withElementType(m_volume->dataType(), image::IntegerTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        reslice::projectXRay<T>(band(nullptr), m_intensityRange);
    });
}

void ArvoImage3DWorker::runLoadMIPNormalizedReslice()
{
    image::withElementType(m_volume->dataType(), image::VoxelTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        reslice::projectMaximum<T>(band(nullptr), m_compareFunction, true);
    });
}

void ArvoImage3DWorker::runLoadMIPReslice()
{
    image::withElementType(m_volume->dataType(), image::VoxelTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        reslice::projectMaximum<T>(band(m_depth), m_compareFunction, false);
    });
}

void ArvoImage3DWorker::runLoadCephNormalizedReslice()
{
    image::withElementType(
        m_volume->dataType(), image::TypeSet<image::Float32>{},
        "void __cdecl ArvoImage3DWorker::runLoadCephNormalizedReslice(void) Unexpected image type.",
        [&](auto) { reslice::projectSum(band(nullptr)); });
}

reslice::ProjectionBand ArvoImage3DWorker::band(float* depth) const
{
    return {*m_volume, m_origin,   m_columnOffsets, m_rowOffsets, m_width,
            m_rows,    m_raySteps, m_stepCount,     m_result,     depth};
}
