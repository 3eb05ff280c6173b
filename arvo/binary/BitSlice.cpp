#include "arvo/binary/BitSlice.h"

#include "arvo/binary/MaskRowBits.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace binary {

namespace {

using Word = BitSlice::Word;

/// Packs one row: the non-zero bytes, or with `flip` all ones the zero bytes.
void packBits(const unsigned char* voxels, std::ptrdiff_t width, Word flip, Word* words)
{
    for (std::ptrdiff_t x = 0; x < width; x += WORD_BITS) {
        const std::ptrdiff_t count = std::min(WORD_BITS, width - x);
        *words++ = (nonZeroBits(voxels + x, count) ^ flip) & ~Word(0) >> (WORD_BITS - count);
    }
}

/// For each byte, its eight bits as bytes 0x00 and 0xFF.
constexpr auto SPREAD = [] {
    std::array<std::array<unsigned char, 8>, 256> table{};
    for (unsigned value = 0; value < 256; ++value) {
        for (unsigned bit = 0; bit < 8; ++bit)
            table[value][bit] = (value >> bit & 1) ? 0xFF : 0x00;
    }
    return table;
}();

/// Calls expand(eight mask bytes as one word, voxel offset, number of voxels) along one row.
template <class Expand> void forEachEightBits(const Word* words, std::ptrdiff_t width, Expand&& expand)
{
    const auto maskOf = [](Word bits) {
        Word mask;
        std::memcpy(&mask, SPREAD[bits & 0xFF].data(), sizeof mask);
        return mask;
    };
    std::ptrdiff_t x = 0;
    for (; x + WORD_BITS <= width; x += WORD_BITS) {
        Word bits = words[x / WORD_BITS];
        for (int byte = 0; byte < 8; ++byte, bits >>= 8)
            expand(maskOf(bits), x + 8 * byte, std::integral_constant<std::size_t, 8>{});
    }
    for (; x < width; x += 8) {
        const Word bits = words[x / WORD_BITS] >> (x % WORD_BITS);
        expand(maskOf(bits), x, static_cast<std::size_t>(std::min<std::ptrdiff_t>(8, width - x)));
    }
}

ARVO_VECTOR_CLONES void widenWords(const Word* from, Word* to, std::ptrdiff_t count, int reach)
{
    const int carry = static_cast<int>(WORD_BITS) - reach;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        to[i] = from[i] | from[i] << reach | from[i - 1] >> carry | from[i] >> reach | from[i + 1] << carry;
    }
}

ARVO_VECTOR_CLONES void orWords(Word* to, const Word* from, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        to[i] |= from[i];
}

} // namespace

BitSlice::BitSlice(std::ptrdiff_t width, std::ptrdiff_t height)
    : m_width(width),
      m_height(height),
      m_pitch(wordsOfRow(width) + 1),
      m_words(static_cast<std::size_t>(1 + height * m_pitch))
{
}

void BitSlice::setWhereNonZero(const unsigned char* voxels)
{
    for (std::ptrdiff_t y = 0; y < m_height; ++y)
        packBits(voxels + y * m_width, m_width, 0, row(y));
}

void BitSlice::setWhereZero(const unsigned char* voxels)
{
    for (std::ptrdiff_t y = 0; y < m_height; ++y)
        packBits(voxels + y * m_width, m_width, ~Word(0), row(y));
}

void BitSlice::clear()
{
    std::ranges::fill(m_words, Word(0));
}

void BitSlice::widen(const BitSlice& other, int reach)
{
    // The last word belongs to no row that could need it.
    widenWords(other.row(0), row(0), m_height * m_pitch - 1, reach);
    for (std::ptrdiff_t y = 1; y < m_height; ++y)
        row(y)[-1] = 0;
}

void BitSlice::add(const BitSlice& other, std::ptrdiff_t rows)
{
    const std::ptrdiff_t count = (m_height - std::abs(rows)) * m_pitch;
    orWords(row(std::max<std::ptrdiff_t>(rows, 0)), other.row(std::max<std::ptrdiff_t>(-rows, 0)), count);
}

void BitSlice::writeTo(unsigned char* voxels) const
{
    constexpr Word ONE_IN_EACH_BYTE = 0x0101010101010101;
    for (std::ptrdiff_t y = 0; y < m_height; ++y, voxels += m_width) {
        forEachEightBits(row(y), m_width, [=](Word mask, std::ptrdiff_t x, auto count) {
            const Word ones = mask & ONE_IN_EACH_BYTE;
            std::memcpy(voxels + x, &ones, count);
        });
    }
}

void BitSlice::clearWhereSet(const unsigned char* voxels, unsigned char* result) const
{
    for (std::ptrdiff_t y = 0; y < m_height; ++y, voxels += m_width, result += m_width) {
        forEachEightBits(row(y), m_width, [=](Word mask, std::ptrdiff_t x, auto count) {
            Word kept = 0;
            std::memcpy(&kept, voxels + x, count);
            kept &= ~mask;
            std::memcpy(result + x, &kept, count);
        });
    }
}

} // namespace binary
