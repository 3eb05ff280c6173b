#include "support/InstructionCount.h"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#endif

#include <chrono>
#include <thread>

namespace bench {

#ifdef CALLGRIND_START_INSTRUMENTATION

namespace {

/// Workers that are done may still be on their way out of the system's thread functions.
void letThreadsEnd()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
}

} // namespace

bool canCountInstructions()
{
    return RUNNING_ON_VALGRIND != 0;
}

void startCounting()
{
    letThreadsEnd();
    CALLGRIND_START_INSTRUMENTATION;
}

void stopCounting(const std::string& name)
{
    letThreadsEnd();
    CALLGRIND_STOP_INSTRUMENTATION;
    CALLGRIND_DUMP_STATS_AT(name.c_str());
}

#else

bool canCountInstructions()
{
    return false;
}

void startCounting() {}

void stopCounting(const std::string&) {}

#endif

} // namespace bench
