#pragma once

#include "arvo/frame/SliceWorker.h"
#include "trust/Operations.h"

#include <memory>
#include <utility>
#include <vector>

namespace trust {

/// Cuts into the slice ranges that one of several numbers of workers would get: ways 0 to CUTS - 1.
inline constexpr int CUTS = 5;
std::vector<std::pair<int, int>> rangesOf(int way, int count);

using Workers = std::vector<std::unique_ptr<SliceWorker>>;

/// Runs the workers of a cut together and waits for them. A single worker may get any range; it has to refuse one that is
/// not inside the volume.
bool runWorkers(Call& c, Workers& workers, const std::function<std::unique_ptr<SliceWorker>()>& make);

} // namespace trust
