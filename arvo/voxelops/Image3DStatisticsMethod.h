#pragma once

/// What Image3DStatistics computes over the voxels of a volume.
class Image3DStatisticsMethod {
public:
    /// Mean or median, of all voxels or of those that are not 0.
    enum Method : int { Mean = 0, MeanOfNonZeroValues = 1, Median = 2, MedianOfNonZeroValues = 3 };
};
