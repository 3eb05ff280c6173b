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

#include <chrono>
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

using Clock = std::chrono::steady_clock;

/// Runs trials again and again; a second thread raises the flag at a random moment of each, sometimes too late. A trial has
/// its inputs when it is made, runs once, and then looks at what is left. How often the operation was faster than the flag
/// is printed, not tested: it depends on the machine.
template <class MakeTrial> void storm(std::uint64_t seed, const MakeTrial& makeTrial)
{
    auto whole = Clock::duration::max();
    for (int rehearsal = 0; rehearsal < 5; ++rehearsal) {
        auto trial = makeTrial();
        const auto begin = Clock::now();
        trial.run(std::atomic<bool>{false});
        whole = std::min(whole, Clock::now() - begin);
    }

    Random random(seed);
    int finished = 0;
    for (int run = 0; run < runs() && !testing::Test::HasFailure(); ++run) {
        auto trial = makeTrial();
        const auto delay = whole * static_cast<int>(random() % 1000) / 800;
        std::atomic<bool> isReady{false}, isRunning{false}, cancel{false};
        std::thread raiser([&, delay] {
            isReady.store(true);
            isReady.notify_one();
            while (!isRunning.load()) { // awake: the operation may take microseconds only
            }
            const auto start = Clock::now();
            while (Clock::now() - start < delay) {
            }
            cancel.store(true);
        });
        isReady.wait(false);
        isRunning.store(true);
        const bool isDone = trial.run(cancel);
        raiser.join();
        trial.check(isDone);
        finished += isDone;
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
    struct Trial {
        const ArvoImage3D& untouched;
        ArvoImage3D& mask;
        const ArvoImage3D* done; ///< what a whole run leaves
        ArvoImage3D volume = copyOf(untouched);

        bool run(const std::atomic<bool>& cancel)
        {
            Image3DReplaceVoxels replace;
            replace.setInputImage(&volume);
            replace.setMaskImage(&mask);
            replace.setReplaceValue(42.0f);
            replace.execute(cancel);
            return replace.isSuccess();
        }
        void check(bool isDone) const
        {
            EXPECT_TRUE(isDone
                            ? sameBits(*done, volume)
                            : testing::AssertionResult(isFinishedPrefixes<short>(untouched, *done, volume)));
        }
    };
    Trial whole{untouched, mask, nullptr};
    ASSERT_TRUE(whole.run(std::atomic<bool>{false}));
    storm(3, [&] { return Trial{untouched, mask, &whole.volume}; });
}

/// A run with sound numbers on fixed inputs.
class OperationTrial {
public:
    explicit OperationTrial(const trust::Operation& operation, const OperationTrial* whole = nullptr)
        : m_operation(operation),
          m_whole(whole)
    {
        const image::DataType type = operation.hashed.types.front();
        const math::Ivec3 size = trust::FIXED_SIZES[1];
        m_a = operation.hashed.a(size, type);
        if (operation.hashed.b)
            m_b = operation.hashed.b(size, type);
    }
    bool run(const std::atomic<bool>& cancel)
    {
        trust::SoundNumbers numbers;
        trust::Call call{&m_a, &m_b, numbers, cancel};
        const bool isDone = m_operation.run(call);
        m_results = call.results;
        return isDone;
    }
    /// A success is the whole run's.
    void check(bool isDone) const { EXPECT_TRUE(!isDone || outcome() == m_whole->outcome()); }

private:
    std::map<std::string, trust::Hash> outcome() const
    {
        auto results = m_results;
        results["first volume"].addVolume(&m_a);
        results["second volume"].addVolume(&m_b);
        return results;
    }

    const trust::Operation& m_operation;
    const OperationTrial* m_whole;
    ArvoImage3D m_a, m_b;
    std::map<std::string, trust::Hash> m_results;
};

TEST(CancelStorm, OperationsSucceedOnlyWhenComplete)
{
    int heedful = 0;
    for (const trust::Operation& operation : trust::allOperations()) {
        if (!operation.has(trust::ANSWERS) || operation.hashed.types.empty())
            continue;
        OperationTrial whole(operation), stopped(operation);
        if (!whole.run(std::atomic<bool>{false}) || stopped.run(std::atomic<bool>{true}))
            continue; // takes no flag
        ++heedful;
        SCOPED_TRACE(operation.name);
        storm(4, [&] { return OperationTrial(operation, &whole); });
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
