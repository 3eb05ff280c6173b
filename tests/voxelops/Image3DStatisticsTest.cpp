#include "arvo/voxelops/Image3DStatistics.h"

#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/voxelops/Image3DSortHelper.h"
#include "support/CancelFlags.h"
#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <algorithm>
#include <cmath>
#include <optional>

using namespace testing_support;

namespace {

using Method = Image3DStatisticsMethod;

struct ThreadLimit {
    explicit ThreadLimit(int count) { threading::setThreadLimit(count); }
    ~ThreadLimit() { threading::setThreadLimit(0); }
};

/// The value, or none of a failed run.
std::optional<double> compute(ArvoImage3D& image, Method::Method method)
{
    Image3DStatistics statistics(method);
    statistics.setInputImage(&image);
    statistics.execute(notCancelled);
    return statistics.isSuccess() ? std::optional(statistics.getValue()) : std::nullopt;
}

/// The definition: partial results of each range of slices, combined in order.
template <class T> double naiveValue(const ArvoImage3D& image, Method::Method method)
{
    const auto all = voxels<T>(image);
    const int depth = image.imageSize().z;
    const std::size_t sliceCount = all.size() / static_cast<std::size_t>(depth);
    const auto [workers, slices] = threading::calculateNumThreads(depth);
    double mean = 0.0, total = 0.0, nonZeros = 0.0;
    std::vector<float> sorted;
    for (int worker = 0; worker < workers; ++worker) {
        const std::size_t begin = static_cast<std::size_t>(worker * slices) * sliceCount;
        const std::size_t end = std::min(all.size(), begin + static_cast<std::size_t>(slices) * sliceCount);
        double sum = 0.0;
        for (std::size_t i = begin; i < end; ++i) {
            sum += all[i]; // zeros change no sum
            nonZeros += all[i] != T(0);
            if (method != Method::MedianOfNonZeroValues || all[i] != T(0))
                sorted.push_back(static_cast<float>(all[i]));
        }
        mean += sum / static_cast<double>(all.size());
        total += sum;
    }
    if (method == Method::Mean)
        return mean;
    if (method == Method::MeanOfNonZeroValues)
        return nonZeros == 0 ? 0.0 : total / nonZeros;
    std::ranges::sort(sorted, [](float a, float b) { return std::isnan(b) ? !std::isnan(a) : a < b; });
    const std::size_t n = sorted.size();
    if (n % 2 == 1)
        return sorted[n / 2];
    return n == 0 ? 0.0 : (sorted[n / 2 - 1] + sorted[n / 2]) * 0.5f;
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
        const double value = compute(image, method).value();
        EXPECT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected)))
            << what << ", method " << method << ": " << value << " instead of " << expected;
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
        [](Random& r, std::size_t) { return r() % 3 ? 0.0f : float(r() % 2000) - 1000; }, // many zeros
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
                for (T& v : voxels<T>(image))
                    v = storedAs<T>(kinds[kind](random, i++));
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

TEST(Statistics, FindTheMiddleOfTwoInSinglePrecision)
{
    ArvoImage3D image = volumeOf<float>({2, 1, 1}, image::Float32, {3e38f, 3e38f});
    EXPECT_EQ(compute(image, Method::Median), INFINITY);
    ArvoImage3D none = volumeOf<float>({2, 1, 0}, image::Float32, {});
    EXPECT_EQ(compute(none, Method::Median), 0.0);
}

TEST(Statistics, WarnOfTypesAndMethodsTheyDoNotKnow)
{
    const ThreadLimit limit(1);
    const std::string worker = "Image3DStatisticsWorker : ";
    const std::string noType = " not implemented for the given input image data type.";
    const struct {
        int method;
        image::DataType type;
        std::string warning;
    } cases[] = {
        {0, image::Int32, worker + "mean" + noType},
        {1, image::Reserved, worker + "sum-of-non-zero-values" + noType},
        {2, image::Int32, worker + "sorting" + noType},
        {3, image::Reserved, worker + "non-zero sorting" + noType},
        {4, image::Int32, worker + "sorting" + noType},
        {4, image::Int16, "Image3DStatistics : unknown method, not implemented."},
        {-7, image::Int16, worker + "unknown statistical method to work for."},
    };
    for (const auto& c : cases) {
        const Warnings warnings;
        ArvoImage3D image = randomVolume({3, 2, 2}, c.type, 1);
        const bool isDone =
            c.method == 4 && c.type == image::Int16; // the workers know more than the calculation
        EXPECT_EQ(compute(image, static_cast<Method::Method>(c.method)),
                  isDone ? std::optional(0.0) : std::nullopt);
        EXPECT_EQ(warnings.texts(), std::vector<std::string>{c.warning});
    }
}

TEST(Statistics, ForgetTheValueOfTheRunBefore)
{
    ArvoImage3D image = randomVolume({13, 11, 9}, image::Float32, 1);
    Image3DStatistics statistics(Method::Median);
    statistics.setInputImage(&image);
    statistics.execute(notCancelled);
    EXPECT_EQ(Image3DStatistics(statistics).getValue(), compute(image, Method::Median));
    statistics.execute(cancelled);
    EXPECT_FALSE(statistics.isSuccess());
    EXPECT_EQ(statistics.getValue(), 0.0);
}

template <class T> void expectSortedLists(const math::Ivec3& size, image::DataType type, Fill fill)
{
    using Helper = Image3DSortHelper<T>;
    ArvoImage3D image = randomVolume(size, type, 4, fill);
    const int first = std::min(1, size.z - 1), last = size.z - 1;
    const std::size_t skipped = static_cast<std::size_t>(first * size.x * size.y);
    const auto expectList = [&](bool (*accept)(T), const std::vector<float>& sorted) {
        std::vector<float> expected;
        std::ranges::copy_if(voxels<T>(image).subspan(skipped), std::back_inserter(expected), accept);
        std::ranges::sort(expected, [](float a, float b) {
            return std::isnan(b) ? !std::isnan(a) : a < b || (a == b && std::signbit(a) && !std::signbit(b));
        });
        EXPECT_TRUE(std::ranges::equal(expected, sorted, [](float a, float b) { return sameBits(a, b); }))
            << describe(size, type, 4);
    };
    const auto isSmall = [](T value) { return value < T(2); };
    expectList(Helper::sortAll, Helper::calculateSortedValues(image, first, last, notCancelled));
    expectList([](T value) { return value != 0; },
               Helper::calculateNonZeroSortedValues(image, first, last, notCancelled));
    expectList(isSmall, Helper::sortVoxelsInStdVector(image, first, last, isSmall, notCancelled));
    EXPECT_TRUE(Helper::calculateSortedValues(image, last, last, cancelled).empty()) << "of one voxel, too";
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
}

} // namespace
