#pragma once

#include "arvo/frame/Export.h"
#include "arvo/frame/SliceWorkerCalculation.h"

#include <memory>

class ArvoImage3D;
class ThreeImages3D;

/// The gradient field of a volume: three float volumes d/dx, d/dy and d/dz by clamped central differences.
///
/// Input: 16-bit, 8-bit, mask or float voxels, not owned. The field has the input's size and voxel size, but its values
/// are grey values per voxel: the voxel size does not count. On the border of an axis the difference is one-sided, so
/// that a linear ramp is exact everywhere; along an axis of one voxel it is 0.
///
/// One worker thread per range of slices and component, three times the usual number. A raised flag stops each worker
/// after the voxel it is at and the calculation fails; the field can be taken all the same, with every voxel before
/// that point done. A flag that is up at the start leaves the field unfilled. An input of another type:
/// "GradientWorker : not implemented for the given input image data type." from each worker and failure. A missing
/// or invalid input: one warning, failure, no field. Progress: one step a slice and component.
/// O(n) time for n voxels; 12 bytes a voxel for the field, nothing else.
class ARVO_VOLUME_EXPORT Gradient : public SliceWorkerCalculation {
public:
    Gradient();
    /// Copies take the settings over; a field that was not taken stays with the original. Assignment deletes the
    /// field of the calculation assigned to.
    /// @{
    Gradient(const Gradient& other);
    Gradient& operator=(const Gradient& other);
    /// @}
    ~Gradient() override;

    /// The volume to read; not owned.
    void setInputImage(ArvoImage3D* image) { m_inputImage = image; }

    /// Replaces the previous result.
    void execute(const std::atomic<bool>& cancel) override;

    /// Gives the field up to the caller, who owns it from then on; null when there is none.
    ThreeImages3D* takeGradientImage();

private:
    void reset();
    bool createGradientImage();
    void createAllWorkers();

    ArvoImage3D* m_inputImage = nullptr;
    std::unique_ptr<ThreeImages3D> m_gradientImage;
};
