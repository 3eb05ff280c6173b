// Raises the cancel flag at random moments of every operation that can be cancelled while it runs on threads, and looks
// at what is left: the operation succeeded with its whole result, or it failed and left what it documents.
//
// ARVO_STORM_RUNS says how many runs each case makes; a few by default, ten thousand by hand.
#include "arvo/binary/Image3DHoleClosing.h"
#include "arvo/binary/Image3DKeepConnectedPart.h"
#include "arvo/differential/Gradient.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/frame/ThreeImages3D.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/voxelops/Image3DReplaceVoxels.h"
#include "arvo/voxelops/Image3DStatistics.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

using namespace testing_support;

namespace {

constexpr math::Ivec3 SIZE{61, 43, 37};

int runs()
{
    const char* wanted = std::getenv("ARVO_STORM_RUNS");
    return wanted ? std::atoi(wanted) : 100;
}

/// Runs the operation again and again; a second thread raises the flag after a random number of spins, sometimes at once,
/// sometimes too late. The body looks at what is left and tells whether the operation was the faster one; how often is
/// printed, not tested: it depends on the machine.
template <class Body> void storm(std::uint64_t seed, Body&& body)
{
    Random random(seed);
    int finished = 0;
    for (int run = 0; run < runs() && !testing::Test::HasFailure(); ++run) {
        std::atomic<bool> cancel{false};
        const std::uint64_t spins = random() % (std::uint64_t{1} << (random() % 26));
        std::thread raiser([&cancel, spins] {
            for (std::uint64_t i = 0; i < spins; ++i)
                std::atomic_signal_fence(std::memory_order_seq_cst);
            cancel.store(true);
        });
        finished += body(cancel);
        raiser.join();
    }
    std::printf("%d of %d runs finished before the flag\n", finished, runs());
}

/// Whether each worker's range of `actual` is a beginning of `done` followed by the rest of `untouched`.
template <class T>
bool isFinishedPrefixes(const ArvoImage3D& untouched, const ArvoImage3D& done, const ArvoImage3D& actual)
{
    const auto [workers, slices] = threading::calculateNumThreads(SIZE.z);
    const std::size_t sliceVoxels = voxels<T>(actual).size() / static_cast<std::size_t>(SIZE.z);
    const std::size_t rangeVoxels = sliceVoxels * static_cast<std::size_t>(slices);
    for (std::size_t begin = 0; begin < voxels<T>(actual).size(); begin += rangeVoxels) {
        const std::size_t end = std::min(begin + rangeVoxels, voxels<T>(actual).size());
        std::size_t i = begin;
        while (i < end && voxels<T>(actual)[i] == voxels<T>(done)[i])
            ++i;
        for (; i < end; ++i) {
            if (voxels<T>(actual)[i] != voxels<T>(untouched)[i])
                return false;
        }
    }
    return true;
}

TEST(CancelStorm, ReplacementLeavesFinishedBeginnings)
{
    const ArvoImage3D untouched = randomVolume(SIZE, image::Int16, 1);
    ArvoImage3D mask = randomMask(SIZE, 0.5, 2);
    const auto replaceIn = [&](ArvoImage3D& volume, const std::atomic<bool>& cancel) {
        Image3DReplaceVoxels replace;
        replace.setInputImage(&volume);
        replace.setMaskImage(&mask);
        replace.setReplaceValue(42.0f);
        replace.execute(cancel);
        return replace.isSuccess();
    };
    ArvoImage3D done = copyOf(untouched);
    ASSERT_TRUE(replaceIn(done, std::atomic<bool>{false}));
    storm(3, [&](const std::atomic<bool>& cancel) {
        ArvoImage3D volume = copyOf(untouched);
        const bool isDone = replaceIn(volume, cancel);
        EXPECT_TRUE(isDone ? sameBits(done, volume)
                           : testing::AssertionResult(isFinishedPrefixes<short>(untouched, done, volume)));
        return isDone;
    });
}

TEST(CancelStorm, GradientSucceedsOnlyWhenComplete)
{
    ArvoImage3D volume = randomVolume(SIZE, image::Int16, 1);
    Gradient whole;
    whole.setInputImage(&volume);
    whole.execute(std::atomic<bool>{false});
    const std::unique_ptr<ThreeImages3D> expected(whole.takeGradientImage());
    storm(4, [&](const std::atomic<bool>& cancel) {
        Gradient gradient;
        gradient.setInputImage(&volume);
        gradient.execute(cancel);
        const std::unique_ptr<ThreeImages3D> field(gradient.takeGradientImage());
        EXPECT_NE(field, nullptr);
        if (!field || !gradient.isSuccess())
            return false;
        EXPECT_TRUE(sameBits(*expected->getU(), *field->getU()));
        EXPECT_TRUE(sameBits(*expected->getV(), *field->getV()));
        EXPECT_TRUE(sameBits(*expected->getW(), *field->getW()));
        return true;
    });
}

TEST(CancelStorm, StatisticsHaveTheirValueOrZero)
{
    ArvoImage3D volume = randomVolume(SIZE, image::Float32, 1);
    for (const auto method :
         {Image3DStatisticsMethod::Mean, Image3DStatisticsMethod::MeanOfNonZeroValues,
          Image3DStatisticsMethod::Median, Image3DStatisticsMethod::MedianOfNonZeroValues}) {
        Image3DStatistics whole(method);
        whole.setInputImage(&volume);
        whole.execute(std::atomic<bool>{false});
        storm(5, [&](const std::atomic<bool>& cancel) {
            Image3DStatistics statistics(method);
            statistics.setInputImage(&volume);
            statistics.execute(cancel);
            EXPECT_EQ(statistics.getValue(), statistics.isSuccess() ? whole.getValue() : 0.0);
            return statistics.isSuccess();
        });
    }
}

TEST(CancelStorm, GaussianSucceedsOnlyWhenComplete)
{
    const ArvoImage3D volume = randomVolume(SIZE, image::UInt16, 1);
    const auto smooth = [&](ArvoImage3D& out, const std::atomic<bool>& cancel) {
        ArvoImageGaussianSmooth gauss;
        gauss.setInput(&volume);
        gauss.setOutput(&out);
        return gauss.execute(cancel);
    };
    ArvoImage3D expected = copyOf(volume);
    ASSERT_TRUE(smooth(expected, std::atomic<bool>{false}));
    storm(6, [&](const std::atomic<bool>& cancel) {
        ArvoImage3D output = copyOf(volume);
        const bool isDone = smooth(output, cancel);
        EXPECT_TRUE(!isDone || sameBits(expected, output));
        return isDone;
    });
}

TEST(CancelStorm, PartsAndClosedMasksAreTakenWholeOrNotAtAll)
{
    ArvoImage3D mask = randomMask(SIZE, 0.4, 1);
    const auto keep = [&](const std::atomic<bool>& cancel) {
        Image3DKeepConnectedPart parts(mask, Image3DKeepConnectedPart::KEEP_LARGEST_PARTS,
                                       Image3DKeepConnectedPart::STRAIGHT);
        parts.execute(cancel);
        auto output = parts.takeBinaryOutputImage();
        // A flag noticed between two steps leaves the success of the step before, without a result.
        EXPECT_TRUE(parts.isSuccess() || !output);
        return output;
    };
    const auto close = [&](const std::atomic<bool>& cancel) {
        Image3DHoleClosing closing;
        closing.setInputImage(&mask);
        closing.execute(cancel);
        std::unique_ptr<ArvoImage3D> output(closing.takeClosedImage());
        EXPECT_EQ(closing.isSuccess(), output != nullptr);
        return output;
    };
    const auto kept = keep(std::atomic<bool>{false});
    const auto closed = close(std::atomic<bool>{false});
    ASSERT_TRUE(kept && closed);
    storm(7, [&](const std::atomic<bool>& cancel) {
        const auto part = keep(cancel);
        EXPECT_TRUE(!part || sameBits(*kept, *part));
        const auto hull = close(cancel);
        EXPECT_TRUE(!hull || sameBits(*closed, *hull));
        return part != nullptr;
    });
}

TEST(TwoAtOnce, OperationsOnTwoVolumesDoNotMeet)
{
    const ArvoImage3D first = randomVolume(SIZE, image::Int16, 1);
    const ArvoImage3D second = randomVolume(SIZE, image::Float32, 2);
    const auto smoothed = [](const ArvoImage3D& volume) {
        ArvoImage3D output = copyOf(volume);
        ArvoImageGaussianSmooth gauss;
        gauss.setInput(&volume);
        gauss.setOutput(&output);
        EXPECT_TRUE(gauss.execute(std::atomic<bool>{false}));
        return output;
    };
    const ArvoImage3D expectedFirst = smoothed(first), expectedSecond = smoothed(second);
    for (int run = 0; run < std::min(runs(), 20); ++run) {
        std::thread other([&] { EXPECT_TRUE(sameBits(expectedSecond, smoothed(second))); });
        EXPECT_TRUE(sameBits(expectedFirst, smoothed(first)));
        other.join();
    }
}

TEST(TwoAtOnce, ManyReadersOfOneValueRangeAgree)
{
    ArvoImage3D volume = randomVolume(SIZE, image::Int16, 1);
    const math::Range<float> expected = volume.getValueRange();
    for (int run = 0; run < runs(); ++run) {
        volume.editFinished(); // the range is found anew by the first that asks
        std::vector<std::thread> readers;
        for (int reader = 0; reader < 8; ++reader) {
            readers.emplace_back([&] {
                EXPECT_EQ(volume.getValueRange(), expected);
                EXPECT_EQ(volume.minValue(), static_cast<int>(expected.first));
            });
        }
        for (std::thread& reader : readers)
            reader.join();
    }
}

} // namespace
