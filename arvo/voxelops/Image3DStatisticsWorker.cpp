#include "arvo/voxelops/Image3DStatisticsWorker.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/CancelRule.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/voxelops/MiddleValues.h"
#include "arvo/voxelops/VoxelCounts.h"
#include "arvo/voxelops/VoxelSums.h"

namespace {

/// Calls take(run, count) for the voxels of the range, in order; false if the flag stopped it. Nothing is left behind of a
/// stopped job, so that its runs need not end with the rows.
template <class T, class Take>
bool forEachRunOfRange(const frame::VolumeView<const T>& image, int startSlice, int stopSlice,
                       const std::atomic<bool>& cancel, Take&& take)
{
    constexpr std::ptrdiff_t RUN = 16384;
    for (int z = startSlice; z <= stopSlice; ++z) {
        const T* slice = image.slice(z);
        const bool isDone =
            frame::forEachRun(cancel, image.sliceCount(), RUN, [&](std::ptrdiff_t begin, std::ptrdiff_t end) {
                take(slice + begin, end - begin);
            });
        if (!isDone)
            return false;
    }
    return true;
}

} // namespace

Image3DStatisticsWorker::Image3DStatisticsWorker(Image3DStatisticsMethod::Method method, QObject* parent)
    : SliceWorker(parent),
      m_method(method),
      m_bracket(std::make_unique<voxelops::KeyBracket>()),
      m_tally(std::make_unique<voxelops::KeyTally>())
{
}

Image3DStatisticsWorker::~Image3DStatisticsWorker() = default;

void Image3DStatisticsWorker::processSlices()
{
    m_partialResult = 0.0;
    m_nonZeroCount = 0;
    *m_tally = {};
    if (!isRangeInside()) {
        frame::refuse("Image3DStatisticsWorker : the slices lie outside the volume.");
        return;
    }
    bool isDone = false;
    switch (static_cast<int>(m_method)) {
    case Image3DStatisticsMethod::Mean:
        isDone = calculateMean();
        break;
    case Image3DStatisticsMethod::MeanOfNonZeroValues:
        isDone = calculateSumOfNonZeroValues();
        break;
    case Image3DStatisticsMethod::Median:
    case 4: // a method that the workers know and the calculation does not: hosts get 0 and success
        isDone = tallyValues(
            false, "Image3DStatisticsWorker : sorting not implemented for the given input image data type.");
        break;
    case Image3DStatisticsMethod::MedianOfNonZeroValues:
        isDone = tallyValues(true, "Image3DStatisticsWorker : non-zero sorting not implemented for the given "
                                   "input image data type.");
        break;
    default:
        qWarning("Image3DStatisticsWorker : unknown statistical method to work for.");
    }
    if (isDone && !getCancelFlag().load())
        succeeded();
}

bool Image3DStatisticsWorker::calculateMean()
{
    return image::withElementType(
        getInputImage().dataType(), image::VoxelTypes{},
        "Image3DStatisticsWorker : mean not implemented for the given input image data type.",
        [&](auto element) {
            using T = typename decltype(element)::type;
            const frame::VolumeView<const T> voxels(getInputImage());
            double sum = 0.0;
            const bool isDone = forEachRunOfRange(
                voxels, getStartSlice(), getStopSlice(), getCancelFlag(),
                [&](const T* run, std::ptrdiff_t count) { sum = voxelops::addInOrder(sum, run, count); });
            m_partialResult = isDone ? sum / static_cast<double>(voxels.count()) : 0.0;
            return isDone;
        });
}

bool Image3DStatisticsWorker::calculateSumOfNonZeroValues()
{
    return image::withElementType(
        getInputImage().dataType(), image::VoxelTypes{},
        "Image3DStatisticsWorker : sum-of-non-zero-values not implemented for the given input image data "
        "type.",
        [&](auto element) {
            using T = typename decltype(element)::type;
            double sum = 0.0; // adding zeros of either sign does not change it
            std::int64_t nonZeros = 0;
            const bool isDone =
                forEachRunOfRange(frame::VolumeView<const T>(getInputImage()), getStartSlice(),
                                  getStopSlice(), getCancelFlag(), [&](const T* run, std::ptrdiff_t count) {
                                      sum = voxelops::addInOrder(sum, run, count);
                                      nonZeros += count - voxelops::countEqual(run, count, T(0));
                                  });
            m_partialResult = isDone ? sum : 0.0;
            m_nonZeroCount = isDone ? nonZeros : 0;
            return isDone;
        });
}

bool Image3DStatisticsWorker::tallyValues(bool onlyNonZero, const char* warning)
{
    return image::withElementType(
        getInputImage().dataType(), image::VoxelTypes{}, warning, [&](auto element) {
            using T = typename decltype(element)::type;
            const frame::VolumeView<const T> voxels(getInputImage());
            *m_bracket = voxelops::expectMiddle(voxels.data(), voxels.count(), onlyNonZero);
            return forEachRunOfRange(voxels, getStartSlice(), getStopSlice(), getCancelFlag(),
                                     [&](const T* run, std::ptrdiff_t count) {
                                         voxelops::tallyRun(run, count, *m_bracket, onlyNonZero, *m_tally);
                                     });
        });
}
