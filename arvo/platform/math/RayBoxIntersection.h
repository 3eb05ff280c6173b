#pragma once

#include "arvo/platform/Export.h"
#include "arvo/platform/math/BoundingBox.h"

#include <QVector3D>

namespace primitives {

/// Where a straight line meets an axis-aligned box.
class ARVO_PLATFORM_EXPORT RayBoxIntersection {
public:
    /// Cuts the whole line origin + t * direction (negative t included) with the box.
    ///
    /// True when they meet, with t0 <= t1 the parameters of entry and exit; the faces belong to the box. A zero
    /// direction component only asks whether the origin lies between the two faces of that axis; a zero direction
    /// inside the box gives the range from minus to plus infinity. An inverted box is met by no line, nor does a
    /// line with NaN meet anything. On false, t0 and t1 are left as they were.
    static bool calculateIntersections(const BoundingBox& box, const QVector3D& origin,
                                       const QVector3D& direction, float& t0, float& t1);
};

} // namespace primitives
