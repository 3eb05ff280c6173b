#pragma once

#include "arvo/frame/TrilinearSampler.h"
#include "arvo/platform/utility/VectorClones.h"
#include "arvo/reslice/ProjectionBand.h"

#include <cstdint>

namespace reslice {

/// Which samples of a ray count: those at parameters t < end, t <= end, or t <= end - 1.
enum class RayEnd { Before, At, OneBefore };

/// The rays of a small block of pixels, sampled in step: one sample of each, then all advance. A block of two rows
/// keeps the rays together, which touches fewer cache lines a step than a run of one row.
///
/// A ray that misses the volume, or whose slab is empty, is never active. Rays that have ended stay at their last
/// sample, so that positions stay inside the volume.
struct alignas(64) RayBlock {
    static constexpr int COUNT = frame::SamplePositions::COUNT;
    static constexpr int ROWS = 2;
    static constexpr int COLUMNS = COUNT / ROWS; ///< ray i is that of column i % COLUMNS, row i / COLUMNS

    frame::SamplePositions position; ///< where to sample
    frame::SamplePositions step;
    float t[COUNT];              ///< ray parameter of that sample
    float start[COUNT];          ///< parameter of the first sample; 0 for a ray without a slab
    float end[COUNT];            ///< last parameter that counts, or the first that does not
    std::int32_t limit[COUNT];   ///< number of samples that no ray goes beyond
    std::int32_t active[COUNT];  ///< whether the sample at `position` counts
    std::int32_t hasSlab[COUNT]; ///< whether the ray meets the volume within the slab
    int sampleCount = 0;         ///< samples each ray has behind it, as far as it went
    bool isAnyActive = false;

    /// The rays of the block of pixels that begins there, as far as it lies in the band.
    RayBlock(const ProjectionBand& band, int column, int row, RayEnd rayEnd);

    /// Moves every ray to its next sample.
    template <RayEnd END> ARVO_KERNEL void advance()
    {
        ++sampleCount;
        std::int32_t any = 0;
        for (int i = 0; i < COUNT; ++i) {
            t[i] += 1.0f;
            const bool isWithin = END == RayEnd::Before ? t[i] < end[i] : t[i] <= end[i];
            const bool goesOn = isWithin & (sampleCount < limit[i]);
            position.x[i] += goesOn ? step.x[i] : 0.0f;
            position.y[i] += goesOn ? step.y[i] : 0.0f;
            position.z[i] += goesOn ? step.z[i] : 0.0f;
            active[i] = goesOn;
            any |= goesOn;
        }
        isAnyActive = any != 0;
    }

private:
    void aim(int i, const ProjectionBand& band, int column, int row, RayEnd rayEnd);
};

} // namespace reslice
