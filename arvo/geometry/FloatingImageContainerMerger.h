#pragma once

#include "arvo/frame/Export.h"

#include <memory>
#include <vector>

class FloatingImageContainer;

/// Merges placed float volumes into one. Static functions only.
class ARVO_VOLUME_EXPORT FloatingImageContainerMerger {
public:
    virtual ~FloatingImageContainerMerger();

    /// The voxel-wise minimum of all volumes in one volume that covers them all: of signed distances, negative inside,
    /// the union of the shapes.
    ///
    /// Containers stay owned by the caller and are only read; their volumes are float. The result spans the smallest
    /// box around all corners, its size being the extent over the voxel size, rounded half away from zero (no voxel is
    /// added for the end point). Each volume lands at its bottom-left corner, rounded the same way; what would lie
    /// beyond the result is dropped. Voxels that no volume reaches hold the largest upper end of all value ranges; NaN
    /// replaces nothing.
    ///
    /// Null, silently, for an empty list and for voxel sizes that differ in any bit of value (NaN differs from
    /// everything). Null with one warning for a container without a valid volume, for a volume of another type, and
    /// for a result that finds no memory.
    ///
    /// Slices run on the TBB pool; returns when all are done. O(n + m) time for n voxels of input and m of output; no
    /// memory besides the result.
    static std::unique_ptr<FloatingImageContainer>
    mergeByUnion(const std::vector<FloatingImageContainer*>& containers);

private:
    FloatingImageContainerMerger();
};
