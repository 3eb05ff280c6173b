#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/math/Ivec3.h"

#include <QVector3D>

#include <atomic>

class ArvoImage3D;

/// Blurs a volume with a separable Gaussian, radius and standard deviation set per axis, into a second volume.
///
/// Input: 16-bit, 8-bit grey or float voxels. Output: a volume of the same size and type that the caller made; it may be
/// the input itself. Neither is owned. Radii are half-widths of the kernel in voxels, standard deviations are in voxels.
///
/// Two algorithms that differ at the borders and in rounding: `execute` repeats the edge voxel and rounds once;
/// `executeDeprecated` cuts the kernel at the border and truncates after each axis.
///
/// Both call editFinished() on the output and return true when the result is complete. They return false, with one
/// warning and an untouched output, without input or output, for any other element type (masks included), for different
/// sizes or types and for a negative radius; and false without a warning when the flag was raised.
class ARVO_VOLUME_EXPORT ArvoImageGaussianSmooth {
public:
    ArvoImageGaussianSmooth();
    /// The copy has the settings and works on the same two volumes.
    /// @{
    ArvoImageGaussianSmooth(const ArvoImageGaussianSmooth&);
    ArvoImageGaussianSmooth& operator=(const ArvoImageGaussianSmooth&);
    /// @}
    virtual ~ArvoImageGaussianSmooth();

    /// The volumes to read and to write; not owned.
    /// @{
    void setInput(const ArvoImage3D* input) { m_input = input; }
    void setOutput(ArvoImage3D* output) { m_output = output; }
    const ArvoImage3D* input() const { return m_input; }
    ArvoImage3D* output() const { return m_output; }
    /// @}

    /// Default (3, 3, 3).
    void setRadius(const math::Ivec3& radius) { m_radius = radius; }
    /// Default (2, 2, 2). Exactly 0 leaves the axis as it is.
    void setStandardDeviation(const QVector3D& sigma) { m_standardDeviation = sigma; }

    /// The current algorithm; see ArvoImageGaussianSmoothHelper for threads, memory and the cancel flag, which is
    /// looked at only when the output is complete.
    bool execute(const std::atomic<bool>& cancel);

    /// The legacy algorithm, for hosts that depend on its borders.
    ///
    /// The kernel of a position holds the taps inside the volume and has sum 1; sums are taken in double precision.
    /// Each axis stores its result in the element type, truncated toward zero for integers. Runs on the calling thread,
    /// in blocks of 41 slices whose ends overlap by one; looks at the flag before each pass of a block, so that finished
    /// blocks stay written. A slice that the output refuses: "Failed to set axial slice N", false.
    /// O(n r) time; two blocks of 41 + 2 r slices of memory.
    bool executeDeprecated(const std::atomic<bool>& cancel);

protected:
    /// What execute and executeDeprecated do between two given volumes.
    /// @{
    bool doBlurring(const ArvoImage3D* in, ArvoImage3D* out, const std::atomic<bool>& cancel);
    bool doLegacyBlurring(const ArvoImage3D* in, ArvoImage3D* out, const std::atomic<bool>& cancel);
    /// @}

private:
    math::Ivec3 m_radius{3, 3, 3};
    QVector3D m_standardDeviation{2.0f, 2.0f, 2.0f};
    const ArvoImage3D* m_input = nullptr;
    ArvoImage3D* m_output = nullptr;
};
