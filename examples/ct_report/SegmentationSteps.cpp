#include "Chart.h"
#include "StepPictures.h"
#include "Steps.h"

#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/Image3DHoleClosing.h"
#include "arvo/binary/Image3DKeepConnectedPart.h"
#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/filters/ArvoImageSubsample.h"
#include "arvo/platform/data/Histogram.h"
#include "arvo/voxelops/Image3DReplaceVoxels.h"
#include "arvo/voxelops/OtsuThreshold.h"

#include <algorithm>
#include <cmath>

namespace {

const QColor boneColour(240, 150, 40);

std::unique_ptr<ArvoImage3D> emptyLike(const ArvoImage3D& volume, image::DataType type)
{
    return std::make_unique<ArvoImage3D>(volume.imageSize(), volume.voxelSize(), type);
}

double voxelCount(const ArvoImage3D& mask)
{
    return static_cast<double>(ArvoImageBinaryTools::countNonZeroVoxels(mask));
}

} // namespace

QString makePreview(StepContext& context)
{
    const ArvoImage3D& volume = context.study.voxels();
    const math::Ivec3 size = volume.imageSize();
    const auto factorOf = [](int extent) { return std::max(1, extent / 100); };
    ArvoImage3D preview;
    ArvoImageSubsample subsample;
    subsample.setInput(&volume);
    subsample.setOutput(&preview);
    subsample.setSampleFactor(factorOf(size.x), factorOf(size.y), factorOf(size.z));
    if (!context.timed(volume,
                       [&] { return subsample.execute(ArvoImageSubsample::Average, context.cancel); }))
        return "the volume could not be subsampled";
    context.report.addNumber("voxels along x", size.x, "", 0);
    context.report.addNumber("voxels along y", size.y, "", 0);
    context.report.addNumber("voxels along z", size.z, "", 0);
    context.report.addNumber("voxel size x", static_cast<double>(volume.voxelSize().x()), "mm", 3);
    context.report.addNumber("voxel size y", static_cast<double>(volume.voxelSize().y()), "mm", 3);
    context.report.addNumber("voxel size z", static_cast<double>(volume.voxelSize().z()), "mm", 3);
    context.report.addPicture("slices", "Axial, coronal and sagittal slice through the middle",
                              pictures::threePlanes(volume, host::windowOf(volume)));
    context.report.addPicture("preview", "The same, subsampled by block means",
                              pictures::threePlanes(preview, host::windowOf(volume)));
    return {};
}

QString smoothVolume(StepContext& context)
{
    const ArvoImage3D& volume = context.study.voxels();
    context.study.smooth = emptyLike(volume, volume.dataType());
    ArvoImageGaussianSmooth gauss;
    gauss.setInput(&volume);
    gauss.setOutput(context.study.smooth.get());
    gauss.setRadius({2, 2, 2});
    gauss.setStandardDeviation({0.8f, 0.8f, 0.8f});
    if (!context.timed(volume, [&] { return gauss.execute(context.cancel); }))
        return "the volume could not be smoothed";
    context.report.addPicture("smooth", "Smoothed, sigma 0.8 voxels",
                              pictures::threePlanes(*context.study.smooth, host::windowOf(volume)));
    return {};
}

QString findThreshold(StepContext& context)
{
    const ArvoImage3D& smooth = *context.study.smooth;
    const auto threshold =
        context.timed(smooth, [&] { return OtsuThreshold::calculate(smooth, context.cancel); });
    if (!threshold)
        return "no threshold was found";
    Histogram histogram(false, 1);
    const math::Ivec3 size = smooth.imageSize();
    for (int z = 0; z < size.z; ++z)
        histogram.addData(smooth.getConstAxialSlice(z), size.x * size.y,
                          conversions::toHistogramDataType(smooth.dataType()));
    const bool isHounsfield = smooth.getValueRange().first < -500.0f;
    if (!isHounsfield)
        context.study.boneThreshold = *threshold;
    context.report.addNumber("Otsu threshold (air | body)", static_cast<double>(*threshold), "", 0);
    context.report.addNumber("bone threshold", static_cast<double>(context.study.boneThreshold), "", 0);
    const Chart chart{histogram.getHistogram(), "value (number of voxels, logarithmic)", true,
                      static_cast<double>(*threshold),
                      "Otsu " + QString::number(static_cast<double>(*threshold), 'f', 0)};
    context.report.addChart("histogram", "Histogram of the smoothed volume", chart.svg());
    return {};
}

QString eraseNoise(StepContext& context)
{
    ArvoImage3D& volume = context.study.voxels();
    context.study.cleaned = std::make_unique<ArvoImage3D>();
    if (!context.study.cleaned->copyFrom(&volume))
        return "no memory for a copy of the volume";
    ArvoImageConeBeamNoiseEraser eraser;
    eraser.setInput(&volume);
    eraser.setOutput(context.study.cleaned.get());
    eraser.setRadius(8);
    eraser.setBoneThreshold(static_cast<int>(context.study.boneThreshold));
    context.timed(volume, [&] { return eraser.execute(); });

    ArvoImage3D before(volume.imageSize(), volume.voxelSize(), image::Binary);
    ArvoImage3D after(volume.imageSize(), volume.voxelSize(), image::Binary);
    ArvoImageBinaryTools::thresholdFilter(volume, before, context.study.boneThreshold, true);
    ArvoImageBinaryTools::thresholdFilter(*context.study.cleaned, after, context.study.boneThreshold, true);
    context.report.addNumber("bright voxels removed", voxelCount(before) - voxelCount(after), "", 0);
    context.report.addPicture("cleaned", "Specks outside the field of view removed",
                              pictures::threePlanes(*context.study.cleaned, host::windowOf(volume)));
    return {};
}

QString markBone(StepContext& context)
{
    const ArvoImage3D& cleaned = *context.study.cleaned;
    context.study.bone = emptyLike(cleaned, image::Binary);
    const bool isDone = context.timed(cleaned, [&] {
        return ArvoImageBinaryTools::thresholdFilter(cleaned, *context.study.bone,
                                                     context.study.boneThreshold, true);
    });
    if (!isDone)
        return "the volume could not be thresholded";
    if (voxelCount(*context.study.bone) == 0.0)
        return "no voxel lies above the bone threshold";
    context.report.addNumber("voxels above the bone threshold", voxelCount(*context.study.bone), "", 0);
    context.report.addPicture(
        "bone", "Voxels above the bone threshold",
        pictures::threePlanes(cleaned, host::windowOf(cleaned), *context.study.bone, boneColour));
    return {};
}

QString keepSkull(StepContext& context)
{
    const ArvoImage3D& cleaned = *context.study.cleaned;
    context.study.skull = emptyLike(cleaned, image::Binary);
    ArvoImageBinaryTools tools;
    tools.setInput(context.study.bone.get());
    tools.setOutput(context.study.skull.get());
    int labels = 0;
    if (!context.timed(cleaned, [&] { return tools.keepLargestPart(&labels); }))
        return "the parts could not be labelled";
    context.report.addNumber("connected parts", labels - 1, "", 0);
    context.report.addNumber("voxels of the largest", voxelCount(*context.study.skull), "", 0);
    context.report.addPicture(
        "skull", "The largest part",
        pictures::threePlanes(cleaned, host::windowOf(cleaned), *context.study.skull, boneColour));
    return {};
}

QString keepParts(StepContext& context)
{
    ArvoImage3D& bone = *context.study.bone;
    const auto kept = [&](Image3DKeepConnectedPart& operation) {
        context.timed(bone, [&] { operation.execute(context.cancel); });
        return operation.isSuccess() ? operation.takeBinaryOutputImage() : nullptr;
    };
    Image3DKeepConnectedPart large(bone, Image3DKeepConnectedPart::KEEP_LARGEST_PARTS,
                                   Image3DKeepConnectedPart::DIAGONAL);
    large.setRelativeTolerance(0.002f);
    const auto largeParts = kept(large);
    Image3DKeepConnectedPart nearest(bone, Image3DKeepConnectedPart::KEEP_PART_AT_REFERENCE_POINT,
                                     Image3DKeepConnectedPart::STRAIGHT);
    const math::Ivec3 size = bone.imageSize();
    nearest.setReferencePoint({size.x / 2, size.y / 2, size.z - 1});
    const auto nearestPart = kept(nearest);
    if (!largeParts || !nearestPart)
        return "the parts could not be chosen";
    context.report.addNumber("voxels in parts of at least 0.2 % of the largest", voxelCount(*largeParts), "",
                             0);
    context.report.addNumber("voxels of the part nearest to the middle of the top slice",
                             voxelCount(*nearestPart), "", 0);
    context.report.addPicture("parts", "Parts of at least 0.2 % of the largest",
                              pictures::threePlanes(*context.study.cleaned,
                                                    host::windowOf(*context.study.cleaned), *largeParts,
                                                    QColor(90, 180, 90)));
    return {};
}

QString closeHoles(StepContext& context)
{
    ArvoImage3D& skull = *context.study.skull;
    Image3DHoleClosing closing;
    closing.setInputImage(&skull);
    closing.setProgress(&context.progress);
    context.timed(skull, [&] { closing.execute(context.cancel); });
    if (!closing.isSuccess())
        return "the holes could not be closed";
    context.study.closed.reset(closing.takeClosedImage());
    context.report.addNumber("voxels of the closed skull", voxelCount(*context.study.closed), "", 0);
    context.report.addPicture("closed",
                              "The skull with its holes sealed: sheets of voxels stay wherever taking one "
                              "more away would open a hole",
                              pictures::threePlanes(*context.study.cleaned,
                                                    host::windowOf(*context.study.cleaned),
                                                    *context.study.closed, QColor(120, 140, 230)));
    return {};
}

QString replaceBone(StepContext& context)
{
    ArvoImage3D withoutBone;
    if (!withoutBone.copyFrom(&context.study.voxels()))
        return "no memory for a copy of the volume";
    Image3DReplaceVoxels replace;
    replace.setInputImage(&withoutBone);
    replace.setMaskImage(context.study.skull.get());
    replace.setReplaceValue(40.0f);
    context.timed(withoutBone, [&] { replace.execute(context.cancel); });
    if (!replace.isSuccess())
        return "the voxels could not be replaced";
    context.report.addPicture("replaced", "The skull's voxels replaced by soft tissue",
                              pictures::threePlanes(withoutBone, host::windowOf(context.study.voxels())));
    return {};
}
