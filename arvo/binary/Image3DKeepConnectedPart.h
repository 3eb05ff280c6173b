#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/math/Ivec3.h"
#include "arvo/platform/threading/Calculation.h"
#include "arvo/platform/utility/Optional.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

class ArvoImage3D;

namespace binary {
class LabelledRuns;
}

/// Reduces a mask to some of its connected parts: the large ones, or the one at a reference point.
///
/// Mask: one byte a voxel, any non-zero byte is object; not owned, only read. Result: a new Binary volume of
/// the same geometry, 1 on the parts that are kept, else 0.
///   - Large parts: those of at least tolerance x the number of voxels of the largest, in single precision
///     and truncated; without a tolerance, those of at least 6000 voxels, which may be none. The background
///     counts as a part of 0 voxels: with a limit of 0 or less it is kept as well, and the result is 1
///     everywhere.
///   - The part at the reference point, or if the point lies in the background the part with the nearest
///     voxel by Image3DDistanceMap from the point, of equally near voxels the first in the order of the
///     voxels. The very first voxel of the volume is not looked at. Such a search fails for volumes thinner
///     than 3 voxels.
///
/// A mask without object, or a failed search, fails silently without a result. A reference point outside the
/// volume (where it is used), a volume that is not valid, not of byte elements or has changed its size: one
/// warning, failure. Runs on the calling thread. A cancel flag raised while parts are counted, chosen or
/// written fails the run; one that is noticed between these steps stops it with the success of the step
/// before. Neither leaves a result, so that callers look for the result as well. Progress advances by steps.
/// O(n) time for n voxels; besides the result 2 bytes for each run of object voxels, and for a search one
/// mask and one distance map.
class ARVO_VOLUME_EXPORT Image3DKeepConnectedPart : public Calculation {
public:
    /// Any value but KEEP_LARGEST_PARTS keeps the part at the reference point.
    enum KeepStrategy : int { KEEP_LARGEST_PARTS = 0, KEEP_PART_AT_REFERENCE_POINT = 1 };
    /// Voxels touch by faces (STRAIGHT) or, with any other value, by faces, edges and corners.
    enum ConnectionDirection : int { STRAIGHT = 0, DIAGONAL = 1 };

    /// Keeps a pointer to the mask, which has to outlive the run.
    Image3DKeepConnectedPart(ArvoImage3D& image, KeepStrategy strategy, ConnectionDirection direction);
    /// A copy takes over the mask and the settings; the result stays with the original.
    /// @{
    Image3DKeepConnectedPart(const Image3DKeepConnectedPart& other);
    Image3DKeepConnectedPart& operator=(const Image3DKeepConnectedPart& other);
    /// @}
    ~Image3DKeepConnectedPart() override;

    /// The smallest part to keep, as a fraction of the largest: 0.5 for half its voxels.
    void setRelativeTolerance(float tolerance) { m_relativeTolerance = tolerance; }
    /// In voxel indices.
    void setReferencePoint(const math::Ivec3& point) { m_referencePoint = point; }
    /// The point that was set, or else the middle voxel of the volume.
    math::Ivec3 getReferencePoint() const;

    void execute(const std::atomic<bool>& cancel) override;

    /// Hands the result over to the caller; null when there is none.
    std::unique_ptr<ArvoImage3D> takeBinaryOutputImage();

private:
    void reset();
    bool checkImage() const;
    void finishStep() const;
    bool isLargeEnough(std::int64_t volume, std::int64_t largestVolume) const;
    bool selectLargestParts(const binary::LabelledRuns& parts, const std::atomic<bool>& cancel);
    bool selectPartContainingReferencePoint(const binary::LabelledRuns& parts,
                                            const std::atomic<bool>& cancel);
    utility::Optional<math::Ivec3> findNearestVoxel(const math::Ivec3& point,
                                                    const std::atomic<bool>& cancel) const;
    bool writeSelectedParts(const binary::LabelledRuns& parts, const std::atomic<bool>& cancel);

    ArvoImage3D* m_image;
    KeepStrategy m_strategy;
    ConnectionDirection m_direction;
    math::Ivec3 m_imageSize;
    std::unique_ptr<ArvoImage3D> m_binaryOutputImage;
    utility::Optional<float> m_relativeTolerance;
    utility::Optional<math::Ivec3> m_referencePoint;
    std::vector<unsigned char> m_isSelected; // for each label; only during a run
};
