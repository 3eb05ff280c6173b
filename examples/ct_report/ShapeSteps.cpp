#include "StepPictures.h"
#include "Steps.h"

#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"
#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/Image3DBoundary.h"
#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/differential/DirectGradientNorm.h"

#include <algorithm>

namespace {

using Morphology = ArvoImageBinaryMorphologicalOperations;

std::unique_ptr<ArvoImage3D> distanceOf(StepContext& context, Image3DDistanceMap::DISTANCE_TYPE type)
{
    Image3DDistanceMap map(type);
    map.setInputImage(context.study.skull.get());
    map.setProgress(&context.progress);
    context.timed(*context.study.skull, [&] { map.execute(context.cancel); });
    return std::unique_ptr<ArvoImage3D>(map.takeDistanceImage());
}

} // namespace

QString mapDistances(StepContext& context)
{
    const math::Ivec3 size = context.study.skull->imageSize();
    if (std::min({size.x, size.y, size.z}) < 3)
        return "a distance map takes at least 3 voxels along each axis";
    context.study.distance = distanceOf(context, Image3DDistanceMap::UNSIGNED_DISTANCE);
    context.study.signedDistance = distanceOf(context, Image3DDistanceMap::SIGNED_DISTANCE);
    if (!context.study.distance || !context.study.signedDistance)
        return "the distances could not be mapped";
    context.report.addNumber("deepest voxel inside the bone", -context.study.signedDistance->minValue(),
                             "voxels", 0);
    context.report.addPicture(
        "distance",
        "Signed distance to the surface of the skull: blue inside, orange outside, up to 30 voxels",
        pictures::threePlanesSigned(*context.study.signedDistance, 30.0f));
    return {};
}

QString findBoundary(StepContext& context)
{
    const ArvoImage3D& skull = *context.study.skull;
    Image3DBoundary boundary;
    boundary.setInputImage(&skull);
    context.timed(skull, [&] { boundary.execute(context.cancel); });
    if (!boundary.isSuccess())
        return "the boundary could not be found";
    context.study.boundary.reset(boundary.takeBoundaryImage());
    context.report.addNumber(
        "boundary voxels",
        static_cast<double>(ArvoImageBinaryTools::countNonZeroVoxels(*context.study.boundary)), "", 0);
    context.report.addPicture("boundary", "Boundary voxels of the skull",
                              pictures::threePlanes(*context.study.cleaned,
                                                    host::windowOf(*context.study.cleaned),
                                                    *context.study.boundary, QColor(230, 60, 60)));
    return {};
}

QString measureGradient(StepContext& context)
{
    ArvoImage3D& smooth = *context.study.smooth;
    ArvoImage3D norm(smooth.imageSize(), smooth.voxelSize(), image::Float32);
    if (!norm.isValid())
        return "no memory for the gradient norm";
    DirectGradientNorm operation;
    context.timed(smooth, [&] { operation.calculateNormGradient(&smooth, &norm); });
    context.report.addNumber("steepest edge", static_cast<double>(norm.getValueRange().second), "per voxel",
                             0);
    context.report.addPicture("gradient", "Gradient norm of the smoothed volume",
                              pictures::threePlanes(norm, {0.0f, norm.getValueRange().second * 0.5f}));
    return {};
}

QString openAndClose(StepContext& context)
{
    const ArvoImage3D& skull = *context.study.skull;
    const auto blank = [&] { return ArvoImage3D(skull.imageSize(), skull.voxelSize(), image::Binary); };
    ArvoImage3D between = blank(), opened = blank(), closed = blank();
    const auto small = Morphology::sphere(1);
    const auto large = Morphology::sphere(2);
    context.timed(skull, [&] {
        Morphology::erode(skull, between, small);
        Morphology::dilate(between, opened, small);
        Morphology::dilate(skull, between, large);
        Morphology::erode(between, closed, large);
    });
    const auto count = [](const ArvoImage3D& mask) {
        return static_cast<double>(ArvoImageBinaryTools::countNonZeroVoxels(mask));
    };
    context.report.addNumber("voxels after opening, ball of radius 1", count(opened), "", 0);
    context.report.addNumber("voxels after closing, ball of radius 2", count(closed), "", 0);
    const math::Range<float> window = host::windowOf(*context.study.cleaned);
    context.report.addPicture(
        "opened", "Opened by a ball of radius 1",
        pictures::threePlanes(*context.study.cleaned, window, opened, QColor(90, 180, 90)));
    context.report.addPicture(
        "stencil_closed", "Closed by a ball of radius 2",
        pictures::threePlanes(*context.study.cleaned, window, closed, QColor(120, 140, 230)));
    return {};
}
