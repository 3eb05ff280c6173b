#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <vector>

/// Connected-component labelling voxel by voxel, as it is defined: what the run-based labelling is compared with.
namespace naive {

struct Labelled {
    ArvoImage3D labels;       ///< Int16
    std::vector<int> volumes; ///< of labels 0 to K; that of label 0 is 0
};

/// Labels the non-zero bytes of `mask` by all 26 neighbours or by the 6 of the faces.
Labelled label(const ArvoImage3D& mask, bool isDiagonal);

} // namespace naive
