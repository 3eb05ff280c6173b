#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/utility/Optional.h"

#include <atomic>

class ArvoImage3D;

/// The grey value that best splits a volume into two classes.
///
/// Largest between-class variance, after N. Otsu, "A threshold selection method from gray-level histograms", IEEE Trans.
/// Systems, Man, and Cybernetics 9, 1979.
class ARVO_VOLUME_EXPORT OtsuThreshold {
public:
    /// The threshold: voxels up to and including it are the lower class. Of equally good ones, the lowest.
    ///
    /// Float volumes: 100000 bins over the value range (FloatedBinnedHistogram), the search in single precision; the
    /// threshold is the upper edge of a bin. All other types: one bin a grey value, the search in double precision. Of a
    /// volume with a single value the threshold is 0. Empty when there are no voxels or when the flag, looked at once per
    /// slice of integers and once per bin, is up.
    ///
    /// Counts are 32-bit; in the sum over all grey values of an integer volume, each count * value is cut to 32 bits.
    /// Runs on the calling thread; O(n) time for n voxels; at most a few MiB of memory.
    static utility::Optional<float> calculate(const ArvoImage3D& image, const std::atomic<bool>& cancel);
};
