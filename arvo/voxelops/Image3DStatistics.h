#pragma once

#include "arvo/frame/Export.h"
#include "arvo/frame/SliceWorkerCalculation.h"
#include "arvo/voxelops/Image3DStatisticsMethod.h"

class ArvoImage3D;

/// One number over all voxels of a volume: the mean or the median, of all voxels or of those that are not 0.
///
/// 16-bit, 8-bit, mask and float volumes; the image is only read and stays owned by the caller. NaN is not 0. The result
/// is 0 when no voxel counts, and until an `execute` has succeeded.
///
/// Mean: each worker adds its voxels in order, in double precision, and divides by the voxel count of the volume; the
/// partial quotients are added in range order. For float voxels the last bits therefore depend on the number of workers.
/// A volume of slices without voxels has the mean NaN. The mean of non-zero voxels divides once, at the end.
///
/// Median: the middle value, of an even number the mean of the two middle ones in single precision. NaN counts as larger
/// than every number, -0 as smaller than +0. Nothing is sorted: one pass over the volume settles it (a second one if the
/// sample it starts from misled), and it holds some 3 % of the voxels, at worst all, at 4 bytes each and up to 12
/// while their list grows.
///
/// One worker thread per range of slices. A raised cancel flag stops the workers within microseconds, and the calculation
/// fails. Other types: a warning of each worker, "Image3DStatisticsWorker : mean not implemented for the given input
/// image data type." (or "sum-of-non-zero-values", "sorting", "non-zero sorting"), and failure. A missing or invalid
/// image: one warning, failure. Method 4 succeeds with the value 0 and the warning "Image3DStatistics : unknown method,
/// not implemented."; any other number fails with "Image3DStatisticsWorker : unknown statistical method to work for."
/// from each worker.
class ARVO_VOLUME_EXPORT Image3DStatistics : public SliceWorkerCalculation {
public:
    /// One of the methods; any other number is answered when it runs.
    explicit Image3DStatistics(Image3DStatisticsMethod::Method method);

    /// The volume to read; not owned.
    void setInputImage(ArvoImage3D* image) { m_inputImage = image; }
    void execute(const std::atomic<bool>& cancel) override;
    /// The result of the last run.
    double getValue() const { return m_value; }

private:
    void reset();
    void createAllWorkers();
    void getResultsFromWorkers();
    void getResultsFromWorkersMean();
    void getResultsFromWorkersMeanOfNonZeroValues();
    void getResultsFromWorkersMedian(bool onlyNonZero);

    Image3DStatisticsMethod::Method m_method;
    ArvoImage3D* m_inputImage = nullptr;
    double m_value = 0.0;
};
