#include "arvo/geometry/FloatingImageContainerMerger.h"
#include "arvo/geometry/Image3DClipper.h"
#include "arvo/geometry/MainDirectionsCalculator.h"
#include "arvo/geometry/MassCenterCalculator.h"
#include "arvo/geometry/SetVoxelsInside.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/FloatingImageContainer.h"
#include "trust/Operations.h"

#include <algorithm>

namespace trust {

namespace {

bool merge(Call& c)
{
    const auto contain = [](const ArvoImage3D* image, const QVector3D& corner) {
        std::unique_ptr<ArvoImage3D> copy;
        if (image) {
            copy = std::make_unique<ArvoImage3D>();
            if (image->isValid())
                copy->copyFrom(image);
        }
        return FloatingImageContainer(std::move(copy), corner, corner + QVector3D(3.0f, 3.0f, 4.0f));
    };
    const FloatingImageContainer first = contain(c.a, {0.0f, 0.0f, 0.0f});
    FloatingImageContainer second = contain(c.b, {c.f, 1.0f, -1.0f});
    std::vector<FloatingImageContainer*> containers = {const_cast<FloatingImageContainer*>(&first), &second};
    if (c.i < 0)
        containers.push_back(nullptr);
    return FloatingImageContainerMerger::mergeByUnion(containers) != nullptr;
}

} // namespace

void addGeometryOperations(Operations& list)
{
    const auto add = [&](const char* name, int inputs, int changes, bool isSilent, bool canAnswer,
                         std::function<bool(Call&)> run) {
        list.push_back({name, inputs, changes, 1, isSilent, canAnswer, std::move(run)});
    };
    add("MassCenterCalculator", 1, NOTHING, false, true, [](Call& c) {
        MassCenterCalculator center;
        center.setImage(c.a);
        center.setThreshold(c.i);
        return center.execute() && center.getMassCenter();
    });
    add("MainDirectionsCalculator", 1, NOTHING, false, true, [](Call& c) {
        MainDirectionsCalculator directions;
        directions.setImage(c.a);
        directions.setThreshold(c.i);
        return directions.execute() && directions.getDirection2();
    });
    add("Image3DClipper", 1, FIRST, false, false, [](Call& c) {
        primitives::Plane plane({c.f, 1.0f, 1.0f}, {0.5f, c.f, 1.0f});
        QMatrix4x4 transform;
        transform.translate(c.f, 0.0f, 1.0f);
        Image3DClipper clipper;
        clipper.setImageToClip(c.a);
        clipper.setClipPlane(c.i == 1 ? nullptr : &plane);
        clipper.setImageTransform(transform);
        return clipper.clip(), false;
    });
    add("setVoxelsInsideBoundingBox", 1, FIRST, true, false, [](Call& c) {
        if (!c.a)
            return false;
        QMatrix4x4 placement;
        placement.scale(1.0f, c.f, 2.0f);
        image3d::setVoxelsInsideBoundingBox(
            *c.a, primitives::OrientedBoundingBox({-1.0f, 0.5f, -c.f, c.f, 2.0f, 3.0f}, placement), 7);
        return false;
    });
    add("setVoxelsInsideScreenspacePolygon", 1, FIRST, true, false, [](Call& c) {
        if (!c.a)
            return false;
        QMatrix4x4 transform;
        transform.scale(0.3f, c.f, 0.2f);
        const QPolygonF polygon({{0.0, 0.0}, {1.0, double{c.f}}, {double{c.f}, 1.0}});
        const int width = c.i > 1000 ? c.i : std::min(c.i, 64);
        image3d::setVoxelsInsideScreenspacePolygon(*c.a, {width, 32}, polygon, transform, 7);
        return false;
    });
    add("mergeByUnion", 2, NOTHING, false, false, merge);
}

} // namespace trust
