#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(ThreadCount, SplitCoversAllItemsWithoutEmptyWorkers)
{
    const int most = threading::idealThreadCount();
    ASSERT_GE(most, 1);
    for (int limit = 0; limit <= most + 1; ++limit) {
        threading::setThreadLimit(limit);
        EXPECT_EQ(threading::idealThreadCount(), limit == 0 ? most : std::min(limit, most));
        for (const int items : {1, 2, 3, 7, 100}) {
            const auto [workers, each] = threading::calculateNumThreads(items);
            EXPECT_LE(workers, threading::idealThreadCount());
            EXPECT_GE(workers * each, items);
            EXPECT_LT((workers - 1) * each, items);
        }
    }
    threading::setThreadLimit(0);
    for (const int none : {0, -4})
        EXPECT_EQ(threading::calculateNumThreads(none), std::make_pair(0, 0));
}

TEST(ThreadProgress, StartsAgainWithANewTotal)
{
    ThreadProgress progress;
    progress.setTotal(5);
    progress.advance();
    progress.advance(2);
    EXPECT_EQ(progress.value(), 3);
    progress.setTotal(4);
    EXPECT_EQ(progress.value(), 0);
    EXPECT_EQ(progress.total(), 4);
}

} // namespace
