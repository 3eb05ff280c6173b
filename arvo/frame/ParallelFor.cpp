#include "arvo/frame/ParallelFor.h"

#include "arvo/platform/threading/ThreadCount.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

namespace frame {

void parallelFor(int count, const std::function<void(int first, int end)>& body)
{
    if (count < 1)
        return;
    const int threads = threading::idealThreadCount();
    if (threads == 1) {
        body(0, count);
        return;
    }
    tbb::task_arena arena(threads);
    arena.execute([&] {
        tbb::task_group_context context;
        tbb::parallel_for(
            tbb::blocked_range<int>(0, count),
            [&](const tbb::blocked_range<int>& piece) { body(piece.begin(), piece.end()); },
            tbb::auto_partitioner(), context);
    });
}

} // namespace frame
