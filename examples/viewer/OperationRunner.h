#pragma once

#include "Operations.h"

#include <QObject>

#include <functional>
#include <thread>

namespace viewer {

/// Runs one job at a time on a thread of its own, so that the window stays alive; lives on the window's thread.
///
/// The outcome comes back as a signal on the window's thread. Destroying the runner raises the cancel flag and waits.
class OperationRunner : public QObject {
    Q_OBJECT

public:
    using Job = std::function<Outcome(const JobControl&)>;

    using QObject::QObject;
    ~OperationRunner() override;

    /// False, and nothing happens, while another job runs.
    bool start(Job job);
    /// Asks the running job to stop; `finished` follows as soon as it has.
    void cancel();
    bool isRunning() const { return m_isRunning; }
    const ThreadProgress& progress() const { return m_progress; }

Q_SIGNALS:
    void finished(const viewer::Outcome& outcome);

private:
    Outcome guarded(const Job& job);
    void finish(const Outcome& outcome);

    std::thread m_worker;
    ThreadProgress m_progress;
    std::atomic<bool> m_cancel{false};
    bool m_isRunning = false;
};

} // namespace viewer
