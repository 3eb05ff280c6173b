#include "trust/Hash.h"

#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/Image2D.h"

#include <cmath>
#include <limits>

namespace trust {

void Hash::addBytes(const void* data, std::size_t count)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < count; ++i)
        m_value = (m_value ^ bytes[i]) * 1099511628211u;
}

void Hash::addFloats(const float* values, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        add(std::isnan(values[i]) ? std::numeric_limits<float>::quiet_NaN() : values[i]);
}

void Hash::addVolume(const ArvoImage3D* volume)
{
    add(volume != nullptr && volume->isValid());
    if (!volume || !volume->isValid())
        return;
    const math::Ivec3 size = volume->imageSize();
    const QVector3D spacing = volume->voxelSize();
    add(size);
    for (const int axis : {0, 1, 2})
        add(spacing[axis]);
    add(volume->dataType());
    for (int z = 0; z < size.z; ++z) {
        const char* slice = volume->getConstAxialSlice(z);
        if (volume->dataType() == image::Float32)
            addFloats(reinterpret_cast<const float*>(slice), volume->sizeOfAxialSlice() / sizeof(float));
        else
            addBytes(slice, volume->sizeOfAxialSlice());
    }
}

void Hash::addPicture(const Image2D& picture)
{
    const auto pixels =
        static_cast<std::size_t>(picture.width()) * static_cast<std::size_t>(picture.height());
    add(picture.width());
    add(picture.height());
    add(picture.dataType());
    if (picture.dataType() == Image2D::Float32)
        addFloats(reinterpret_cast<const float*>(picture.dataPtr()), pixels);
    else
        addBytes(picture.dataPtr(),
                 pixels * image::elementWidth(static_cast<image::DataType>(picture.dataType())));
}

void Hash::addBins(const QMap<int, int>& bins)
{
    for (auto bin = bins.begin(); bin != bins.end(); ++bin) {
        add(bin.key());
        add(bin.value());
    }
}

} // namespace trust
