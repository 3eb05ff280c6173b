#pragma once

#include "arvo/frame/Export.h"

class ArvoImage3D;
class Image2D;

/// Cuts two-dimensional images out of a volume: slices along the three axes, copied voxel for voxel.
///
/// Only static functions. Volumes, images and buffers stay the caller's. Everything runs on the calling thread and
/// only reads the volume. A missing volume or buffer, or slices outside the volume where nothing else is said: one
/// warning, false, nothing written.
class ARVO_VOLUME_EXPORT ArvoImage3DReslicer {
public:
    virtual ~ArvoImage3DReslicer();

    /// Copies `count` whole axial slices from slice `first` on into `buffer`, one after another, sizeOfAxialSlice()
    /// bytes each. Every element type.
    static void loadAxialSlices(const ArvoImage3D* volume, int first, int count, char* buffer);

    /// Gathers `count` coronal slices (constant y) from y = `first` on: one after another, each nz rows of nx voxels,
    /// row r, column c being voxel (c, first + k, r).
    ///
    /// 16-bit, 8-bit, mask and float volumes; another type: "ArvoImage3D::loadCoronalSlices() Data type not
    /// implemented", nothing written.
    static void loadCoronalSlices(ArvoImage3D* volume, int first, int count, char* buffer);

    /// Gathers `count` sagittal slices (constant x) from x = `first` on: one after another, each nz rows of ny voxels,
    /// row r, column c being voxel (first + k, c, r). Types and warning as for coronal slices, with the name
    /// "loadSagittalSlices".
    static void loadSagittalSlices(ArvoImage3D* volume, int first, int count, char* buffer);

    /// One slice as an image of the volume's element type. False without a message, the image as it was, when the
    /// image is null or the slice number is past the last; false as well when the image cannot be made.
    ///
    /// The pixel size of all three is the voxel size as it stands, x, y, z, not reordered for the plane. A coronal or
    /// sagittal slice of a type that its loader refuses is that loader's warning, an image of zeros, and true.
    static bool loadAxialSlice2D(ArvoImage3D* volume, int z, Image2D* image);
    static bool loadCoronalSlice2D(ArvoImage3D* volume, int y, Image2D* image);
    static bool loadSagittalSlice2D(ArvoImage3D* volume, int x, Image2D* image);

private:
    ArvoImage3DReslicer();
    ArvoImage3DReslicer(const ArvoImage3DReslicer&);
};
