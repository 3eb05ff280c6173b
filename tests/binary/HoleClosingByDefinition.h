#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

/// The closing of holes as it is defined: a heap of voxels, a stack flood, bytes for the states.
namespace testing_support {

/// The closed image of a mask with at least one non-zero byte.
ArvoImage3D closedByDefinition(const ArvoImage3D& mask);

} // namespace testing_support
