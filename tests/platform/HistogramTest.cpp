#include "arvo/platform/data/Histogram.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <random>
#include <vector>

namespace {

template <class T> void add(Histogram& histogram, const std::vector<T>& values, HistogramDataType type)
{
    histogram.addData(reinterpret_cast<const char*>(values.data()), static_cast<int>(values.size()), type);
}

template <class T> void expectCounts(HistogramDataType type)
{
    std::mt19937 random(7);
    for (const std::size_t count : {1u, 3u, 4u, 5u, 1000u}) {
        std::vector<T> values(count);
        std::map<int, int> expected;
        Histogram histogram(false, 1);
        for (int repeat = 0; repeat < 2; ++repeat) {
            for (T& value : values) {
                value =
                    static_cast<T>(random() % 3 == 0 ? std::numeric_limits<T>::lowest() : T(random() % 9));
                ++expected[static_cast<int>(value)];
            }
            add(histogram, values, type);
        }
        EXPECT_EQ(histogram.getHistogram().toStdMap(), expected) << count;
    }
}

TEST(Histogram, CountsEveryElementType)
{
    expectCounts<std::uint16_t>(HistogramDataType::UInt16);
    expectCounts<std::int16_t>(HistogramDataType::Int16);
    expectCounts<std::uint8_t>(HistogramDataType::UInt8);
    expectCounts<std::int32_t>(HistogramDataType::Int32);
}

TEST(Histogram, TruncatesFloatsAndIgnoresNothing)
{
    Histogram histogram(false, 1);
    add<float>(histogram, {-0.9f, 0.9f, 3e9f, 70000.5f}, HistogramDataType::Float32);
    histogram.addData(nullptr, 5, HistogramDataType::Int32);
    const std::map<int, int> expected = {{std::numeric_limits<int>::min(), 1}, {0, 2}, {70000, 1}};
    EXPECT_EQ(histogram.getHistogram().toStdMap(), expected);
}

TEST(Histogram, SharesBinsAndAddsUp)
{
    Histogram wide(false, 10), cumulative(true, 10);
    const std::vector<std::int32_t> values = {-11, -10, -1, 0, 9, 10, 100000};
    add(wide, values, HistogramDataType::Int32);
    add(cumulative, values, HistogramDataType::Int32);
    const std::map<int, int> bins = {{-20, 1}, {-10, 2}, {0, 2}, {10, 1}, {100000, 1}};
    const std::map<int, int> sums = {{-20, 1}, {-10, 3}, {0, 5}, {10, 6}, {100000, 7}};
    EXPECT_EQ(wide.getHistogram().toStdMap(), bins);
    EXPECT_EQ(cumulative.getHistogram().toStdMap(), sums);
}

} // namespace
