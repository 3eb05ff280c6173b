#pragma once

class ArvoImage3D;

/// The passes of the chessboard distance transform over an Int16 volume, on the calling thread.
///
/// A sweep visits slices, rows and voxels in raster order (forward) or in reverse (backward). Each voxel becomes the
/// smaller of its value and 1 + the minimum over its neighbours in the slice swept just before, the row swept just
/// before and the voxel swept just before; neighbours outside the slice do not count. All extents are 3 or more.
namespace chessboard {

/// Starts `distance` from the object, 0 on its non-zero voxels and infinity elsewhere, and sweeps the slices 1 to the
/// last forward.
void initAndSweepForward(const ArvoImage3D& object, ArvoImage3D& distance);

/// Sweeps the slices from the last but one to 0 backward. The distances of the non-zero voxels of `inside`, if there is
/// one, are negated afterwards, slice by slice as soon as none of the others needs them.
void sweepBackward(ArvoImage3D& distance, const ArvoImage3D* inside);

} // namespace chessboard
