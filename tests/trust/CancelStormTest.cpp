// Raises the cancel flag at random moments of every operation that can be cancelled, and looks at what is left: the
// operation succeeded with its whole result, or it failed.
//
// ARVO_STORM_RUNS says how many runs each case makes; a few by default, ten thousand by hand.
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/voxelops/Image3DReplaceVoxels.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "trust/Operations.h"

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

/// What an operation leaves of a run with sound numbers on fixed inputs.
struct Outcome {
    bool isDone = false;
    std::map<std::string, trust::Hash> results;

    Outcome(const trust::Operation& operation, const std::atomic<bool>& cancel)
    {
        const image::DataType type = operation.hashed.types.front();
        const math::Ivec3 size = trust::FIXED_SIZES[1];
        ArvoImage3D a = operation.hashed.a(size, type);
        ArvoImage3D b = operation.hashed.b ? operation.hashed.b(size, type) : ArvoImage3D();
        trust::SoundNumbers numbers;
        trust::Call call{&a, &b, numbers, cancel};
        isDone = operation.run(call);
        call.result("first volume").addVolume(&a);
        call.result("second volume").addVolume(&b);
        results = call.results;
    }
    bool operator==(const Outcome&) const = default;
};

TEST(CancelStorm, OperationsSucceedOnlyWhenComplete)
{
    int heedful = 0;
    for (const trust::Operation& operation : trust::allOperations()) {
        if (!operation.has(trust::ANSWERS) || operation.hashed.types.empty())
            continue;
        const Outcome whole(operation, std::atomic<bool>{false});
        if (!whole.isDone || Outcome(operation, std::atomic<bool>{true}).isDone)
            continue; // takes no flag
        ++heedful;
        SCOPED_TRACE(operation.name);
        storm(4, [&](const std::atomic<bool>& cancel) {
            const Outcome outcome(operation, cancel);
            EXPECT_TRUE(!outcome.isDone || outcome == whole);
            return outcome.isDone;
        });
    }
    EXPECT_GE(heedful, 30);
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
