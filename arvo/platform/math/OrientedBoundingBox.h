#pragma once

#include "arvo/platform/Export.h"
#include "arvo/platform/math/BoundingBox.h"

#include <QMatrix4x4>
#include <QVector3D>

namespace primitives {

/// A box carried to another place by an affine matrix.
class ARVO_PLATFORM_EXPORT OrientedBoundingBox {
public:
    /// `placement` carries the box to where it lies.
    explicit OrientedBoundingBox(const BoundingBox& box, const QMatrix4x4& placement = {});

    /// This box moved on by `matrix`, which is applied after the placement.
    OrientedBoundingBox transformed(const QMatrix4x4& matrix) const;

    /// Whether the point lies in the box, its faces included. A placement that cannot be inverted holds no point.
    bool isInside(const QVector3D& point) const;

    /// The axis-aligned box around the eight carried corners.
    BoundingBox getAABBOfTransformedBoundingBox() const;

    /// What the box was made from: the box before the placement, and the placement.
    /// @{
    const BoundingBox& box() const { return m_box; }
    const QMatrix4x4& placement() const { return m_placement; }
    /// @}

private:
    BoundingBox m_box;
    QMatrix4x4 m_placement;
    bool m_isInvertible = false; // written while m_toBox is made, so it stands before it
    QMatrix4x4 m_toBox;
};

} // namespace primitives
