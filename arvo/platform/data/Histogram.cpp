#include "arvo/platform/data/Histogram.h"

#include "arvo/platform/image/VoxelConversion.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr int TABLE_FIRST = -32768;
constexpr int TABLE_LAST = 65535;
constexpr std::size_t TABLE_SIZE = TABLE_LAST - TABLE_FIRST + 1;

/// Counts into four interleaved tables: equal neighbours, which are the rule in images, then do not wait for each
/// other's store.
template <class T> void countInto(std::int64_t* table, const char* data, std::size_t count)
{
    constexpr std::size_t VALUES = std::size_t(1) << (8 * sizeof(T));
    constexpr std::size_t LANES = sizeof(T) == 1 ? 4 : 2;
    const T* values = reinterpret_cast<const T*>(data);
    std::vector<std::array<std::uint32_t, LANES>> lanes(VALUES);
    const auto at = [&](std::size_t i) -> auto&
    {
        return lanes[static_cast<std::make_unsigned_t<T>>(values[i])];
    };

    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        ++at(i)[0];
        ++at(i + 1)[1 % LANES];
        ++at(i + 2)[2 % LANES];
        ++at(i + 3)[3 % LANES];
    }
    for (; i < count; ++i)
        ++at(i)[0];
    for (std::size_t bits = 0; bits < VALUES; ++bits) {
        std::int64_t sum = 0;
        for (const std::uint32_t lane : lanes[bits])
            sum += lane;
        table[static_cast<int>(static_cast<T>(bits)) - TABLE_FIRST] += sum;
    }
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
        ++m_table[static_cast<std::size_t>(value - TABLE_FIRST)];
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
        countInto<std::uint16_t>(m_table.data(), data, samples);
        break;
    case HistogramDataType::Int16:
        countInto<std::int16_t>(m_table.data(), data, samples);
        break;
    case HistogramDataType::UInt8:
        countInto<std::uint8_t>(m_table.data(), data, samples);
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
        add(static_cast<int>(i) + TABLE_FIRST, m_table[i]);

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
