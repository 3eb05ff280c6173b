#include "arvo/voxelops/VoxelSums.h"

#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace voxelops {

namespace {

constexpr std::ptrdiff_t BLOCK = 4096;
constexpr double EXACT_INTEGERS = 9007199254740992.0; // 2^53: doubles hold every integer up to it

/// The sum of a block, which no 32-bit integer overflows at: 4096 * 65535 < 2^31.
template <class T> ARVO_VECTOR_CLONES std::int32_t blockSum(const T* values, std::ptrdiff_t count)
{
    std::int32_t sum = 0;
    for (std::ptrdiff_t i = 0; i < count; ++i)
        sum += values[i];
    return sum;
}

template <class T> double addOneByOne(double sum, const T* values, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        sum += values[i];
    return sum;
}

template <class T> double addBlock(double sum, const T* values, std::ptrdiff_t count)
{
    constexpr double LARGEST = 65536.0;
    if (std::abs(sum) + LARGEST * static_cast<double>(count) <= EXACT_INTEGERS)
        return sum + blockSum(values, count);
    return addOneByOne(sum, values, count);
}

ARVO_VECTOR_CLONES std::int32_t largestMagnitude(const float* values, std::ptrdiff_t count)
{
    std::int32_t largest = 0;
    for (std::ptrdiff_t i = 0; i < count; ++i)
        largest = std::max(largest, std::bit_cast<std::int32_t>(values[i]) & 0x7fffffff);
    return largest;
}

/// Floats as multiples of a unit.
struct Grid {
    bool holdsAll = false;  // every value is a multiple of the unit
    std::uint32_t bits = 0; // all multiples ORed: their common factor of two
    std::int64_t sum = 0;   // of the multiples
};

ARVO_VECTOR_CLONES Grid gridOf(const float* values, std::ptrdiff_t count, float unit, float inverse)
{
    std::uint32_t misses = 0;
    std::uint32_t bits = 0;
    std::int64_t sum = 0;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const auto multiple = static_cast<std::int32_t>(values[i] * inverse);
        misses |= static_cast<float>(multiple) * unit != values[i];
        bits |= static_cast<std::uint32_t>(multiple);
        sum += multiple;
    }
    return {misses == 0, bits, sum};
}

/// The value of the lowest set bit of a finite double; infinity for 0, a multiple of everything.
double lowestBit(double value)
{
    if (value == 0.0)
        return std::numeric_limits<double>::infinity();
    int exponent = 0;
    const auto mantissa = static_cast<std::int64_t>(std::ldexp(std::frexp(value, &exponent), 53));
    return std::ldexp(1.0, exponent - 53 + std::countr_zero(static_cast<std::uint64_t>(mantissa)));
}

/// Multiples of q whose magnitudes add up to no more than 2^53 q are added without rounding, in any order. q is found as
/// the coarsest power of two of which the sum so far and all values are multiples.
double addBlock(double sum, const float* values, std::ptrdiff_t count)
{
    constexpr std::ptrdiff_t PROBE = 32;
    constexpr int BIAS = 127;
    const int exponent = (largestMagnitude(values, count) >> 23) - BIAS;
    // Beyond these exponents the unit or its inverse is no normal float; infinities and NaN are beyond, too.
    if (exponent < -90 || exponent > BIAS || !std::isfinite(sum))
        return addOneByOne(sum, values, count);
    const float inverse = std::ldexp(1.0f, 30 - exponent); // the multiples stay below 2^31
    const float unit = 1.0f / inverse;
    if (!gridOf(values, std::min(count, PROBE), unit, inverse).holdsAll)
        return addOneByOne(sum, values, count);
    const Grid grid = gridOf(values, count, unit, inverse);
    const double factor = grid.bits == 0 ? 1.0 : std::ldexp(1.0, std::countr_zero(grid.bits));
    const double quantum = std::min(factor * unit, lowestBit(sum));
    const double largestSum = std::abs(sum) + static_cast<double>(count) * std::ldexp(1.0, exponent + 1);
    if (!grid.holdsAll || largestSum > EXACT_INTEGERS * quantum)
        return addOneByOne(sum, values, count);
    return sum + static_cast<double>(grid.sum) * unit;
}

} // namespace

template <class T> std::int64_t sumOf(const T* values, std::ptrdiff_t count)
{
    std::int64_t sum = 0;
    for (std::ptrdiff_t begin = 0; begin < count; begin += BLOCK)
        sum += blockSum(values + begin, std::min(BLOCK, count - begin));
    return sum;
}

template <class T> double addInOrder(double sum, const T* values, std::ptrdiff_t count)
{
    for (std::ptrdiff_t begin = 0; begin < count; begin += BLOCK)
        sum = addBlock(sum, values + begin, std::min(BLOCK, count - begin));
    return sum;
}

template std::int64_t sumOf(const unsigned char*, std::ptrdiff_t);
template std::int64_t sumOf(const signed char*, std::ptrdiff_t);
template std::int64_t sumOf(const short*, std::ptrdiff_t);
template std::int64_t sumOf(const unsigned short*, std::ptrdiff_t);
template double addInOrder(double, const unsigned char*, std::ptrdiff_t);
template double addInOrder(double, const short*, std::ptrdiff_t);
template double addInOrder(double, const unsigned short*, std::ptrdiff_t);
template double addInOrder(double, const float*, std::ptrdiff_t);

} // namespace voxelops
