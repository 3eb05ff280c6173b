#pragma once

#include "arvo/frame/Export.h"
#include "arvo/frame/SliceWorker.h"
#include "arvo/platform/threading/Calculation.h"

#include <QList>

#include <algorithm>
#include <atomic>
#include <memory>

/// Base of the calculations that split a volume into ranges of axial slices, one worker thread a range.
///
/// `execute` of a subclass defines the work load, adds a worker per range, reads the flag, runs the workers and deletes
/// them; it blocks until all of them have finished. No locks: workers write disjoint slices.
class ARVO_VOLUME_EXPORT SliceWorkerCalculation : public Calculation {
public:
    SliceWorkerCalculation();
    /// Copies share the workers, of which there are none between two runs; each is deleted once.
    /// @{
    SliceWorkerCalculation(const SliceWorkerCalculation&);
    SliceWorkerCalculation& operator=(const SliceWorkerCalculation&);
    /// @}
    ~SliceWorkerCalculation() override;

protected:
    /// Splits `numSlices` by threading::calculateNumThreads into workers and slices per worker.
    void defineWorkLoad(int numSlices);
    /// Appends a worker and takes ownership.
    void addWorker(SliceWorker* worker);
    /// Starts every worker, waits for all without a deadline and tells whether every one of them succeeded; true
    /// without workers. A worker that fails does not stop the others.
    bool runAllWorkers(const std::atomic<bool>& cancel);
    /// Lets go of the workers; those that no copy shares are deleted.
    void deleteAllWorkers();

    /// Calls add(first, last) for the inclusive slice range of each worker, in order.
    template <class Add> void forEachRange(int numSlices, Add&& add) const
    {
        for (int i = 0; i < m_numWorkers; ++i) {
            const int start = m_numSlicesPerWorker * i;
            add(start, start + std::min(m_numSlicesPerWorker - 1, numSlices - 1 - start));
        }
    }

    /// The load that defineWorkLoad() found.
    /// @{
    int getNumWorkers() const { return m_numWorkers; }
    int getNumSlicesPerWorker() const { return m_numSlicesPerWorker; }
    /// @}
    /// The workers in order; they stay owned by the calculation.
    QList<SliceWorker*> getWorkers() const;

private:
    int m_numWorkers = 0;
    int m_numSlicesPerWorker = 0;
    QList<std::shared_ptr<SliceWorker>> m_workers;
};
