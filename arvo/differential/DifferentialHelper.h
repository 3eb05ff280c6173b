#pragma once

#include "arvo/differential/ClampedCrossIndex.h"
#include "arvo/frame/Export.h"

#include <atomic>

class ArvoImage3D;
class ThreeImages3D;

/// Clamped central differences on voxels of type T: unsigned char, short, unsigned short or float.
///
/// Differences are in grey values per voxel; the voxel size does not count. Those of integers are formed in int and then
/// converted to float, so that they are exact and those of unsigned voxels can be negative. Stateless.
template <class T> class ARVO_VOLUME_EXPORT DifferentialHelper {
public:
    /// The kernels: one voxel each. `current` is the voxel's slice, `next` the slice after it and `previous` the one
    /// before it, clamped to the volume.
    /// @{
    static float gradientFtX(const ClampedCrossIndex& idx, const T* current, const T* next,
                             const T* previous);
    static float gradientFtY(const ClampedCrossIndex& idx, const T* current, const T* next,
                             const T* previous);
    static float gradientFtZ(const ClampedCrossIndex& idx, const T* current, const T* next,
                             const T* previous);
    /// @}
    /// The length of the gradient: the root of gx² + gy² + gz², summed in this order in single precision.
    static float gradientNormFt(const ClampedCrossIndex& idx, const T* current, const T* next,
                                const T* previous);
    /// du/dx + dv/dy + dw/dz, summed in this order; `w` itself is not read.
    static float vectorFieldDivergenceFt(const ClampedCrossIndex& idx, const T* u, const T* v, const T* w,
                                         const T* wNext, const T* wPrevious);

    /// The drivers: every voxel of the slices startSlice to stopSlice (both inclusive) of `output`, a float volume of
    /// the size of `input`, whose voxels are of type T.
    ///
    /// The difference along z weighs 1.0 where the slice before or after is the slice itself, else 0.5. True when done
    /// or when the range is empty. A raised flag stops a gradient driver after the voxel it is at (voxels before that
    /// are done, the others untouched) and the divergence after the slice it is at: false. Volumes that do not match,
    /// or a range outside them: one warning, false, nothing written.
    /// @{
    static bool calculateGradientX(const ArvoImage3D& input, ArvoImage3D& output, int startSlice,
                                   int stopSlice, const std::atomic<bool>& cancel);
    static bool calculateGradientY(const ArvoImage3D& input, ArvoImage3D& output, int startSlice,
                                   int stopSlice, const std::atomic<bool>& cancel);
    static bool calculateGradientZ(const ArvoImage3D& input, ArvoImage3D& output, int startSlice,
                                   int stopSlice, const std::atomic<bool>& cancel);
    static bool calculateNormGradient(const ArvoImage3D& input, ArvoImage3D& output, int startSlice,
                                      int stopSlice, const std::atomic<bool>& cancel);
    static bool calculateVectorFieldDivergence(const ThreeImages3D& field, ArvoImage3D& output,
                                               int startSlice, int stopSlice,
                                               const std::atomic<bool>& cancel);
    /// @}
};
