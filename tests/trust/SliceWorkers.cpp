#include "trust/SliceWorkers.h"

#include <algorithm>
#include <stdexcept>

namespace trust {

std::vector<std::pair<int, int>> rangesOf(int way, int count)
{
    static constexpr int WORKERS[CUTS] = {1, 2, 3, 7, 16};
    const int wanted = std::clamp(WORKERS[way], 1, std::max(count, 1));
    const int items = (count - 1) / wanted + 1;
    std::vector<std::pair<int, int>> ranges;
    if (count == 0)
        ranges.emplace_back(0, -1);
    for (int first = 0; first < count; first += items)
        ranges.emplace_back(first, std::min(first + items, count) - 1);
    return ranges;
}

bool runWorkers(Call& c, Workers& workers, const std::function<std::unique_ptr<SliceWorker>()>& make)
{
    auto ranges = rangesOf(c.way, c.slices());
    if (c.way == 0)
        ranges = {c.sliceRange()};
    for (const auto& [first, last] : ranges) {
        workers.push_back(make());
        workers.back()->setWork(first, last);
    }
    for (const auto& worker : workers)
        worker->startWithCancel(&c.cancel);
    bool areSuccessful = true;
    for (const auto& worker : workers) {
        worker->waitUntilDone();
        areSuccessful = worker->isSuccessful() && areSuccessful;
    }
    const auto [first, last] = ranges.front();
    if (areSuccessful && c.way == 0 && (first < 0 || last >= c.slices()))
        throw std::logic_error("slices outside the volume were not refused");
    return areSuccessful;
}

} // namespace trust
