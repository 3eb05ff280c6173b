#include "Operations.h"

#include "support/Picture.h"

#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/binary/Image3DHoleClosing.h"
#include "arvo/differential/DirectGradientNorm.h"
#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/voxelops/CalculateVolume.h"

#include <algorithm>
#include <cmath>

namespace viewer {

namespace {

const char* const NO_MEMORY = "there is not enough memory for the result";

std::shared_ptr<ArvoImage3D> emptyLike(const ArvoImage3D& volume, image::DataType type)
{
    auto made = std::make_shared<ArvoImage3D>(volume.imageSize(), volume.voxelSize(), type);
    return made->isValid() ? made : nullptr;
}

/// Several operations take a mutable volume and only read it.
ArvoImage3D* readable(const Volume& volume)
{
    return const_cast<ArvoImage3D*>(volume.get());
}

QString sizeOf(const ArvoImage3D& mask)
{
    return QString("%1 voxels, %2 ml")
        .arg(ArvoImageBinaryTools::countNonZeroVoxels(mask))
        .arg(static_cast<double>(CalculateVolume::calculate(mask)) / 1000.0, 0, 'f', 1);
}

Outcome smoothed(const Subject& subject, const std::vector<double>& values, const JobControl& control)
{
    const auto smooth = emptyLike(*subject.volume, subject.volume->dataType());
    if (!smooth)
        return Outcome::failed(NO_MEMORY);
    const auto sigma = static_cast<float>(values[0]);
    const int radius = std::max(1, static_cast<int>(std::ceil(3.0f * sigma)));
    ArvoImageGaussianSmooth gauss;
    gauss.setInput(subject.volume.get());
    gauss.setOutput(smooth.get());
    gauss.setRadius({radius, radius, radius});
    gauss.setStandardDeviation({sigma, sigma, sigma});
    if (!gauss.execute(control.cancel))
        return Outcome::failed("voxels of this type cannot be smoothed");
    Outcome outcome;
    outcome.volume = smooth;
    return outcome;
}

Outcome largestBone(const Subject& subject, const std::vector<double>& values, const JobControl& control)
{
    const auto bone = emptyLike(*subject.volume, image::Binary);
    if (!bone)
        return Outcome::failed(NO_MEMORY);
    control.progress.setTotal(2);
    if (!ArvoImageBinaryTools::thresholdFilter(*subject.volume, *bone, static_cast<float>(values[0]), true))
        return Outcome::failed("voxels of this type have no threshold");
    if (ArvoImageBinaryTools::countNonZeroVoxels(*bone) == 0)
        return Outcome::failed("no voxel is above the threshold");
    control.progress.advance();
    ArvoImageBinaryTools tools;
    tools.setInput(bone.get());
    tools.setOutput(bone.get());
    int parts = 0;
    if (!control.cancel && !tools.keepLargestPart(&parts))
        return Outcome::failed("the parts cannot be labelled");
    Outcome outcome;
    outcome.mask = bone;
    outcome.summary = QString("the largest of %1 parts: ").arg(parts - 1) + sizeOf(*bone);
    return outcome;
}

Outcome closedHoles(const Subject& subject, const std::vector<double>&, const JobControl& control)
{
    Image3DHoleClosing closing;
    closing.setInputImage(readable(subject.mask));
    closing.setProgress(&control.progress);
    closing.execute(control.cancel);
    Outcome outcome;
    outcome.mask.reset(closing.takeClosedImage());
    if (!closing.isSuccess() || !outcome.mask)
        return Outcome::failed("the holes cannot be closed");
    outcome.summary = "closed: " + sizeOf(*outcome.mask);
    return outcome;
}

Outcome distances(const Subject& subject, const std::vector<double>& values, const JobControl& control)
{
    const math::Ivec3 size = subject.mask->imageSize();
    if (std::min({size.x, size.y, size.z}) < 3)
        return Outcome::failed("a distance map takes at least 3 voxels along each axis");
    const bool isSigned = values[0] != 0.0;
    Image3DDistanceMap map(isSigned ? Image3DDistanceMap::SIGNED_DISTANCE
                                    : Image3DDistanceMap::UNSIGNED_DISTANCE);
    map.setInputImage(subject.mask.get());
    map.setProgress(&control.progress);
    map.execute(control.cancel);
    Outcome outcome;
    outcome.volume.reset(map.takeDistanceImage());
    if (!outcome.volume)
        return Outcome::failed("the distances cannot be mapped");
    // Voxels that no sweep reaches hold a very large value, which says nothing about where to look.
    const auto far = static_cast<float>(std::max({size.x, size.y, size.z}) / 4);
    outcome.window = {isSigned ? -0.25f * far : 0.0f, far};
    return outcome;
}

Outcome cleaned(const Subject& subject, const std::vector<double>& values, const JobControl& control)
{
    if (subject.volume->dataType() == image::Float32)
        return Outcome::failed("the noise eraser takes integer voxels, and this volume has floats");
    const auto clean = emptyLike(*subject.volume, subject.volume->dataType());
    if (!clean)
        return Outcome::failed(NO_MEMORY);
    control.progress.setTotal(1);
    ArvoImageConeBeamNoiseEraser eraser;
    eraser.setInput(readable(subject.volume));
    eraser.setOutput(clean.get());
    eraser.setRadius(static_cast<int>(values[0]));
    eraser.setBoneThreshold(static_cast<int>(values[1]));
    if (!eraser.execute())
        return Outcome::failed("the specks cannot be erased");
    control.progress.advance();
    Outcome outcome;
    outcome.volume = clean;
    return outcome;
}

Outcome gradientNorm(const Subject& subject, const std::vector<double>&, const JobControl&)
{
    const auto norm = emptyLike(*subject.volume, image::Float32);
    if (!norm)
        return Outcome::failed(NO_MEMORY);
    DirectGradientNorm::calculateNormGradient(readable(subject.volume), norm.get());
    Outcome outcome;
    outcome.window = {0.0f, 0.5f * norm->getValueRange().second};
    outcome.volume = norm;
    return outcome;
}

} // namespace

Outcome Outcome::failed(const QString& problem)
{
    Outcome outcome;
    outcome.problem = problem;
    return outcome;
}

const std::vector<Operation>& allOperations()
{
    static const std::vector<Operation> operations = {
        {"Gaussian smoothing",
         "Blurs the volume on show.",
         false,
         {{"Sigma", "voxels", Parameter::NUMBER, 1.0, 0.1, 5.0, 1}},
         smoothed},
        {"Bone and its largest part",
         "Marks what is above the threshold and keeps the largest connected part.",
         false,
         {{"Threshold", "", Parameter::VOXEL_VALUE, 300, 0, 0, 0}},
         largestBone},
        {"Hole closing", "Seals the cavities and tunnels of the marked part.", true, {}, closedHoles},
        {"Distance map",
         "Shows how far each voxel is from the marked part.",
         true,
         {{"Negative inside", "", Parameter::SWITCH, 1, 0, 1, 0}},
         distances},
        {"Noise eraser",
         "Lowers bright specks outside the round field of view.",
         false,
         {{"Margin", "voxels", Parameter::NUMBER, 8, 1, 200, 0},
          {"Bone threshold", "", Parameter::VOXEL_VALUE, 300, 0, 0, 0}},
         cleaned},
        {"Gradient norm", "Shows how steep the edges are.", false, {}, gradientNorm},
    };
    return operations;
}

Parameter fitted(const Parameter& parameter, const ArvoImage3D& volume)
{
    Parameter result = parameter;
    if (parameter.kind != Parameter::VOXEL_VALUE)
        return result;
    const math::Range<float> range = volume.getValueRange();
    result.lowest = static_cast<double>(range.first);
    result.highest = static_cast<double>(range.second);
    if (host::windowOf(volume).first == range.first) // not Hounsfield units
        result.initial = std::round(0.5 * (result.lowest + result.highest));
    result.decimals = volume.dataType() == image::Float32 ? 2 : 0;
    return result;
}

} // namespace viewer
