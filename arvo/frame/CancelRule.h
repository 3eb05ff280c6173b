#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace frame {

/// Runs body(begin, end) over [0, count) in runs of at most `rowLength` voxels; false if the flag stopped it.
///
/// The cancel rule of every loop that looks at the flag after each voxel: a raised flag lets one voxel more through
/// and no other. The flag is looked at before each run; finding it up, exactly one voxel is done. No caller can tell
/// this from a look after every voxel, and the run is free of atomics and vectorises.
template <class Body>
bool forEachRun(const std::atomic<bool>& cancel, std::ptrdiff_t count, std::ptrdiff_t rowLength, Body&& body)
{
    for (std::ptrdiff_t begin = 0; begin < count; begin += rowLength) {
        if (cancel.load(std::memory_order_relaxed)) {
            body(begin, begin + 1);
            return false;
        }
        body(begin, std::min(begin + rowLength, count));
    }
    return true;
}

} // namespace frame
