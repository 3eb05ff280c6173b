#pragma once

#include <cstdint>

namespace image {

/// The element type of a volume. Unscoped, so that it compares with an integer.
enum DataType : std::int32_t {
    UInt16 = 0,   ///< unsigned 16-bit grey values
    Int16 = 1,    ///< signed 16-bit grey values, labels, distances
    UInt8 = 2,    ///< unsigned 8-bit grey values
    Binary = 3,   ///< unsigned 8-bit mask: inside 1, outside 0
    Reserved = 4, ///< one byte a voxel; handled by no operation
    Float32 = 5,  ///< 32-bit float
    Int32 = 6     ///< signed 32-bit integers; only a source of type conversion
};

} // namespace image
