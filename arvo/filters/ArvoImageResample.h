#pragma once

#include "arvo/frame/Export.h"

class ArvoImage3D;

/// Fills a volume by sampling another one in physical space with trilinear interpolation.
///
/// Input and output: 8-bit grey, signed or unsigned 16-bit volumes of the same type; the output grid (size, voxel size,
/// orientation) is the caller's. Neither is owned. Both are centred on the origin, voxel index i lying at i - n / 2 along
/// an axis, and scaled by their voxel size. A volume with a record of tag 0x20001 is placed by its record
/// "ImageOrientation" instead: nine floats, the world vectors of one step along x, y and z, spacing included.
///
/// An output voxel is sampled where its position lies in [0, n - 2] on every axis of the input (positions on the last
/// voxel are outside) and truncated toward zero; the others become 0. Positions are single precision sums of steps along
/// the output's axes, so that equal grids may miss a voxel by the last bit. An input of extent 1 gives zeros.
///
/// True, with editFinished() called on the output, when done. Without input or output: "no input image or no output
/// image"; an invalid volume, different types or a placement that cannot be inverted: one warning; any other type: no
/// message; false, the output untouched. A slice that the output refuses: "ArvoImageResampleHelper : resample failed due
/// to memory issues.", false, the slices before it written.
/// Runs on the calling thread. O(n) time for n output voxels, one output slice of memory.
class ARVO_VOLUME_EXPORT ArvoImageResample {
public:
    ArvoImageResample();
    /// The copy works on the same two volumes.
    /// @{
    ArvoImageResample(const ArvoImageResample&);
    ArvoImageResample& operator=(const ArvoImageResample&);
    /// @}
    virtual ~ArvoImageResample();

    /// The volumes to read and to fill; not owned.
    /// @{
    void setInput(ArvoImage3D* input) { m_input = input; }
    void setOutput(ArvoImage3D* output) { m_output = output; }
    ArvoImage3D* output() const { return m_output; }
    /// @}

    /// Resamples; see above for the result.
    bool execute();

private:
    ArvoImage3D* m_input = nullptr;
    ArvoImage3D* m_output = nullptr;
};
