#pragma once

#include "arvo/frame/Export.h"

class ArvoImage3D;

/// The physical volume of a binary mask.
class ARVO_VOLUME_EXPORT CalculateVolume {
public:
    /// The sum of the voxels times the volume of a voxel, in the cube of the voxel size's unit.
    ///
    /// Meant for masks of 0 and 1, but voxels are added up as signed bytes in 32 bits: a voxel of 2 counts twice, one of
    /// 255 counts as -1. The type is not looked at: the first x * y * z bytes of any volume are read. O(n) time.
    static float calculate(const ArvoImage3D& mask);
};
