#include "arvo/frame/SliceWorkerCalculation.h"
#include "arvo/platform/threading/ThreadCount.h"

#include "support/CancelFlags.h"
#include "support/Warnings.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>

using namespace testing_support;

namespace {

enum class Outcome { Success, Failure, OutOfMemory };

/// Marks the slices it is given.
class MarkingWorker : public SliceWorker {
public:
    MarkingWorker(std::vector<int>& marks, int slice, Outcome outcome) : m_marks(marks), m_outcome(outcome)
    {
        setWork(slice, slice);
        ++alive;
    }
    ~MarkingWorker() override { --alive; }

    using SliceWorker::getCancelFlag;

    static inline int alive = 0;

protected:
    void processSlices() override
    {
        for (int z = getStartSlice(); z <= getStopSlice(); ++z)
            ++m_marks[static_cast<std::size_t>(z)];
        if (m_outcome == Outcome::OutOfMemory)
            throw std::bad_alloc();
        if (m_outcome == Outcome::Success)
            succeeded();
    }

private:
    std::vector<int>& m_marks;
    Outcome m_outcome;
};

/// What subclasses build on, opened.
struct OpenCalculation : SliceWorkerCalculation {
    using SliceWorkerCalculation::addWorker;
    using SliceWorkerCalculation::defineWorkLoad;
    using SliceWorkerCalculation::deleteAllWorkers;
    using SliceWorkerCalculation::forEachRange;
    using SliceWorkerCalculation::getNumWorkers;
    using SliceWorkerCalculation::runAllWorkers;

    void execute(const std::atomic<bool>&) override {}
};

TEST(SliceWorkerCalculation, GivesEverySliceToOneRange)
{
    for (const int limit : {1, 2, 0}) {
        threading::setThreadLimit(limit);
        for (const int slices : {0, 1, 2, 3, 10, 17, std::numeric_limits<int>::max()}) {
            OpenCalculation calculation;
            calculation.defineWorkLoad(slices);
            int next = 0, ranges = 0;
            calculation.forEachRange(slices, [&](int start, int stop) {
                EXPECT_EQ(start, next);
                EXPECT_GE(stop, start);
                next = stop + 1;
                ++ranges;
            });
            EXPECT_EQ(next, slices);
            EXPECT_EQ(ranges, calculation.getNumWorkers());
        }
    }
}

TEST(SliceWorkerCalculation, WaitsForAllWhenOneFails)
{
    for (const Outcome first : {Outcome::Success, Outcome::Failure, Outcome::OutOfMemory}) {
        const Warnings warnings;
        std::vector<int> marks(5);
        OpenCalculation calculation;
        for (int slice = 0; slice < 5; ++slice)
            calculation.addWorker(new MarkingWorker(marks, slice, slice == 0 ? first : Outcome::Success));
        EXPECT_EQ(calculation.runAllWorkers(notCancelled), first == Outcome::Success);
        EXPECT_EQ(marks, std::vector<int>(5, 1));
        EXPECT_EQ(warnings.texts().size(), first == Outcome::OutOfMemory ? 1u : 0u);
        calculation.deleteAllWorkers();
        EXPECT_EQ(MarkingWorker::alive, 0);
    }
}

TEST(SliceWorkerCalculation, DeletesSharedWorkersOnce)
{
    std::vector<int> marks(1);
    {
        OpenCalculation original, assigned;
        original.addWorker(new MarkingWorker(marks, 0, Outcome::Success));
        assigned.addWorker(new MarkingWorker(marks, 0, Outcome::Success));
        const OpenCalculation copy = original;
        assigned = copy;
        EXPECT_EQ(MarkingWorker::alive, 1);
    }
    EXPECT_EQ(MarkingWorker::alive, 0);
}

TEST(SliceWorker, HasAFlagOfItsOwnUntilItIsStarted)
{
    std::vector<int> marks(1);
    MarkingWorker worker(marks, 0, Outcome::Success);
    EXPECT_FALSE(worker.getCancelFlag().load());
    EXPECT_FALSE(worker.isSuccessful());
    worker.startWithCancel(&cancelled);
    worker.waitUntilDone();
    EXPECT_TRUE(worker.getCancelFlag().load());
    EXPECT_TRUE(worker.isSuccessful());
}

} // namespace
