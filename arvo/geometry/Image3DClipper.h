#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/math/Plane.h"

#include <QMatrix4x4>

class ArvoImage3D;

/// Overwrites, in place, every voxel on the far side of a plane with the smallest value of the volume.
///
/// A voxel is overwritten when the plane's half space holds its centre, (index + 1/2) times the voxel size, after the
/// image transform. The fill is the lower end of the value range before the clipping. Volume and plane stay owned by
/// the caller.
class ARVO_VOLUME_EXPORT Image3DClipper {
public:
    /// 16-bit, 8-bit, mask or float voxels.
    void setImageToClip(ArvoImage3D* image) { m_imageToClip = image; }
    /// The voxels in its half space are overwritten.
    void setClipPlane(primitives::Plane* plane) { m_clipPlane = plane; }
    /// Where the volume lies with respect to the plane; the identity unless set.
    void setImageTransform(const QMatrix4x4& transform) { m_imageTransform = transform; }

    /// Clips. An image of another type: "Image3DClipper : clipping not implemented for this data type.", nothing
    /// changed. A missing image or plane: one warning, nothing changed.
    ///
    /// Slices run on the TBB pool; returns when all are done. Time of one pass for the value range, if that is not
    /// known, and of writing the clipped voxels; no memory.
    void clip();

private:
    ArvoImage3D* m_imageToClip = nullptr;
    primitives::Plane* m_clipPlane = nullptr;
    QMatrix4x4 m_imageTransform;
};
