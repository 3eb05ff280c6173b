#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/threading/ThreadProgress.h"

class ArvoImage3D;

/// Lowers bright specks that lie outside the circular field of view of a cone-beam reconstruction.
///
/// A voxel outside the central disc of the axial plane and above the bone threshold stays when the bright structure it
/// belongs to reaches into the disc or touches the first or last slice of its block of 50 slices; otherwise it becomes
/// the threshold - 1, cut to the element's width. Structures are the parts, by all 26 neighbours, of the bone voxels
/// that survive a slice-wise erosion of radius 2; a voxel belongs to the part closest to it within two voxels along
/// each axis: the smallest |dx| + |dy| + |dz|, among equals the first in the order of z, y, x. Without one it goes.
///
/// Input: 16-bit, 8-bit or mask voxels, compared as their own type; bytes count as bone by the low byte of the threshold,
/// as in the threshold filter. Other types pass unchanged. Output: a volume of the same slice size and type, at least
/// as deep; it may be the input. Neither is owned.
///
/// Runs on the calling thread. O(n) time for n voxels; memory for a block of 50 slices: the voxels and 3 bytes for each.
class ARVO_VOLUME_EXPORT ArvoImageConeBeamNoiseEraser {
public:
    ArvoImageConeBeamNoiseEraser();
    /// Copies the settings; every eraser has a progress object of its own.
    /// @{
    ArvoImageConeBeamNoiseEraser(const ArvoImageConeBeamNoiseEraser& other);
    ArvoImageConeBeamNoiseEraser& operator=(const ArvoImageConeBeamNoiseEraser& other);
    /// @}
    virtual ~ArvoImageConeBeamNoiseEraser();

    /// The margin in voxels between the disc and the nearer edges of the axial plane. At 0, the default, or less nothing
    /// is erased and the slices are copied.
    void setRadius(int radius) { m_radius = radius; }
    /// Default 276.
    void setBoneThreshold(int threshold) { m_boneThreshold = threshold; }
    /// The volumes to read and to write; not owned.
    /// @{
    void setInput(ArvoImage3D* input) { m_input = input; }
    void setOutput(ArvoImage3D* output) { m_output = output; }
    ArvoImage3D* output() const { return m_output; }
    /// @}

    /// Advances by one for each whole block of 50 slices and once at the end. Owned by the eraser.
    ThreadProgress* progress() const { return &m_progress; }

    /// Always true. Calls editFinished() on the output, unless it is the input and nothing is to be erased. Missing,
    /// invalid or unequal volumes: one warning, nothing changed. No memory: one warning, the blocks so far stay.
    bool execute();

private:
    bool checkImages() const;
    void copySlices();
    void eraseBlocks();

    int m_radius = 0;
    int m_boneThreshold = 276;
    ArvoImage3D* m_input = nullptr;
    ArvoImage3D* m_output = nullptr;
    mutable ThreadProgress m_progress;
};
