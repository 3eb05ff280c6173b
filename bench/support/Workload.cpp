#include "support/Workload.h"

#include "arvo/platform/threading/ThreadCount.h"

#include <map>
#include <vector>

namespace bench {

namespace {

/// Filled while the program starts, by the workloads' own registration.
std::map<std::string, std::function<void(int)>>& counts()
{
    static std::map<std::string, std::function<void(int)>> all;
    return all;
}

} // namespace

bool countInstructions(const std::string& name, int edge)
{
    const auto found = counts().find(name);
    if (found == counts().end())
        return false;
    threading::setThreadLimit(1);
    found->second(edge);
    return true;
}

namespace detail {

void registerCount(const std::string& name, const std::function<void(int edge)>& count)
{
    counts()[name] = count;
}

void registerVariants(const Job& job, const std::function<void(benchmark::State&, const Variant&)>& run)
{
    const std::vector<int> edges =
        job.isScaling ? std::vector<int>{256, 128, 384, 512} : std::vector<int>{256};
    const std::vector<int> threadCounts = job.isThreaded ? std::vector<int>{1, 2} : std::vector<int>{1};
    for (const int edge : edges) {
        for (const int threads : threadCounts) {
            std::string name = job.name;
            if (edge != 256)
                name.append("@").append(std::to_string(edge));
            name.append("/threads:").append(std::to_string(threads));
            benchmark::RegisterBenchmark(name.c_str(),
                                         [=](benchmark::State& state) {
                                             threading::setThreadLimit(threads);
                                             run(state, Variant{edge, threads});
                                             threading::setThreadLimit(0);
                                         })
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        }
    }
}

void report(benchmark::State& state, const Job& job, const Variant& variant, std::size_t peakBytes)
{
    const double edge = variant.edge;
    const double count = job.nominalCount ? job.nominalCount(variant.edge) : edge * edge * edge;
    using Counter = benchmark::Counter;
    state.counters["ns/voxel"] = Counter(count * 1e-9, Counter::kIsIterationInvariantRate | Counter::kInvert);
    state.counters["peak_MiB"] = static_cast<double>(peakBytes) / 1048576.0;
    if (job.bytes)
        state.SetBytesProcessed(static_cast<std::int64_t>(job.bytes(variant.edge)) * state.iterations());
}

} // namespace detail

} // namespace bench
