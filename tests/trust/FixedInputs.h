#pragma once

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ElementTypes.h"

#include <functional>

/// Inputs made by integer arithmetic alone: the same voxels on every machine.
namespace trust {

inline constexpr math::Ivec3 FIXED_SIZES[] = {{13, 11, 9}, {67, 21, 35}};

inline constexpr image::DataType MASK[] = {image::Binary};
inline constexpr image::DataType FLOAT[] = {image::Float32};
inline constexpr image::DataType INTEGERS[] = {image::UInt16, image::Int16, image::UInt8};
inline constexpr image::DataType GREYS[] = {image::UInt16, image::Int16, image::UInt8, image::Float32};
inline constexpr image::DataType STORED[] = {image::UInt16, image::Int16, image::UInt8, image::Float32,
                                             image::Int32};

/// A ball brighter than its surroundings, and noise over the whole range of the type; floats are sixteenths.
ArvoImage3D fixedVolume(const math::Ivec3& size, image::DataType type, unsigned seed);
/// A mask of 0 and 1: a ball with holes, and specks.
ArvoImage3D fixedMask(const math::Ivec3& size, unsigned seed);

/// Makes an input for a size and a type.
using MakeVolume = std::function<ArvoImage3D(const math::Ivec3& size, image::DataType type)>;

/// The first volume of an operation, unless it says otherwise.
ArvoImage3D fixedInput(const math::Ivec3& size, image::DataType type);
/// Other voxels of the same type.
MakeVolume otherVolume(unsigned seed = 2);
/// A mask, whatever the type.
MakeVolume maskFor(unsigned seed = 3);
/// Zeros of a type, for an output.
MakeVolume zeros(image::DataType type);

} // namespace trust
