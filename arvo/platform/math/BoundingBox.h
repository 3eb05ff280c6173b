#pragma once

#include "arvo/platform/Export.h"

#include <QVector3D>

namespace primitives {

/// An axis-aligned box.
///
/// The two-corner constructor sorts the corners; the six-number constructor stores what it is given, so that an
/// inverted box (a minimum above a maximum: the neutral element of the union) can be made.
class ARVO_PLATFORM_EXPORT BoundingBox {
public:
    /// The box from (0, 0, 0) to (0, 0, 0).
    BoundingBox() = default;
    /// Stores the numbers as given.
    BoundingBox(float minX, float minY, float minZ, float maxX, float maxY, float maxZ);
    /// Sorts the corners on each axis.
    BoundingBox(const QVector3D& a, const QVector3D& b);

    /// The smallest box that holds both.
    static BoundingBox createUnionOf(const BoundingBox& a, const BoundingBox& b);

    /// The corners of the smallest and of the largest coordinates.
    /// @{
    QVector3D min() const { return m_min; }
    QVector3D max() const { return m_max; }
    /// @}

private:
    QVector3D m_min;
    QVector3D m_max;
};

} // namespace primitives
