#pragma once

#include "arvo/platform/Export.h"

#include <atomic>

/// How far a long operation has come. May be read from any thread while the operation runs.
class ARVO_PLATFORM_EXPORT ThreadProgress {
public:
    /// Announces the number of steps and starts again at 0.
    void setTotal(int total);
    /// Counts steps as done; any thread may call it.
    void advance(int steps = 1);
    /// Steps done so far.
    int value() const;
    /// Steps announced.
    int total() const;

private:
    std::atomic<int> m_value{0};
    std::atomic<int> m_total{0};
};
