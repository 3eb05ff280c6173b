#include "arvo/platform/math/Plane.h"

namespace primitives {

Plane::Plane(const QVector3D& point, const QVector3D& normal) : m_point(point), m_normal(normal) {}

bool Plane::isInHalfSpace(const QVector3D& p) const
{
    return QVector3D::dotProduct(m_normal, p - m_point) > 0.0f;
}

} // namespace primitives
