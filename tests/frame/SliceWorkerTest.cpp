#include "arvo/frame/SliceWorkerCalculation.h"
#include "arvo/platform/threading/ThreadCount.h"

#include "support/CancelFlags.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>

using namespace testing_support;

namespace {

enum class Outcome { Success, Failure, OutOfMemory };

/// Marks the slices it is given.
class MarkingWorker : public SliceWorker {
public:
    MarkingWorker(std::vector<int>& marks, Outcome outcome) : m_marks(marks), m_outcome(outcome) { ++alive; }
    ~MarkingWorker() override { --alive; }

    using SliceWorker::getCancelFlag;

    static int alive;

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

int MarkingWorker::alive = 0;

class MarkingCalculation : public SliceWorkerCalculation {
public:
    explicit MarkingCalculation(int slices) : marks(static_cast<std::size_t>(slices)) {}

    void execute(const std::atomic<bool>& cancel) override
    {
        defineWorkLoad(static_cast<int>(marks.size()));
        forEachRange(static_cast<int>(marks.size()), [&](int start, int stop) {
            const bool isOdd = start == oddOneOut;
            auto* worker = new MarkingWorker(marks, isOdd ? oddOutcome : Outcome::Success);
            worker->setWork(start, stop);
            addWorker(worker);
        });
        EXPECT_EQ(getWorkers().size(), getNumWorkers());
        m_success = runAllWorkers(cancel);
        deleteAllWorkers();
        EXPECT_TRUE(getWorkers().isEmpty());
    }

    void addOne(int slice)
    {
        auto* worker = new MarkingWorker(marks, Outcome::Success);
        worker->setWork(slice, slice);
        addWorker(worker);
    }

    std::vector<int> marks;
    int oddOneOut = -1;
    Outcome oddOutcome = Outcome::Failure;
};

TEST(SliceWorkerCalculation, GivesEverySliceToOneWorker)
{
    for (const int slices : {0, 1, 2, 3, 10, 17}) {
        for (const int limit : {0, 1, 2}) {
            threading::setThreadLimit(limit);
            MarkingCalculation calculation(slices);
            calculation.execute(notCancelled);
            EXPECT_TRUE(calculation.isSuccess());
            EXPECT_EQ(calculation.marks, std::vector<int>(static_cast<std::size_t>(slices), 1));
        }
    }
    threading::setThreadLimit(0);
    EXPECT_EQ(MarkingWorker::alive, 0);
}

TEST(SliceWorkerCalculation, SplitsTheLargestNumberOfSlices)
{
    struct Ranges : SliceWorkerCalculation {
        void execute(const std::atomic<bool>&) override
        {
            constexpr int slices = std::numeric_limits<int>::max();
            int next = 0;
            defineWorkLoad(slices);
            forEachRange(slices, [&](int start, int stop) {
                EXPECT_EQ(start, next);
                EXPECT_GE(stop, start);
                next = stop + 1;
            });
            EXPECT_EQ(next, slices);
        }
    };
    for (const int limit : {1, 2}) {
        threading::setThreadLimit(limit);
        Ranges().execute(notCancelled);
    }
    threading::setThreadLimit(0);
}

TEST(SliceWorkerCalculation, WaitsForAllWhenOneFails)
{
    for (const Outcome outcome : {Outcome::Failure, Outcome::OutOfMemory}) {
        MarkingCalculation calculation(9);
        calculation.oddOneOut = 0;
        calculation.oddOutcome = outcome;
        calculation.execute(notCancelled);
        EXPECT_FALSE(calculation.isSuccess());
        EXPECT_EQ(calculation.marks, std::vector<int>(9, 1));
    }
}

TEST(SliceWorkerCalculation, DeletesSharedWorkersOnce)
{
    {
        MarkingCalculation original(2);
        original.addOne(0);
        const MarkingCalculation copy = original;
        MarkingCalculation assigned(2);
        assigned.addOne(1);
        assigned = copy;
        EXPECT_EQ(MarkingWorker::alive, 1);
    }
    EXPECT_EQ(MarkingWorker::alive, 0);
}

TEST(SliceWorker, HasAFlagOfItsOwnUntilItIsStarted)
{
    std::vector<int> marks(1);
    MarkingWorker worker(marks, Outcome::Success);
    EXPECT_FALSE(worker.getCancelFlag().load());
    EXPECT_FALSE(worker.isSuccessful());
    worker.startWithCancel(&cancelled);
    worker.waitUntilDone();
    EXPECT_TRUE(worker.getCancelFlag().load());
    EXPECT_TRUE(worker.isSuccessful());
}

} // namespace
