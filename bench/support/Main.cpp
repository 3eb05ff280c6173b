#include "support/Inputs.h"
#include "support/InstructionCount.h"
#include "support/Workload.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/// arvo_bench --count-instructions EDGE NAME...: one profile each; see bench/instructions.py.
int countAll(int argc, char** argv)
{
    if (argc < 4 || !bench::canCountInstructions()) {
        std::fprintf(stderr, "needs an edge, names, callgrind and a build that found its header\n");
        return 1;
    }
    for (int i = 3; i < argc; ++i) {
        if (bench::countInstructions(argv[i], std::atoi(argv[2])))
            continue;
        std::fprintf(stderr, "no workload %s\n", argv[i]);
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--count-instructions") == 0)
        return countAll(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv) || !inputs::check())
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
