#include "trust/ResultHashes.h"

#include "arvo/geometry/FloatingImageContainerMerger.h"
#include "arvo/geometry/Image3DClipper.h"
#include "arvo/geometry/MainDirectionsCalculator.h"
#include "arvo/geometry/MassCenterCalculator.h"
#include "arvo/geometry/SetVoxelsInside.h"
#include "arvo/platform/image/FloatingImageContainer.h"
#include "arvo/platform/math/OrientedBoundingBox.h"
#include "arvo/platform/math/Plane.h"

#include <QPolygonF>
#include <QSize>

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

void hashRegions(Results& results, const math::Ivec3& size, image::DataType type)
{
    const std::string suffix = nameOf(type, size);
    ArvoImage3D volume = fixedVolume(size, type, 1);
    image3d::setVoxelsInsideBoundingBox(volume, primitives::OrientedBoundingBox({0, 0, 0, 6, 5, 7}, turned()),
                                        9);
    results.add("voxels_in_box" + suffix, &volume);

    QMatrix4x4 view = turned();
    view.scale(0.03125f);
    const QPolygonF polygon({{0.1, 0.1}, {0.9, 0.2}, {0.5, 0.5}, {0.8, 0.9}, {0.2, 0.7}});
    view(0, 3) = view(1, 3) = 0.25f;
    image3d::setVoxelsInsideScreenspacePolygon(volume, QSize(201, 153), polygon, view, 5);
    results.add("voxels_in_polygon" + suffix, &volume);

    volume = fixedVolume(size, type, 1);
    primitives::Plane plane({3.0f, 2.0f, 4.0f}, {1.0f, -2.0f, 0.5f});
    Image3DClipper clipper;
    clipper.setImageToClip(&volume);
    clipper.setClipPlane(&plane);
    clipper.setImageTransform(turned());
    clipper.clip();
    results.add("clip" + suffix, &volume);
}

void hashDirections(Results& results, const math::Ivec3& size, image::DataType type)
{
    ArvoImage3D volume = fixedVolume(size, type, 1);
    MassCenterCalculator centre;
    centre.setImage(&volume);
    centre.setThreshold(100);
    Hash hash;
    hash.add(centre.execute());
    if (centre.getMassCenter())
        hash.addFloats(centre.getMassCenter(), 3);
    results.add("mass_centre" + nameOf(type, size), hash);

    MainDirectionsCalculator directions;
    directions.setImage(&volume);
    directions.setThreshold(100);
    hash.add(directions.execute());
    for (const float* vector : {directions.getMassCenter(), directions.getDirection0(),
                                directions.getDirection1(), directions.getDirection2()}) {
        if (vector)
            hash.addFloats(vector, 3);
    }
    results.add("main_directions" + nameOf(type, size), hash);
}

void hashMerge(Results& results, const math::Ivec3& size)
{
    std::vector<std::unique_ptr<FloatingImageContainer>> containers;
    std::vector<FloatingImageContainer*> pointers;
    for (const int i : {0, 1, 2}) {
        const QVector3D corner(static_cast<float>(i) * 2.5f, static_cast<float>(i) * -1.25f,
                               static_cast<float>(i));
        auto volume =
            std::make_unique<ArvoImage3D>(fixedVolume(size, image::Float32, static_cast<unsigned>(i + 1)));
        const QVector3D extent(static_cast<float>(size.x), static_cast<float>(size.y),
                               static_cast<float>(size.z));
        const QVector3D end = corner + extent * volume->voxelSize();
        containers.push_back(std::make_unique<FloatingImageContainer>(std::move(volume), corner, end));
        pointers.push_back(containers.back().get());
    }
    const auto merged = FloatingImageContainerMerger::mergeByUnion(pointers);
    results.add("merge_by_union" + nameOf(image::Float32, size), merged ? merged->getImage() : nullptr);
}

} // namespace

void hashGeometry(Results& results)
{
    for (const math::Ivec3& size : fixedSizes()) {
        for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Float32}) {
            hashRegions(results, size, type);
            if (type != image::Float32)
                hashDirections(results, size, type);
        }
        hashMerge(results, size);
    }
}

} // namespace trust
