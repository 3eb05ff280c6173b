#pragma once

#include "arvo/frame/Export.h"

#include <atomic>
#include <vector>

class ArvoImage3D;

/// Sorted lists of voxels of type T: unsigned char, short, unsigned short or float.
///
/// Slices startSlice to stopSlice (both inclusive), ascending, as floats. -0 sorts before +0, NaN after every number. The
/// cancel flag is looked at after every voxel; seeing it raised gives an empty list, as does an empty range. Slices
/// outside the volume, voxels of another width or no memory: one warning and an empty list. O(n) time for n voxels: a
/// count table for integers, a radix sort for floats. 4 bytes a voxel of the range for the list; floats need the same
/// again while they are sorted.
template <class T> class ARVO_VOLUME_EXPORT Image3DSortHelper {
public:
    /// Always true.
    static bool sortAll(T value);
    /// Whether the value is not 0; NaN is not.
    static bool sortWhenNonZero(T value);

    /// The voxels that `accept` is true for, which is asked once for each, x fastest.
    static std::vector<float> sortVoxelsInStdVector(ArvoImage3D& image, int startSlice, int stopSlice,
                                                    bool (*accept)(T), const std::atomic<bool>& cancel);
    /// All voxels, or those that are not 0.
    /// @{
    static std::vector<float> calculateSortedValues(ArvoImage3D& image, int startSlice, int stopSlice,
                                                    const std::atomic<bool>& cancel);
    static std::vector<float> calculateNonZeroSortedValues(ArvoImage3D& image, int startSlice, int stopSlice,
                                                           const std::atomic<bool>& cancel);
    /// @}
};
