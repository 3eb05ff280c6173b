#include "arvo/platform/data/Histogram.h"
#include "arvo/platform/threading/ThreadProgress.h"
#include "arvo/voxelops/CalculateSurfaceHistogram.h"
#include "arvo/voxelops/CalculateVolume.h"
#include "arvo/voxelops/FloatedBinnedHistogram.h"
#include "arvo/voxelops/OtsuThreshold.h"
#include "support/CancelFlags.h"
#include "support/RandomVolume.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>

using namespace testing_support;
using image3d::FloatedBinnedHistogram;

namespace {

std::map<float, int> naiveBins(const ArvoImage3D& image, double min, double max, std::uint64_t bins)
{
    const float minf = static_cast<float>(min);
    const float range = static_cast<float>(max) - minf;
    const float n = static_cast<float>(bins);
    std::map<float, int> counts;
    for (const float v : voxels<float>(image)) {
        if (min <= double(v) && double(v) <= max)
            ++counts[(std::floor((v - minf) * (n / (range + 1.1920929e-7f))) + 1.0f) * (range / n) + minf];
    }
    return counts;
}

TEST(BinnedHistogram, AgreesWithTheDefinition)
{
    struct Range {
        double min, max;
    };
    const Range ranges[] = {{-1000, 1000}, {0, 0},        {-0.1, 0.7},     {5, -5},
                            {1e-3, 1e30},  {-3e38, 3e38}, {999.9999, 1000}};
    for (const math::Ivec3& size : {math::Ivec3(1, 1, 1), math::Ivec3(61, 67, 3)}) {
        for (const Fill fill : {Fill::Uniform, Fill::Extremes, Fill::FewValues}) {
            const ArvoImage3D image = randomVolume(size, image::Float32, 3, fill);
            for (const Range& range : ranges) {
                for (const std::uint64_t bins :
                     {1u, 2u, 7u, 1000u, 100000u, 1u << 20, (1u << 20) + 1, 1u << 25}) {
                    const auto histogram =
                        FloatedBinnedHistogram::computeHistogram(image, range.min, range.max, bins);
                    const auto expected = naiveBins(image, range.min, range.max, bins);
                    EXPECT_TRUE(
                        std::equal(histogram.begin(), histogram.end(), expected.begin(), expected.end()))
                        << describe(size, image::Float32, 3) << ", from " << range.min << ", bins " << bins;
                }
            }
        }
    }
}

TEST(BinnedHistogram, LooksUpTheBinOfAValue)
{
    const ArvoImage3D image = volumeOf<float>({6, 1, 1}, image::Float32, {0, 0.24f, 0.25f, 0.99f, 1.0f, NAN});
    const auto histogram = FloatedBinnedHistogram::computeHistogram(image, 0, 1, 4);
    const std::vector<std::pair<float, int>> expected = {{0.25f, 3}, {1.0f, 2}};
    EXPECT_TRUE(
        std::equal(histogram.begin(), histogram.end(), expected.begin(), expected.end(),
                   [](const auto& a, const auto& b) { return a.first == b.first && a.second == b.second; }));
    EXPECT_EQ(histogram[0.1f], 3);
    EXPECT_EQ(histogram[1.0f], 2);
    EXPECT_THROW(histogram[0.6f], std::out_of_range);
    EXPECT_THROW(histogram[1.5f], std::out_of_range);
    EXPECT_THROW(histogram[NAN], std::out_of_range);
    // 0.1f is above 0.1: the ends are compared in double precision.
    const ArvoImage3D tenth = volumeOf<float>({1, 1, 1}, image::Float32, {0.1f});
    const auto aboveTheEnd = FloatedBinnedHistogram::computeHistogram(tenth, 0, 0.1, 4);
    EXPECT_TRUE(aboveTheEnd.begin() == aboveTheEnd.end());
    const auto ofShorts =
        FloatedBinnedHistogram::computeHistogram(randomVolume({2, 2, 2}, image::Int16, 1), 0, 1, 4);
    EXPECT_TRUE(ofShorts.begin() == ofShorts.end());
}

TEST(Volume, SumsSignedBytes)
{
    ArvoImage3D mask({10, 10, 20}, QVector3D(0.5f, 0.5f, 0.5f), image::Binary);
    mask.zeroSlices();
    std::fill_n(voxels<unsigned char>(mask).begin(), 1000, static_cast<unsigned char>(1));
    EXPECT_EQ(CalculateVolume::calculate(mask), 125.0f);

    const ArvoImage3D odd = volumeOf<unsigned char>({3, 1, 1}, image::UInt8, {2, 255, 128});
    EXPECT_EQ(CalculateVolume::calculate(odd), -127.0f);
    const ArvoImage3D shorts =
        volumeOf<short>({2, 1, 1}, image::Int16, {0x0102, 0x7f7f}); // two bytes of four
    EXPECT_EQ(CalculateVolume::calculate(shorts), 3.0f);

    const ArvoImage3D random = randomVolume({67, 61, 5}, image::UInt8, 1);
    int sum = 0;
    for (const unsigned char v : voxels<unsigned char>(random))
        sum += static_cast<signed char>(v);
    EXPECT_EQ(CalculateVolume::calculate(random), float(sum) * 0.5f * 0.75f * 1.25f);
    EXPECT_EQ(CalculateVolume::calculate(ArvoImage3D()), 0.0f);
}

template <class Real, class Value> float naiveOtsu(const std::map<Value, int>& counts, Real best)
{
    std::int32_t total = 0;
    Real sum = 0;
    for (const auto& [value, count] : counts) {
        total += count;
        if constexpr (std::is_same_v<Value, int>)
            sum += static_cast<Real>(static_cast<std::int32_t>(static_cast<std::int64_t>(count) * value));
        else
            sum += static_cast<Real>(count) * value;
    }
    float threshold = 0.0f;
    std::int32_t below = 0;
    Real belowSum = 0;
    for (const auto& [value, count] : counts) {
        below += count;
        if (below == total)
            break;
        belowSum += static_cast<Real>(count) * static_cast<Real>(value);
        const Real diff = belowSum / Real(below) - (sum - belowSum) / Real(total - below);
        const Real sigma = Real(total - below) * Real(below) * diff * diff;
        if (sigma > best) {
            best = sigma;
            threshold = static_cast<float>(value);
        }
    }
    return threshold;
}

TEST(Otsu, AgreesWithTheDefinition)
{
    const std::vector<image::DataType> types = {image::UInt16, image::Int16,   image::UInt8,   image::Binary,
                                                image::Int32,  image::Float32, image::Reserved};
    // On the last size the 32-bit products of the larger types wrap.
    for (const math::Ivec3& size : {math::Ivec3(1, 1, 1), math::Ivec3(17, 5, 4), math::Ivec3(61, 67, 53)}) {
        for (const image::DataType type : types) {
            for (const Fill fill : {Fill::Uniform, Fill::FewValues, Fill::Mask, Fill::Extremes}) {
                // Infinite ranges have no bins; many different values only take long.
                const Fill leftOut = type == image::Float32 ? Fill::Extremes : Fill::Uniform;
                if (fill == leftOut && size.x > 20)
                    continue;
                const ArvoImage3D image = randomVolume(size, type, 6, fill);
                float expected = 0.0f;
                withType(type, [&](auto element) {
                    using T = typename decltype(element)::type;
                    if constexpr (std::is_same_v<T, float>) {
                        const math::Range<float> range = image.getValueRange();
                        expected = naiveOtsu(naiveBins(image, range.first, range.second, 100000), 0.0f);
                    } else {
                        std::map<int, int> counts;
                        for (const T v : voxels<T>(image))
                            ++counts[v];
                        expected = naiveOtsu(counts, 2.2250738585072014e-308);
                    }
                });
                const auto threshold = OtsuThreshold::calculate(image, notCancelled);
                ASSERT_TRUE(threshold.has_value());
                EXPECT_EQ(*threshold, expected) << describe(size, type, 6);
                EXPECT_FALSE(OtsuThreshold::calculate(image, cancelled).has_value());
            }
        }
    }
}

TEST(Otsu, ByHand)
{
    const ArvoImage3D twoValues = volumeOf<short>({5, 1, 1}, image::Int16, {-7, 40, 40, -7, 40});
    EXPECT_EQ(OtsuThreshold::calculate(twoValues, notCancelled), -7.0f);
    EXPECT_EQ(OtsuThreshold::calculate(volumeOf<short>({2, 1, 1}, image::Int16, {9, 9}), notCancelled), 0.0f);
    EXPECT_EQ(OtsuThreshold::calculate(volumeOf<float>({2, 1, 1}, image::Float32, {9, 9}), notCancelled),
              0.0f);
    EXPECT_FALSE(
        OtsuThreshold::calculate(ArvoImage3D({3, 3, 0}, QVector3D(1, 1, 1), image::Int16), notCancelled));
    EXPECT_FALSE(
        OtsuThreshold::calculate(volumeOf<float>({2, 1, 1}, image::Float32, {NAN, NAN}), notCancelled));
}

/// A volume whose value is 10 x + 0.9, spacing 2 along x.
ArvoImage3D ramp()
{
    ArvoImage3D image({20, 2, 2}, QVector3D(2, 1, 1), image::Float32);
    std::size_t i = 0;
    for (float& v : voxels<float>(image))
        v = 10.0f * float(i++ % 20) + 0.9f;
    image.editFinished();
    return image;
}

TEST(SurfaceHistogram, SamplesAlongTheNormal)
{
    ArvoImage3D image = ramp();
    float points[] = {20, 0, 0, 8, 1, 1}; // voxels 10 and 4
    float normals[] = {1, 0, 0, -1, 0, 0};
    const std::map<int, std::vector<int>> expectedBySteps = {
        {-3, {}},
        {0, {}},
        {1, {40, 100}},
        {4, {30, 40, 50, 60, 80, 90, 100, 110}},
        {5, {20, 30, 40, 50, 60, 80, 90, 100, 110, 120}}};
    for (const auto& [steps, expected] : expectedBySteps) {
        CalculateSurfaceHistogram calculation;
        ThreadProgress progress;
        calculation.setProgress(&progress);
        calculation.setImage(&image);
        calculation.setSurface(points, normals, 2);
        calculation.setNumberOfSteps(steps);
        calculation.setStepSize(2.0f);
        calculation.execute(notCancelled);
        EXPECT_TRUE(calculation.isSuccess());
        const std::unique_ptr<Histogram> histogram(calculation.getHistogram());
        const QMap<int, int> counts = histogram->getHistogram();
        EXPECT_EQ(std::vector<int>(counts.keyBegin(), counts.keyEnd()), expected) << steps << " steps";
        EXPECT_EQ(progress.value(), 2);
    }
}

TEST(SurfaceHistogram, TruncatesTowardZeroAndCountsEverySample)
{
    ArvoImage3D image = volumeOf<float>({1, 1, 1}, image::Float32, {-1.9f});
    std::vector<float> points(30, 0.0f);
    CalculateSurfaceHistogram calculation;
    calculation.setImage(&image);
    calculation.setSurface(points.data(), points.data(), 10);
    calculation.setNumberOfSteps(3);
    calculation.execute(notCancelled);
    const std::unique_ptr<Histogram> histogram(calculation.getHistogram());
    EXPECT_EQ(histogram->getHistogram(), (QMap<int, int>{{-1, 30}}));
}

TEST(SurfaceHistogram, LeavesItsResultsToTheCaller)
{
    ArvoImage3D image = ramp();
    float point[] = {2, 0, 0};
    QMap<QString, QVariant> information;
    CalculateSurfaceHistogram calculation;
    EXPECT_EQ(calculation.getHistogram(), nullptr);
    calculation.setImage(&image);
    calculation.setSurface(point, point, 1);
    calculation.setNumberOfSteps(1);
    calculation.setInformationMap(&information);
    calculation.execute(cancelled);
    EXPECT_FALSE(calculation.isSuccess());
    const std::unique_ptr<Histogram> partial(calculation.getHistogram());
    EXPECT_TRUE(partial->getHistogram().isEmpty());

    CalculateSurfaceHistogram copy(calculation);
    EXPECT_EQ(copy.getHistogram(), nullptr);
    copy.execute(notCancelled);
    const std::unique_ptr<Histogram> taken(copy.getHistogram());
    EXPECT_EQ(taken->getHistogram(), (QMap<int, int>{{10, 1}}));

    copy.setSurface(nullptr, nullptr, 0); // nothing to sample
    copy.execute(notCancelled);
    EXPECT_TRUE(copy.isSuccess());
    const std::unique_ptr<Histogram> empty(copy.getHistogram());
    EXPECT_TRUE(empty->getHistogram().isEmpty());
}

} // namespace
