// Timing harness shared by the peer programs: a warm-up run, then the median of at least `runs` timed runs.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace harness {

struct Options {
    int threads = 1;
    int runs = 5;
    int edge = 256;
    bool check = false;
    bool cpu = false;
    std::string only;              // parts of workload names, separated by commas
    std::set<std::string> skipped; // "workload,peer": the lines of the file given by --skip
};

inline Options& options()
{
    static Options o;
    return o;
}

inline void parse(int argc, char** argv)
{
    Options& o = options();
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const auto value = [&] { return i + 1 < argc ? argv[++i] : (char*)"0"; };
        if (a == "--threads")
            o.threads = std::atoi(value());
        else if (a == "--runs")
            o.runs = std::atoi(value());
        else if (a == "--edge")
            o.edge = std::atoi(value());
        else if (a == "--only")
            o.only = value();
        else if (a == "--skip") {
            std::ifstream lines(value());
            for (std::string line; std::getline(lines, line);)
                o.skipped.insert(line);
        } else if (a == "--check")
            o.check = true;
        else if (a == "--cpu")
            o.cpu = true;
        else {
            std::fprintf(
                stderr,
                "usage: [--threads N] [--runs N] [--edge N] [--only NAME] [--skip FILE] [--check] [--cpu]\n");
            std::exit(2);
        }
    }
    std::printf("workload,peer,threads,median_ms,ns_per_voxel%s\n", o.cpu ? ",cpu_ms" : "");
}

inline bool wanted(const char* workload)
{
    const std::string& only = options().only;
    for (std::size_t from = 0; from <= only.size();) {
        const std::size_t to = std::min(only.find(',', from), only.size());
        if (std::string(workload).find(only.substr(from, to - from)) != std::string::npos)
            return true;
        from = to + 1;
    }
    return false;
}

inline double cpuSeconds()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + 1e-6 * (u.ru_utime.tv_usec + u.ru_stime.tv_usec);
}

inline double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : 0.5 * (v[v.size() / 2 - 1] + v[v.size() / 2]);
}

// prepare() is not timed; run(state) is; check(state) returns a line about the last result.
template <class Prepare, class Run, class Check>
void bench(const char* workload, const char* peer, double units, Prepare prepare, Run run, Check check)
{
    if (!wanted(workload) || options().skipped.count(std::string(workload) + "," + peer))
        return;
    using clock = std::chrono::steady_clock;
    const Options& o = options();
    std::vector<double> wall, cpu;
    double total = 0;
    std::string line;
    for (int rep = 0;; ++rep) {
        auto state = prepare();
        const double c0 = cpuSeconds();
        const auto t0 = clock::now();
        run(state);
        const double w = std::chrono::duration<double>(clock::now() - t0).count();
        const double c = cpuSeconds() - c0;
        if (rep == 0) { // warm-up
            if (o.check)
                line = check(state);
            continue;
        }
        wall.push_back(w);
        cpu.push_back(c);
        total += w;
        const int n = int(wall.size());
        if (n >= o.runs && (total > 0.1 * o.runs || n >= 5 * o.runs))
            break;
    }
    const double m = median(wall);
    std::printf("%s,%s,%d,%.4f,%.4f", workload, peer, o.threads, m * 1e3, m * 1e9 / units);
    if (o.cpu)
        std::printf(",%.4f", median(cpu) * 1e3);
    std::printf("\n");
    if (o.check)
        std::printf("# check %s %s: %s\n", workload, peer, line.c_str());
    std::fflush(stdout);
}

inline std::string text(const char* format, double a, double b = 0, double c = 0)
{
    char s[200];
    std::snprintf(s, sizeof s, format, a, b, c);
    return s;
}

} // namespace harness
