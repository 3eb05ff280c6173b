#pragma once

#include "arvo/frame/Export.h"

#include <array>
#include <optional>

class ArvoImage3D;

/// The centre and the principal axes of the cloud of voxels above a threshold.
///
/// Image: 16-bit or 8-bit grey values (not masks), not owned, only read. A voxel counts when it is strictly greater
/// than the threshold; voxel (x, y, z) sits at its index times the voxel size, with no half voxel added. The axes are
/// the right singular vectors of the centred positions.
///
/// Runs on the calling thread. O(n) time for n voxels; 24 bytes per counted voxel. Copies take the results along.
class ARVO_VOLUME_EXPORT MainDirectionsCalculator {
public:
    MainDirectionsCalculator();
    /// Settings and results.
    /// @{
    MainDirectionsCalculator(const MainDirectionsCalculator&);
    MainDirectionsCalculator& operator=(const MainDirectionsCalculator&);
    /// @}
    virtual ~MainDirectionsCalculator();

    /// The volume to read; not owned.
    void setImage(ArvoImage3D* image) { m_image = image; }
    /// Voxels above it count; 0 unless set.
    void setThreshold(int threshold) { m_threshold = threshold; }

    /// Calculates centre and axes; on failure the previous results stay.
    ///
    /// False without a message when the type is another one, when a voxel size is no finite number, and when the
    /// counted voxels span no two axes (one voxel, or all on one line). False with a warning when no voxel counts
    /// ("There are no voxels in the image. Main axis cannot be calculated"), when the positions find no memory
    /// ("Failed to allocate memory for svd"), and when the image is missing or invalid.
    bool execute();

    /// The centre; like the directions three floats, owned by the calculator, null before the first successful run.
    float* getMassCenter() { return dataOf(m_massCenter); }
    /// The axis of the greatest spread, of length 1. Its sign, and that of the second, is not fixed.
    float* getDirection0() { return dataOf(m_direction0); }
    /// The axis of the second greatest spread.
    float* getDirection1() { return dataOf(m_direction1); }
    /// The cross product of the two.
    float* getDirection2() { return dataOf(m_direction2); }

private:
    using Result = std::optional<std::array<float, 3>>;

    static float* dataOf(Result& result) { return result ? result->data() : nullptr; }

    ArvoImage3D* m_image = nullptr;
    int m_threshold = 0;
    Result m_massCenter;
    Result m_direction0;
    Result m_direction1;
    Result m_direction2;
};
