#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <QMap>

#include <cstddef>
#include <cstdint>
#include <vector>

class Image2D;

namespace trust {

/// FNV-1a, 64 bits.
class Hash {
public:
    void addBytes(const void* data, std::size_t count);
    template <class T> void add(const T& value) { addBytes(&value, sizeof(T)); }
    /// NaN counts as one value: compilers may swap the operands of a sum, and then its payload differs.
    void addFloats(const float* values, std::size_t count);
    void addFloats(const std::vector<float>& values) { addFloats(values.data(), values.size()); }
    /// Size, voxel size, element type and voxels.
    void addVolume(const ArvoImage3D* volume);
    void addPicture(const Image2D& picture);
    void addBins(const QMap<int, int>& bins);
    std::uint64_t value() const { return m_value; }
    bool operator==(const Hash&) const = default;

private:
    std::uint64_t m_value = 14695981039346656037u;
};

} // namespace trust
