#pragma once

#include "arvo/frame/Export.h"

#include <cstdint>

class ArvoImage3D;

/// Operations that change a volume in place, voxel by voxel, or scan it.
///
/// Everything runs on the calling thread, in O(n) time for n voxels and without memory of the size of a volume.
/// Volumes stay owned by the caller. A call that cannot be done logs one warning and leaves every volume as it was; a
/// change ends with editFinished() on the volume that was changed. Integer voxels wrap around, they never saturate.
class ARVO_VOLUME_EXPORT ArvoImage3DOperations {
public:
    /// a = a + b and a = a - b, integers modulo 2^8 or 2^16, floats in single precision.
    ///
    /// Grey values, masks and floats; both volumes of one type and size. Warnings (likewise with subtract, min and
    /// max in place of add): "ArvoImage3DOperations : cannot add images of incompatible types.",
    /// "ArvoImage3DOperations : cannot add images of incompatible size.",
    /// "ArvoImage3DOperations : add not implemented for this data type.".
    /// @{
    static void add(ArvoImage3D* a, ArvoImage3D* b);
    static void subtract(ArvoImage3D* a, ArvoImage3D* b);
    /// @}

    /// a = min(a, b) and a = max(a, b). b's value is taken only where it compares smaller (greater): a NaN in b never
    /// replaces a value of a, and a NaN in a stays.
    /// @{
    static void min(ArvoImage3D& a, const ArvoImage3D& b);
    static void max(ArvoImage3D& a, const ArvoImage3D& b);
    /// @}

    /// Sets voxels to 0 where the mask byte is 0; any other mask value keeps the voxel.
    ///
    /// Image: signed 16-bit, 8-bit, mask or float; unsigned 16-bit is not accepted. The mask is read as one byte a voxel
    /// over its own extent, which has to lie inside the image. Warning for other types:
    /// "ArvoImage3DOperations applyMask(): data type not implemented.".
    static void applyMask(ArvoImage3D* image, ArvoImage3D* mask);

    /// Maps the window [lowIn, highIn], both ends inclusive, to [lowOut, highOut]; voxels outside become outsideValue.
    ///
    /// v becomes (v - lowIn) * scale + lowOut, truncated toward zero and cut to the element's width, with
    /// scale = (highOut - lowOut + 0.5) / (highIn - lowIn + 0.5), all in double precision. The halves belong to the
    /// formula: a window mapped to itself keeps its values. 16-bit, 8-bit and mask volumes; warning for others:
    /// "ArvoImage3DOperations::clipAndRescale() Data type not implemented".
    static void clipAndRescale(ArvoImage3D* image, int lowIn, int highIn, int lowOut, int highOut,
                               int outsideValue);

    /// v = 1 - v: masks modulo 256, floats in single precision and only if all of them lie within [0, 1].
    ///
    /// Warnings: "ArvoImage3DOperations : Input image is supposed to be normalized within the [0,1] range, see
    /// ArvoImage3DOperations::normalizeIntensity.", and for other types "ArvoImage3DOperations : invert not implemented
    /// for this data type.".
    static void invert(ArvoImage3D* image);

    /// v = -v: signed 16-bit (-32768 stays) and float (the sign bit is flipped, that of zeros and NaN too).
    ///
    /// Warning for other types: "ArvoImage3DOperations::invertSign() Data type not implemented".
    static void invertSign(ArvoImage3D* image);

    /// v = (v - min) / (max - min) in single precision, min and max being the value range. Float volumes only.
    ///
    /// Warnings: "ArvoImage3DOperations::normalizeIntensity() Invalid input image" when min and max are equal,
    /// "ArvoImage3DOperations::normalizeIntensity() Data type not implemented" for other types.
    static void normalizeIntensity(ArvoImage3D& image);

    /// The number of voxels that are not 0, in 16-bit, 8-bit and mask volumes.
    ///
    /// Other types: 0 and the warning "ArvoImage3DOperations::count() Data type not implemented".
    static std::int64_t countNonZero(const ArvoImage3D* image);

    /// Whether every voxel is 0, in a volume of any type: floats compare with 0 (-0 is zero, NaN is not), others by
    /// their bytes. Stops early at a voxel that is not. A volume without voxels is all zeros.
    static bool isAllZeros(ArvoImage3D* image);

    /// The box of the voxels above `threshold`: xMin, yMin, zMin, xMax, yMax, zMax, both ends inclusive, in an array
    /// from new[] that the caller deletes.
    ///
    /// Slices with no more such voxels than `minVolume` (in the cube of the voxel size's unit) divided by the volume of
    /// a voxel are left out. Without any voxel that counts it is the box of the whole volume. 16-bit, 8-bit and mask
    /// volumes; others: null and the warning "ArvoImage3DOperations::getBoundingBox() Data type not implemented".
    static int* getBoundingBox(ArvoImage3D* image, int threshold, int minVolume);
};
