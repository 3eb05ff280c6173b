#pragma once

#include <cstddef>
#include <cstdint>

/// Sums over runs of voxels.
namespace voxelops {

/// The exact sum of `count` integers. T: unsigned char, signed char, short or unsigned short.
template <class T> std::int64_t sumOf(const T* values, std::ptrdiff_t count);

/// `sum` after adding `count` values to it one by one, in order, each addition rounded to double.
///
/// Blocks in which no addition can round are summed in any order, with vectors; others one by one. The bits are the
/// same. T: unsigned char, short, unsigned short or float.
template <class T> double addInOrder(double sum, const T* values, std::ptrdiff_t count);

} // namespace voxelops
