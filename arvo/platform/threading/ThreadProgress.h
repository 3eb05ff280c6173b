#pragma once

#include "arvo/platform/Export.h"

#include <atomic>

/// How far a long operation has come. May be read from any thread while the operation runs.
class ARVO_PLATFORM_EXPORT ThreadProgress {
public:
    /// Announces the number of steps and starts again at 0.
    void setTotal(int total);
    void advance(int steps = 1);
    int value() const;
    int total() const;

private:
    std::atomic<int> m_value{0};
    std::atomic<int> m_total{0};
};
