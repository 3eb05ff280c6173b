#pragma once

#include "arvo/frame/Export.h"

#include <cstdint>
#include <map>

class ArvoImage3D;

namespace image3d {

/// A sparse histogram of a float volume: bins of equal width between two ends, each addressed by its upper edge.
///
/// A value type, unchanged once computed. All arithmetic is in single precision: with range = max - min and
/// width = range / bins, a value v is in bin k = floor((v - min) * (bins / (range + 2^-23))), whose key is
/// (k + 1) * width + min. The small addend is there to keep v = max in the last bin; where it vanishes against the range
/// (from 2 on), v = max gets a bin of its own above the last.
class ARVO_VOLUME_EXPORT FloatedBinnedHistogram {
public:
    /// Upper edge of a bin to its count.
    using Bins = std::map<float, int>;

    /// Counts the voxels from `min` to `max`, both inclusive; NaN is left out. Only bins with voxels exist.
    ///
    /// A volume of another type than float gives an empty histogram, without a warning;
    /// so does a lack of memory, with one. Runs on the calling thread; O(n)
    /// time for n voxels, 8 bytes a bin while it counts up to a million bins.
    static FloatedBinnedHistogram computeHistogram(const ArvoImage3D& image, double min, double max,
                                                   std::uint64_t bins);

    /// The count of the bin that holds the value; std::out_of_range when that bin is empty or outside the range.
    int operator[](float value) const;

    /// (key, count) of each bin, in ascending order of the keys.
    /// @{
    Bins::const_iterator begin() const { return m_bins.begin(); }
    Bins::const_iterator end() const { return m_bins.end(); }
    /// @}

private:
    FloatedBinnedHistogram() = default;

    Bins m_bins;
    double m_min = 0.0;
    double m_max = 0.0;
    std::uint64_t m_binCount = 0;
};

} // namespace image3d
