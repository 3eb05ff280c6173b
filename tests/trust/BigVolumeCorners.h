#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Operations whose result moves along with what it is made of. The far corner of a big volume that is zero elsewhere has
/// to come out as a small volume that is nothing but this corner, and the rest all the same.
namespace big {

/// The extents of the small volume.
constexpr int CORNER = 40;

using Volume = std::unique_ptr<ArvoImage3D>;

/// Zeros, but for an object in the far corner, which it touches; other seeds make other voxels. The voxels are half a
/// millimetre large, so that positions are exact however far they are.
Volume volumeWithObject(int side, image::DataType type, unsigned seed = 1);

struct CornerOperation {
    std::string name;
    image::DataType type;                    ///< of the volume it works on
    std::function<Volume(ArvoImage3D&)> run; ///< returns null when it works in place
    bool isEvenElsewhere = true;             ///< the result away from the object is one value
};

std::vector<CornerOperation> cornerOperations();

/// Runs the operation on a volume of that side and on the corner alone, and compares.
bool isCornerRight(const CornerOperation& operation, int side);

} // namespace big
