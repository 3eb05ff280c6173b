#include "arvo/platform/data/Histogram.h"

#include "arvo/platform/image/VoxelConversion.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <tuple>

namespace {

constexpr int TABLE_FIRST = -32768;
constexpr int TABLE_LAST = 65535;
constexpr std::size_t TABLE_SIZE = TABLE_LAST - TABLE_FIRST + 1;

/// Takes the samples a word at a time, so that fewer loads have to be checked against the stores before them, and counts
/// into several tables in turn: equal neighbours, which are the rule in images, then do not wait for each other's store.
/// Asks for what lies a page ahead, because the processor by itself does not read on past the end of a page.
template <class T, class Counts>
void countInto(std::vector<Counts>& table, const char* data, std::size_t count)
{
    using Word = std::uint64_t;
    constexpr std::size_t LANES = std::tuple_size_v<Counts>;
    constexpr std::size_t LINE = 64;
    constexpr std::size_t PAGE = 4096;
    Counts* zero = table.data() - TABLE_FIRST;
    const char* const end = data + count * sizeof(T);
    for (; end - data >= static_cast<std::ptrdiff_t>(LINE); data += LINE) {
        __builtin_prefetch(data + PAGE);
        for (std::size_t i = 0; i < LINE; i += sizeof(Word)) {
            Word word;
            std::memcpy(&word, data + i, sizeof word);
            for (std::size_t k = 0; k < sizeof(Word) / sizeof(T); ++k, word >>= 8 * sizeof(T))
                ++zero[static_cast<T>(word)][k % LANES];
        }
    }
    for (; data != end; data += sizeof(T)) {
        T value;
        std::memcpy(&value, data, sizeof value);
        ++zero[value][0];
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
        ++m_table[static_cast<std::size_t>(value - TABLE_FIRST)][0];
    else
        ++m_counts[value];
}

void Histogram::addData(const char* data, int count, HistogramDataType type)
{
    if (!data || count < 1)
        return;
    if (m_table.empty())
        m_table.resize(TABLE_SIZE);
    const auto samples = static_cast<std::uint32_t>(count);
    if (samples > std::numeric_limits<std::uint32_t>::max() - m_tableSamples)
        emptyTable();
    m_tableSamples += samples;
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

template <class Use> void Histogram::forEachInTable(Use&& use) const
{
    for (std::size_t i = 0; i < m_table.size(); ++i) {
        const auto count = std::accumulate(m_table[i].begin(), m_table[i].end(), std::int64_t(0));
        if (count != 0)
            use(static_cast<int>(i) + TABLE_FIRST, count);
    }
}

void Histogram::emptyTable()
{
    forEachInTable([&](int value, std::int64_t count) { m_counts[value] += count; });
    std::fill(m_table.begin(), m_table.end(), Counts());
    m_tableSamples = 0;
}

QMap<int, int> Histogram::getHistogram() const
{
    std::map<int, std::int64_t> bins;
    const auto add = [&](int value, std::int64_t count) {
        bins.try_emplace(bins.end(), floorToMultiple(value, m_binWidth), 0)->second += count;
    };
    forEachInTable(add);
    for (const auto& [value, count] : m_counts)
        add(value, count);

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
