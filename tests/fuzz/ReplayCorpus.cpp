#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <sys/resource.h>

/// Feeds the files of a folder to a fuzz target once each: the committed corpus as a test, with any compiler.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

/// What the fuzzing takes for more than memory holds is not to be had here either, or an input would work on gigabytes.
/// Sanitizers reserve addresses of their own and get the limit through their options.
void limitMemory()
{
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    const rlimit limit{rlim_t(2) << 30, rlim_t(2) << 30};
    setrlimit(RLIMIT_AS, &limit);
#endif
}

} // namespace

int main(int count, char** arguments)
{
    limitMemory();
    int inputs = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), {});
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++inputs;
        }
    }
    std::printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
