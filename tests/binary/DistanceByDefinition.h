#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

/// Boundary and distance map as they are defined, voxel by voxel.
namespace testing_support {

ArvoImage3D boundaryByDefinition(const ArvoImage3D& object);
ArvoImage3D unsignedDistanceByDefinition(const ArvoImage3D& object);
ArvoImage3D signedDistanceByDefinition(const ArvoImage3D& object);

} // namespace testing_support
