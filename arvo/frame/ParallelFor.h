#pragma once

#include <cstddef>
#include <functional>

namespace frame {

/// Runs body(first, end) over disjoint pieces that together make up [0, count), on the TBB pool; returns when all
/// are done.
///
/// Automatic partitioning, a task-group context of its own, never more than threading::idealThreadCount() threads.
/// Which piece a thread gets changes from run to run: results must not depend on it.
void parallelFor(int count, const std::function<void(int first, int end)>& body);

/// The size of equal pieces of [0, extent), the last one perhaps smaller: at most `largest`, and their number a multiple
/// of the thread count where there are that many items. For loops whose pieces cost too much to be left to the
/// partitioner. At least 1; `largest` counts as 1 if it is less.
std::ptrdiff_t evenPieceSize(std::ptrdiff_t extent, std::ptrdiff_t largest);

} // namespace frame
