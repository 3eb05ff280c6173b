#pragma once

#include "arvo/platform/utility/VectorClones.h"

#include <array>
#include <cstdint>

namespace binary {

/// Tells whether some of the 26 neighbours of a voxel are one piece by faces: not none and not several.
///
/// The answer is looked up, from a table for two slices at a time. In the slice of the voxel its neighbours form a
/// ring, of which the set holds at most four arcs. A slice beside it joins arcs, those that touch the same piece of
/// it, and a piece that touches no arc is cut off for good. So the table holds, for a ring and a slice, the pairs of
/// arcs that the slice joins; what the slices on both sides join together tells the rest.
class OnePieceTest {
public:
    /// A set of voxels of a 3 x 3 x 3 block: bit x + 4 * y + 16 * z. Bits that belong to no voxel are ignored.
    using Block = std::uint64_t;

    /// The test; there is only one.
    static const OnePieceTest& instance();

    /// `neighbours` does not hold the voxel in the middle.
    ARVO_KERNEL bool operator()(Block neighbours) const
    {
        const Block slices = (neighbours & 0x000700070007) | (neighbours >> 1 & 0x003800380038) |
                             (neighbours >> 2 & 0x01C001C001C0);
        const auto& joinedBy = m_joined[slices >> 16 & 0x1FF];
        return m_isOnePiece[joinedBy[slices & 0x1FF] | joinedBy[slices >> 32]];
    }

private:
    OnePieceTest();

    static constexpr std::size_t SLICES = 512; // sets of 3 x 3 voxels: bit x + 3 * y

    std::array<std::array<std::uint8_t, SLICES>, SLICES> m_joined; // ring, slice: a set of Joined
    std::array<bool, 128> m_isOnePiece;                            // by what both slices join
};

} // namespace binary
