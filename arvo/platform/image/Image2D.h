#pragma once

#include "arvo/platform/Export.h"
#include "arvo/platform/image/VoxelBlock.h"

#include <QVector3D>

#include <cstdint>

/// A 2D image: one contiguous block of pixels, row after row. Movable, not copyable.
class ARVO_PLATFORM_EXPORT Image2D {
public:
    /// The pixel's element type; names and values are those of image::DataType.
    enum DataType : std::int32_t {
        UInt16 = 0,
        Int16 = 1,
        UInt8 = 2,
        Binary = 3,
        Reserved = 4,
        Float32 = 5,
        Int32 = 6
    };

    /// An empty, invalid image.
    Image2D();
    /// An image of that size; its pixels are zero if `zeroed`, else not initialised. Invalid when a size is negative,
    /// the type unknown or the memory not to be had.
    /// @{
    Image2D(int width, int height, DataType type, const QVector3D& pixelSize, bool zeroed);
    Image2D(Image2D&& other) noexcept;
    Image2D& operator=(Image2D&& other) noexcept;
    /// @}
    Image2D(const Image2D&) = delete;
    Image2D& operator=(const Image2D&) = delete;
    virtual ~Image2D();

    /// Makes this an image of that size and type with the width * height elements at `data`; the pixel size stays.
    /// False, and no change, when `data` is null or the image cannot be made.
    bool loadFromData(const char* data, int width, int height, DataType type);

    /// Spacings in world units; (0, 0, 0) unless given.
    void setPixelSize(const QVector3D& pixelSize) { m_pixelSize = pixelSize; }

    /// To be called after pixels were changed through dataPtr().
    void editFinished();

    /// Whether the pixels could be had; an image of extent 0 is valid.
    bool isValid() const { return static_cast<bool>(m_pixels); }
    /// Extents in pixels, element type and spacings.
    /// @{
    int width() const { return m_width; }
    int height() const { return m_height; }
    DataType dataType() const { return m_dataType; }
    QVector3D pixelSize() const { return m_pixelSize; }
    /// @}
    /// The first byte of the pixels, row after row; null when invalid.
    /// @{
    char* dataPtr() { return m_pixels.data(); }
    const char* dataPtr() const { return m_pixels.data(); }
    /// @}

private:
    int m_width = 0;
    int m_height = 0;
    DataType m_dataType = Reserved;
    QVector3D m_pixelSize;
    image::VoxelBlock m_pixels;
};
