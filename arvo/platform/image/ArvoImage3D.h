#pragma once

#include "arvo/platform/Export.h"
#include "arvo/platform/image/ArvoImage3DInfo.h"
#include "arvo/platform/image/DataType.h"
#include "arvo/platform/image/VoxelBlock.h"
#include "arvo/platform/math/Ivec3.h"
#include "arvo/platform/math/Range.h"

#include <QByteArray>
#include <QString>
#include <QVector3D>

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

/// A 3D voxel volume: one contiguous block of voxels, x fastest, then y, then z.
///
/// Voxel (i, j, k) is element k*x*y + j*x + i of the block. A volume is valid when it holds a block; one with an extent
/// of 0 is valid and holds no voxel. A failed creation leaves an invalid volume of size (0, 0, 0); nothing throws.
///
/// Threads: const members may be called from several threads at once, getValueRange() included. Several threads may
/// write disjoint slices through getAxialSlice() or setAxialSlice(); one thread calls editFinished() after the last
/// of them has finished. Everything else needs the volume to itself.
class ARVO_PLATFORM_EXPORT ArvoImage3D {
public:
    /// An empty, invalid volume.
    ArvoImage3D();
    /// As `create`; isValid() tells whether it worked.
    /// @{
    ArvoImage3D(const int* size, const float* voxelSize, image::DataType type);
    ArvoImage3D(const math::Ivec3& size, const QVector3D& voxelSize, image::DataType type);
    /// @}
    /// Takes over block and records; `other` is invalid afterwards.
    /// @{
    ArvoImage3D(ArvoImage3D&& other) noexcept;
    ArvoImage3D& operator=(ArvoImage3D&& other) noexcept;
    /// @}
    ArvoImage3D(const ArvoImage3D&) = delete;
    ArvoImage3D& operator=(const ArvoImage3D&) = delete;
    virtual ~ArvoImage3D();

    /// Makes this a volume of that geometry (three voxel counts; three spacings in world units) and type.
    ///
    /// The voxels are not initialised. Metadata records are dropped. False, and an invalid volume, when an extent is
    /// negative, the type is none of image::DataType or the memory cannot be had.
    /// @{
    bool create(const int* size, const float* voxelSize, image::DataType type);
    bool create(const math::Ivec3& size, const QVector3D& voxelSize, image::DataType type);
    /// @}

    /// As `create` with the size and voxel size of `other`. False, and no change, when `other` is null or invalid.
    bool createFrom(const ArvoImage3D* other, image::DataType type);

    /// Makes this an exact copy of `other`, metadata records included. False, and no change, when `other` is null or
    /// invalid.
    bool copyFrom(const ArvoImage3D* other);

    /// Makes this a copy of the box of `other` that starts at voxel `origin` and spans `size` voxels (three ints each);
    /// without metadata records. False, and no change, when the box does not lie inside `other`.
    bool copyFrom(const ArvoImage3D* other, const int* origin, const int* size);

    /// Writes all of `other` into this volume, its voxel (0, 0, 0) at `origin` (three ints). False, and no change, when
    /// the types differ or `other` does not fit there.
    bool copyIn(const ArvoImage3D* other, const int* origin);

    /// Extents in voxels; (0, 0, 0) when invalid.
    math::Ivec3 imageSize() const { return m_size; }
    /// Spacings of the voxels in world units, usually millimetres.
    QVector3D voxelSize() const { return m_voxelSize; }
    /// The element type.
    image::DataType dataType() const { return m_dataType; }
    /// Whether the volume holds a block.
    bool isValid() const { return static_cast<bool>(m_voxels); }

    /// Bytes of one axial slice: x * y * element width.
    std::size_t sizeOfAxialSlice() const { return m_sliceBytes; }

    /// The first byte of the voxel block; null when the volume is invalid.
    /// @{
    char* dataPtr() { return m_voxels.data(); }
    const char* dataPtr() const { return m_voxels.data(); }
    /// @}

    /// The first byte of slice z, dataPtr() + z * sizeOfAxialSlice(); null outside the volume.
    /// @{
    char* getAxialSlice(int z);
    const char* getConstAxialSlice(int z) const;
    /// @}

    /// Copies sizeOfAxialSlice() bytes into slice z; `data` may be that slice itself. False outside the volume.
    bool setAxialSlice(int z, const char* data);

    /// The voxel as an integer (floats truncate toward zero); 0 outside the volume.
    int getValue(int x, int y, int z) const;
    /// The voxel as a float; 0 outside the volume.
    float getFloatValue(int x, int y, int z) const;

    /// The trilinear value at a continuous position, three floats in voxel units (whole numbers are voxel centres),
    /// clamped into the volume. A NaN coordinate counts as 0; an empty volume gives 0.
    float getInterpolatedValue(const float* position) const;

    /// The smallest and the largest voxel. NaN is left out; of a volume without numbers it is (0, 0). A zero bound is
    /// +0. Computed on first use after a change, then kept; changes made through pointers show after editFinished().
    math::Range<float> getValueRange() const;
    /// The ends of the value range as integers; those of a float volume truncate toward zero.
    /// @{
    int minValue() const;
    int maxValue() const;
    /// @}

    /// Fills the whole block with the low byte of `value`.
    void memsetSlices(int value);
    /// Sets every voxel to 0.
    void zeroSlices();
    /// Sets each listed voxel to `value`, cut to the element's width; voxels outside the volume are skipped.
    void changeVoxelValues(const std::vector<math::Ivec3>& voxels, int value);

    /// To be called after voxels were changed through pointers.
    void editFinished();

    /// The metadata record with that tag or name, or null. Owned by the volume.
    /// @{
    ArvoImage3DInfo* info(int tag) const;
    ArvoImage3DInfo* info(const QString& name) const;
    /// @}
    /// Adds a record and returns it, owned by the volume. A record of the same tag and name is replaced.
    /// Null, and no change, when there is no memory.
    ArvoImage3DInfo* addInfo(int tag, const QString& name, const QByteArray& payload);

private:
    void invalidate();
    std::size_t offsetOf(int x, int y, int z) const;
    bool holds(int x, int y, int z) const;
    math::Range<double> exactRange() const;

    math::Ivec3 m_size;
    QVector3D m_voxelSize;
    image::DataType m_dataType = image::Reserved;
    std::size_t m_sliceBytes = 0;
    image::VoxelBlock m_voxels;
    std::vector<std::unique_ptr<ArvoImage3DInfo>> m_infos;

    mutable std::mutex m_rangeMutex;
    mutable std::atomic<bool> m_isRangeKnown{false};
    mutable math::Range<double> m_range; // double holds every element type exactly
};
