#pragma once

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/Image2D.h"
#include "arvo/platform/math/Range.h"

#include <QColor>
#include <QImage>
#include <QList>

/// Pictures of volumes and 2D images for the example hosts.
namespace host {

enum class Plane { Axial, Coronal, Sagittal };

/// The axes (0 = x, 1 = y, 2 = z) along the rows and columns of a slice in that plane, and the one it is cut across.
struct PlaneAxes {
    int across, along, through;
};
PlaneAxes axesOf(Plane plane);

/// Slice `index` of that plane's axis, invalid when it cannot be loaded, and the one in the middle.
Image2D sliceAt(const ArvoImage3D& volume, Plane plane, int index);
Image2D middleSlice(const ArvoImage3D& volume, Plane plane);

/// The window in which soft tissue and bone both show: fixed for Hounsfield units, else the value range.
math::Range<float> windowOf(const ArvoImage3D& volume);

/// Grey picture: values of the window from black to white.
QImage greyPicture(const Image2D& image, const math::Range<float>& window);

/// Signed values in colour: below 0 blue, above 0 orange, pale near 0; +-`reach` gets the full colour.
QImage signedPicture(const Image2D& image, float reach);

/// `picture` tinted where the mask, of the same size, is not 0.
QImage overlaid(const QImage& picture, const Image2D& mask, const QColor& colour);

/// A slice picture upright (slices are stored from back to front and from the feet up) with square pixels.
QImage upright(const QImage& picture, Plane plane, const QVector3D& voxelSize);

/// Pictures side by side on black.
QImage sideBySide(const QList<QImage>& pictures);

} // namespace host
