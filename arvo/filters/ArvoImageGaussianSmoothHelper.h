#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/math/Ivec3.h"

#include <QVector3D>

#include <atomic>

class ArvoImage3D;

/// The Gaussian that repeats the edge voxel, on voxels of type T: float, unsigned char, unsigned short or short.
template <class T> class ARVO_VOLUME_EXPORT ArvoImageGaussianSmoothHelper {
public:
    /// Smooths `in` into `out`, which has the same size and type and may be the same volume.
    ///
    /// Along an axis of radius r, taps exp(-d^2 / (2 sigma^2)) for d = -r ... r are divided by their sum; a sigma of 0
    /// is the single tap 1. All arithmetic is in single precision, every sum in the order of its taps, first along x,
    /// then y, then z. Integer results are rounded to the nearest, halves away from zero.
    ///
    /// True when done. The flag is looked at once, after the last voxel: raised, the output is complete and the result
    /// false. Different sizes: the function's signature followed by ":Images must have the same size."; other bad
    /// arguments: one warning; false, nothing changed. No memory: one warning, false, the rows so far are written.
    ///
    /// Bands of rows run in parallel, each through all slices with a ring of 2 rz + 1 of them. O(n r) time for n
    /// voxels; less memory than 2 rz + 2 float slices, plus 2 ry rows a thread.
    static bool smooth(const math::Ivec3& radius, const QVector3D& sigma, const ArvoImage3D* in,
                       ArvoImage3D* out, const std::atomic<bool>& cancel);
};
