#include "OperationRunner.h"

#include <exception>

namespace viewer {

OperationRunner::~OperationRunner()
{
    cancel();
    if (m_worker.joinable())
        m_worker.join();
}

bool OperationRunner::start(Job job)
{
    if (m_isRunning)
        return false;
    m_isRunning = true;
    m_cancel = false;
    m_progress.setTotal(0);
    m_worker = std::thread([this, job = std::move(job)] {
        const Outcome outcome = guarded(job);
        QMetaObject::invokeMethod(
            this, [this, outcome] { finish(outcome); }, Qt::QueuedConnection);
    });
    return true;
}

void OperationRunner::cancel()
{
    m_cancel = true;
}

/// What a job that was told to stop has done is dropped, even if it was about to be complete.
Outcome OperationRunner::guarded(const Job& job)
{
    Outcome outcome;
    try {
        outcome = job({m_cancel, m_progress});
    } catch (const std::exception& error) {
        outcome = Outcome::failed(error.what());
    }
    if (m_cancel) {
        outcome = {};
        outcome.isCancelled = true;
    }
    return outcome;
}

void OperationRunner::finish(const Outcome& outcome)
{
    m_worker.join();
    m_isRunning = false;
    Q_EMIT finished(outcome);
}

} // namespace viewer
