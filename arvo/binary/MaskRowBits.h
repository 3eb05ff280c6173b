#pragma once

#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Rows of a byte mask as bits, 64 voxels a word, and the runs of set voxels in them.
namespace binary {

inline constexpr std::ptrdiff_t WORD_BITS = 64;

constexpr std::ptrdiff_t wordsOfRow(std::ptrdiff_t width)
{
    return (width + WORD_BITS - 1) / WORD_BITS;
}

/// 64 voxels of a row; bit i is voxel i of the word.
struct RowWord {
    std::uint64_t bits = 0;   ///< the set voxels
    std::uint64_t begins = 0; ///< those among them that begin a run: the voxel before is not set
    std::size_t runs =
        0; ///< number of runs that begin before this word, counted by the caller from where it likes
};

/// Bit i is set where byte i is not 0, for 16 bytes.
ARVO_KERNEL std::uint64_t nonZeroBits16(const unsigned char* bytes)
{
#ifdef __SSE2__
    const __m128i voxels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    const int zeros = _mm_movemask_epi8(_mm_cmpeq_epi8(voxels, _mm_setzero_si128()));
    return static_cast<std::uint64_t>(~zeros & 0xFFFF);
#else
    std::uint64_t bits = 0;
    for (int i = 0; i < 16; ++i)
        bits |= static_cast<std::uint64_t>(bytes[i] != 0) << i;
    return bits;
#endif
}

/// Bit i is set where byte i is not 0, for at most 64 bytes.
ARVO_KERNEL std::uint64_t nonZeroBits(const unsigned char* bytes, std::ptrdiff_t count)
{
    std::uint64_t bits = 0;
    std::ptrdiff_t i = 0;
    for (; i + 16 <= count; i += 16)
        bits |= nonZeroBits16(bytes + i) << i;
    if (i < count) {
        unsigned char rest[16] = {};
        std::memcpy(rest, bytes + i, static_cast<std::size_t>(count - i));
        bits |= nonZeroBits16(rest) << i;
    }
    return bits;
}

/// Fills the words of a row of `width` bytes; set are the non-zero bytes, or with `invert` the zero ones.
/// Returns `runs`, the number of runs before this row, plus the runs of the row.
ARVO_KERNEL std::size_t packRow(const unsigned char* bytes, std::ptrdiff_t width, bool invert,
                                std::size_t runs, RowWord* row)
{
    std::uint64_t last = 0; // the bit before the word
    for (std::ptrdiff_t begin = 0; begin < width; begin += WORD_BITS, ++row) {
        const std::ptrdiff_t count = std::min(width - begin, WORD_BITS);
        row->bits = nonZeroBits(bytes + begin, count);
        if (invert)
            row->bits = ~row->bits & (~std::uint64_t(0) >> (WORD_BITS - count));
        row->begins = row->bits & ~(row->bits << 1 | last);
        row->runs = runs;
        last = row->bits >> (WORD_BITS - 1);
        runs += static_cast<std::size_t>(std::popcount(row->begins));
    }
    return runs;
}

/// Calls body(i) for every set bit i, ascending.
template <class Body> ARVO_KERNEL void forEachBit(std::uint64_t bits, Body&& body)
{
    for (; bits != 0; bits &= bits - 1)
        body(static_cast<std::ptrdiff_t>(std::countr_zero(bits)));
}

} // namespace binary
