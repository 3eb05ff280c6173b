// The physical limits of the machine: copy, read-only sum, in-place add and first-touch bandwidth for the byte sizes of
// the workloads (256^3 of uint8, int16, float) and for a size far beyond the caches. Prints CSV.
#include "harness.h"

#include <atomic>
#include <cstdint>
#include <sys/mman.h>
#include <thread>

namespace {

// Reads whole 64-byte lines; eight sums keep the loads independent.
__attribute__((target("avx2"), optimize("O3"))) std::uint64_t sumWords(const std::uint64_t* p,
                                                                       std::size_t count)
{
    std::uint64_t s[32] = {};
    for (std::size_t i = 0; i + 32 <= count; i += 32)
        for (int k = 0; k < 32; ++k)
            s[k] += p[i + k];
    std::uint64_t t = 0;
    for (std::uint64_t v : s)
        t += v;
    return t;
}

__attribute__((target("avx2"), optimize("O3"))) void addWords(float* a, const float* b, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        a[i] += b[i];
}

// Two threads that start together: a spinning barrier, so that thread start is not part of the time.
template <class F> double timed(int threads, F f)
{
    using clock = std::chrono::steady_clock;
    if (threads == 1) {
        const auto t0 = clock::now();
        f(0, 1);
        return std::chrono::duration<double>(clock::now() - t0).count();
    }
    std::atomic<int> ready{0};
    std::atomic<bool> go{false};
    std::thread other([&] {
        ++ready;
        while (!go) {
        }
        f(1, 2);
        ++ready;
    });
    while (ready != 1) {
    }
    const auto t0 = clock::now();
    go = true;
    f(0, 2);
    while (ready != 2) {
    }
    const double t = std::chrono::duration<double>(clock::now() - t0).count();
    other.join();
    return t;
}

template <class F> void report(const char* name, std::size_t mib, int threads, double bytes, F f)
{
    std::vector<double> t;
    f();
    for (int i = 0; i < 15; ++i)
        t.push_back(f());
    std::sort(t.begin(), t.end());
    std::printf("%s,%zu,%d,%.2f,%.2f\n", name, mib, threads, bytes / harness::median(t) * 1e-9,
                bytes / t[0] * 1e-9);
    std::fflush(stdout);
}

char* fresh(std::size_t bytes, bool huge)
{
    char* p = static_cast<char*>(
        mmap(nullptr, bytes + (2u << 20), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (huge)
        madvise(p, bytes + (2u << 20), MADV_HUGEPAGE);
    return p;
}

} // namespace

int main()
{
    std::printf("limit,mib,threads,median_gb_s,best_gb_s\n");
    volatile std::uint64_t sink = 0;
    for (std::size_t mib : {16, 32, 64, 512}) {
        const std::size_t bytes = mib << 20;
        char* a = fresh(bytes, false);
        char* b = fresh(bytes, false);
        std::memset(a, 0, bytes);
        std::memset(b, 0, bytes);
        for (int threads : {1, 2}) {
            const auto part = [&](int i, int k) { return bytes / k * i; };
            // Copy counts bytes read plus bytes written.
            report("memcpy (read + written)", mib, threads, 2.0 * bytes, [&] {
                return timed(threads,
                             [&](int i, int k) { std::memcpy(a + part(i, k), b + part(i, k), bytes / k); });
            });
            report("sum (read)", mib, threads, 1.0 * bytes, [&] {
                return timed(threads, [&](int i, int k) {
                    const std::uint64_t s =
                        sumWords(reinterpret_cast<const std::uint64_t*>(b + part(i, k)), bytes / k / 8);
                    if (i == 0)
                        sink = sink + s;
                });
            });
            report("a += b float (2 read + 1 written)", mib, threads, 3.0 * bytes, [&] {
                return timed(threads, [&](int i, int k) {
                    addWords(reinterpret_cast<float*>(a + part(i, k)),
                             reinterpret_cast<const float*>(b + part(i, k)), bytes / k / 4);
                });
            });
            for (bool huge : {false, true})
                report(huge ? "first touch of fresh memory 2 MiB pages (written)"
                            : "first touch of fresh memory 4 KiB pages (written)",
                       mib, threads, 1.0 * bytes, [&] {
                           char* p = fresh(bytes, huge);
                           const double t = timed(
                               threads, [&](int i, int k) { std::memset(p + part(i, k), 1, bytes / k); });
                           munmap(p, bytes + (2u << 20));
                           return t;
                       });
        }
        munmap(a, bytes + (2u << 20));
        munmap(b, bytes + (2u << 20));
    }
    return 0;
}
