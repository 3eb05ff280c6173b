#pragma once

#include "arvo/frame/Export.h"

#include <atomic>

class ArvoImage3D;

/// The masked replacement on voxels of type T: unsigned char, short, unsigned short or float.
template <class T> class ARVO_VOLUME_EXPORT Image3DReplaceVoxelsHelper {
public:
    /// Replaces in slices startSlice to stopSlice (both inclusive, inside both volumes). True when done, true for an
    /// empty range; false when the flag stopped it after the voxel it was at.
    static bool replaceVoxels(ArvoImage3D& image, ArvoImage3D& mask, float value, int startSlice,
                              int stopSlice, const std::atomic<bool>& cancel);
};
