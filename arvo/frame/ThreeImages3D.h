#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/image/ArvoImage3D.h"

#include <memory>

/// A 3D vector field: three volumes of equal geometry, U (x component), V (y) and W (z), owned by the field.
///
/// Gradients produce it; divergence and normalisation consume it. A field may lack components or hold ones that do not
/// match, isValid() tells. Threads: as for the volumes; different threads may write disjoint slices.
class ARVO_VOLUME_EXPORT ThreeImages3D {
public:
    /// Three new float volumes of that size and voxel size; their voxels are not initialised.
    /// @{
    ThreeImages3D(const math::Ivec3& size, const QVector3D& voxelSize);
    ThreeImages3D(const int* size, const float* voxelSize);
    /// @}
    /// Takes ownership of the three volumes, unchecked. Each of them is deleted with the field.
    ThreeImages3D(ArvoImage3D* u, ArvoImage3D* v, ArvoImage3D* w);
    /// Full copies of the three volumes. A missing component of `other` is an invalid volume of the copy.
    ThreeImages3D(const ThreeImages3D& other);
    /// Copies the three volumes; pointers to this field's own volumes stay good. A component that `other` lacks is left
    /// as it was, with a warning.
    ThreeImages3D& operator=(const ThreeImages3D& other);
    virtual ~ThreeImages3D();

    /// The component volumes, still owned by the field.
    /// @{
    ArvoImage3D* getU() const { return m_u.get(); }
    ArvoImage3D* getV() const { return m_v.get(); }
    ArvoImage3D* getW() const { return m_w.get(); }
    /// @}

    /// Whether all three volumes exist, are valid and agree in data type and size.
    bool isValid() const;

    /// (U, V, W) at a voxel as floats; 0 for a component that does not reach there.
    QVector3D getValue(int x, int y, int z) const;

    /// Hands out the writable slices z of the three volumes (null where there is none). Meant for float fields.
    void getAxialSlices(int z, float** u, float** v, float** w);
    /// Copies one slice each into slice z of the three volumes; whoever has no slice z stays as it was.
    void setAxialSlices(int z, float* u, float* v, float* w);

    /// Copies the voxels of `other`, which stays as it is. Callers call editingFinished() when they are done.
    ///
    /// False, and no change: without another field or when the U volumes differ in size (silent); when a component
    /// of either field is missing or has another size or element width than its counterpart (one warning).
    bool copyValuesFrom(ThreeImages3D* other);

    /// editFinished() on U, V and W: to be called after voxels were changed through pointers.
    void editingFinished();

private:
    std::unique_ptr<ArvoImage3D> m_u;
    std::unique_ptr<ArvoImage3D> m_v;
    std::unique_ptr<ArvoImage3D> m_w;
};
