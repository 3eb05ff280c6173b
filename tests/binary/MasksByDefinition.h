#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <functional>
#include <vector>

/// Boundary, distance map and connected parts as they are defined, voxel by voxel.
namespace testing_support {

ArvoImage3D boundaryByDefinition(const ArvoImage3D& object);
ArvoImage3D unsignedDistanceByDefinition(const ArvoImage3D& object);
ArvoImage3D signedDistanceByDefinition(const ArvoImage3D& object);

struct Labelled {
    ArvoImage3D labels;       ///< Int16
    std::vector<int> volumes; ///< of labels 0 to K; that of label 0 is 0
};

/// Labels the non-zero bytes of `mask` by all 26 neighbours or by the 6 of the faces.
Labelled labelledByDefinition(const ArvoImage3D& mask, bool isDiagonal);

/// A mask of the parts, or background, with isKept(label).
ArvoImage3D keptParts(const Labelled& parts, const std::function<bool(std::size_t)>& isKept);

} // namespace testing_support
