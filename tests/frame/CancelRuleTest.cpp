#include "arvo/frame/CancelRule.h"

#include <gtest/gtest.h>

namespace {

/// A flag that goes up once `raiseAt` voxels are done lets one more through, as if it had gone up while that one was at
/// work and been looked at after every voxel.
void expectCancelRule(std::ptrdiff_t count, std::ptrdiff_t rowLength, std::ptrdiff_t raiseAt)
{
    std::atomic<bool> cancel{raiseAt == 0};
    std::ptrdiff_t done = 0;
    const bool isFinished =
        frame::forEachRun(cancel, count, rowLength, [&](std::ptrdiff_t begin, std::ptrdiff_t end) {
            EXPECT_EQ(begin, done);
            EXPECT_LE(end - begin, rowLength);
            done = end;
            cancel = cancel || end == raiseAt;
        });
    EXPECT_EQ(isFinished, raiseAt >= count) << count << ", rows of " << rowLength << ", up at " << raiseAt;
    EXPECT_EQ(done, std::min(count, raiseAt + 1));
}

TEST(ForEachRun, DoesEveryVoxelOnceOrStopsOneVoxelAfterTheFlagWentUp)
{
    for (const std::ptrdiff_t rowLength : {1, 3, 8, 20}) {
        for (const std::ptrdiff_t count : {0, 1, 7, 8, 9, 24}) {
            for (const std::ptrdiff_t raiseAt : {std::ptrdiff_t(0), rowLength, 2 * rowLength, count})
                expectCancelRule(count, rowLength, raiseAt);
        }
    }
}

} // namespace
