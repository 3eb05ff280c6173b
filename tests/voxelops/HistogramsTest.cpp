#include "arvo/platform/data/Histogram.h"
#include "arvo/platform/threading/ThreadProgress.h"
#include "arvo/voxelops/CalculateSurfaceHistogram.h"
#include "arvo/voxelops/CalculateVolume.h"
#include "arvo/voxelops/FloatedBinnedHistogram.h"
#include "arvo/voxelops/OtsuThreshold.h"
#include "support/CancelFlags.h"
#include "support/RandomVolume.h"
#include "support/Warnings.h"

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
    const math::Range<double> ranges[] = {{-1000, 1000}, {0, 0},        {-0.1, 0.7},     {5, -5},
                                          {1e-3, 1e30},  {-3e38, 3e38}, {999.9999, 1000}};
    for (const math::Ivec3& size : {math::Ivec3(1, 1, 1), math::Ivec3(61, 67, 3)}) {
        for (const Fill fill : {Fill::Uniform, Fill::Extremes, Fill::FewValues}) {
            const ArvoImage3D image = randomVolume(size, image::Float32, 3, fill);
            for (const math::Range<double>& range : ranges) {
                for (const unsigned bins : {1u, 2u, 7u, 1000u, 100000u, 1u << 20, (1u << 20) + 1, 1u << 25}) {
                    const auto histogram =
                        FloatedBinnedHistogram::computeHistogram(image, range.first, range.second, bins);
                    const auto expected = naiveBins(image, range.first, range.second, bins);
                    EXPECT_TRUE(
                        std::equal(histogram.begin(), histogram.end(), expected.begin(), expected.end()))
                        << describe(size, image::Float32, 3) << ", from " << range.first << ", bins " << bins;
                }
            }
        }
    }
}

TEST(BinnedHistogram, LooksUpTheBinOfAValue)
{
    const ArvoImage3D image = volumeOf<float>({6, 1, 1}, image::Float32, {0, 0.24f, 0.25f, 0.99f, 1.0f, NAN});
    const auto histogram = FloatedBinnedHistogram::computeHistogram(image, 0, 1, 4);
    EXPECT_EQ(histogram[0.1f], 3); // the third lies on the end of its bin but for the range's epsilon
    EXPECT_EQ(histogram[1.0f], 2);
    for (const float without : {0.6f, 1.5f, NAN})
        EXPECT_THROW(histogram[without], std::out_of_range) << without;
    // As floats, tenths lie outside: the ends are compared in double precision.
    const ArvoImage3D tenths = volumeOf<float>({2, 1, 1}, image::Float32, {0.1f, -0.1f});
    const ArvoImage3D shorts = randomVolume({2, 2, 2}, image::Int16, 1);
    for (const ArvoImage3D* none : {&tenths, &shorts}) {
        const auto empty = FloatedBinnedHistogram::computeHistogram(*none, -0.1, 0.1, 4);
        EXPECT_TRUE(empty.begin() == empty.end());
    }
}

TEST(Volume, SumsSignedBytes)
{
    const ArvoImage3D shorts =
        volumeOf<short>({2, 1, 1}, image::Int16, {0x0102, 0x7f7f}); // two bytes of four
    EXPECT_EQ(CalculateVolume::calculate(shorts), 3.0f);
    const ArvoImage3D random = randomVolume({67, 61, 5}, image::UInt8, 1);
    int sum = 0;
    for (const unsigned char v : voxels<unsigned char>(random))
        sum += static_cast<signed char>(v);
    EXPECT_EQ(CalculateVolume::calculate(random), float(sum) * 0.5f * 0.75f * 1.25f);
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
    const auto otsuOf = [](const ArvoImage3D& image) {
        return OtsuThreshold::calculate(image, notCancelled);
    };
    EXPECT_EQ(otsuOf(volumeOf<short>({5, 1, 1}, image::Int16, {-7, 40, 40, -7, 40})), -7.0f);
    EXPECT_EQ(otsuOf(volumeOf<short>({2, 1, 1}, image::Int16, {9, 9})), 0.0f);
    EXPECT_EQ(otsuOf(volumeOf<float>({2, 1, 1}, image::Float32, {9, 9})), 0.0f);
    EXPECT_FALSE(otsuOf(ArvoImage3D({3, 3, 0}, QVector3D(1, 1, 1), image::Int16)));
    EXPECT_FALSE(otsuOf(volumeOf<float>({2, 1, 1}, image::Float32, {NAN, NAN})));
}

/// The samples of the calculation's last run in ascending order; the histogram is the caller's.
std::vector<int> takenSamples(const CalculateSurfaceHistogram& calculation)
{
    const std::unique_ptr<Histogram> histogram(calculation.getHistogram());
    std::vector<int> samples;
    for (const auto& [value, count] : histogram->getHistogram().toStdMap())
        samples.insert(samples.end(), static_cast<std::size_t>(count), value);
    return samples;
}

TEST(SurfaceHistogram, SamplesAlongTheNormal)
{
    // The value at column x is 10 x - 49.1; spacing 2 along x.
    ArvoImage3D image({20, 2, 2}, QVector3D(2, 1, 1), image::Float32);
    forEachVoxel(image.imageSize(), [&](int x, int, int, std::size_t i) {
        voxels<float>(image)[i] = 10.0f * static_cast<float>(x) - 49.1f;
    });
    float points[] = {20, 0, 0, 8, 1, 1, 8, 1, 1}; // columns 10, 4 and 4
    float normals[] = {1, 0, 0, -1, 0, 0, 0, 0, 0};
    ThreadProgress progress;
    CalculateSurfaceHistogram settings;
    settings.setProgress(&progress);
    settings.setImage(&image);
    settings.setSurface(points, normals, 3);
    settings.setStepSize(2.0f);
    const std::map<int, std::vector<int>> expectedBySteps = {
        {-3, {}},
        {0, {}},
        {1, {-9, -9, 50}},
        {4, {-19, -9, -9, -9, -9, -9, 0, 10, 30, 40, 50, 60}},
        {5, {-29, -19, -9, -9, -9, -9, -9, -9, 0, 10, 30, 40, 50, 60, 70}}};
    for (const auto& [steps, expected] : expectedBySteps) {
        settings.setNumberOfSteps(steps);
        CalculateSurfaceHistogram calculation(settings);
        EXPECT_EQ(calculation.getHistogram(), nullptr);
        calculation.execute(notCancelled);
        EXPECT_TRUE(calculation.isSuccess());
        EXPECT_EQ(takenSamples(calculation), expected) << steps << " steps";
        EXPECT_EQ(progress.value(), 3);
        calculation.execute(cancelled);
        EXPECT_FALSE(calculation.isSuccess());
        EXPECT_EQ(takenSamples(calculation), std::vector<int>());
    }
}

TEST(SurfaceHistogram, NeedsPointsAndNormalsOnlyToSampleThem)
{
    ArvoImage3D image = randomVolume({3, 2, 2}, image::Int16, 1);
    float point[] = {0, 0, 0};
    QMap<QString, QVariant> information;
    CalculateSurfaceHistogram calculation;
    calculation.setImage(&image);
    calculation.setInformationMap(&information);
    const Warnings warnings;
    for (const int count : {0, 1}) {
        calculation.setSurface(point, nullptr, count);
        calculation.execute(notCancelled);
        EXPECT_EQ(calculation.isSuccess(), count == 0);
    }
    EXPECT_EQ(warnings.texts(),
              std::vector<std::string>{"CalculateSurfaceHistogram : no surface points and normals."});
    EXPECT_EQ(takenSamples(calculation), std::vector<int>()) << "of the run before";
}

} // namespace
