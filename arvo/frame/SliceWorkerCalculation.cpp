#include "arvo/frame/SliceWorkerCalculation.h"

#include "arvo/platform/threading/ThreadCount.h"

#include <algorithm>

SliceWorkerCalculation::SliceWorkerCalculation() = default;
SliceWorkerCalculation::SliceWorkerCalculation(const SliceWorkerCalculation&) = default;
SliceWorkerCalculation& SliceWorkerCalculation::operator=(const SliceWorkerCalculation&) = default;

SliceWorkerCalculation::~SliceWorkerCalculation()
{
    deleteAllWorkers();
}

void SliceWorkerCalculation::defineWorkLoad(int numSlices)
{
    const auto [workers, slices] = threading::calculateNumThreads(numSlices);
    m_numWorkers = workers;
    m_numSlicesPerWorker = slices;
}

void SliceWorkerCalculation::addWorker(SliceWorker* worker)
{
    m_workers.append(std::shared_ptr<SliceWorker>(worker));
}

bool SliceWorkerCalculation::runAllWorkers(const std::atomic<bool>& cancel)
{
    for (const auto& worker : m_workers)
        worker->startWithCancel(&cancel);
    for (const auto& worker : m_workers)
        worker->waitUntilDone();
    return std::ranges::all_of(m_workers, [](const auto& worker) { return worker->isSuccessful(); });
}

void SliceWorkerCalculation::deleteAllWorkers()
{
    m_workers.clear();
}

QList<SliceWorker*> SliceWorkerCalculation::getWorkers() const
{
    QList<SliceWorker*> workers;
    for (const auto& worker : m_workers)
        workers.append(worker.get());
    return workers;
}
