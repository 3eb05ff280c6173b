#include "arvo/binary/StencilDilation.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace binary {

namespace {

using Stencil = ArvoImageBinaryMorphologicalOperations::Stencil;

constexpr int NO_ROW = -1;

/// The number of flags to one side of the centre of row (dy, dz), or NO_ROW when the row is empty.
int halfLength(const Stencil& stencil, int dy, int dz)
{
    const std::size_t radius = stencil.radius();
    const std::size_t ky = radius + static_cast<std::size_t>(dy);
    const std::size_t kz = radius + static_cast<std::size_t>(dz);
    const unsigned char* centre = stencil.data() + (kz * stencil.side() + ky) * stencil.side() + radius;
    const unsigned char* end = std::find(centre, centre + radius + 1, 0);
    return end == centre ? NO_ROW : static_cast<int>(end - centre) - 1;
}

} // namespace

StencilDilation::StencilDilation(const Stencil& stencil, const math::Ivec3& size)
    : m_width(size.x),
      m_depth(size.z),
      m_steps{BitSlice(size.x, size.y), BitSlice(size.x, size.y)},
      m_crossSection(size.x, size.y),
      m_taken(size.x, size.y)
{
    const auto reachIn = [&](int extent) {
        return static_cast<int>(
            std::min(stencil.radius(), static_cast<std::size_t>(std::max(extent - 1, 0))));
    };
    m_reachY = reachIn(size.y);
    m_reachZ = reachIn(size.z);
    readRowLengths(stencil);
    m_widened.assign(m_lengths.size(), BitSlice(size.x, size.y));
    // The slices from z - reach to z + reach, or all of them.
    m_results.assign(static_cast<std::size_t>(std::min(2 * m_reachZ + 1, std::max(m_depth, 1))),
                     BitSlice(size.x, size.y));
}

void StencilDilation::readRowLengths(const Stencil& stencil)
{
    for (int dz = 0; dz <= m_reachZ; ++dz) {
        std::vector<int>& lengths = m_levels.emplace_back();
        for (int dy = 0; dy <= m_reachY; ++dy)
            lengths.push_back(std::min(halfLength(stencil, dy, dz), std::max(m_width - 1, 0)));
        m_lengths.insert(m_lengths.end(), lengths.begin(), lengths.end());
    }
    std::erase(m_lengths, NO_ROW);
    std::ranges::sort(m_lengths);
    m_lengths.erase(std::unique(m_lengths.begin(), m_lengths.end()), m_lengths.end());
    for (std::vector<int>& levels : m_levels) {
        for (int& level : levels) {
            if (level != NO_ROW)
                level = static_cast<int>(std::ranges::lower_bound(m_lengths, level) - m_lengths.begin());
        }
    }
}

void StencilDilation::widenToAllLengths(const BitSlice& source)
{
    const BitSlice* widest = &source;
    int reached = 0;
    for (std::size_t level = 0; level < m_lengths.size(); ++level) {
        BitSlice& result = m_widened[level];
        if (m_lengths[level] == 0)
            result.assign(source);
        while (reached < m_lengths[level]) {
            // At the ends of a row only half of what was reached is there: a longer step would leave gaps.
            const int step = std::min({m_lengths[level] - reached, reached + 1, BitSlice::LARGEST_REACH});
            reached += step;
            BitSlice& next = reached == m_lengths[level] ? result : m_steps[widest == &m_steps[0] ? 1 : 0];
            next.widen(*widest, step);
            widest = &next;
        }
    }
}

void StencilDilation::makeCrossSection(const std::vector<int>& levels)
{
    m_crossSection.assign(m_widened[static_cast<std::size_t>(levels[0])]);
    for (int dy = 1; dy <= m_reachY; ++dy) {
        const int level = levels[static_cast<std::size_t>(dy)];
        if (level == NO_ROW)
            continue;
        m_crossSection.add(m_widened[static_cast<std::size_t>(level)], dy);
        m_crossSection.add(m_widened[static_cast<std::size_t>(level)], -dy);
    }
}

void StencilDilation::scatter(const BitSlice& source, int z)
{
    widenToAllLengths(source);
    for (int dz = 0; dz <= m_reachZ; ++dz) {
        const std::vector<int>& levels = m_levels[static_cast<std::size_t>(dz)];
        if (dz == 0 || levels != m_levels[static_cast<std::size_t>(dz) - 1])
            makeCrossSection(levels);
        if (z - dz >= 0)
            resultOf(z - dz).add(m_crossSection, 0);
        if (dz > 0 && z + dz < m_depth)
            resultOf(z + dz).add(m_crossSection, 0);
    }
}

const BitSlice& StencilDilation::take(int z)
{
    std::swap(m_taken, resultOf(z));
    resultOf(z).clear();
    return m_taken;
}

} // namespace binary
