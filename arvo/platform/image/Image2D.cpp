#include "arvo/platform/image/Image2D.h"

#include "arvo/platform/image/ElementTypes.h"

#include <cstddef>
#include <cstring>
#include <utility>

Image2D::Image2D() = default;
Image2D::~Image2D() = default;

Image2D::Image2D(int width, int height, DataType type, const QVector3D& pixelSize, bool zeroed)
{
    const std::size_t element = image::elementWidth(static_cast<image::DataType>(type));
    std::size_t bytes = 0;
    if (element == 0 || width < 0 || height < 0 ||
        __builtin_mul_overflow(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), element,
                               &bytes))
        return;
    m_pixels = image::VoxelBlock::allocate(bytes);
    if (!m_pixels)
        return;
    if (zeroed)
        std::memset(m_pixels.data(), 0, bytes);
    m_width = width;
    m_height = height;
    m_dataType = type;
    m_pixelSize = pixelSize;
}

Image2D::Image2D(Image2D&& other) noexcept
{
    *this = std::move(other);
}

Image2D& Image2D::operator=(Image2D&& other) noexcept
{
    if (this == &other)
        return *this;
    m_width = std::exchange(other.m_width, 0);
    m_height = std::exchange(other.m_height, 0);
    m_dataType = std::exchange(other.m_dataType, Reserved);
    m_pixelSize = std::exchange(other.m_pixelSize, {});
    m_pixels = std::move(other.m_pixels);
    return *this;
}

bool Image2D::loadFromData(const char* data, int width, int height, DataType type)
{
    if (!data)
        return false;
    Image2D loaded(width, height, type, m_pixelSize, false);
    if (!loaded.isValid())
        return false;
    std::memcpy(loaded.dataPtr(), data, loaded.m_pixels.bytes());
    *this = std::move(loaded);
    return true;
}

void Image2D::editFinished()
{
    // Nothing is derived from the pixels yet; the call marks the end of an edit as for volumes.
}
