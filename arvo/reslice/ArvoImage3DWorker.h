#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/math/Range.h"
#include "arvo/reslice/ArvoImage3DEnums.h"

#include <QThread>

#include <atomic>

class ArvoImage3D;

namespace reslice {
struct ProjectionBand;
}

/// A thread that computes one horizontal band of a projection; ArvoImage3DReslicer says what each projection is.
///
/// One init function stores the tables, none of which is owned, and the job; then the thread is started and waited for.
/// Further init functions may follow for another run. Tables hold three floats an entry, in voxel indices: pixel
/// (c, r) of the band has the base point origin + rowOffsets[r] + columnOffsets[c] and, where there are rays, the step
/// raySteps[c] between two samples. `result` and `depth` take width * rows floats, pixel (c, r) at r * width + c.
///
/// Without an init call: "ArvoImage3DWorker : nothing to do, call an init function first.". A missing volume or table:
/// one warning. An element type that a job does not take leaves the band unwritten, with a warning for the ceph job
/// only.
class ARVO_VOLUME_EXPORT ArvoImage3DWorker : public QThread {
public:
    ArvoImage3DWorker();
    ~ArvoImage3DWorker() override;

    /// The jobs, each one projection of ArvoImage3DReslicer with the same parameters for one band.
    /// @{
    void initLoadInterpolatedNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                               float* rowOffsets, int width, int rows, float* result);
    void initLoadXRayNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                       float* rowOffsets, int width, int rows, float* raySteps, int stepCount,
                                       const math::Range<float>& intensityRange, float* result);
    void initLoadMIPNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                      float* rowOffsets, int width, int rows, float* raySteps, int stepCount,
                                      float* result);
    /// @}
    /// `depth` may be null.
    /// @{
    void initLoadMIPReslice(ArvoImage3D* volume, float* origin, float* columnOffsets, float* rowOffsets,
                            int width, int rows, float* raySteps, int stepCount, float* result, float* depth,
                            ArvoImage3DEnums::MIP_COMPARE_FUNCTION compareFunction);
    void initLoadCephNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                       float* rowOffsets, int width, int rows, float* raySteps, int stepCount,
                                       float* result);
    /// @}

    /// Waits without a deadline for the started thread to finish; what it wrote can be read then.
    void waitUntilDone();

protected:
    /// Runs the stored job.
    void run() override;

private:
    enum JobType : int {
        NoJob = 0,
        InterpolatedNormalized = 1,
        XRayNormalized = 2,
        MIPNormalized = 3,
        MIP = 4,
        CephNormalized = 5
    };

    void init(JobType jobType, ArvoImage3D* volume, float* origin, float* columnOffsets, float* rowOffsets,
              int width, int rows, float* raySteps, int stepCount, float* result);
    void runJob();
    bool hasTables() const;
    reslice::ProjectionBand band(float* depth) const;

    void runLoadInterpolatedNormalizedReslice();
    void runLoadXRayNormalizedReslice();
    void runLoadMIPNormalizedReslice();
    void runLoadMIPReslice();
    void runLoadCephNormalizedReslice();

    int m_jobType = NoJob;
    ArvoImage3D* m_volume = nullptr;
    float* m_origin = nullptr;
    float* m_columnOffsets = nullptr;
    float* m_rowOffsets = nullptr;
    int m_width = 0;
    int m_rows = 0;
    float* m_raySteps = nullptr;
    int m_stepCount = 0;
    math::Range<float> m_intensityRange;
    float* m_result = nullptr;
    float* m_depth = nullptr;
    ArvoImage3DEnums::MIP_COMPARE_FUNCTION m_compareFunction = ArvoImage3DEnums::MIP_COMPARE_MAXIMUM;
    // wait() orders the thread's writes by locks inside Qt, which the thread sanitizer does not see.
    std::atomic<bool> m_isDone{false};
};
