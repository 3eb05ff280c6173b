#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/threading/Calculation.h"

#include <atomic>
#include <memory>

class ArvoImage3D;

/// Closes the tunnels and cavities of an object: the object and the voxels that seal its holes.
///
/// Starts from the object's bounding box, filled, which has no hole, and peels voxels off it from the outside
/// inwards, those furthest from the object first (by Image3DDistanceMap; among equals, those that came to
/// wait first). A voxel is peeled only when there is background among its 26 neighbours and it is one piece
/// by faces. Where that fails the voxel stays, unless a neighbour is peeled later, when it is tested anew.
///
/// Input: a mask of type Binary, not owned. Result: a new Binary volume of the same geometry, 0 or 1. The box
/// is found from bytes that are above 0 as signed values; a byte of 255 inside the box is peeled from the
/// start, and a byte of 128 to 255 beside the box shields the voxel at its face until a neighbour is peeled.
///
/// No warnings. Runs on the calling thread; the cancel flag is looked at between the stages and before each
/// voxel that is tested. A run that failed or was cancelled leaves no result. Progress advances from the
/// first stage to the last voxel. O(n) time for n voxels. Memory, for each voxel of the box around all
/// non-zero bytes: 3 bytes for a bordered copy and its distance map, both gone before the peeling; 4 bits for
/// states and distances modulo 4. Besides, 8 bytes for each waiting voxel, and a table of 256 KiB that stays
/// for later runs.
/// After Z. Aktouf, G. Bertrand, L. Perroton, "A three-dimensional holes closing algorithm", Pattern
/// Recognition Letters 23, 2002; the test of a voxel is simpler here.
class ARVO_VOLUME_EXPORT Image3DHoleClosing : public Calculation {
public:
    static constexpr unsigned char VOXEL_BACKGROUND = 0;         ///< outside the hull, or peeled off
    static constexpr unsigned char VOXEL_WORKING_DIFFERENCE = 1; ///< in the hull, not object
    static constexpr unsigned char VOXEL_OBJECT = 2;             ///< object of the mask
    static constexpr unsigned char VOXEL_IN_QUEUE = 3;           ///< waiting to be tested

    Image3DHoleClosing();
    /// A copy takes over the input; the result stays with the original.
    /// @{
    Image3DHoleClosing(const Image3DHoleClosing& other);
    Image3DHoleClosing& operator=(const Image3DHoleClosing& other);
    /// @}
    ~Image3DHoleClosing() override;

    /// Ignored, so that the previous input stays, unless the image can be an input.
    void setInputImage(ArvoImage3D* image);
    /// Whether there is an image and it is of type Binary.
    bool checkValidInputImage(ArvoImage3D* image);

    /// An input without object gives a volume of zeros, even when the flag is up.
    void execute(const std::atomic<bool>& cancel) override;

    /// Hands the result over to the caller; null when there is none.
    ArvoImage3D* takeClosedImage();

    /// A zeroed Binary volume of the input's geometry, or null. The caller owns it, as the results of those
    /// below, which are null for a missing volume, one of other than byte elements and one that cannot be
    /// made.
    ArvoImage3D* createEmptyOutputImage();
    /// A Binary copy with a border of one zero voxel on every side.
    static ArvoImage3D* createImageWithExtendedBorder(ArvoImage3D* image);
    /// A copy without the outermost voxels on every side; null for a volume thinner than 2.
    static ArvoImage3D* createBinaryImageWithRemovedBorder(ArvoImage3D* image);
    /// The bounding box of the object as a Binary volume of the same geometry, 1 in the box.
    static ArvoImage3D* createHull(ArvoImage3D* image);
    /// The boundary of the hull (see Image3DBoundary), cleared where the object is set.
    static ArvoImage3D* getWorkingSet(ArvoImage3D* object, ArvoImage3D* hull);

private:
    void reset();
    std::unique_ptr<ArvoImage3D> close(const std::atomic<bool>& cancel);

    ArvoImage3D* m_inputImage = nullptr;
    std::unique_ptr<ArvoImage3D> m_closedImage;
};
