#include "arvo/platform/image/ValueRange.h"

#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/utility/PageStreams.h"
#include "arvo/platform/utility/VectorClones.h"

#include <cstddef>
#include <cstring>
#include <limits>

namespace image {

namespace {

template <class T> struct Extremes {
    using Limits = std::numeric_limits<T>;
    // Infinities where T has them, so that every number, and no NaN, replaces the start values.
    T low = Limits::has_infinity ? Limits::infinity() : Limits::max();
    T high = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();
};

/// Four independent vectors of running extremes, lane by lane: a float minimum is not associative for the compiler
/// (NaN, -0), so it would not split the loop itself.
template <class T> ARVO_VECTOR_CLONES Extremes<T> extremesOf(const T* values, std::ptrdiff_t count)
{
    typedef T Lanes __attribute__((vector_size(32)));
    constexpr std::ptrdiff_t VECTORS = 4;
    constexpr std::ptrdiff_t LANES = sizeof(Lanes) / sizeof(T);

    Extremes<T> all;
    Lanes low[VECTORS];
    Lanes high[VECTORS];
    for (std::ptrdiff_t k = 0; k < VECTORS; ++k) {
        low[k] = all.low - Lanes{};
        high[k] = all.high - Lanes{};
    }
    utility::forEachPiece<sizeof(T)>(count, [&](std::ptrdiff_t begin, std::ptrdiff_t end) ARVO_INLINED {
        for (; begin + VECTORS * LANES <= end; begin += VECTORS * LANES) {
            for (std::ptrdiff_t k = 0; k < VECTORS; ++k) {
                Lanes v;
                std::memcpy(&v, values + begin + k * LANES, sizeof v);
                low[k] = v < low[k] ? v : low[k];
                high[k] = v > high[k] ? v : high[k];
            }
        }
    });
    for (std::ptrdiff_t k = 0; k < VECTORS; ++k) {
        for (std::ptrdiff_t lane = 0; lane < LANES; ++lane) {
            all.low = low[k][lane] < all.low ? low[k][lane] : all.low;
            all.high = high[k][lane] > all.high ? high[k][lane] : all.high;
        }
    }
    for (std::ptrdiff_t i = count - count % (VECTORS * LANES); i < count; ++i) {
        all.low = values[i] < all.low ? values[i] : all.low;
        all.high = values[i] > all.high ? values[i] : all.high;
    }
    return all;
}

} // namespace

math::Range<double> valueRangeOf(const char* data, std::size_t count, DataType type)
{
    math::Range<double> range;
    withElementType(type, StoredTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        const Extremes<T> found =
            extremesOf(reinterpret_cast<const T*>(data), static_cast<std::ptrdiff_t>(count));
        if (found.low <= found.high)
            range = {static_cast<double>(found.low) + 0.0, static_cast<double>(found.high) + 0.0};
    });
    return range;
}

} // namespace image
