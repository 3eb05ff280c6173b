// Runs every operation on fixed inputs and prints a line "operation/type/size hash" for each result.
//
// With --check FILE it compares instead of printing: another instruction set, compiler, number of threads or split
// into ranges that changes a single bit of a single result fails. The means, which depend on the number of workers by
// definition, carry that number in their names.
//
// With --kernels baseline|avx2 it says first whether this process runs those kernels, and ends with 77 if it does not.
//
// usage: arvo_result_hashes [--threads N] [--check FILE] [--kernels baseline|avx2]
#include "trust/Operations.h"

#include "arvo/platform/threading/ThreadCount.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>

namespace {

constexpr int NOT_THOSE_KERNELS = 77;

/// What the dispatch of the vector clones asks when the library is loaded. Elsewhere there are no clones.
const char* kernelsInUse()
{
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
    return __builtin_cpu_supports("avx2") ? "avx2" : "baseline";
#else
    return "baseline";
#endif
}

/// What was computed. A name that comes again - for another thread count, another split into ranges, another way to the
/// same result - has to come with the same hash.
class Results {
public:
    void add(const std::string& name, std::uint64_t value)
    {
        const auto [line, isNew] = m_lines.emplace(name, value);
        if (!isNew && line->second != value) {
            std::printf("%s: two runs differ\n", name.c_str());
            m_isConsistent = false;
        }
    }
    const std::map<std::string, std::uint64_t>& lines() const { return m_lines; }
    bool isConsistent() const { return m_isConsistent; }

private:
    std::map<std::string, std::uint64_t> m_lines;
    bool m_isConsistent = true;
};

const char* nameOf(image::DataType type)
{
    switch (type) {
    case image::UInt16:
        return "u16";
    case image::Int16:
        return "i16";
    case image::UInt8:
        return "u8";
    case image::Binary:
        return "mask";
    case image::Float32:
        return "f32";
    case image::Int32:
        return "i32";
    default:
        return "none";
    }
}

/// The volumes that an operation changes, and what it found besides.
void hash(const trust::Operation& operation, const math::Ivec3& size, image::DataType type, int way,
          Results& results)
{
    static const std::atomic<bool> never{false};
    const std::string name = operation.name.substr(0, operation.name.find(','));
    const std::string suffix = std::string("/") + nameOf(type) + "/" + std::to_string(size.x);
    ArvoImage3D a = operation.hashed.a(size, type);
    ArvoImage3D b = operation.hashed.b ? operation.hashed.b(size, type) : ArvoImage3D();
    trust::SoundNumbers numbers;
    trust::Call call{&a, &b, numbers, never, way};
    operation.run(call);
    if (operation.has(trust::CHANGES_A))
        call.result().addVolume(&a);
    if (operation.has(trust::CHANGES_B))
        call.result().addVolume(&b);
    for (const auto& [part, found] : call.results)
        results.add((part.empty() ? name : part) + suffix, found.value());
}

Results hashAll()
{
    Results results;
    for (const trust::Operation& operation : trust::allOperations()) {
        for (const image::DataType type : operation.hashed.types) {
            for (const math::Ivec3& size : trust::FIXED_SIZES) {
                for (int way = 0; way < operation.ways; ++way)
                    hash(operation, size, type, way, results);
            }
        }
    }
    return results;
}

int compare(const Results& results, const char* file)
{
    std::map<std::string, std::uint64_t> expected;
    std::ifstream lines(file);
    std::string name, hash;
    while (lines >> name >> hash)
        expected[name] = std::strtoull(hash.c_str(), nullptr, 16);

    int differences = 0;
    for (const auto& [operation, value] : results.lines()) {
        const auto found = expected.find(operation);
        if (found == expected.end() || found->second != value) {
            std::printf("%s: %016" PRIx64 ", %s\n", operation.c_str(), value,
                        found == expected.end() ? "not in the file" : "differs from the file");
            ++differences;
        }
    }
    for (const auto& [operation, value] : expected) {
        // The means for other numbers of workers stand in the file as well.
        if (!results.lines().contains(operation) && operation.find("/workers=") == std::string::npos) {
            std::printf("%s: in the file only\n", operation.c_str());
            ++differences;
        }
    }
    std::printf("%zu results, %d differences\n", results.lines().size(), differences);
    return differences == 0 && !expected.empty() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    const char* file = nullptr;
    const char* kernels = kernelsInUse();
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--threads") == 0)
            threading::setThreadLimit(std::atoi(argv[i + 1]));
        else if (std::strcmp(argv[i], "--check") == 0)
            file = argv[i + 1];
        else if (std::strcmp(argv[i], "--kernels") == 0)
            kernels = argv[i + 1];
    }
    if (std::strcmp(kernels, kernelsInUse()) != 0) {
        std::printf("no %s kernels here, but %s\n", kernels, kernelsInUse());
        return NOT_THOSE_KERNELS;
    }

    const Results results = hashAll();
    if (!results.isConsistent())
        return 1;
    if (file)
        return compare(results, file);
    for (const auto& [operation, value] : results.lines())
        std::printf("%s %016" PRIx64 "\n", operation.c_str(), value);
    return 0;
}
