#pragma once

#include "arvo/frame/Export.h"
#include "arvo/frame/SliceWorker.h"
#include "arvo/voxelops/Image3DStatisticsMethod.h"

#include <cstdint>
#include <memory>

namespace voxelops {
struct KeyBracket;
struct KeyTally;
} // namespace voxelops

/// Reduces one range of slices of its input image to a partial result; see Image3DStatistics.
class ARVO_VOLUME_EXPORT Image3DStatisticsWorker : public SliceWorker {
    Q_OBJECT

public:
    /// A worker for one method; volumes and range are set as for any SliceWorker. Without memory: std::bad_alloc.
    explicit Image3DStatisticsWorker(Image3DStatisticsMethod::Method method, QObject* parent = nullptr);
    ~Image3DStatisticsWorker() override;

    /// Mean: the range's sum divided by the voxel count of the whole volume. Mean of non-zero voxels: the range's sum.
    double getPartialResult() const { return m_partialResult; }
    /// Voxels of the range that are not 0; for the mean of non-zero voxels only.
    std::int64_t getNonZeroCount() const { return m_nonZeroCount; }
    /// Medians: the range's voxels counted against the bracket, which is the same for all workers of a run.
    /// @{
    const voxelops::KeyBracket& getBracket() const { return *m_bracket; }
    const voxelops::KeyTally& getTally() const { return *m_tally; }
    /// @}

protected:
    void processSlices() override;

private:
    bool calculateMean();
    bool calculateSumOfNonZeroValues();
    bool tallyValues(bool onlyNonZero, const char* warning);

    Image3DStatisticsMethod::Method m_method;
    double m_partialResult = 0.0;
    std::int64_t m_nonZeroCount = 0;
    std::unique_ptr<voxelops::KeyBracket> m_bracket;
    std::unique_ptr<voxelops::KeyTally> m_tally;
};
