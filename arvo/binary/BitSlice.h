#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace binary {

/// One axial slice with a bit a voxel, 64 voxels a word: what lets a stencil work on whole words.
///
/// Bit j of word i of a row is voxel 64 * i + j. Each row ends with a word that is always 0, and one more
/// stands before the first row, so that bits shifted out of a row meet zeros and a shift may run over all
/// rows in one loop. The bits between the width and the end of the last word of a row mean nothing.
class BitSlice {
public:
    using Word = std::uint64_t;
    static constexpr int LARGEST_REACH = 63;

    /// All bits 0.
    BitSlice(std::ptrdiff_t width, std::ptrdiff_t height);

    /// Sets each bit to whether the voxel's byte is non-zero (or, for the second, zero).
    void setWhereNonZero(const unsigned char* voxels);
    void setWhereZero(const unsigned char* voxels);
    void clear();

    /// Makes this `other` dilated along x by `reach` voxels to both sides, 1 <= reach <= LARGEST_REACH.
    void widen(const BitSlice& other, int reach);

    /// Adds the bits of `other`, carried `rows` rows along +y; what leaves the slice is dropped. |rows| <
    /// height.
    void add(const BitSlice& other, std::ptrdiff_t rows);
    void assign(const BitSlice& other) { m_words = other.m_words; }

    /// Writes the bits as bytes 0 and 1.
    void writeTo(unsigned char* voxels) const;
    /// Copies the voxels whose bit is 0 and writes 0 for the others. Both may be the same.
    void clearWhereSet(const unsigned char* voxels, unsigned char* result) const;

private:
    Word* row(std::ptrdiff_t y) { return m_words.data() + 1 + y * m_pitch; }
    const Word* row(std::ptrdiff_t y) const { return m_words.data() + 1 + y * m_pitch; }

    std::ptrdiff_t m_width;
    std::ptrdiff_t m_height;
    std::ptrdiff_t m_pitch; // words from row to row
    std::vector<Word> m_words;
};

} // namespace binary
