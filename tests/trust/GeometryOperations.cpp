#include "arvo/geometry/FloatingImageContainerMerger.h"
#include "arvo/geometry/Image3DClipper.h"
#include "arvo/geometry/MainDirectionsCalculator.h"
#include "arvo/geometry/MassCenterCalculator.h"
#include "arvo/geometry/SetVoxelsInside.h"
#include "arvo/platform/image/FloatingImageContainer.h"
#include "trust/Operations.h"

#include <algorithm>
#include <array>

namespace trust {

namespace {

// A rotation without sines: the angle's is 3/5, its cosine 4/5.
QMatrix4x4 turned()
{
    return QMatrix4x4(0.8f, -0.6f, 0.0f, 3.0f, //
                      0.6f, 0.8f, 0.0f, 0.5f,  //
                      0.0f, 0.0f, 1.0f, 1.0f,  //
                      0.0f, 0.0f, 0.0f, 1.0f);
}

primitives::OrientedBoundingBox turnedBox(Call& c)
{
    std::array<float, 6> n = {0, 0, 0, 6, 5, 7};
    c.numbers.reals(n);
    return primitives::OrientedBoundingBox({n[0], n[1], n[2], n[3], n[4], n[5]}, c.matrix(turned()));
}

void setInBox(Call& c)
{
    const auto box = turnedBox(c);
    if (c.a)
        image3d::setVoxelsInsideBoundingBox(*c.a, box, static_cast<unsigned char>(c.whole(9)));
}

/// A volume with the voxels in that box set.
ArvoImage3D withBox(const math::Ivec3& size, image::DataType type)
{
    ArvoImage3D volume = fixedInput(size, type);
    image3d::setVoxelsInsideBoundingBox(volume, primitives::OrientedBoundingBox({0, 0, 0, 6, 5, 7}, turned()),
                                        9);
    return volume;
}

void setInPolygon(Call& c)
{
    QMatrix4x4 sound = turned();
    sound.scale(0.03125f);
    sound(0, 3) = sound(1, 3) = 0.25f;
    const QMatrix4x4 view = c.matrix(sound);
    QPolygonF polygon({{0.1, 0.1}, {0.9, 0.2}, {0.5, 0.5}, {0.8, 0.9}, {0.2, 0.7}});
    if (const float coordinate = c.real(0.0f); coordinate != 0.0f)
        polygon << QPointF(double{coordinate}, 0.5) << QPointF(1.0, double{coordinate});
    const auto pixels = [&](int sound) {
        const int extent = c.whole(sound);
        return extent > 1000 ? extent : std::min(extent, sound);
    };
    const int width = pixels(201), height = pixels(153);
    if (c.a)
        image3d::setVoxelsInsideScreenspacePolygon(*c.a, {width, height}, polygon, view, 5);
}

void clip(Call& c)
{
    const QVector3D point = c.vector({3.0f, 2.0f, 4.0f});
    primitives::Plane plane(point, c.vector({1.0f, -2.0f, 0.5f}));
    Image3DClipper clipper;
    clipper.setImageToClip(c.a);
    clipper.setClipPlane(c.orNull(&plane));
    clipper.setImageTransform(c.matrix(turned()));
    clipper.clip();
}

bool findMassCentre(Call& c, Hash& result)
{
    MassCenterCalculator centre;
    centre.setImage(c.a);
    centre.setThreshold(c.whole(100));
    const bool isDone = centre.execute();
    result.add(isDone);
    if (centre.getMassCenter())
        result.addFloats(centre.getMassCenter(), 3);
    return isDone && centre.getMassCenter();
}

bool findDirections(Call& c)
{
    const bool hasCentre = findMassCentre(c, c.result());
    MainDirectionsCalculator directions;
    directions.setImage(c.a);
    directions.setThreshold(c.whole(100));
    const bool isDone = directions.execute();
    c.result().add(isDone);
    for (const float* vector : {directions.getMassCenter(), directions.getDirection0(),
                                directions.getDirection1(), directions.getDirection2()}) {
        if (vector)
            c.result().addFloats(vector, 3);
    }
    return hasCentre && isDone && directions.getDirection2();
}

/// The union of both volumes and a third, each a little further.
void merge(Call& c)
{
    const auto contain = [&](std::unique_ptr<ArvoImage3D> volume, const QVector3D& corner) {
        QVector3D extent;
        for (int axis = 0; volume && axis < 3; ++axis)
            extent[axis] = static_cast<float>(volume->imageSize()[axis]) * volume->voxelSize()[axis];
        return FloatingImageContainer(std::move(volume), corner, corner + extent);
    };
    const auto copyOf = [](const ArvoImage3D* image) {
        auto copy = image ? std::make_unique<ArvoImage3D>() : nullptr;
        if (image && image->isValid())
            copy->copyFrom(image);
        return copy;
    };
    const math::Ivec3 size = c.a ? c.a->imageSize() : math::Ivec3(3, 3, 3);
    FloatingImageContainer first = contain(copyOf(c.a), c.vector({0.0f, 0.0f, 0.0f}));
    FloatingImageContainer second = contain(copyOf(c.b), c.vector({2.5f, -1.25f, 1.0f}));
    FloatingImageContainer third =
        contain(std::make_unique<ArvoImage3D>(fixedVolume(size, image::Float32, 3)), {5.0f, -2.5f, 2.0f});
    const auto merged = FloatingImageContainerMerger::mergeByUnion({&first, &second, c.orNull(&third)});
    c.result().addVolume(merged ? merged->getImage() : nullptr);
}

} // namespace

void addGeometryOperations(Operations& table)
{
    table.add("voxels_in_box", CHANGES_A | SILENT, {GREYS}, setInBox);
    table.add("voxels_in_polygon", CHANGES_A | SILENT, {GREYS, withBox}, setInPolygon);
    table.add("clip", CHANGES_A, {GREYS}, clip);
    table.add("mass_centre", ANSWERS, {INTEGERS}, [](Call& c) { return findMassCentre(c, c.result()); });
    table.add("main_directions", ANSWERS | WARNS_TWICE, {INTEGERS}, findDirections);
    table.add("merge_by_union", TAKES_TWO, {FLOAT, fixedInput, otherVolume()}, merge);
}

} // namespace trust
