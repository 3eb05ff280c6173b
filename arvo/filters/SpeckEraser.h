#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <vector>

/// Lowers the bright specks outside the central disc in one block of slices; see ArvoImageConeBeamNoiseEraser.
class SpeckEraser {
public:
    /// For blocks of slices of width x height voxels; `margin` lies between the disc and the nearer edges.
    SpeckEraser(int width, int height, int margin, int boneThreshold);

    /// Finds the specks of `block` and lowers them in `voxels`, slices of the same voxels. Types that cannot be erased stay
    /// as they are. std::bad_alloc when there is no memory for the mask and the labels, which are kept from one block to
    /// the next.
    void erase(ArvoImage3D& block, char* voxels);

private:
    /// The part of a row of the axial plane that lies in the disc; empty when begin == end.
    struct DiscRow {
        std::ptrdiff_t begin;
        std::ptrdiff_t end;
    };

    /// Labels what the erosion leaves of the bone voxels; returns the number of labels, 0 included.
    int labelBone(ArvoImage3D& block);
    std::vector<unsigned char> labelsToKeep(int labelCount) const;
    template <class T> void lowerRemoved(T* voxels, const std::vector<unsigned char>& isKept) const;

    int m_boneThreshold;
    std::vector<DiscRow> m_disc;
    ArvoImage3D m_mask;
    ArvoImage3D m_labels;
};
