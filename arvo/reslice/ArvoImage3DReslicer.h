#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/math/Range.h"
#include "arvo/reslice/ArvoImage3DEnums.h"

class ArvoImage3D;
class Image2D;

/// Cuts two-dimensional images out of a volume: slices along the three axes, copied voxel for voxel, oblique planes,
/// sampled, and projections along rays.
///
/// Only static functions. Volumes, images and buffers stay the caller's; the volume is only read. Positions and
/// directions are three floats in continuous voxel indices, voxel centres on whole numbers. A missing volume, table or
/// buffer, a negative size, slices outside the volume where nothing else is said, an image that holds fewer pixels
/// than are written or pixels of another element type: one warning, false, nothing written.
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
    /// @{
    static bool loadAxialSlice2D(ArvoImage3D* volume, int z, Image2D* image);
    static bool loadCoronalSlice2D(ArvoImage3D* volume, int y, Image2D* image);
    static bool loadSagittalSlice2D(ArvoImage3D* volume, int x, Image2D* image);
    /// @}

    /// Samples the plane origin + x * dir1 + y * dir2 at the nearest voxel toward zero: pixel (x, y), at index
    /// y * size[0] + x of the image's pixels, x < size[0], y < size[1].
    ///
    /// On each axis the position is truncated, so that (-1, 0) reads index 0; a pixel outside the volume gets the
    /// volume's minValue(). Along a column the position advances by additions of dir2. The image has the volume's
    /// element type: 16-bit, 8-bit, mask or float; another type: "ArvoImage3D::loadReslice() Data type not
    /// implemented", nothing written. Runs on the calling thread.
    static void loadReslice(ArvoImage3D* volume, float* origin, float* dir1, float* dir2, int* size,
                            Image2D& image);

    /// Samples the same plane trilinearly, truncating toward zero to the volume's element type.
    ///
    /// Each column is clipped to [0, n - 2] on every axis; pixels outside get the volume's minValue(). 16-bit, 8-bit
    /// and mask volumes; float and others: "ArvoImage3D::loadInterpolatedReslice() Data type not implemented",
    /// nothing written. Runs on the calling thread.
    static void loadInterpolatedReslice(ArvoImage3D* volume, float* origin, float* dir1, float* dir2,
                                        int* size, Image2D& image);

    /// The same two into a fresh image of the volume's element type and that size.
    ///
    /// The pixel size becomes the lengths of dir1 and dir2 in world units and the length of the voxel's diagonal.
    /// False without a message when the image cannot be made. A type that is refused leaves zeros, and true.
    /// @{
    static bool loadReslice2D(ArvoImage3D* volume, float* origin, float* dir1, float* dir2, int* size,
                              Image2D* image);
    static bool loadInterpolatedReslice(ArvoImage3D* volume, float* origin, float* dir1, float* dir2,
                                        int* size, Image2D* image);
    /// @}

    // Projections. Pixel (c, r) has the base point P = origin + rowOffsets[r] + columnOffsets[c] and the step vector
    // D = raySteps[c]; the tables hold three floats an entry, in voxel indices. Its ray P + t * D is cut to the box
    // from 0 to n - 1.1 on each axis and to the slab |t| <= stepCount / 2; from where it enters, it is sampled
    // trilinearly every D, so that t grows by 1 from sample to sample. A ray without a sample gives 0. All write float
    // pixels into an image of at least width * height of them, pixel (c, r) at r * width + c.
    //
    // Each runs min(threading::idealThreadCount(), height) threads on bands of rows and returns when all have
    // finished. Element types that are not named leave the pixels as they were, without a message.

    /// The largest sample on each ray, starting from the volume's minValue(), and in `depth`, if not null, the ray
    /// parameter where it was found: by `compareFunction` that of the first maximum, or the mean over all samples that
    /// no neighbour on the ray exceeds by more than 0.001. A ray without a sample has the depth 0.
    ///
    /// 16-bit, 8-bit, mask and float volumes.
    static void loadMIPReslice(ArvoImage3D* volume, float* origin, float* columnOffsets, float* rowOffsets,
                               int width, int height, float* raySteps, int stepCount, Image2D& result,
                               Image2D* depth, ArvoImage3DEnums::MIP_COMPARE_FUNCTION compareFunction);

    /// The same maximum v as (v - min) / (max - min), with the volume's minValue() and maxValue(); the 0 of a ray
    /// without a sample too.
    static void loadMIPNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                         float* rowOffsets, int width, int height, float* raySteps,
                                         int stepCount, Image2D& result);

    /// The mean of the normalised samples on each ray, each weighted by where it lies in the intensity range (voxel
    /// values; 0 to 255 for 8-bit grey values, whatever is given): 0.05 up to one twentieth of the range, growing to 1
    /// at its upper end and beyond. Between 0 and 1; 0 for a range or a volume without width.
    ///
    /// 16-bit, 8-bit and mask volumes.
    static void loadXRayNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                          float* rowOffsets, int width, int height, float* raySteps,
                                          int stepCount, const math::Range<float>& intensityRange,
                                          Image2D& result);

    /// The sum of the samples on each ray as far as a whole step follows, formed in double precision and not normalised.
    ///
    /// Float volumes; for others each thread warns "void __cdecl
    /// ArvoImage3DWorker::runLoadCephNormalizedReslice(void) Unexpected image type.".
    static void loadCephNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                          float* rowOffsets, int width, int height, float* raySteps,
                                          int stepCount, Image2D& result);

    /// One trilinear sample v at each base point, no ray, as (v - min) / (max - min). Points outside the volume give 0;
    /// between -1 and 0 the sample is extrapolated, past the last voxel of an axis it is that voxel's.
    ///
    /// 16-bit, 8-bit and mask volumes.
    static void loadInterpolatedNormalizedReslice(ArvoImage3D* volume, float* origin, float* columnOffsets,
                                                  float* rowOffsets, int width, int height, Image2D& result);

private:
    ArvoImage3DReslicer();
    ArvoImage3DReslicer(const ArvoImage3DReslicer&);
};
