#pragma once

#include "arvo/platform/Export.h"

#include <atomic>

class ThreadProgress;

/// Base of every long-running operation: execute it, then ask whether it succeeded.
class ARVO_PLATFORM_EXPORT Calculation {
public:
    Calculation();
    /// Copies the outcome and the pointer to the progress object.
    /// @{
    Calculation(const Calculation&);
    Calculation& operator=(const Calculation&);
    /// @}
    virtual ~Calculation();

    /// Runs on the calling thread until done, failed or stopped by `cancel`, which is owned by the caller, may be
    /// raised by any thread and is only read.
    virtual void execute(const std::atomic<bool>& cancel) = 0;

    /// Whether the last `execute` succeeded; false before the first.
    bool isSuccess() const { return m_success; }

    /// Keeps the pointer, which stays owned by the caller; long operations advance it. Null: no progress is reported.
    virtual void setProgress(ThreadProgress* progress);

protected:
    /// Set by `execute` of a subclass.
    bool m_success = false;
    /// Null unless set; not owned.
    ThreadProgress* m_progress = nullptr;
};
