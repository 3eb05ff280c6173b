#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/threading/Calculation.h"

#include <atomic>
#include <memory>

class ArvoImage3D;

/// The chessboard distance of every voxel to an object, in whole voxels: the largest of |dx|, |dy| and |dz|.
///
/// Input: one byte a voxel (types UInt8 and Binary, any non-zero byte is object), at least 3 voxels along each axis;
/// not owned. Result: a new Int16 volume of the same geometry.
///   - Unsigned: the distance to the nearest object voxel, 0 on the object.
///   - Signed: the distance to the nearest boundary voxel (see Image3DBoundary), negated on the object.
/// Voxels that nothing reaches hold `infinity` (its negative on the object).
///
/// Two raster sweeps, forward over the slices 1 to depth - 1 and backward over depth - 2 to 0: the first slice is not
/// swept forward and the last not backward. Away from the middle slices a voxel may therefore hold `infinity` or more
/// than the true distance, and what is built on the map relies on the very values.
///
/// No warnings. Runs on the calling thread and looks at the cancel flag between the stages; a raised flag makes the run
/// fail without a result. Progress advances by stages. O(n) time for n voxels; one row of scratch, and for the signed
/// map one mask besides the result.
/// After G. Borgefors, "Distance transformations in digital images", 1986, with all 26 neighbours at distance 1.
class ARVO_VOLUME_EXPORT Image3DDistanceMap : public Calculation {
public:
    /// Any value but UNSIGNED_DISTANCE selects the signed map.
    enum DISTANCE_TYPE : int { UNSIGNED_DISTANCE = 0, SIGNED_DISTANCE = 1 };

    /// The distance of a voxel that nothing reaches: one below the largest short, so that adding a step still fits.
    static constexpr short infinity = 32766;

    /// A map of that type, without an input.
    explicit Image3DDistanceMap(DISTANCE_TYPE type);
    /// A copy takes over the type and the input; the result stays with the original.
    /// @{
    Image3DDistanceMap(const Image3DDistanceMap& other);
    Image3DDistanceMap& operator=(const Image3DDistanceMap& other);
    /// @}
    ~Image3DDistanceMap() override;

    /// Ignored, so that the previous input stays, unless the image can be an input.
    void setInputImage(const ArvoImage3D* image);

    /// Drops the previous result and makes a new one. Fails without a result when there is no input, it no longer can
    /// be one, the run is cancelled or the memory cannot be had.
    void execute(const std::atomic<bool>& cancel) override;

    /// Hands the result over to the caller; null when there is none.
    ArvoImage3D* takeDistanceImage();

private:
    static bool checkValidInputImage(const ArvoImage3D* image);
    void reset();
    void finishStage() const;
    std::unique_ptr<ArvoImage3D> unsignedDistance(const std::atomic<bool>& cancel) const;
    std::unique_ptr<ArvoImage3D> signedDistance(const std::atomic<bool>& cancel) const;
    std::unique_ptr<ArvoImage3D> distanceTo(const ArvoImage3D& object, const ArvoImage3D* inside,
                                            const std::atomic<bool>& cancel) const;

    const ArvoImage3D* m_input = nullptr;
    std::unique_ptr<ArvoImage3D> m_distanceImage;
    DISTANCE_TYPE m_distanceType;
};
