#pragma once

#include "arvo/frame/Export.h"

#include <cstddef>
#include <memory>

class ArvoImage3D;

/// Dilates and erodes byte masks with a structuring element.
///
/// Masks hold one byte a voxel (types 2 and 3; the type is not checked) and any non-zero byte is object.
/// Beyond the volume counts as background for dilate and as object for erode: an object that touches a face
/// of the volume is not eroded from that face. Both run on the calling thread.
class ARVO_VOLUME_EXPORT ArvoImageBinaryMorphologicalOperations {
public:
    class Stencil;

    /// All offsets with components of at most `radius`: side^3 flags.
    static Stencil cube(std::size_t radius);
    /// The offsets whose squared length is below (radius + 0.5)^2: 1, 19, 81, 179 flags for radius 0 to 3.
    static Stencil sphere(std::size_t radius);
    /// The three axis lines through the centre: 6 * radius + 1 flags.
    static Stencil cardinalAxes(std::size_t radius);

    /// out = 1 where an offset of the stencil leads from an object voxel of `in` to the voxel, else 0.
    ///
    /// `out` has the size of `in`, or is larger and used as far as `in` reaches; it may be `in` itself.
    /// Radius 0 makes `out` a plain copy of `in`, whatever it was. A volume with fewer slices than the
    /// radius: "Image size too small: image size should be larger than the stencil radius." and `out` stays
    /// as it is (only z is compared; an equal number passes). An invalid or too small volume: one warning,
    /// `out` stays as it is. O(n) word operations of 64 voxels per stencil row; besides the volumes a bit per
    /// voxel of 2 * radius + 1 slices and of one slice per distinct row length of the stencil.
    static void dilate(const ArvoImage3D& in, ArvoImage3D& out, const Stencil& stencil);

    /// out = `in` where no offset of the stencil leads from a zero voxel of `in` to the voxel, else 0; voxels
    /// that stay keep their value. Otherwise as `dilate`.
    static void erode(const ArvoImage3D& in, ArvoImage3D& out, const Stencil& stencil);
};

/// A structuring element: a cube of flags, one per voxel offset. Movable, not copyable; a moved-from one is
/// empty.
///
/// Flag (kx, ky, kz) stands for the offset (kx - radius, ky - radius, kz - radius). Side^3 bytes; when that
/// many cannot be had, making the stencil throws std::bad_alloc.
class ARVO_VOLUME_EXPORT ArvoImageBinaryMorphologicalOperations::Stencil {
public:
    /// No flags, side 0, radius 0: operations take it as radius 0.
    Stencil() noexcept;
    /// `other` is empty afterwards.
    /// @{
    Stencil(Stencil&& other) noexcept;
    Stencil& operator=(Stencil&& other) noexcept;
    /// @}
    ~Stencil();

    /// As the functions of the same names above.
    /// @{
    static Stencil cube(std::size_t radius) { return ArvoImageBinaryMorphologicalOperations::cube(radius); }
    static Stencil sphere(std::size_t radius)
    {
        return ArvoImageBinaryMorphologicalOperations::sphere(radius);
    }
    static Stencil cardinalAxes(std::size_t radius)
    {
        return ArvoImageBinaryMorphologicalOperations::cardinalAxes(radius);
    }
    /// @}

    /// The reach along each axis in voxels.
    std::size_t radius() const { return m_radius; }
    /// 2 * radius + 1, or 0 when empty.
    std::size_t side() const { return m_side; }
    /// The flags, 0 or 1, at index (kz * side + ky) * side + kx; null when empty.
    const unsigned char* data() const { return m_data.get(); }

private:
    friend class ArvoImageBinaryMorphologicalOperations;

    /// All flags 0.
    explicit Stencil(std::size_t radius);
    unsigned char& flag(std::size_t kx, std::size_t ky, std::size_t kz)
    {
        return m_data[(kz * m_side + ky) * m_side + kx];
    }

    std::unique_ptr<unsigned char[]> m_data;
    std::size_t m_side = 0;
    std::size_t m_radius = 0;
};
