#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/threading/Calculation.h"

#include <atomic>
#include <memory>

class ArvoImage3D;

/// Marks the boundary of an object: its voxels that have a zero voxel among their six face neighbours.
///
/// Input: one byte a voxel (types UInt8 and Binary), at least 3 voxels along each axis; not owned. Object voxels are
/// those whose byte, read as signed, is above 0, so grey values of 128 and more are never marked; a neighbour counts as
/// zero only when its byte is 0. Result: a new Binary volume of the same geometry, 1 on the boundary, else 0.
///
/// Two properties that callers rely on. Voxels on the faces z = 0, z = depth - 1, y = 0 and y = height - 1 are never
/// marked. Each inner slice is examined as one run of voxels, from the second voxel of the second row to the last but
/// one of the last but one row: the outer x-neighbour of the first or last voxel of a row is the voxel at the other end
/// of the adjacent row.
///
/// No warnings. Runs on the calling thread and looks at the cancel flag once, after the work: a raised flag makes the
/// run fail, and the finished mask can still be taken. O(n) time for n voxels; no memory besides the result.
class ARVO_VOLUME_EXPORT Image3DBoundary : public Calculation {
public:
    Image3DBoundary();
    /// A copy takes over the input; the result stays with the original.
    /// @{
    Image3DBoundary(const Image3DBoundary& other);
    Image3DBoundary& operator=(const Image3DBoundary& other);
    /// @}
    ~Image3DBoundary() override;

    /// Ignored, so that the previous input stays, unless the image can be an input.
    void setInputImage(const ArvoImage3D* image);

    /// Drops the previous result and makes a new one. Fails without a result when there is no input or it no longer
    /// can be one.
    void execute(const std::atomic<bool>& cancel) override;

    /// Hands the result over to the caller; null when there is none.
    ArvoImage3D* takeBoundaryImage();

private:
    static bool checkValidInputImage(const ArvoImage3D* image);
    void reset();
    std::unique_ptr<ArvoImage3D> detectBoundary() const;

    const ArvoImage3D* m_input = nullptr;
    std::unique_ptr<ArvoImage3D> m_boundaryImage;
};
