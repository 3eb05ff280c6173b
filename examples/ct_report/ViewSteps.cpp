#include "StepPictures.h"
#include "Steps.h"
#include "support/Projection.h"

#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/filters/ArvoImageResample.h"
#include "arvo/geometry/FloatingImageContainerMerger.h"
#include "arvo/geometry/Image3DClipper.h"
#include "arvo/platform/image/FloatingImageContainer.h"
#include "arvo/platform/math/OrientedBoundingBox.h"
#include "arvo/platform/math/Plane.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "arvo/voxelops/ArvoImage3DConvertor.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace {

constexpr int ORIENTATION_TAG = 0x20001;

QVector3D vectorOf(const std::array<float, 3>& values)
{
    return {values[0], values[1], values[2]};
}

struct View {
    QString name;
    QString caption;
    host::ViewDirection direction;
};

math::Range<float> rangeOf(const Image2D& image)
{
    const float* first = reinterpret_cast<const float*>(image.dataPtr());
    const auto [low, high] =
        std::minmax_element(first, first + std::ptrdiff_t(image.width()) * image.height());
    return {*low, *high};
}

} // namespace

QString projectVolume(StepContext& context)
{
    ArvoImage3D& volume = context.study.voxels();
    const auto real = ArvoImage3DConvertor::convertToCopy(&volume, image::Float32, 1);
    if (!real)
        return "no memory for a float copy";
    // A ray sum over Hounsfield units would let air weigh as much as tissue: densities start at air.
    const float air = real->getValueRange().first;
    auto* density = reinterpret_cast<float*>(real->dataPtr());
    const math::Ivec3 size = real->imageSize();
    std::for_each_n(density, std::ptrdiff_t(size.x) * size.y * size.z, [&](float& v) { v -= air; });
    real->editFinished();

    const View views[] = {{"front", "from the front", host::viewAround(0)},
                          {"side", "from the side", host::viewAround(90)},
                          {"oblique", "from an oblique angle", host::viewAround(45)}};
    const QVector3D spacing = volume.voxelSize(), extent = host::extentOf(volume);
    const float step = std::min({spacing.x(), spacing.y(), spacing.z()});
    const int width = static_cast<int>(std::hypot(extent.x(), extent.y()) / step * 0.85f);
    const int height = static_cast<int>(extent.z() / step * 1.05f);
    const int steps = static_cast<int>(extent.length() / step);
    for (const View& view : views) {
        host::RayTables rays(volume, view.direction, width, height, step);
        const auto blank = [&] { return Image2D(width, height, Image2D::Float32, {step, step, step}, true); };
        Image2D brightest = blank(), xray = blank(), sum = blank();
        if (!brightest.isValid() || !xray.isValid() || !sum.isValid())
            return "no memory for the pictures";
        context.timed(volume, [&] {
            ArvoImage3DReslicer::loadMIPReslice(&volume, rays.origin.data(), rays.columns.data(),
                                                rays.rows.data(), width, height, rays.steps.data(), steps,
                                                brightest, nullptr, ArvoImage3DEnums::MIP_COMPARE_MAXIMUM);
            ArvoImage3DReslicer::loadXRayNormalizedReslice(&volume, rays.origin.data(), rays.columns.data(),
                                                           rays.rows.data(), width, height, rays.steps.data(),
                                                           steps, math::Range<float>(-200.0f, 1500.0f), xray);
            ArvoImage3DReslicer::loadCephNormalizedReslice(real.get(), rays.origin.data(),
                                                           rays.columns.data(), rays.rows.data(), width,
                                                           height, rays.steps.data(), steps, sum);
        });
        const math::Range<float> window = host::windowOf(volume);
        context.report.addPicture(
            "mip_" + view.name, "Brightest voxel of each ray, " + view.caption,
            host::greyPicture(brightest, {std::max(window.first, 0.0f), window.second * 1.3f}));
        context.report.addPicture("xray_" + view.name, "X-ray-like mean, " + view.caption,
                                  host::greyPicture(xray, rangeOf(xray)));
        context.report.addPicture("sum_" + view.name, "Ray sum, " + view.caption,
                                  host::greyPicture(sum, rangeOf(sum)));
    }
    return {};
}

QString cutAlongAxes(StepContext& context)
{
    ArvoImage3D& volume = context.study.voxels();
    const QVector3D spacing = volume.voxelSize();
    const float step = std::min({spacing.x(), spacing.y(), spacing.z()});
    const QVector3D centre = vectorOf(*context.study.massCentre);
    const auto& axes = context.study.directions;
    const struct {
        const char* name;
        const char* caption;
        std::size_t across, down;
    } cuts[] = {{"cut_12", "Cut along the first and second direction", 0, 1},
                {"cut_13", "Cut along the first and third direction", 2, 0},
                {"cut_23", "Cut along the second and third direction", 2, 1}};
    // The signs of the directions are arbitrary: the head goes up, the face to the right or up.
    const auto facing = [](QVector3D v, float sign) {
        return v * (v.x() + v.y() + v.z() < 0.0f ? -sign : sign);
    };
    int size[] = {static_cast<int>(host::extentOf(volume).length() / step * 0.6f), 0};
    size[1] = size[0];
    for (const auto& cut : cuts) {
        const QVector3D across = facing(vectorOf(axes[cut.across]), step),
                        down = facing(vectorOf(axes[cut.down]), -step);
        const QVector3D corner = (centre - (across + down) * (static_cast<float>(size[0]) * 0.5f)) / spacing;
        const QVector3D acrossVoxels = across / spacing, downVoxels = down / spacing;
        float origin[] = {corner.x(), corner.y(), corner.z()};
        float dir1[] = {acrossVoxels.x(), acrossVoxels.y(), acrossVoxels.z()};
        float dir2[] = {downVoxels.x(), downVoxels.y(), downVoxels.z()};
        Image2D image;
        const bool isDone = context.timed(volume, [&] {
            return ArvoImage3DReslicer::loadInterpolatedReslice(&volume, origin, dir1, dir2, size, &image);
        });
        if (!isDone)
            return "the volume could not be cut";
        context.report.addPicture(cut.name, cut.caption, host::greyPicture(image, host::windowOf(volume)));
    }
    return {};
}

QString cutBoxAndPlane(StepContext& context)
{
    ArvoImage3D& volume = context.study.voxels();
    ArvoImage3D boxed, clipped;
    if (!boxed.copyFrom(&volume) || !clipped.copyFrom(&volume))
        return "no memory for a copy of the volume";
    const QVector3D centre = vectorOf(*context.study.massCentre);
    const auto& axes = context.study.directions;

    QMatrix4x4 placement;
    for (int axis = 0; axis < 3; ++axis)
        placement.setColumn(axis, QVector4D(vectorOf(axes[static_cast<std::size_t>(axis)]), 0.0f));
    placement.setColumn(3, QVector4D(centre, 1.0f));
    const primitives::OrientedBoundingBox box(primitives::BoundingBox(-60, -55, -50, 60, 55, 50), placement);
    context.timed(boxed, [&] {
        ArvoImageBinaryTools::maskWithBoundingBox(&boxed, box, false, volume.getValueRange().first);
    });

    primitives::Plane plane(centre, vectorOf(axes[0]));
    Image3DClipper clipper;
    clipper.setImageToClip(&clipped);
    clipper.setClipPlane(&plane);
    context.timed(clipped, [&] { clipper.clip(); });

    const math::Range<float> window = host::windowOf(volume);
    context.report.addPicture("box", "Cut to a box of 120 x 110 x 100 mm along the main directions",
                              pictures::threePlanes(boxed, window));
    context.report.addPicture("clip",
                              "Clipped at the plane through the mass centre across the first direction",
                              pictures::threePlanes(clipped, window));
    return {};
}

QString resampleIsotropic(StepContext& context)
{
    ArvoImage3D& volume = context.study.voxels();
    const QVector3D spacing = volume.voxelSize(), extent = host::extentOf(volume);
    const float edge = std::min({spacing.x(), spacing.y(), spacing.z()});
    const auto count = [&](float length) {
        return std::max(1, static_cast<int>(std::lround(length / edge)));
    };
    ArvoImage3D cubes({count(extent.x()), count(extent.y()), count(extent.z())}, {edge, edge, edge},
                      volume.dataType());
    if (!cubes.isValid())
        return "no memory for the resampled volume";
    if (const ArvoImage3DInfo* orientation = volume.info("ImageOrientation")) {
        // The same directions with the new spacing, so that both volumes lie alike in the world.
        std::array<float, 9> columns;
        std::memcpy(columns.data(), orientation->data(), sizeof columns);
        for (std::size_t i = 0; i < columns.size(); ++i)
            columns[i] *= edge / spacing[static_cast<int>(i / 3)];
        cubes.addInfo(ORIENTATION_TAG, "ImageOrientation",
                      QByteArray(reinterpret_cast<const char*>(columns.data()), sizeof columns));
    }
    ArvoImageResample resample;
    resample.setInput(&volume);
    resample.setOutput(&cubes);
    if (!context.timed(cubes, [&] { return resample.execute(); }))
        return "the volume could not be resampled";
    context.report.addNumber("cube edge", static_cast<double>(edge), "mm", 3);
    context.report.addNumber("slices", cubes.imageSize().z, "", 0);
    context.report.addPicture("isotropic", "Resampled to cubes",
                              pictures::threePlanes(cubes, host::windowOf(volume)));
    return {};
}

QString mergePlaced(StepContext& context)
{
    const ArvoImage3D& map = *context.study.signedDistance;
    const QVector3D extent = host::extentOf(map);
    const QVector3D shift = QVector3D(std::round(40.0f / map.voxelSize().x()), 0, 0) * map.voxelSize();
    const auto placed = [&](const QVector3D& corner) {
        return std::make_unique<FloatingImageContainer>(
            ArvoImage3DConvertor::convertToCopy(&map, image::Float32, 1), corner, corner + extent);
    };
    const auto first = placed({}), second = placed(shift);
    if (!first->getImage() || !second->getImage())
        return "no memory for the placed volumes";
    const auto merged = context.timed(map, [&] {
        return FloatingImageContainerMerger::mergeByUnion({first.get(), second.get()});
    });
    if (!merged)
        return "the volumes could not be merged";
    context.report.addNumber("voxels along x of the union", merged->getImage()->imageSize().x, "", 0);
    context.report.addPicture("merged",
                              "Signed distances of the skull and of the skull 40 mm to the side, united",
                              pictures::threePlanesSigned(*merged->getImage(), 30.0f));
    return {};
}
