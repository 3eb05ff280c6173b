#pragma once

#include "arvo/frame/SliceWorker.h"
#include "arvo/platform/threading/ThreadCount.h"

#include <memory>
#include <vector>

/// For operations that run slice workers without being a calculation.
namespace differential {

/// Splits `numSlices` into ranges, starts one worker per range and waits for all of them. make(first, last) gives the
/// worker of an inclusive range. The workers cannot be cancelled; whether they succeeded is not asked.
template <class Make> void runSliceThreads(int numSlices, Make&& make)
{
    const auto [numWorkers, numSlicesPerWorker] = threading::calculateNumThreads(numSlices);
    std::vector<std::unique_ptr<SliceWorker>> workers;
    for (int i = 0; i < numWorkers; ++i) {
        const int start = i * numSlicesPerWorker;
        const bool isFull = numSlicesPerWorker <= numSlices - start;
        workers.push_back(make(start, isFull ? start + numSlicesPerWorker - 1 : numSlices - 1));
    }
    for (const auto& worker : workers) // all of them, or none if the memory ends
        worker->startWithCancel(nullptr);
    for (const auto& worker : workers)
        worker->waitUntilDone();
}

} // namespace differential
