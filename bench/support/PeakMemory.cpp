#include "support/PeakMemory.h"

#include <fstream>
#include <malloc.h>
#include <string>

namespace bench {

namespace {

std::size_t statusBytes(const std::string& field)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(field))
            return std::stoul(line.substr(field.size() + 1)) * 1024;
    }
    return 0;
}

} // namespace

std::size_t resetPeakMemory()
{
    malloc_trim(0); // freed blocks that stay resident would hide what is allocated next
    std::ofstream("/proc/self/clear_refs") << "5";
    return statusBytes("VmRSS");
}

std::size_t peakMemory()
{
    return statusBytes("VmHWM");
}

} // namespace bench
