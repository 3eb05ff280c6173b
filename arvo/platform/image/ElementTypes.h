#pragma once

#include "arvo/platform/image/DataType.h"

#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

/// The one place that turns a run-time data type into a C++ element type.
namespace image {

/// @cond
namespace detail {

// clang-format off
template <DataType> struct Element;
template <> struct Element<UInt16> { using type = unsigned short; };
template <> struct Element<Int16> { using type = short; };
template <> struct Element<UInt8> { using type = unsigned char; };
template <> struct Element<Binary> { using type = unsigned char; };
template <> struct Element<Reserved> { using type = unsigned char; };
template <> struct Element<Float32> { using type = float; };
template <> struct Element<Int32> { using type = std::int32_t; };
// clang-format on

} // namespace detail
/// @endcond

/// The C++ type of one voxel of a data type.
template <DataType Type> using ElementOf = typename detail::Element<Type>::type;

/// A list of data types that an operation accepts.
template <DataType... Accepted> struct TypeSet {
};

/// The sets that several operations accept: one byte a voxel; integers of up to 16 bits; those and floats; all types.
/// @{
using ByteTypes = TypeSet<UInt8, Binary>;
using IntegerTypes = TypeSet<UInt16, Int16, UInt8, Binary>;
using VoxelTypes = TypeSet<UInt16, Int16, UInt8, Binary, Float32>;
using StoredTypes = TypeSet<UInt16, Int16, UInt8, Binary, Reserved, Float32, Int32>;
/// @}

/// Calls body(std::type_identity<T>{}) with the element type T of `type`; returns what body returns, true if it
/// returns nothing.
///
/// Any type outside the set: logs `warning` (the whole text; null for none) and returns false without calling body.
/// Only the accepted types are instantiated; types of one element share one instance.
template <DataType... Accepted, class Body>
bool withElementType(DataType type, TypeSet<Accepted...>, const char* warning, Body&& body)
{
    bool success = false;
    const auto call = [&]<class T>(std::type_identity<T> element) {
        if constexpr (std::is_void_v<decltype(body(element))>) {
            body(element);
            success = true;
        } else {
            success = body(element);
        }
        return true;
    };
    const bool isAccepted = ((type == Accepted && call(std::type_identity<ElementOf<Accepted>>{})) || ...);
    if (!isAccepted && warning)
        qWarning("%s", warning);
    return success;
}

/// Whether `type` is one of the set.
template <DataType... Accepted> constexpr bool isOneOf(DataType type, TypeSet<Accepted...>)
{
    return ((type == Accepted) || ...);
}

/// Bytes of one voxel; 0 for a value that is no data type.
constexpr std::size_t elementWidth(DataType type)
{
    switch (type) {
    case UInt8:
    case Binary:
    case Reserved:
        return 1;
    case UInt16:
    case Int16:
        return 2;
    case Float32:
    case Int32:
        return 4;
    }
    return 0;
}

} // namespace image
