#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <vector>

/// Lowers the bright specks outside the central disc in one block of slices; see ArvoImageConeBeamNoiseEraser.
class SpeckEraser {
public:
    /// For blocks of slices of width x height voxels; `margin` lies between the disc and the nearer edges.
    SpeckEraser(int width, int height, int margin, int boneThreshold);

    /// Works in place, on every type that can be erased; others stay as they are. std::bad_alloc when there is no memory
    /// for the masks and labels, which are kept from one block to the next.
    void erase(ArvoImage3D& block);

private:
    /// The part of a row of the axial plane that lies in the disc; empty when begin == end.
    struct DiscRow {
        std::ptrdiff_t begin;
        std::ptrdiff_t end;
    };

    /// Marks the bone voxels and labels what an erosion leaves of them; returns the number of labels, 0 included.
    int labelBone(ArvoImage3D& block);
    std::vector<unsigned char> labelsToKeep(int labelCount) const;
    template <class T> void lowerRemoved(ArvoImage3D& block, const std::vector<unsigned char>& isKept) const;

    int m_boneThreshold;
    std::vector<DiscRow> m_disc;
    ArvoImage3D m_bone;
    ArvoImage3D m_eroded;
    ArvoImage3D m_labels;
};
