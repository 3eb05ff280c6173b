#include "arvo/platform/math/OrientedBoundingBox.h"

namespace primitives {

OrientedBoundingBox::OrientedBoundingBox(const BoundingBox& box, const QMatrix4x4& placement)
    : m_box(box),
      m_placement(placement),
      m_toBox(placement.inverted(&m_isInvertible))
{
}

OrientedBoundingBox OrientedBoundingBox::transformed(const QMatrix4x4& matrix) const
{
    return OrientedBoundingBox(m_box, matrix * m_placement);
}

bool OrientedBoundingBox::isInside(const QVector3D& point) const
{
    const QVector3D p = m_toBox.map(point);
    const QVector3D low = m_box.min();
    const QVector3D high = m_box.max();
    return m_isInvertible && p.x() >= low.x() && p.x() <= high.x() && p.y() >= low.y() && p.y() <= high.y() &&
           p.z() >= low.z() && p.z() <= high.z();
}

BoundingBox OrientedBoundingBox::getAABBOfTransformedBoundingBox() const
{
    const QVector3D low = m_box.min();
    const QVector3D high = m_box.max();
    const QVector3D first = m_placement.map(low);
    BoundingBox around(first, first);
    for (int corner = 1; corner < 8; ++corner) {
        const QVector3D carried =
            m_placement.map(QVector3D(corner & 1 ? high.x() : low.x(), corner & 2 ? high.y() : low.y(),
                                      corner & 4 ? high.z() : low.z()));
        around = BoundingBox::createUnionOf(around, BoundingBox(carried, carried));
    }
    return around;
}

} // namespace primitives
