#pragma once

#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"
#include "arvo/binary/BitSlice.h"
#include "arvo/platform/math/Ivec3.h"

#include <vector>

namespace binary {

/// Dilates a volume by a stencil, one slice of bits after the other.
///
/// Every row of flags of a stencil is a centred interval, the same for (ky, kz) mirrored at the centre. So
/// each source slice is widened once per distinct row length; the widened slices, carried along y, make the
/// cross-sections of the stencil; and each cross-section is added to the two result slices that it reaches.
class StencilDilation {
public:
    StencilDilation(const ArvoImageBinaryMorphologicalOperations::Stencil& stencil, const math::Ivec3& size);

    /// Adds what the source slice z contributes to slices z - radius .. z + radius. Slices come in ascending
    /// order.
    void scatter(const BitSlice& source, int z);
    /// The finished result slice z, valid until the next scatter. Slices go in ascending order, each once, z
    /// as soon as source slice z + radius, or the last one, was added.
    const BitSlice& take(int z);

private:
    void readRowLengths(const ArvoImageBinaryMorphologicalOperations::Stencil& stencil);
    void widenToAllLengths(const BitSlice& source);
    void makeCrossSection(const std::vector<int>& levels);
    BitSlice& resultOf(int z) { return m_results[static_cast<std::size_t>(z) % m_results.size()]; }

    int m_width;
    int m_depth;
    int m_reachY; // rows and slices beyond the centre that can lie inside the volume
    int m_reachZ;
    std::vector<int> m_lengths;             // the distinct half lengths of the rows, ascending
    std::vector<std::vector<int>> m_levels; // per |dz| and |dy|: index into m_lengths, or -1 for no row
    std::vector<BitSlice> m_widened;        // the source slice, one for each of m_lengths
    BitSlice m_steps[2];                    // between two lengths
    BitSlice m_crossSection;
    BitSlice m_taken;
    std::vector<BitSlice> m_results; // ring of the slices that are not yet finished
};

} // namespace binary
