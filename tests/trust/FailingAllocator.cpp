#include "trust/FailingAllocator.h"

#include <dlfcn.h>
#include <link.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

struct Range {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
};

Range code[2]; // of the two libraries
std::atomic<int> countdown{0};
std::atomic<bool> hasFailed{false};

int findLibraries(dl_phdr_info* info, std::size_t, void*)
{
    const bool isVolume = std::strstr(info->dlpi_name, "libarvo_volume");
    if (!isVolume && !std::strstr(info->dlpi_name, "libarvo_platform"))
        return 0;
    Range& range = code[isVolume];
    range = {UINTPTR_MAX, 0};
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const auto& header = info->dlpi_phdr[i];
        const std::uintptr_t begin = info->dlpi_addr + header.p_vaddr;
        if (header.p_type == PT_LOAD && begin < range.begin)
            range.begin = begin;
        if (header.p_type == PT_LOAD && begin + header.p_memsz > range.end)
            range.end = begin + header.p_memsz;
    }
    return 0;
}

/// Whether the allocation that `caller` asks for is the one to fail.
bool isRefused(const void* caller)
{
    if (countdown.load(std::memory_order_relaxed) <= 0)
        return false;
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    bool isLibrary = false;
    for (const Range& range : code)
        isLibrary = isLibrary || (address >= range.begin && address < range.end);
    if (!isLibrary || countdown.fetch_sub(1) != 1)
        return false;
    hasFailed = true;
    return true;
}

template <class Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void* obtain(std::size_t bytes, std::size_t alignment, const void* caller)
{
    if (isRefused(caller))
        return nullptr;
    static const auto aligned = next<void*(std::size_t, std::size_t)>("aligned_alloc");
    if (alignment == 0)
        return std::malloc(bytes == 0 ? 1 : bytes);
    return aligned(alignment, (bytes / alignment + 1) * alignment);
}

void* obtainOrThrow(std::size_t bytes, std::size_t alignment, const void* caller)
{
    if (void* memory = obtain(bytes, alignment, caller))
        return memory;
    throw std::bad_alloc();
}

} // namespace

#define CALLER __builtin_return_address(0)

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t bytes)
{
    static const auto allocate = next<void*(std::size_t, std::size_t)>("aligned_alloc");
    return isRefused(CALLER) ? nullptr : allocate(alignment, bytes);
}

extern "C" void* calloc(std::size_t count, std::size_t bytes)
{
    static const auto allocate = next<void*(std::size_t, std::size_t)>("calloc");
    return isRefused(CALLER) ? nullptr : allocate(count, bytes);
}

// clang-format off
void* operator new(std::size_t n) { return obtainOrThrow(n, 0, CALLER); }
void* operator new[](std::size_t n) { return obtainOrThrow(n, 0, CALLER); }
void* operator new(std::size_t n, std::align_val_t a) { return obtainOrThrow(n, std::size_t(a), CALLER); }
void* operator new[](std::size_t n, std::align_val_t a) { return obtainOrThrow(n, std::size_t(a), CALLER); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return obtain(n, 0, CALLER); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return obtain(n, 0, CALLER); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
// clang-format on

namespace failing_allocator {

void failAt(int k)
{
    if (code[0].end == 0)
        dl_iterate_phdr(findLibraries, nullptr);
    hasFailed = false;
    countdown = k;
}

bool stop()
{
    countdown = 0;
    return hasFailed;
}

} // namespace failing_allocator
