#pragma once

#include <functional>

namespace frame {

/// Runs body(first, end) over disjoint pieces that together make up [0, count), on the TBB pool; returns when all
/// are done.
///
/// Automatic partitioning, a task-group context of its own, never more than threading::idealThreadCount() threads.
/// Which piece a thread gets changes from run to run: results must not depend on it.
void parallelFor(int count, const std::function<void(int first, int end)>& body);

} // namespace frame
