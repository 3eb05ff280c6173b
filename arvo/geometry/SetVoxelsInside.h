#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/math/OrientedBoundingBox.h"

#include <QMatrix4x4>
#include <QPolygonF>
#include <QSize>

class ArvoImage3D;

/// Masks of geometric regions: each function writes a value into every voxel inside the region and leaves the others.
///
/// A voxel is where its centre is, (index + 1/2) times the voxel size. The volume is written as bytes, whatever its
/// type: voxel (x, y) of a slice is byte y * width + x of it. An invalid volume: one warning, nothing changed. Both run
/// on the calling thread.
namespace image3d {

/// The voxels inside a box in world space, decided by box.transformed(world to index).isInside(index), faces included.
///
/// Voxels that no rounding can bring to another verdict are written in runs; time is that of writing them.
ARVO_VOLUME_EXPORT void setVoxelsInsideBoundingBox(ArvoImage3D& image,
                                                   const primitives::OrientedBoundingBox& box,
                                                   unsigned char value);

/// The voxels whose projection falls on a painted pixel of a polygon on a screen, whatever their depth.
///
/// `screen` is the screen's size in pixels, at most 32767 on a side; the polygon's points are fractions of it (0 to 1)
/// and need not lie on it; it is filled by the odd-even rule. `transform` takes world positions to fractions of the
/// screen, perspective included. Projected positions are truncated toward zero, so that pixel 0 reaches to -1.
/// An empty polygon sets nothing. A screen without pixels or too large, and points that are no numbers: one warning,
/// nothing changed. O(n) time for n voxels; five bytes a pixel of the screen.
ARVO_VOLUME_EXPORT void setVoxelsInsideScreenspacePolygon(ArvoImage3D& image, const QSize& screen,
                                                          const QPolygonF& polygon,
                                                          const QMatrix4x4& transform, unsigned char value);

} // namespace image3d
