#pragma once

#include "arvo/binary/DistanceQueue.h"
#include "arvo/platform/image/VoxelBlock.h"
#include "arvo/platform/math/Ivec3.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

class ArvoImage3D;
class ThreadProgress;

namespace binary {

/// Peels the voxels off a box around an object, those furthest from the object first, as long as what is left
/// in the neighbourhood does not open a hole: the peeling of Image3DHoleClosing.
///
/// The states of four voxels share a byte, which lets a neighbourhood be read with nine loads and be tested
/// as one word. Of the distances, which differ by 1 at most between neighbours, two bits a voxel are kept:
/// the map itself outgrows the caches, and pushing reads it at random.
class HullPeeling {
public:
    /// The states of voxels; the lower bit is also set for a waiting one.
    enum State : unsigned { BACKGROUND = 0, WORKING_DIFFERENCE = 1, OBJECT = 2, IN_QUEUE = 3 };

    /// `mask` has a border of zero voxels, and the hull is the box from `min` to `max`, both inclusive,
    /// inside that border: empty if a minimum is above its maximum. The state of a voxel is its byte, plus 1
    /// in the hull, wrapped to a byte; a sum above 2 is as much an object as 2. `distance` is the unsigned
    /// map of the mask. Neither is looked at afterwards. isValid() tells whether there was enough memory for
    /// the states; for the queue: std::bad_alloc.
    HullPeeling(const ArvoImage3D& mask, const ArvoImage3D& distance, const std::array<int, 3>& min,
                const std::array<int, 3>& max);

    bool isValid() const { return m_states && m_phases; }

    /// Peels from the surface of the hull inwards. Looks at the flag before each voxel; false when it stopped
    /// it. Advances `progress`, if there is one, by `steps` in all. Out of memory: std::bad_alloc.
    bool run(const std::atomic<bool>& cancel, ThreadProgress* progress, int steps);

    /// Writes what is inside the border, 0 for background and 1 for the rest, into a volume of bytes of that
    /// size.
    void writeInterior(ArvoImage3D& result) const;

private:
    using Voxel = DistanceQueue::Voxel;

    void readStates(const ArvoImage3D& mask);
    bool isInHull(int x, int y, int z) const;
    void readPhases(const ArvoImage3D& distance);
    void queueSurface(const ArvoImage3D& distance);

    Voxel voxelAt(std::ptrdiff_t row, std::ptrdiff_t x) const
    {
        return static_cast<Voxel>(row) << m_xBits | static_cast<Voxel>(x);
    }

    math::Ivec3 m_size;
    std::array<int, 3> m_min;
    std::array<int, 3> m_max;
    int m_xBits;            // a queued voxel is row << xBits | x, with row = z * height + y
    std::ptrdiff_t m_pitch; // bytes of states from row to row
    image::VoxelBlock m_states;
    image::VoxelBlock m_phases; // the distances modulo 4, as the states
    DistanceQueue m_queue;
};

} // namespace binary
