#pragma once

#include "support/InstructionCount.h"
#include "support/PeakMemory.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

/// Registration of workloads. A workload NAME becomes the benchmarks NAME/threads:1 and, for threaded operations,
/// NAME/threads:2, at edge 256; members of the scaling set also NAME@128, NAME@384 and NAME@512.
namespace bench {

struct Job {
    std::string name;
    bool isThreaded = false;
    bool isScaling = false;
    std::function<double(int edge)> nominalCount =
        nullptr;                                     ///< voxels that the time is divided by; null: edge^3
    std::function<double(int edge)> bytes = nullptr; ///< bytes read once and written once; null: not reported
};

namespace detail {

struct Variant {
    int edge;
    int threads;
};

/// Registers every variant of the job; `run` does its own timing.
void registerVariants(const Job& job, const std::function<void(benchmark::State&, const Variant&)>& run);
/// Keeps what counts the instructions of the workload at an edge.
void registerCount(const std::string& name, const std::function<void(int edge)>& count);
void report(benchmark::State& state, const Job& job, const Variant& variant, std::size_t peakBytes);

} // namespace detail

/// Counts the instructions of one run of that workload on one thread; false if there is no such workload.
bool countInstructions(const std::string& name, int edge);

/// Registers a workload. prepare(edge) makes the state of one repetition and is not timed; run(state) is; the state is
/// destroyed outside the timed part. What `run` allocates is allocated inside it. A first run is not timed; it tells the
/// peak memory on top of the state.
template <class Prepare, class Run> bool workload(const Job& job, Prepare prepare, Run run)
{
    detail::registerVariants(job, [=](benchmark::State& state, const detail::Variant& variant) {
        std::size_t peakBytes = 0;
        {
            auto warmUp = prepare(variant.edge);
            const std::size_t before = resetPeakMemory();
            run(warmUp);
            peakBytes = peakMemory() - before;
        }
        for (auto _ : state) {
            auto prepared = prepare(variant.edge);
            const auto begin = std::chrono::steady_clock::now();
            run(prepared);
            const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
            state.SetIterationTime(elapsed.count());
        }
        detail::report(state, job, variant, peakBytes);
    });
    detail::registerCount(job.name, [=](int edge) {
        auto warmUp = prepare(edge);
        run(warmUp);
        auto prepared = prepare(edge);
        startCounting();
        run(prepared);
        stopCounting(job.name);
    });
    return true;
}

} // namespace bench
