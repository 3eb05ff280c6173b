#pragma once

#include "arvo/frame/Export.h"

#include <array>
#include <optional>

class ArvoImage3D;

/// The centre of the voxels above a threshold.
///
/// Image: 16-bit or 8-bit grey values (not masks), not owned, only read. A voxel counts when it is strictly greater
/// than the threshold; voxel (x, y, z) sits at its index times the voxel size, with no half voxel added.
///
/// Runs on the calling thread in one pass; O(n) time for n voxels, no memory. Copies take the result along.
class ARVO_VOLUME_EXPORT MassCenterCalculator {
public:
    MassCenterCalculator();
    /// Settings and result.
    /// @{
    MassCenterCalculator(const MassCenterCalculator&);
    MassCenterCalculator& operator=(const MassCenterCalculator&);
    /// @}
    virtual ~MassCenterCalculator();

    /// The volume to read; not owned.
    void setImage(ArvoImage3D* image) { m_image = image; }
    /// Voxels above it count; 0 unless set.
    void setThreshold(int threshold) { m_threshold = threshold; }

    /// Calculates the centre. False, and the previous result stays, when no voxel counts or the type is another one
    /// (both silent), or when the image is missing or invalid (one warning).
    bool execute();

    /// Three floats, owned by the calculator; null before the first successful run.
    float* getMassCenter() { return m_massCenter ? m_massCenter->data() : nullptr; }

private:
    ArvoImage3D* m_image = nullptr;
    int m_threshold = 0;
    std::optional<std::array<float, 3>> m_massCenter;
};
