#include "arvo/frame/ParallelFor.h"

#include "arvo/platform/threading/ThreadCount.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>

#ifdef __SANITIZE_THREAD__
#include <future>
#include <vector>
#endif

namespace frame {

#ifdef __SANITIZE_THREAD__

/// The thread sanitizer does not see the synchronisation inside TBB and would report every loop; it sees that of plain
/// threads, and so the races between pieces.
void parallelFor(int count, const std::function<void(int first, int end)>& body)
{
    const int pieces = std::min(std::max(threading::idealThreadCount(), 2), count);
    std::vector<std::future<void>> runs;
    for (int i = 0; i < pieces; ++i) {
        const auto bound = [&](int piece) {
            return static_cast<int>(static_cast<std::ptrdiff_t>(count) * piece / pieces);
        };
        runs.push_back(std::async(std::launch::async, body, bound(i), bound(i + 1)));
    }
    for (std::future<void>& run : runs)
        run.get();
}

#else

void parallelFor(int count, const std::function<void(int first, int end)>& body)
{
    if (count < 1)
        return;
    const int threads = threading::idealThreadCount();
    if (threads == 1) {
        body(0, count);
        return;
    }
    const auto run = [&] {
        tbb::task_group_context context;
        tbb::parallel_for(
            tbb::blocked_range<int>(0, count),
            [&](const tbb::blocked_range<int>& piece) { body(piece.begin(), piece.end()); },
            tbb::auto_partitioner(), context);
    };
    // An arena of its own only where the caller's would be too wide: the pool's threads look for work in the arena of
    // the last loop for a while, which on a busy machine can outlast the next loop.
    if (threads >= tbb::this_task_arena::max_concurrency())
        run();
    else
        tbb::task_arena(threads).execute(run);
}

#endif

std::ptrdiff_t evenPieceSize(std::ptrdiff_t extent, std::ptrdiff_t largest)
{
    if (extent < 1)
        return 1;
    const std::ptrdiff_t threads = threading::idealThreadCount();
    const std::ptrdiff_t needed = (extent - 1) / std::max<std::ptrdiff_t>(largest, 1) + 1;
    const std::ptrdiff_t pieces = ((needed - 1) / threads + 1) * threads;
    return (extent - 1) / pieces + 1;
}

} // namespace frame
