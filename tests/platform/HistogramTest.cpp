#include "arvo/platform/data/Histogram.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <vector>

namespace {

using Bins = std::map<int, int>;

template <class T> void add(Histogram& histogram, const std::vector<T>& values, HistogramDataType type)
{
    histogram.addData(reinterpret_cast<const char*>(values.data()), static_cast<int>(values.size()), type);
}

TEST(Histogram, TruncatesFloatsAndIgnoresNothing)
{
    Histogram histogram(false, 1);
    add<float>(histogram, {-0.9f, 0.9f, 3e9f, 70000.5f}, HistogramDataType::Float32);
    histogram.addData(nullptr, 5, HistogramDataType::Int32);
    const Bins expected = {{std::numeric_limits<int>::min(), 1}, {0, 2}, {70000, 1}};
    EXPECT_EQ(histogram.getHistogram().toStdMap(), expected);
}

TEST(Histogram, SharesBinsAndAddsUp)
{
    const Bins bins = {{-20, 1}, {-10, 2}, {0, 2}, {10, 1}, {100000, 1}};
    const Bins sums = {{-20, 1}, {-10, 3}, {0, 5}, {10, 6}, {100000, 7}};
    for (const bool isCumulative : {false, true}) {
        Histogram histogram(isCumulative, 10);
        add<std::int16_t>(histogram, {-11, -10, -1}, HistogramDataType::Int16);
        add<std::uint8_t>(histogram, {0, 9}, HistogramDataType::UInt8);
        add<std::int32_t>(histogram, {10, 100000}, HistogramDataType::Int32);
        EXPECT_EQ(histogram.getHistogram().toStdMap(), isCumulative ? sums : bins);
    }
}

} // namespace
