#include "arvo/platform/threading/ThreadCount.h"

#include <QThread>

#include <algorithm>
#include <atomic>

namespace threading {

namespace {

std::atomic<int> threadLimit{0};

} // namespace

void setThreadLimit(int count)
{
    threadLimit.store(std::max(count, 0), std::memory_order_relaxed);
}

int idealThreadCount()
{
    const int processors = std::max(QThread::idealThreadCount(), 1);
    const int limit = threadLimit.load(std::memory_order_relaxed);
    return limit == 0 ? processors : std::min(limit, processors);
}

std::pair<int, int> calculateNumThreads(int numItems)
{
    if (numItems < 1)
        return {0, 0};
    const int wanted = std::min(idealThreadCount(), numItems);
    const int items = (numItems - 1) / wanted + 1;
    return {(numItems - 1) / items + 1, items};
}

} // namespace threading
