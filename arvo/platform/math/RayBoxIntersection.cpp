#include "arvo/platform/math/RayBoxIntersection.h"

#include <algorithm>
#include <limits>

namespace primitives {

bool RayBoxIntersection::calculateIntersections(const BoundingBox& box, const QVector3D& origin,
                                                const QVector3D& direction, float& t0, float& t1)
{
    const QVector3D low = box.min();
    const QVector3D high = box.max();
    float entry = -std::numeric_limits<float>::infinity();
    float exit = std::numeric_limits<float>::infinity();
    for (int axis = 0; axis < 3; ++axis) {
        if (!(low[axis] <= high[axis]))
            return false;
        if (direction[axis] == 0.0f) {
            if (!(origin[axis] >= low[axis] && origin[axis] <= high[axis]))
                return false;
            continue;
        }
        const float toLow = (low[axis] - origin[axis]) / direction[axis];
        const float toHigh = (high[axis] - origin[axis]) / direction[axis];
        if (!(toLow == toLow && toHigh == toHigh))
            return false;
        entry = std::max(entry, std::min(toLow, toHigh));
        exit = std::min(exit, std::max(toLow, toHigh));
    }
    if (!(entry <= exit))
        return false;
    t0 = entry;
    t1 = exit;
    return true;
}

} // namespace primitives
