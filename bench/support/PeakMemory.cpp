#include "support/PeakMemory.h"

#include <fstream>
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
    std::ofstream("/proc/self/clear_refs") << "5";
    return statusBytes("VmRSS");
}

std::size_t peakMemory()
{
    return statusBytes("VmHWM");
}

} // namespace bench
