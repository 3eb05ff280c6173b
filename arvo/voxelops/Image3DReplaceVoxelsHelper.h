#pragma once

#include "arvo/frame/Export.h"

#include <atomic>

class ArvoImage3D;

/// The masked replacement on voxels of type T: unsigned char, short, unsigned short or float.
template <class T> class ARVO_VOLUME_EXPORT Image3DReplaceVoxelsHelper {
public:
    /// Replaces in slices startSlice to stopSlice (both inclusive). True when done, true for an empty range; false when
    /// the flag stopped it after the voxel it was at; one warning, false and nothing changed when the image does not
    /// hold such slices of voxels of that width, or the mask not as many bytes.
    static bool replaceVoxels(ArvoImage3D& image, ArvoImage3D& mask, float value, int startSlice,
                              int stopSlice, const std::atomic<bool>& cancel);
};
