#pragma once

#include "arvo/frame/Export.h"

#include <array>
#include <memory>

class ArvoImage3D;

/// The mean over a box of odd size centred on each voxel; beyond the borders the edge voxel repeats.
class ARVO_VOLUME_EXPORT ArvoImageCubicFilter {
public:
    /// A new volume of the size and type of `image`: 16-bit, 8-bit, mask or float voxels.
    ///
    /// An even kernel size counts as the next odd one, so that 0 is 1. Box sums come from a summed-volume table in
    /// double precision, made along x, then y, then z. The mean is the sum times the reciprocal of the number of
    /// voxels, truncated toward zero for integers; where that product falls just below a whole number (49 * (1 / 49)),
    /// a constant integer volume loses 1.
    ///
    /// Null without a message for an invalid volume; null with "ArvoImageCubicFilter : Cubic filter not implemented for
    /// this data type." for any other type. A table beyond the memory, or one whose size no 64-bit integer holds, is the
    /// standard allocation failure, which is thrown and leaks nothing.
    ///
    /// Strips of columns run in parallel. The time is that of a table of (nx + kx) (ny + ky) (nz + kz) doubles, of which
    /// only kz + 1 slices of the strips at work are held, and one double per row of the volume and strip.
    static std::unique_ptr<ArvoImage3D> applyCubicFilter(const ArvoImage3D& image,
                                                         const std::array<unsigned long long, 3>& kernelSize);
};
