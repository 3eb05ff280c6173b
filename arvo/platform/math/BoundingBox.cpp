#include "arvo/platform/math/BoundingBox.h"

#include <algorithm>

namespace primitives {

namespace {

QVector3D lowest(const QVector3D& a, const QVector3D& b)
{
    return {std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::min(a.z(), b.z())};
}

QVector3D highest(const QVector3D& a, const QVector3D& b)
{
    return {std::max(a.x(), b.x()), std::max(a.y(), b.y()), std::max(a.z(), b.z())};
}

} // namespace

BoundingBox::BoundingBox(float minX, float minY, float minZ, float maxX, float maxY, float maxZ)
    : m_min(minX, minY, minZ),
      m_max(maxX, maxY, maxZ)
{
}

BoundingBox::BoundingBox(const QVector3D& a, const QVector3D& b) : m_min(lowest(a, b)), m_max(highest(a, b))
{
}

BoundingBox BoundingBox::createUnionOf(const BoundingBox& a, const BoundingBox& b)
{
    BoundingBox both;
    both.m_min = lowest(a.m_min, b.m_min);
    both.m_max = highest(a.m_max, b.m_max);
    return both;
}

} // namespace primitives
