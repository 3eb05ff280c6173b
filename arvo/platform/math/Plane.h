#pragma once

#include "arvo/platform/Export.h"

#include <QVector3D>

namespace primitives {

/// A plane through a point; its normal points into its half space.
class ARVO_PLATFORM_EXPORT Plane {
public:
    /// The normal need not have length 1.
    Plane(const QVector3D& point, const QVector3D& normal);

    /// Whether dot(normal, p - point) > 0: points on the plane itself are not inside.
    bool isInHalfSpace(const QVector3D& p) const;

    /// What the plane was made from.
    /// @{
    QVector3D point() const { return m_point; }
    QVector3D normal() const { return m_normal; }
    /// @}

private:
    QVector3D m_point;
    QVector3D m_normal;
};

} // namespace primitives
