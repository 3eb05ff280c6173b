#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <cstddef>
#include <type_traits>

namespace frame {

/// The voxels of a volume as elements of type T (const for reading): where every kernel gets its slices and rows from.
///
/// Taken once per operation; the volume's own bounds checks stay out of the loops. All offsets are 64-bit.
template <class T> class VolumeView {
public:
    using Volume = std::conditional_t<std::is_const_v<T>, const ArvoImage3D, ArvoImage3D>;

    explicit VolumeView(Volume& image)
        : m_voxels(reinterpret_cast<T*>(image.dataPtr())),
          m_width(image.imageSize().x),
          m_height(image.imageSize().y),
          m_depth(image.imageSize().z)
    {
    }

    T* data() const { return m_voxels; }
    T* slice(std::ptrdiff_t z) const { return m_voxels + z * sliceCount(); }
    T* row(std::ptrdiff_t y, std::ptrdiff_t z) const { return slice(z) + y * m_width; }

    std::ptrdiff_t width() const { return m_width; }
    std::ptrdiff_t height() const { return m_height; }
    std::ptrdiff_t depth() const { return m_depth; }

    /// Voxels of a slice, and of the volume.
    std::ptrdiff_t sliceCount() const { return m_width * m_height; }
    std::ptrdiff_t count() const { return sliceCount() * m_depth; }

private:
    T* m_voxels;
    std::ptrdiff_t m_width;
    std::ptrdiff_t m_height;
    std::ptrdiff_t m_depth;
};

} // namespace frame
