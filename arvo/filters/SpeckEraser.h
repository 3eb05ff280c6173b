#pragma once

#include "arvo/binary/LabelledRuns.h"
#include "arvo/platform/image/ArvoImage3D.h"

#include <vector>

/// Lowers the bright specks outside the central disc in one block of slices; see ArvoImageConeBeamNoiseEraser.
class SpeckEraser {
public:
    /// For blocks of slices of width x height voxels; `margin` lies between the disc and the nearer edges.
    SpeckEraser(int width, int height, int margin, int boneThreshold);

    /// Finds the specks of `block` and lowers them in `voxels`, slices of the same voxels. Types that cannot be erased stay
    /// as they are. std::bad_alloc when there is no memory for the mask, which is kept from one block to the next, and the
    /// parts.
    void erase(ArvoImage3D& block, char* voxels);

private:
    /// Fills the mask: for each bone voxel that the erosion leaves whether its part stays (see the source), 0 elsewhere.
    void markParts(ArvoImage3D& block);
    template <class T> void lowerRemoved(T* voxels) const;

    int m_boneThreshold;
    std::vector<binary::LabelledRuns::Columns> m_disc; ///< of each row of the axial plane
    ArvoImage3D m_mask;
};
