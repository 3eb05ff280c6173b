#include "arvo/voxelops/VoxelCounts.h"

#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

namespace voxelops {

namespace {

enum class Comparison { Equal, Above };

template <std::size_t Width> struct Unsigned;
// clang-format off
template <> struct Unsigned<1> { using type = std::uint8_t; };
template <> struct Unsigned<2> { using type = std::uint16_t; };
template <> struct Unsigned<4> { using type = std::uint32_t; };
// clang-format on

/// Each lane counts in an integer of its own width, so that a comparison's mask (all ones) is subtracted as it is; the
/// lanes are added up before one of them can overflow.
template <Comparison Kind, class T>
ARVO_VECTOR_CLONES std::int64_t countWhere(const T* values, std::ptrdiff_t count, T reference)
{
    using Counter = typename Unsigned<sizeof(T)>::type;
    typedef T Lanes __attribute__((vector_size(32)));
    typedef Counter Counters __attribute__((vector_size(32)));
    constexpr std::ptrdiff_t VECTORS = 4;
    constexpr std::ptrdiff_t LANES = sizeof(Lanes) / sizeof(T);
    constexpr std::ptrdiff_t STEP = VECTORS * LANES;
    constexpr std::ptrdiff_t STEPS = std::min<std::int64_t>(std::numeric_limits<Counter>::max(), 1 << 20);

    std::int64_t total = 0;
    std::ptrdiff_t i = 0;
    while (i + STEP <= count) {
        Counters counters[VECTORS] = {};
        const std::ptrdiff_t end = i + std::min(STEPS, (count - i) / STEP) * STEP;
        for (; i < end; i += STEP) {
            for (std::ptrdiff_t k = 0; k < VECTORS; ++k) {
                Lanes v;
                std::memcpy(&v, values + i + k * LANES, sizeof v);
                if constexpr (Kind == Comparison::Equal)
                    counters[k] -= reinterpret_cast<Counters>(v == reference);
                else
                    counters[k] -= reinterpret_cast<Counters>(v > reference);
            }
        }
        Counter lanes[STEP];
        std::memcpy(lanes, counters, sizeof lanes);
        std::uint32_t sum = 0;
        for (std::ptrdiff_t k = 0; k < STEP; ++k)
            sum += lanes[k];
        total += sum;
    }
    for (; i < count; ++i)
        total += Kind == Comparison::Equal ? values[i] == reference : values[i] > reference;
    return total;
}

} // namespace

template <class T> std::int64_t countEqual(const T* values, std::ptrdiff_t count, T value)
{
    return countWhere<Comparison::Equal>(values, count, value);
}

template <class T> std::int64_t countAbove(const T* values, std::ptrdiff_t count, T limit)
{
    return countWhere<Comparison::Above>(values, count, limit);
}

// clang-format off
template std::int64_t countEqual(const unsigned char*, std::ptrdiff_t, unsigned char);
template std::int64_t countEqual(const short*, std::ptrdiff_t, short);
template std::int64_t countEqual(const unsigned short*, std::ptrdiff_t, unsigned short);
template std::int64_t countEqual(const std::int32_t*, std::ptrdiff_t, std::int32_t);
template std::int64_t countEqual(const float*, std::ptrdiff_t, float);
template std::int64_t countAbove(const unsigned char*, std::ptrdiff_t, unsigned char);
template std::int64_t countAbove(const short*, std::ptrdiff_t, short);
template std::int64_t countAbove(const unsigned short*, std::ptrdiff_t, unsigned short);
template std::int64_t countAbove(const std::int32_t*, std::ptrdiff_t, std::int32_t);
template std::int64_t countAbove(const float*, std::ptrdiff_t, float);
// clang-format on

} // namespace voxelops
