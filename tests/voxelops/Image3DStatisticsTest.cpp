#include "arvo/voxelops/Image3DStatistics.h"

#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/voxelops/Image3DSortHelper.h"
#include "support/CancelFlags.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <algorithm>
#include <cmath>

using namespace testing_support;

namespace {

using Method = Image3DStatisticsMethod;

struct ThreadLimit {
    explicit ThreadLimit(int count) { threading::setThreadLimit(count); }
    ~ThreadLimit() { threading::setThreadLimit(0); }
};

struct Result {
    bool success;
    double value;
};

Result compute(ArvoImage3D& image, Method::Method method, const std::atomic<bool>& cancel = notCancelled)
{
    Image3DStatistics statistics(method);
    statistics.setInputImage(&image);
    statistics.execute(cancel);
    return {statistics.isSuccess(), statistics.getValue()};
}

/// The definition: partial results of each range of slices, combined in order.
template <class T> double naiveValue(const ArvoImage3D& image, Method::Method method)
{
    const auto all = voxels<T>(image);
    const int depth = image.imageSize().z;
    const std::size_t sliceCount = all.size() / static_cast<std::size_t>(depth);
    const auto [workers, slices] = threading::calculateNumThreads(depth);
    double mean = 0.0;
    double nonZeroSum = 0.0;
    double nonZeros = 0.0;
    std::vector<float> sorted;
    for (int worker = 0; worker < workers; ++worker) {
        const std::size_t begin = static_cast<std::size_t>(worker * slices) * sliceCount;
        const std::size_t end = std::min(all.size(), begin + static_cast<std::size_t>(slices) * sliceCount);
        double sum = 0.0;
        double rangeNonZeroSum = 0.0;
        for (std::size_t i = begin; i < end; ++i) {
            const bool isNonZero = all[i] != T(0);
            sum += all[i];
            rangeNonZeroSum += isNonZero ? all[i] : 0.0;
            nonZeros += isNonZero;
            if (method != Method::MedianOfNonZeroValues || isNonZero)
                sorted.push_back(static_cast<float>(all[i]));
        }
        mean += sum / static_cast<double>(all.size());
        nonZeroSum += rangeNonZeroSum;
    }
    if (method == Method::Mean)
        return mean;
    if (method == Method::MeanOfNonZeroValues)
        return nonZeros == 0 ? 0.0 : nonZeroSum / nonZeros;
    std::ranges::sort(sorted, [](float a, float b) { return std::isnan(b) ? !std::isnan(a) : a < b; });
    const std::size_t n = sorted.size();
    if (n == 0)
        return 0.0;
    return n % 2 == 1 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) * 0.5f;
}

void expectDefinition(ArvoImage3D& image, const std::string& what)
{
    for (const auto method :
         {Method::Mean, Method::MeanOfNonZeroValues, Method::Median, Method::MedianOfNonZeroValues}) {
        double expected = 0.0;
        withType(image.dataType(), [&](auto element) {
            using T = typename decltype(element)::type;
            expected = naiveValue<T>(image, method);
        });
        const Result result = compute(image, method);
        EXPECT_TRUE(result.success);
        EXPECT_TRUE(result.value == expected || (std::isnan(result.value) && std::isnan(expected)))
            << what << ", method " << method << ": " << result.value << " instead of " << expected;
    }
}

TEST(Statistics, AgreeWithTheDefinitionForEveryNumberOfWorkers)
{
    for (const int threads : {1, 2, 3}) {
        const ThreadLimit limit(threads);
        for (const Fill fill : {Fill::Uniform, Fill::Extremes, Fill::FewValues}) {
            forEachCase(voxelTypes(), [&](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
                ArvoImage3D image = randomVolume(size, type, seed, fill);
                expectDefinition(image, describe(size, type, seed));
            });
        }
    }
}

/// Larger than a sample and than a block of any kernel.
TEST(Statistics, AgreeWithTheDefinitionOnLargeVolumes)
{
    using Make = float (*)(Random&, std::size_t i);
    const Make kinds[] = {
        [](Random& r, std::size_t) { return float(r() % 4096) - 1000; }, // exact sums
        [](Random& r, std::size_t) { return float(r() % 800000) / 256 - 1000; },
        [](Random& r, std::size_t) { return float(r() % 1000003) * 0.001f; }, // sums that round
        [](Random& r, std::size_t) { return std::ldexp(float(r() % 65536), int(r() % 60) - 30); },
        [](Random& r, std::size_t i) { return i % 4096 == 7 ? 1e-30f : float(r() % 256); },
        [](Random& r, std::size_t i) { return i == 60000 ? 3e38f : float(r() % 256); },
        [](Random& r, std::size_t i) { return i == 50000 ? INFINITY : float(r() % 256); },
        [](Random& r, std::size_t) { return r() % 5 < 2 ? NAN : float(r() % 256); }, // not in the middle
        [](Random& r, std::size_t) { return r() % 5 < 3 ? NAN : 1.0f; },             // in the middle
        [](Random& r, std::size_t) { return std::ldexp(float(r() % 65536), -140); },
        [](Random& r, std::size_t) {
            return r() % 3 ? 0.0f : float(r() % 2000) - 1000;
        }, // zeros amid the others
        [](Random&, std::size_t i) { return float(i); },
        [](Random&, std::size_t i) { return float(i % 61); },
        [](Random&, std::size_t) { return -2.5f; },
        [](Random& r, std::size_t) { return r() % 2 ? 1000.0f : 2000.0f; },
    };
    const math::Ivec3 size(61, 67, 23);
    for (std::size_t kind = 0; kind < std::size(kinds); ++kind) {
        for (const image::DataType type : voxelTypes()) {
            ArvoImage3D image(size, QVector3D(1, 1, 1), type);
            Random random(kind);
            withType(type, [&](auto element) {
                using T = typename decltype(element)::type;
                std::size_t i = 0;
                for (T& v : voxels<T>(image)) {
                    const float value = kinds[kind](random, i++);
                    if constexpr (std::is_floating_point_v<T>)
                        v = value;
                    else
                        v = std::abs(value) < 1e9f ? static_cast<T>(static_cast<int>(value)) : T(0);
                }
            });
            expectDefinition(image, "kind " + std::to_string(kind) + ", type " + std::to_string(type));
        }
    }
}

/// Voxels arranged so that the expected place of the median is wrong: all that a sample could meet lies on one side.
TEST(Statistics, FindTheMedianWhereSamplesMislead)
{
    for (const bool isHigh : {false, true}) {
        ArvoImage3D image({128, 128, 64}, QVector3D(1, 1, 1), image::Float32);
        const auto all = voxels<float>(image);
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = (i * 40503 % 64 < 32) == isHigh ? 100.0f + float(i % 1000) : -float(i % 1000);
        // The 16384 places that are sampled, one in each stretch of 64.
        for (std::uint64_t sample = 0; sample < 16384; ++sample) {
            std::uint64_t mixed = sample + 0x9e3779b97f4a7c15u;
            mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9u;
            mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebu;
            mixed ^= mixed >> 31;
            all[sample * 64 + mixed % 64] = isHigh ? 5000.0f + float(sample % 7) : -5000.0f;
        }
        expectDefinition(image, "misled");
    }
}

TEST(Statistics, ByHand)
{
    ArvoImage3D eight = volumeOf<unsigned char>({2, 2, 2}, image::UInt8, {1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(compute(eight, Method::Mean).value, 4.5);
    ArvoImage3D four = volumeOf<short>({2, 2, 1}, image::Int16, {4, 1, 3, 2});
    EXPECT_EQ(compute(four, Method::Median).value, 2.5);
    ArvoImage3D three = volumeOf<float>({1, 1, 3}, image::Float32, {3, 1, 2});
    EXPECT_EQ(compute(three, Method::Median).value, 2.0);
    ArvoImage3D zeros = volumeOf<float>({2, 1, 2}, image::Float32, {0, -0.0f, 0, 0});
    for (const auto method : {Method::MeanOfNonZeroValues, Method::MedianOfNonZeroValues}) {
        EXPECT_TRUE(compute(zeros, method).success);
        EXPECT_EQ(compute(zeros, method).value, 0.0);
    }
    // Single precision: the sum of the two middle values is beyond the largest float.
    ArvoImage3D large = volumeOf<float>({2, 1, 1}, image::Float32, {3e38f, 3e38f});
    EXPECT_EQ(compute(large, Method::Median).value, INFINITY);
    ArvoImage3D flat({0, 4, 2}, QVector3D(1, 1, 1), image::Int16);
    EXPECT_TRUE(std::isnan(compute(flat, Method::Mean).value));
    ArvoImage3D empty({4, 4, 0}, QVector3D(1, 1, 1), image::Int16);
    EXPECT_TRUE(compute(empty, Method::Mean).success);
    EXPECT_EQ(compute(empty, Method::Median).value, 0.0);
}

TEST(Statistics, WarnAsDescribed)
{
    const ThreadLimit limit(1);
    const auto expectWarning = [](int method, image::DataType type, const std::string& text, bool success) {
        const Warnings warnings;
        ArvoImage3D image = randomVolume({3, 2, 2}, type, 1);
        const Result result = compute(image, static_cast<Method::Method>(method));
        EXPECT_EQ(result.success, success) << text;
        EXPECT_EQ(result.value, 0.0);
        EXPECT_EQ(warnings.texts(), std::vector<std::string>{text});
    };
    const std::pair<int, std::string> jobs[] = {
        {0, "mean"}, {1, "sum-of-non-zero-values"}, {2, "sorting"}, {3, "non-zero sorting"}, {4, "sorting"}};
    for (const auto& [method, job] : jobs) {
        for (const image::DataType type : {image::Reserved, image::Int32})
            expectWarning(method, type,
                          "Image3DStatisticsWorker : " + job +
                              " not implemented for the given input image data type.",
                          false);
    }
    expectWarning(4, image::Int16, "Image3DStatistics : unknown method, not implemented.", true);
    expectWarning(-7, image::Int16, "Image3DStatisticsWorker : unknown statistical method to work for.",
                  false);
}

TEST(Statistics, FailWhenTheFlagIsUpAndForgetTheValueOfTheRunBefore)
{
    ArvoImage3D image = randomVolume({13, 11, 9}, image::Float32, 1);
    for (const int method : {0, 1, 2, 3, 4}) {
        Warnings warnings;
        Image3DStatistics statistics(static_cast<Method::Method>(method));
        statistics.setInputImage(&image);
        statistics.execute(notCancelled);
        EXPECT_TRUE(statistics.isSuccess());
        Image3DStatistics copy(statistics);
        EXPECT_EQ(copy.getValue(), statistics.getValue());
        statistics.execute(cancelled);
        EXPECT_FALSE(statistics.isSuccess());
        EXPECT_EQ(statistics.getValue(), 0.0);
    }
}

template <class T> bool isSmall(T value)
{
    return value < T(2);
}

template <class T> void expectSortedLists(const math::Ivec3& size, image::DataType type, Fill fill)
{
    using Helper = Image3DSortHelper<T>;
    ArvoImage3D image = randomVolume(size, type, 4, fill);
    const int first = std::min(1, size.z - 1);
    const std::size_t sliceCount = static_cast<std::size_t>(size.x * size.y);
    const int last = size.z - 1;
    const auto expectList = [&](bool (*accept)(T), const std::vector<float>& sorted) {
        std::vector<float> expected;
        for (const T v : voxels<T>(image).subspan(static_cast<std::size_t>(first) * sliceCount)) {
            if (accept(v))
                expected.push_back(v);
        }
        std::ranges::sort(expected, [](float a, float b) {
            return std::isnan(b) ? !std::isnan(a) : a < b || (a == b && std::signbit(a) && !std::signbit(b));
        });
        EXPECT_TRUE(std::ranges::equal(expected, sorted, [](float a, float b) { return sameBits(a, b); }))
            << describe(size, type, 4);
    };
    expectList(Helper::sortAll, Helper::calculateSortedValues(image, first, last, notCancelled));
    expectList(Helper::sortWhenNonZero,
               Helper::calculateNonZeroSortedValues(image, first, last, notCancelled));
    expectList(isSmall<T>, Helper::sortVoxelsInStdVector(image, first, last, isSmall<T>, notCancelled));
    EXPECT_TRUE(Helper::calculateSortedValues(image, 1, 0, notCancelled).empty());
    EXPECT_TRUE(Helper::calculateSortedValues(image, first, last, std::atomic<bool>(true)).empty());
}

TEST(SortHelper, SortsRangesOfSlices)
{
    for (const math::Ivec3& size : someSizes()) {
        for (const Fill fill : {Fill::Uniform, Fill::Extremes, Fill::FewValues}) {
            for (const image::DataType type : voxelTypes()) {
                image::withElementType(type, image::VoxelTypes{}, nullptr, [&](auto element) {
                    expectSortedLists<typename decltype(element)::type>(size, type, fill);
                });
            }
        }
    }
    EXPECT_TRUE(Image3DSortHelper<float>::sortWhenNonZero(NAN));
    EXPECT_FALSE(Image3DSortHelper<float>::sortWhenNonZero(-0.0f));
}

std::atomic<bool> raisedByTheLastVoxel{false};

TEST(SortHelper, LooksAtTheFlagAfterTheLastVoxel)
{
    ArvoImage3D image = volumeOf<short>({3, 1, 1}, image::Int16, {5, 6, 7});
    const auto accept = [](short v) {
        raisedByTheLastVoxel = v == 7;
        return true;
    };
    EXPECT_TRUE(
        Image3DSortHelper<short>::sortVoxelsInStdVector(image, 0, 0, accept, raisedByTheLastVoxel).empty());
}

} // namespace
