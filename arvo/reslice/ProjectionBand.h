#pragma once

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/math/Range.h"
#include "arvo/reslice/ArvoImage3DEnums.h"

#include <cstddef>

/// The projections of a band of output rows, on plain tables. ArvoImage3DReslicer says what each of them computes.
namespace reslice {

/// Where a band's pixels lie and where they go; see ArvoImage3DWorker for the tables. `depth` may be null.
struct ProjectionBand {
    const ArvoImage3D& volume;
    const float* origin;
    const float* columnOffsets;
    const float* rowOffsets;
    int width;
    int rows;
    const float* raySteps;
    int stepCount;
    float* result;
    float* depth;

    /// The base point of a pixel on one axis.
    float base(int column, int row, int axis) const
    {
        return origin[axis] + rowOffsets[3 * std::ptrdiff_t{row} + axis] +
               columnOffsets[3 * std::ptrdiff_t{column} + axis];
    }
    std::ptrdiff_t pixel(int column, int row) const { return std::ptrdiff_t{row} * width + column; }
};

/// Maximum along each ray; T is any element type of a grey-value volume, or float.
template <class T>
void projectMaximum(const ProjectionBand& band, ArvoImage3DEnums::MIP_COMPARE_FUNCTION compare,
                    bool isNormalized);

/// Intensity-weighted mean along each ray; T is an integer type.
template <class T> void projectXRay(const ProjectionBand& band, const math::Range<float>& intensityRange);

/// Sum along each ray through a float volume.
void projectSum(const ProjectionBand& band);

/// One normalised sample a pixel, no ray; T is an integer type.
template <class T> void sampleNormalized(const ProjectionBand& band);

} // namespace reslice
