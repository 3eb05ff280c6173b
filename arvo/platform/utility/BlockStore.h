#pragma once

#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace utility {

/// out[i] = valueAt(i) for all i of [0, count), where valueAt reads memory apart from `out` and is ARVO_INLINED.
///
/// A block of results stays in registers until all that it is made from is read. A processor takes a read for one of what
/// it is just writing when both lie equally far into their pages, as neighbouring columns of two volumes do, and waits;
/// voxel by voxel that costs up to half of the time. The last block overlaps the one before, so that it needs no loop of
/// its own.
template <class T, class Value>
ARVO_KERNEL void storeInBlocks(T* __restrict out, std::ptrdiff_t count, Value valueAt)
{
    typedef T Lanes __attribute__((vector_size(32)));
    constexpr std::ptrdiff_t LANES = sizeof(Lanes) / sizeof(T);
    constexpr std::ptrdiff_t BLOCK = 8 * LANES;
    if (count < BLOCK) {
        for (std::ptrdiff_t i = 0; i < count; ++i)
            out[i] = valueAt(i);
        return;
    }
    for (std::ptrdiff_t begin = 0; begin < count; begin += BLOCK) {
        const std::ptrdiff_t first = std::min(begin, count - BLOCK);
        T block[BLOCK];
        for (std::ptrdiff_t i = 0; i < BLOCK; ++i)
            block[i] = valueAt(first + i);
        // As a copy of the whole block, the results would go through memory.
        for (std::ptrdiff_t i = 0; i < BLOCK; i += LANES) {
            Lanes lanes;
            std::memcpy(&lanes, block + i, sizeof lanes);
            std::memcpy(out + first + i, &lanes, sizeof lanes);
        }
    }
}

} // namespace utility
