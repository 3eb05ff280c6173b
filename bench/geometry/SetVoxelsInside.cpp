#include "arvo/geometry/SetVoxelsInside.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

/// A turn of about 28 degrees, in thirteenths.
const QMatrix4x4 turn(12.0f / 13, -3.0f / 13, 4.0f / 13, 0, 4.0f / 13, 12.0f / 13, -3.0f / 13, 0, -3.0f / 13,
                      4.0f / 13, 12.0f / 13, 0, 0, 0, 0, 1);

void setInsideBox(ArvoImage3D& image)
{
    const auto edge = static_cast<float>(image.imageSize().x);
    QMatrix4x4 placement;
    placement.translate(edge / 2, edge / 2, edge / 2);
    const primitives::BoundingBox box(-edge / 4, -edge / 5, -edge / 6, edge / 4, edge / 5, edge / 6);
    image3d::setVoxelsInsideBoundingBox(image, primitives::OrientedBoundingBox(box, placement * turn), 1);
}

/// A five-pointed star on a screen of 1000 x 1000, the volume turned about its middle.
void setInsideStar(ArvoImage3D& image)
{
    const auto edge = static_cast<float>(image.imageSize().x);
    QMatrix4x4 transform;
    transform.translate(0.5f, 0.5f, 0.0f);
    transform.scale(0.6f / edge);
    transform = transform * turn;
    transform.translate(-edge / 2, -edge / 2, -edge / 2);
    const QPolygonF star({{0.5, 0.1}, {0.74, 0.82}, {0.12, 0.38}, {0.88, 0.38}, {0.26, 0.82}});
    image3d::setVoxelsInsideScreenspacePolygon(image, QSize(1000, 1000), star, transform, 1);
}

const bool registered[] = {
    bench::workload(
        {.name = "obb_u8"}, [](int edge) { return inputs::copyOf(inputs::ct8(edge)); }, setInsideBox),
    bench::workload(
        {.name = "screenpolygon_u8"}, [](int edge) { return inputs::copyOf(inputs::ct8(edge)); },
        setInsideStar),
};

} // namespace
