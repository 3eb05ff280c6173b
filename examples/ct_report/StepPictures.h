#pragma once

#include "support/Picture.h"

/// Pictures that several steps show.
namespace pictures {

/// An axial, a coronal and a sagittal slice side by side.
QImage threePlanes(const ArvoImage3D& volume, const math::Range<float>& window);

/// The same, tinted where the mask is not 0.
QImage threePlanes(const ArvoImage3D& volume, const math::Range<float>& window, const ArvoImage3D& mask,
                   const QColor& colour);

/// Signed values in colour.
QImage threePlanesSigned(const ArvoImage3D& volume, float reach);

} // namespace pictures
