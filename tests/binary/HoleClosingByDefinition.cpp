#include "binary/HoleClosingByDefinition.h"

#include "support/RandomVolume.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <queue>

namespace testing_support {

namespace {

struct Waiting {
    int distance;
    std::size_t order;
    int x, y, z;

    /// A heap has the largest on top: the greater distance, of equal ones the one that came first.
    bool operator<(const Waiting& other) const
    {
        return distance != other.distance ? distance < other.distance : order > other.order;
    }
};

/// A volume of bytes or distances with a border of one voxel.
template <class T> class Bordered {
public:
    explicit Bordered(const math::Ivec3& inner)
        : m_size(inner.x + 2, inner.y + 2, inner.z + 2),
          m_voxels(static_cast<std::size_t>(m_size.x) * static_cast<std::size_t>(m_size.y) *
                   static_cast<std::size_t>(m_size.z))
    {
    }
    T& at(int x, int y, int z)
    {
        return m_voxels[static_cast<std::size_t>((z * m_size.y + y) * m_size.x + x)];
    }
    /// Calls body(x, y, z) for all voxels in order, those of the border included.
    template <class Body> void forEach(Body&& body) const
    {
        testing_support::forEachVoxel(m_size, [&](int x, int y, int z, std::size_t) { body(x, y, z); });
    }

private:
    math::Ivec3 m_size;
    std::vector<T> m_voxels;
};

class Closing {
public:
    explicit Closing(const ArvoImage3D& mask)
        : m_size(mask.imageSize()),
          m_object(m_size),
          m_state(m_size),
          m_distance(m_size)
    {
        const unsigned char* next = voxels<unsigned char>(mask).data();
        for (int z = 1; z <= m_size.z; ++z) {
            for (int y = 1; y <= m_size.y; ++y) {
                for (int x = 1; x <= m_size.x; ++x)
                    m_object.at(x, y, z) = *next++;
            }
        }
    }

    ArvoImage3D closed()
    {
        measureDistances();
        makeHull();
        peel();
        ArvoImage3D result(m_size, {1, 1, 1}, image::Binary);
        unsigned char* next = voxels<unsigned char>(result).data();
        for (int z = 1; z <= m_size.z; ++z) {
            for (int y = 1; y <= m_size.y; ++y) {
                for (int x = 1; x <= m_size.x; ++x)
                    *next++ = m_state.at(x, y, z) != 0;
            }
        }
        return result;
    }

private:
    void measureDistances()
    {
        std::vector<math::Ivec3> objects;
        m_object.forEach([&](int x, int y, int z) {
            if (m_object.at(x, y, z))
                objects.emplace_back(x, y, z);
        });
        m_object.forEach([&](int x, int y, int z) {
            int nearest = 32766;
            for (const math::Ivec3& o : objects)
                nearest =
                    std::min(nearest, std::max({std::abs(x - o.x), std::abs(y - o.y), std::abs(z - o.z)}));
            m_distance.at(x, y, z) = nearest;
        });
    }

    void makeHull()
    {
        std::array<int, 3> min = {99999, 99999, 99999};
        std::array<int, 3> max = {-1, -1, -1};
        m_object.forEach([&](int x, int y, int z) {
            if (static_cast<signed char>(m_object.at(x, y, z)) <= 0)
                return;
            min = {std::min(min[0], x), std::min(min[1], y), std::min(min[2], z)};
            max = {std::max(max[0], x), std::max(max[1], y), std::max(max[2], z)};
        });
        Bordered<unsigned char> hull(m_size);
        hull.forEach([&](int x, int y, int z) {
            hull.at(x, y, z) =
                x >= min[0] && x <= max[0] && y >= min[1] && y <= max[1] && z >= min[2] && z <= max[2];
            hull.at(x, y, z) = static_cast<unsigned char>(hull.at(x, y, z) + m_object.at(x, y, z));
            m_state.at(x, y, z) = hull.at(x, y, z);
        });
        hull.forEach([&](int x, int y, int z) {
            if (static_cast<signed char>(hull.at(x, y, z)) <= 0 || m_object.at(x, y, z))
                return;
            if (!hull.at(x - 1, y, z) || !hull.at(x + 1, y, z) || !hull.at(x, y - 1, z) ||
                !hull.at(x, y + 1, z) || !hull.at(x, y, z - 1) || !hull.at(x, y, z + 1))
                push(x, y, z);
        });
    }

    void push(int x, int y, int z)
    {
        m_state.at(x, y, z) = 3;
        m_queue.push({m_distance.at(x, y, z), m_order++, x, y, z});
    }

    void peel()
    {
        while (!m_queue.empty()) {
            const Waiting v = m_queue.top();
            m_queue.pop();
            m_state.at(v.x, v.y, v.z) = 1;
            if (!isBackgroundOnePiece(v))
                continue;
            m_state.at(v.x, v.y, v.z) = 0;
            for (int z = v.z - 1; z <= v.z + 1; ++z) {
                for (int y = v.y - 1; y <= v.y + 1; ++y) {
                    for (int x = v.x - 1; x <= v.x + 1; ++x) {
                        if (m_state.at(x, y, z) == 1)
                            push(x, y, z);
                    }
                }
            }
        }
    }

    bool isBackgroundOnePiece(const Waiting& v)
    {
        std::vector<math::Ivec3> background;
        for (int z = -1; z <= 1; ++z) {
            for (int y = -1; y <= 1; ++y) {
                for (int x = -1; x <= 1; ++x) {
                    if ((x || y || z) && m_state.at(v.x + x, v.y + y, v.z + z) == 0)
                        background.emplace_back(x, y, z);
                }
            }
        }
        if (background.empty())
            return false;
        if (background.size() == 1 || background.size() >= 25)
            return true;
        std::vector<math::Ivec3> stack = {background[0]};
        std::vector<math::Ivec3> visited = stack;
        while (!stack.empty()) {
            const math::Ivec3 at = stack.back();
            stack.pop_back();
            for (const math::Ivec3& next : background) {
                const int apart = std::abs(next.x - at.x) + std::abs(next.y - at.y) + std::abs(next.z - at.z);
                if (apart == 1 && std::ranges::find(visited, next) == visited.end()) {
                    stack.push_back(next);
                    visited.push_back(next);
                }
            }
        }
        return visited.size() == background.size();
    }

    math::Ivec3 m_size;
    Bordered<unsigned char> m_object;
    Bordered<unsigned char> m_state;
    Bordered<int> m_distance;
    std::priority_queue<Waiting> m_queue;
    std::size_t m_order = 0;
};

} // namespace

ArvoImage3D closedByDefinition(const ArvoImage3D& mask)
{
    return Closing(mask).closed();
}

} // namespace testing_support
