#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/image/DataType.h"

#include <memory>

class ArvoImage3D;

/// Converts volumes to signed 16-bit or float voxels, multiplying each value by an integer factor.
///
/// Sources: every element type but the reserved one. Runs on the calling thread, O(n) time for n voxels.
class ARVO_VOLUME_EXPORT ArvoImage3DConvertor {
public:
    /// Writes the voxels of `in` into `out`, whose type (Int16 or Float32) says what to convert to and which is at
    /// least as large as `in`. Both stay owned by the caller; they may be the same volume.
    ///
    /// To Int16: integers are multiplied in 32 bits; floats are multiplied in single precision and rounded, halves away
    /// from zero. Either is cut to its low 16 bits, never clamped (40000 becomes -25536). To Float32: (float) v *
    /// (float) factor. Source voxels of the reserved type: nothing is written, and the result is still true.
    ///
    /// Another target: "ArvoImage3DConvertor::convert: can only convert to float and short" and false. A null volume or
    /// an `out` that is too small: one warning and false. Nothing is written on failure.
    static bool convert(const ArvoImage3D* in, ArvoImage3D* out, int factor);

    /// A new volume of type `target` with the geometry of `in`, converted as by `convert`.
    ///
    /// Null, and the warning "ArvoImage3DConvertor : failed to convert image.", when that fails, after the warning of
    /// `convert` if it was to blame.
    static std::unique_ptr<ArvoImage3D> convertToCopy(const ArvoImage3D* in, image::DataType target,
                                                      int factor);
};
