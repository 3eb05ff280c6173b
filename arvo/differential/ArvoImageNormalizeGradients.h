#pragma once

#include "arvo/frame/Export.h"

class ThreeImages3D;

/// Scales every vector of a field to unit length.
class ARVO_VOLUME_EXPORT ArvoImageNormalizeGradients {
public:
    /// Works in place on fields of 16-bit, 8-bit, mask or float voxels; true when done, also without slices.
    ///
    /// Float: each component is divided by the vector's length + 2^-23, so that a zero vector stays zero. Integers: the
    /// sum of squares wraps at 32 bits, the length is truncated and cut to the low bits of the element, and components
    /// are divided as integers, so that most become 0 or ±1; a voxel whose length comes out as 0, or whose sum of
    /// squares wraps to below 0, stays as it is.
    ///
    /// Slices run in parallel on the TBB pool; the call returns when all are done and the field was told that editing is
    /// finished. False, and no change: an invalid component (silent); another element type: "ArvoImageNormalizeGradients
    /// : normalize not implemented for this data type."; a missing component, or components that differ in type or
    /// size: one warning. O(n) time for n voxels, no memory.
    static bool normalize(ThreeImages3D& field);
};
