#include "arvo/voxelops/Image3DStatistics.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/voxelops/Image3DStatisticsWorker.h"
#include "arvo/voxelops/MiddleValues.h"

#include <new>

namespace {

template <class Use> void forEachWorker(const QList<SliceWorker*>& workers, Use&& use)
{
    for (SliceWorker* worker : workers)
        use(*static_cast<Image3DStatisticsWorker*>(worker));
}

/// The value at a rank; tallies the volume anew where the bracket does not hold the rank.
template <class T>
float valueAt(std::int64_t rank, const frame::VolumeView<const T>& voxels, bool onlyNonZero,
              voxelops::KeyBracket& bracket, voxelops::KeyTally& tally)
{
    float value = 0.0f;
    while (!voxelops::findRank<T>(tally, rank, bracket, value)) {
        tally = {};
        voxelops::tallyRun(voxels.data(), voxels.count(), bracket, onlyNonZero, tally);
    }
    return value;
}

} // namespace

Image3DStatistics::Image3DStatistics(Image3DStatisticsMethod::Method method) : m_method(method) {}

void Image3DStatistics::reset()
{
    m_value = 0.0;
    m_success = false;
}

void Image3DStatistics::execute(const std::atomic<bool>& cancel)
try {
    reset();
    if (!frame::isUsable(m_inputImage)) {
        frame::refuse("Image3DStatistics : no valid input image.");
        return;
    }
    defineWorkLoad(m_inputImage->imageSize().z);
    createAllWorkers();
    const bool wasCancelled = cancel.load();
    const bool isDone = runAllWorkers(cancel) && !wasCancelled;
    if (isDone)
        getResultsFromWorkers();
    deleteAllWorkers();
    m_success = isDone;
} catch (const std::bad_alloc&) {
    deleteAllWorkers();
    frame::refuse("Image3DStatistics : out of memory.");
}

void Image3DStatistics::createAllWorkers()
{
    forEachRange(m_inputImage->imageSize().z, [&](int start, int stop) {
        auto* worker = new Image3DStatisticsWorker(m_method);
        addWorker(worker);
        worker->setImages(m_inputImage, nullptr);
        worker->setWork(start, stop);
    });
}

void Image3DStatistics::getResultsFromWorkers()
{
    switch (m_method) {
    case Image3DStatisticsMethod::Mean:
        return getResultsFromWorkersMean();
    case Image3DStatisticsMethod::MeanOfNonZeroValues:
        return getResultsFromWorkersMeanOfNonZeroValues();
    case Image3DStatisticsMethod::Median:
        return getResultsFromWorkersMedian(false);
    case Image3DStatisticsMethod::MedianOfNonZeroValues:
        return getResultsFromWorkersMedian(true);
    }
    qWarning("Image3DStatistics : unknown method, not implemented.");
}

void Image3DStatistics::getResultsFromWorkersMean()
{
    forEachWorker(getWorkers(),
                  [&](const Image3DStatisticsWorker& worker) { m_value += worker.getPartialResult(); });
}

void Image3DStatistics::getResultsFromWorkersMeanOfNonZeroValues()
{
    double sum = 0.0;
    std::int64_t count = 0;
    forEachWorker(getWorkers(), [&](const Image3DStatisticsWorker& worker) {
        sum += worker.getPartialResult();
        count += worker.getNonZeroCount();
    });
    m_value = count == 0 ? 0.0 : sum / static_cast<double>(count);
}

void Image3DStatistics::getResultsFromWorkersMedian(bool onlyNonZero)
{
    voxelops::KeyBracket bracket;
    voxelops::KeyTally tally;
    forEachWorker(getWorkers(), [&](const Image3DStatisticsWorker& worker) {
        bracket = worker.getBracket();
        tally.add(worker.getTally());
    });
    const std::int64_t count = tally.total;
    if (count == 0)
        return;
    image::withElementType(m_inputImage->dataType(), image::VoxelTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        const frame::VolumeView<const T> voxels(*m_inputImage);
        const auto at = [&](std::int64_t rank) { return valueAt(rank, voxels, onlyNonZero, bracket, tally); };
        float median = at(count / 2);
        if (count % 2 == 0)
            median = (at(count / 2 - 1) + median) * 0.5f;
        m_value = median;
    });
}
