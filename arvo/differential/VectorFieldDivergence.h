#pragma once

#include "arvo/frame/Export.h"

#include <memory>

class ArvoImage3D;
class ThreeImages3D;

/// The divergence dU/dx + dV/dy + dW/dz of a vector field by clamped central differences.
class ARVO_VOLUME_EXPORT VectorFieldDivergence {
public:
    /// A new float volume of U's size and voxel size; values are per voxel, whatever the voxel size. The field, of
    /// 16-bit, 8-bit, mask or float voxels, is only read.
    ///
    /// Runs one thread per range of slices and blocks until all have finished; it cannot be cancelled. A field that is
    /// not valid: "VectorFieldDivergenceWorker: The input vector field is not valid." and no volume. Another element
    /// type: "VectorFieldDivergenceWorker: calculateVectorFieldDivergence is not implemented for current data type."
    /// from each worker and a volume whose voxels were never set. O(n) time for n voxels; 4 bytes a voxel for the
    /// result; without memory for it: one warning and no volume.
    static std::unique_ptr<ArvoImage3D> calculate(const ThreeImages3D& field);
};
