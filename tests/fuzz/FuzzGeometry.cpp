#include "arvo/geometry/Image3DClipper.h"
#include "arvo/geometry/SetVoxelsInside.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "fuzz/FuzzedCalls.h"

#include <QPolygonF>

using trust::Call;

namespace {

QMatrix4x4 takeMatrix(fuzz::Bytes& bytes)
{
    QMatrix4x4 matrix;
    if (bytes.takeBool())
        return QMatrix4x4(bytes.takeFloats<16>().data());
    const auto n = bytes.takeFloats<5>();
    matrix.rotate(n[0], 1.0f, n[1], 0.5f);
    matrix.translate(n[2], n[3], n[4]);
    return matrix;
}

QPolygonF takePolygon(fuzz::Bytes& bytes)
{
    QPolygonF polygon;
    for (int points = bytes.takeBelow(8); points > 0; --points) {
        const auto point = bytes.takeFloats<2>();
        polygon << QPointF(double{point[0]} / 16.0, double{point[1]} / 16.0);
    }
    return polygon;
}

} // namespace

/// The table calls with one number for all parameters; here each has its own.
trust::Operations fuzz::operationsReading(Bytes& bytes)
{
    trust::Operations list;
    trust::addGeometryOperations(list);
    list.push_back({"Image3DClipper, any plane", 1, trust::FIRST, 1, false, false, [&bytes](Call& c) {
                        const auto n = bytes.takeFloats<6>();
                        primitives::Plane plane({n[0], n[1], n[2]}, {n[3], n[4], n[5]});
                        Image3DClipper clipper;
                        clipper.setImageToClip(c.a);
                        clipper.setClipPlane(&plane);
                        clipper.setImageTransform(takeMatrix(bytes));
                        return clipper.clip(), false;
                    }});
    list.push_back(
        {"setVoxelsInsideBoundingBox, any box", 1, trust::FIRST, 1, true, false, [&bytes](Call& c) {
             const auto n = bytes.takeFloats<6>();
             const primitives::OrientedBoundingBox box({n[0], n[1], n[2], n[3], n[4], n[5]},
                                                       takeMatrix(bytes));
             if (c.a)
                 image3d::setVoxelsInsideBoundingBox(*c.a, box, bytes.take<unsigned char>());
             return false;
         }});
    list.push_back({"setVoxelsInsideScreenspacePolygon, any polygon", 1, trust::FIRST, 1, true, false,
                    [&bytes](Call& c) {
                        const QSize screen{bytes.takeBelow(80), bytes.takeBelow(80)}; // in this order
                        const QPolygonF polygon = takePolygon(bytes);
                        const QMatrix4x4 transform = takeMatrix(bytes);
                        if (c.a)
                            image3d::setVoxelsInsideScreenspacePolygon(*c.a, screen, polygon, transform,
                                                                       bytes.take<unsigned char>());
                        return false;
                    }});
    return list;
}
