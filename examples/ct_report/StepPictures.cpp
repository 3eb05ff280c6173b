#include "StepPictures.h"

namespace pictures {

namespace {

template <class Paint> QImage planesOf(const ArvoImage3D& volume, Paint&& paint)
{
    QList<QImage> planes;
    for (const host::Plane plane : {host::Plane::Axial, host::Plane::Coronal, host::Plane::Sagittal})
        planes.append(host::upright(paint(plane), plane, volume.voxelSize()));
    return host::sideBySide(planes);
}

} // namespace

QImage threePlanes(const ArvoImage3D& volume, const math::Range<float>& window)
{
    return planesOf(volume, [&](host::Plane plane) {
        return host::greyPicture(host::middleSlice(volume, plane), window);
    });
}

QImage threePlanes(const ArvoImage3D& volume, const math::Range<float>& window, const ArvoImage3D& mask,
                   const QColor& colour)
{
    return planesOf(volume, [&](host::Plane plane) {
        return host::overlaid(host::greyPicture(host::middleSlice(volume, plane), window),
                              host::middleSlice(mask, plane), colour);
    });
}

QImage threePlanesSigned(const ArvoImage3D& volume, float reach)
{
    return planesOf(volume, [&](host::Plane plane) {
        return host::signedPicture(host::middleSlice(volume, plane), reach);
    });
}

} // namespace pictures
