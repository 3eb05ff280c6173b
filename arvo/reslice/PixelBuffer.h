#pragma once

#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/Image2D.h"

#include <cstdint>
#include <type_traits>

namespace reslice {

/// The pixels of an image that is to take width * height elements of type T, neither negative; null, with a warning,
/// when it holds fewer or others.
template <class T> T* pixelsOf(Image2D& image, int width, int height)
{
    const bool isOfType = image::withElementType(
        static_cast<image::DataType>(image.dataType()), image::VoxelTypes{}, nullptr,
        [](auto element) { return std::is_same_v<typename decltype(element)::type, T>; });
    const std::int64_t held = std::int64_t{image.width()} * image.height();
    if (image.isValid() && isOfType && held >= std::int64_t{width} * height)
        return reinterpret_cast<T*>(image.dataPtr());
    frame::refuse("ArvoImage3DReslicer : the image does not hold the pixels to write.");
    return nullptr;
}

} // namespace reslice
