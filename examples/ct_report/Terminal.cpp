#include "Terminal.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <future>

#include <unistd.h>

namespace terminal {

namespace {

void raiseFlag(int)
{
    if (cancelFlag().exchange(true))
        _exit(130);
}

void drawBar(const QString& title, const ThreadProgress& progress, double seconds)
{
    constexpr int CELLS = 28;
    const int total = progress.total();
    const int filled = total > 0 ? std::min(CELLS * progress.value() / total, CELLS) : 0;
    std::printf("\r  %-34s [%s%s] %6.1f s", qPrintable(title),
                std::string(static_cast<std::size_t>(filled), '#').c_str(),
                std::string(static_cast<std::size_t>(CELLS - filled), '.').c_str(), seconds);
    std::fflush(stdout);
}

} // namespace

std::atomic<bool>& cancelFlag()
{
    static std::atomic<bool> flag{false};
    return flag;
}

void catchInterrupt()
{
    cancelFlag();
    std::signal(SIGINT, raiseFlag);
    std::signal(SIGTERM, raiseFlag);
}

QString runShown(const QString& title, const ThreadProgress& progress, const std::function<QString()>& work)
{
    using clock = std::chrono::steady_clock;
    const bool isTerminal = isatty(STDOUT_FILENO) != 0;
    const auto begin = clock::now();
    const auto milliseconds = [&] {
        return std::chrono::duration<double, std::milli>(clock::now() - begin).count();
    };
    std::future<QString> done = std::async(std::launch::async, work);
    while (done.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout) {
        if (isTerminal)
            drawBar(title, progress, milliseconds() / 1000.0);
    }
    const double elapsed = milliseconds();
    QString problem;
    try {
        problem = done.get();
    } catch (const std::exception& error) {
        problem = error.what();
    }
    const char* const ended = problem.isEmpty() ? "done" : cancelFlag() ? "stopped" : "failed";
    std::printf("%s  %-34s %-7s %8.1f ms\n", isTerminal ? "\r\033[K" : "", qPrintable(title), ended, elapsed);
    std::fflush(stdout);
    return problem;
}

} // namespace terminal
