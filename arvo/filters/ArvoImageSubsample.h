#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/math/Ivec3.h"

#include <atomic>

class ArvoImage3D;

/// Shrinks a volume by a whole-number factor per axis, in one of four ways of turning a block of voxels into one.
///
/// Input: 16-bit, 8-bit grey or float voxels, for the maximum also masks. Output: another volume, which every run
/// creates anew with the input's type. Neither is owned. For an input of n voxels of size v along an axis and a factor f:
/// - Fast, Average, Max: n / f voxels (rounded down) of size n v / (n / f), so that the physical extent stays. A factor
///   above n leaves no voxel. Voxels past the last whole block are not used.
/// - Interpolated: (n - 1) / f + 1 voxels of size f v.
///
/// Factors 1, 1, 1 copy the voxels, whatever the method and the flag.
///
/// Returns true and calls editFinished() on the output when done. Warnings and false, the output untouched:
/// "ArvoImageSubsample : unknown subsampling method.", "ArvoImageSubsample : incompatible input data type.", and one
/// warning each for missing volumes, for the input as output and for a factor below 1. If the output cannot be created:
/// "ArvoImageSubsampleHelper : failed to create image for subsampling." (Interpolated: the debug message "Failed to
/// create image for subsampling"), false.
/// Runs on the calling thread. The flag is looked at after each output slice, by Interpolated not at all; raised, the
/// slices so far stay and the result is false. O(n) time for n voxels, one row of memory.
class ARVO_VOLUME_EXPORT ArvoImageSubsample {
public:
    /// How a block of voxels becomes one.
    enum SubsampleMethod : int {
        Fast = 0, ///< the first voxel of the block
        Average =
            1, ///< the mean of the block, a double-precision quotient truncated toward zero for integers
        /// The voxel at the sample position, plus 0.5 and truncated toward zero: negative integers move up by one, and
        /// floats, truncated before the 0.5 is added, hold whole numbers plus one half.
        Interpolated = 2,
        Max =
            3 ///< the largest voxel of the block; NaN is left out, and a block of nothing else gives -infinity
    };

    ArvoImageSubsample();
    /// The copy has the factors and works on the same two volumes.
    /// @{
    ArvoImageSubsample(const ArvoImageSubsample&);
    ArvoImageSubsample& operator=(const ArvoImageSubsample&);
    /// @}
    virtual ~ArvoImageSubsample();

    /// The volumes to read and to make anew; not owned.
    /// @{
    void setInput(const ArvoImage3D* input) { m_input = input; }
    void setOutput(ArvoImage3D* output) { m_output = output; }
    /// @}
    /// At least 1 on each axis, which is the default.
    void setSampleFactor(int x, int y, int z) { m_sampleFactor = math::Ivec3(x, y, z); }

    /// Shrinks; see above for the result. The factors and the volumes stay set.
    bool execute(SubsampleMethod method, const std::atomic<bool>& cancel);

private:
    bool executeFast(const std::atomic<bool>& cancel);
    bool executeAverage(const std::atomic<bool>& cancel);
    bool executeInterpolated(const std::atomic<bool>& cancel);
    bool executeMax(const std::atomic<bool>& cancel);

    const ArvoImage3D* m_input = nullptr;
    ArvoImage3D* m_output = nullptr;
    math::Ivec3 m_sampleFactor{1, 1, 1};
};
