#pragma once

#include "arvo/platform/Export.h"
#include "arvo/platform/image/DataType.h"

#include <QMap>

#include <array>
#include <cstdint>
#include <map>
#include <vector>

/// The element type of samples handed to a histogram.
enum class HistogramDataType : std::int32_t { UInt16 = 0, Int16 = 1, UInt8 = 2, Float32 = 3, Int32 = 4 };

/// Counts of samples by value.
///
/// Values of up to 16 bits are counted in a table, others in an ordered map; no number of samples is too large. A
/// container: where there is no memory for a bin or for the result, std::bad_alloc.
class ARVO_PLATFORM_EXPORT Histogram {
public:
    /// `binWidth` values share a bin, which is named after its lowest value, a multiple of the width; below 1 counts
    /// as 1. A cumulative histogram gives for each bin the samples in it and in all bins below.
    Histogram(bool cumulative, int binWidth);

    /// Adds `count` samples read from `data`; floats are truncated toward zero. Null data or a count below 1 adds
    /// nothing.
    void addData(const char* data, int count, HistogramDataType type);

    /// Bin to number of samples, ascending, without empty bins; a number that no int holds is cut to its low 32 bits.
    QMap<int, int> getHistogram() const;

private:
    using Counts = std::array<std::uint32_t, 2>; // to be added up; see addData

    void addValue(std::int32_t value);
    /// Calls use(value, count) for the values in the table, ascending.
    template <class Use> void forEachInTable(Use&& use) const;
    /// Moves the counts on to the map, before one of the table's can overflow.
    void emptyTable();

    bool m_isCumulative;
    int m_binWidth;
    std::vector<Counts> m_table;          // every value of the 16-bit types; made by the first sample
    std::uint32_t m_tableSamples = 0;     // counted there
    std::map<int, std::int64_t> m_counts; // of other values, and what the table held before
};

namespace conversions {

/// The sample type with the width and signedness of the volume's elements.
ARVO_PLATFORM_EXPORT HistogramDataType toHistogramDataType(image::DataType type);

} // namespace conversions
