#include "arvo/reslice/ArvoImage3DReslicer.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/reslice/ArvoImage3DWorker.h"
#include "arvo/reslice/PixelBuffer.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace {

/// A call's tables, and where its pixels go. `raySteps` is set even where there are no rays.
struct Projection {
    ArvoImage3D* volume;
    float* origin;
    float* columnOffsets;
    float* rowOffsets;
    int width;
    int height;
    const float* raySteps;
};

bool canProject(const Projection& call)
{
    if (call.width < 0 || call.height < 0)
        return frame::refuse("ArvoImage3DReslicer : the size is negative.");
    if (!frame::isUsable(call.volume))
        return frame::refuse("ArvoImage3DReslicer : no valid volume.");
    if (!call.origin || !call.columnOffsets || !call.rowOffsets || !call.raySteps)
        return frame::refuse("ArvoImage3DReslicer : a table of offsets is missing.");
    return true;
}

/// Runs a worker thread on each band of rows and waits for all of them. init(worker, band's row offsets, number of
/// rows, first pixel) gives each its job.
template <class Init> void runBands(const Projection& call, Init init)
try {
    const int bands = std::min(threading::idealThreadCount(), call.height);
    const int rowsPerBand = call.height / bands;
    std::vector<std::unique_ptr<ArvoImage3DWorker>> workers;
    for (int k = 0; k < bands; ++k) {
        const std::ptrdiff_t firstRow = std::ptrdiff_t{k} * rowsPerBand;
        const int rows = k == bands - 1 ? call.height - (bands - 1) * rowsPerBand : rowsPerBand;
        workers.push_back(std::make_unique<ArvoImage3DWorker>());
        init(*workers.back(), call.rowOffsets + 3 * firstRow, rows, firstRow * call.width);
    }
    for (const auto& worker : workers) // all of them, or none if the memory ends
        worker->start(QThread::InheritPriority);
    for (const auto& worker : workers)
        worker->waitUntilDone();
} catch (const std::bad_alloc&) {
    frame::refuse("ArvoImage3DReslicer : out of memory.");
}

/// Checks the call and runs its bands; init takes the worker, its row offsets, its number of rows and its pixels.
template <class Init> void project(const Projection& call, Image2D& image, Init init)
{
    if (call.height == 0 || !canProject(call))
        return;
    float* pixels = reslice::pixelsOf<float>(image, call.width, call.height);
    if (!pixels)
        return;
    runBands(call, [&](ArvoImage3DWorker& worker, float* rowOffsets, int rows, std::ptrdiff_t firstPixel) {
        init(worker, rowOffsets, rows, pixels + firstPixel);
    });
}

} // namespace

void ArvoImage3DReslicer::loadMIPReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                         float* rowOffsets, int width, int height, float* raySteps,
                                         int stepCount, Image2D& result, Image2D* depth,
                                         ArvoImage3DEnums::MIP_COMPARE_FUNCTION compareFunction)
{
    const Projection call{volume, origin, columnOffsets, rowOffsets, width, height, raySteps};
    if (height == 0 || !canProject(call))
        return;
    float* pixels = reslice::pixelsOf<float>(result, width, height);
    float* depths = pixels && depth ? reslice::pixelsOf<float>(*depth, width, height) : nullptr;
    if (!pixels || (depth && !depths))
        return;
    runBands(call, [&](ArvoImage3DWorker& worker, float* bandOffsets, int rows, std::ptrdiff_t firstPixel) {
        worker.initLoadMIPReslice(volume, origin, columnOffsets, bandOffsets, width, rows, raySteps,
                                  stepCount, pixels + firstPixel, depths ? depths + firstPixel : nullptr,
                                  compareFunction);
    });
}

void ArvoImage3DReslicer::loadMIPNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                                   float* rowOffsets, int width, int height, float* raySteps,
                                                   int stepCount, Image2D& result)
{
    project({volume, origin, columnOffsets, rowOffsets, width, height, raySteps}, result,
            [&](ArvoImage3DWorker& worker, float* bandOffsets, int rows, float* pixels) {
                worker.initLoadMIPNormalizedReslice(volume, origin, columnOffsets, bandOffsets, width, rows,
                                                    raySteps, stepCount, pixels);
            });
}

void ArvoImage3DReslicer::loadXRayNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                                    float* rowOffsets, int width, int height, float* raySteps,
                                                    int stepCount, const math::Range<float>& intensityRange,
                                                    Image2D& result)
{
    project({volume, origin, columnOffsets, rowOffsets, width, height, raySteps}, result,
            [&](ArvoImage3DWorker& worker, float* bandOffsets, int rows, float* pixels) {
                worker.initLoadXRayNormalizedReslice(volume, origin, columnOffsets, bandOffsets, width, rows,
                                                     raySteps, stepCount, intensityRange, pixels);
            });
}

void ArvoImage3DReslicer::loadCephNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                                    float* rowOffsets, int width, int height, float* raySteps,
                                                    int stepCount, Image2D& result)
{
    project({volume, origin, columnOffsets, rowOffsets, width, height, raySteps}, result,
            [&](ArvoImage3DWorker& worker, float* bandOffsets, int rows, float* pixels) {
                worker.initLoadCephNormalizedReslice(volume, origin, columnOffsets, bandOffsets, width, rows,
                                                     raySteps, stepCount, pixels);
            });
}

void ArvoImage3DReslicer::loadInterpolatedNormalizedReslice(ArvoImage3D* volume, float* origin,
                                                            float* columnOffsets, float* rowOffsets,
                                                            int width, int height, Image2D& result)
{
    project({volume, origin, columnOffsets, rowOffsets, width, height, columnOffsets}, result,
            [&](ArvoImage3DWorker& worker, float* bandOffsets, int rows, float* pixels) {
                worker.initLoadInterpolatedNormalizedReslice(volume, origin, columnOffsets, bandOffsets,
                                                             width, rows, pixels);
            });
}
