#pragma once

#include "arvo/frame/Export.h"

class ArvoImage3D;

/// The gradient's length at every voxel, by the clamped central differences of Gradient, without building the field.
class ARVO_VOLUME_EXPORT DirectGradientNorm {
public:
    virtual ~DirectGradientNorm();

    /// Fills `output`, a float volume of the input's size, from 16-bit, 8-bit, mask or float voxels. Neither is owned.
    ///
    /// Runs one thread per range of slices, blocks until all have finished, then calls editFinished() on the output;
    /// it cannot be cancelled. An output of another type or size: "DirectGradientNormWorker: the output is not a valid
    /// image" from each worker; an input of another type: "DirectGradientNormWorker: calculateNormGradient is not
    /// implemented for current data type" from each worker; the voxels stay as they were. A missing volume, an
    /// invalid input, or one float volume as both: one warning, nothing done. O(n) time for n voxels, no memory.
    static void calculateNormGradient(ArvoImage3D* input, ArvoImage3D* output);
};
