#include "arvo/frame/CancelRule.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

/// The rule itself: look at the flag after every voxel. `raiseAfter` voxels the flag goes up (0: it is up from the start).
std::vector<bool> lookingAfterEveryVoxel(int count, int raiseAfter)
{
    std::vector<bool> isDone(static_cast<std::size_t>(count));
    bool flag = raiseAfter == 0;
    for (int i = 0; i < count; ++i) {
        isDone[static_cast<std::size_t>(i)] = true;
        if (i + 1 == raiseAfter)
            flag = true;
        if (flag)
            break;
    }
    return isDone;
}

TEST(ForEachRun, DoesEveryVoxelOnceInRunsOfAtMostARow)
{
    const std::atomic<bool> cancel{false};
    for (const std::ptrdiff_t rowLength : {1, 3, 8, 20}) {
        for (const std::ptrdiff_t count : {0, 1, 7, 8, 9, 24}) {
            std::ptrdiff_t next = 0;
            EXPECT_TRUE(
                frame::forEachRun(cancel, count, rowLength, [&](std::ptrdiff_t begin, std::ptrdiff_t end) {
                    EXPECT_EQ(begin, next);
                    EXPECT_LE(end - begin, rowLength);
                    next = end;
                }));
            EXPECT_EQ(next, count);
        }
    }
}

TEST(ForEachRun, LetsOneVoxelThroughWhenTheFlagIsUp)
{
    const std::atomic<bool> cancel{true};
    for (const int count : {1, 2, 9}) {
        std::vector<bool> isDone(static_cast<std::size_t>(count));
        EXPECT_FALSE(frame::forEachRun(cancel, count, 4, [&](std::ptrdiff_t begin, std::ptrdiff_t end) {
            for (std::ptrdiff_t i = begin; i < end; ++i)
                isDone[static_cast<std::size_t>(i)] = true;
        }));
        EXPECT_EQ(isDone, lookingAfterEveryVoxel(count, 0));
    }
    EXPECT_TRUE(frame::forEachRun(cancel, 0, 4, [](std::ptrdiff_t, std::ptrdiff_t) { FAIL(); }));
}

TEST(ForEachRun, StopsOneVoxelAfterAFlagRaisedBetweenRuns)
{
    std::atomic<bool> cancel{false};
    std::ptrdiff_t done = 0;
    EXPECT_FALSE(frame::forEachRun(cancel, 20, 4, [&](std::ptrdiff_t begin, std::ptrdiff_t end) {
        EXPECT_EQ(begin, done);
        done = end;
        if (end == 8)
            cancel = true;
    }));
    EXPECT_EQ(done, 9); // as if the flag had gone up while voxel 8 was at work
}

} // namespace
