#pragma once

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/math/Range.h"

#include <QImage>

/// Pictures of volumes for the example hosts.
namespace host {

enum class Plane { Axial, Coronal, Sagittal };

/// A slice as a grey picture: values of the window from black to white, pixels square in world units, heads up.
QImage slicePicture(const ArvoImage3D& image, Plane plane, int index, const math::Range<float>& window);

/// Pictures side by side on black.
QImage sideBySide(const QList<QImage>& pictures);

} // namespace host
