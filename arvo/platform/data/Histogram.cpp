#include "arvo/platform/data/Histogram.h"

#include "arvo/platform/image/VoxelConversion.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <tuple>

namespace {

constexpr int TABLE_FIRST = -32768;
constexpr int TABLE_LAST = 65535;
constexpr std::size_t TABLE_SIZE = TABLE_LAST - TABLE_FIRST + 1;

/// Counts into several tables in turn: equal neighbours, which are the rule in images, then do not wait for each
/// other's store.
template <class T, class Counts>
void countInto(std::vector<Counts>& table, const char* data, std::size_t count)
{
    constexpr std::size_t LANES = std::tuple_size_v<Counts>;
    const T* values = reinterpret_cast<const T*>(data);
    Counts* zero = table.data() - TABLE_FIRST;
    constexpr std::size_t STEP = 4 * LANES;
    std::size_t i = 0;
    for (; i + STEP <= count; i += STEP) {
        for (std::size_t k = 0; k < STEP; ++k)
            ++zero[values[i + k]][k % LANES];
    }
    for (; i < count; ++i)
        ++zero[values[i]][0];
}

int floorToMultiple(std::int64_t value, std::int64_t width)
{
    const std::int64_t remainder = value % width;
    return static_cast<int>(remainder < 0 ? value - remainder - width : value - remainder);
}

} // namespace

Histogram::Histogram(bool cumulative, int binWidth)
    : m_isCumulative(cumulative),
      m_binWidth(std::max(binWidth, 1))
{
}

void Histogram::addValue(std::int32_t value)
{
    if (value >= TABLE_FIRST && value <= TABLE_LAST)
        ++m_table[static_cast<std::size_t>(value - TABLE_FIRST)][0];
    else
        ++m_others[value];
}

void Histogram::addData(const char* data, int count, HistogramDataType type)
{
    if (!data || count < 1)
        return;
    if (m_table.empty())
        m_table.resize(TABLE_SIZE);
    const auto samples = static_cast<std::size_t>(count);
    switch (type) {
    case HistogramDataType::UInt16:
        countInto<std::uint16_t>(m_table, data, samples);
        break;
    case HistogramDataType::Int16:
        countInto<std::int16_t>(m_table, data, samples);
        break;
    case HistogramDataType::UInt8:
        countInto<std::uint8_t>(m_table, data, samples);
        break;
    case HistogramDataType::Float32:
        for (std::size_t i = 0; i < samples; ++i) {
            float value;
            std::memcpy(&value, data + i * sizeof value, sizeof value);
            addValue(image::truncateToInt32(value));
        }
        break;
    case HistogramDataType::Int32:
        for (std::size_t i = 0; i < samples; ++i) {
            std::int32_t value;
            std::memcpy(&value, data + i * sizeof value, sizeof value);
            addValue(value);
        }
        break;
    }
}

QMap<int, int> Histogram::getHistogram() const
{
    std::map<int, std::int64_t> bins;
    const auto add = [&](int value, std::int64_t count) {
        if (count != 0)
            bins[floorToMultiple(value, m_binWidth)] += count;
    };
    for (const auto& [value, count] : m_others)
        add(value, count);
    for (std::size_t i = 0; i < m_table.size(); ++i)
        add(static_cast<int>(i) + TABLE_FIRST,
            std::accumulate(m_table[i].begin(), m_table[i].end(), std::int64_t(0)));

    QMap<int, int> histogram;
    std::int64_t below = 0;
    for (const auto& [value, count] : bins) {
        below += count;
        histogram.insert(histogram.cend(), value, static_cast<int>(m_isCumulative ? below : count));
    }
    return histogram;
}

namespace conversions {

HistogramDataType toHistogramDataType(image::DataType type)
{
    switch (type) {
    case image::UInt16:
        return HistogramDataType::UInt16;
    case image::Int16:
        return HistogramDataType::Int16;
    case image::Float32:
        return HistogramDataType::Float32;
    case image::Int32:
        return HistogramDataType::Int32;
    default:
        return HistogramDataType::UInt8;
    }
}

} // namespace conversions
