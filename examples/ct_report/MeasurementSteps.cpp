#include "Chart.h"
#include "Steps.h"

#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/differential/ArvoImageNormalizeGradients.h"
#include "arvo/differential/Gradient.h"
#include "arvo/frame/ThreeImages3D.h"
#include "arvo/geometry/MainDirectionsCalculator.h"
#include "arvo/geometry/MassCenterCalculator.h"
#include "arvo/platform/data/Histogram.h"
#include "arvo/voxelops/CalculateSurfaceHistogram.h"
#include "arvo/voxelops/CalculateVolume.h"
#include "arvo/voxelops/Image3DStatistics.h"

#include <algorithm>

namespace {

using Method = Image3DStatisticsMethod::Method;

/// The statistic, or nothing when it failed.
std::optional<double> statistic(StepContext& context, ArvoImage3D& volume, Method method)
{
    Image3DStatistics statistics(method);
    statistics.setInputImage(&volume);
    context.timed(volume, [&] { statistics.execute(context.cancel); });
    if (!statistics.isSuccess())
        return {};
    return statistics.getValue();
}

/// Mean and median of what `invert` leaves: the voxels inside the skull, or outside it.
bool addMaskedStatistics(StepContext& context, const QString& where, bool invert)
{
    ArvoImage3D masked;
    if (!masked.copyFrom(&context.study.voxels()))
        return false;
    ArvoImageBinaryTools::applyMask(context.study.skull.get(), &masked, invert);
    const auto mean = statistic(context, masked, Method::MeanOfNonZeroValues);
    const auto median = statistic(context, masked, Method::MedianOfNonZeroValues);
    if (!mean || !median)
        return false;
    context.report.addNumber("mean " + where, *mean, "");
    context.report.addNumber("median " + where, *median, "");
    return true;
}

/// Surface points in mm with the unit normals of the grey values there, three floats each.
struct Surface {
    std::vector<float> points;
    std::vector<float> normals;
};

Surface surfaceOf(const ArvoImage3D& boundary, ThreeImages3D& normals)
{
    constexpr std::ptrdiff_t EVERY = 4; // a sample of the surface is enough for a histogram
    Surface surface;
    const math::Ivec3 size = boundary.imageSize();
    const QVector3D spacing = boundary.voxelSize();
    std::ptrdiff_t met = 0;
    for (int z = 0; z < size.z; ++z) {
        for (int y = 0; y < size.y; ++y) {
            for (int x = 0; x < size.x; ++x) {
                if (boundary.getValue(x, y, z) == 0 || met++ % EVERY != 0)
                    continue;
                const QVector3D normal = normals.getValue(x, y, z);
                for (int axis = 0; axis < 3; ++axis) {
                    surface.points.push_back(static_cast<float>(axis == 0   ? x
                                                                : axis == 1 ? y
                                                                            : z) *
                                             spacing[axis]);
                    surface.normals.push_back(normal[axis]);
                }
            }
        }
    }
    return surface;
}

} // namespace

QString measureStatistics(StepContext& context)
{
    ArvoImage3D& volume = context.study.voxels();
    const auto mean = statistic(context, volume, Method::Mean);
    const auto median = statistic(context, volume, Method::Median);
    if (!mean || !median)
        return "the statistics could not be computed";
    context.report.addNumber("mean of all voxels", *mean, "");
    context.report.addNumber("median of all voxels", *median, "");
    if (!addMaskedStatistics(context, "inside the bone", false) ||
        !addMaskedStatistics(context, "outside the bone", true))
        return "the statistics could not be computed";
    return {};
}

QString measureVolume(StepContext& context)
{
    const auto millilitres = [&](const ArvoImage3D& mask) {
        return static_cast<double>(context.timed(mask, [&] { return CalculateVolume::calculate(mask); })) /
               1000.0;
    };
    context.report.addNumber("bone", millilitres(*context.study.skull), "ml");
    context.report.addNumber("bone with its holes closed", millilitres(*context.study.closed), "ml");
    return {};
}

QString measureSurface(StepContext& context)
{
    Gradient gradient;
    gradient.setInputImage(context.study.smooth.get());
    context.timed(*context.study.smooth, [&] { gradient.execute(context.cancel); });
    const std::unique_ptr<ThreeImages3D> normals(gradient.takeGradientImage());
    if (!gradient.isSuccess() || !normals)
        return "the gradient could not be computed";
    context.timed(*context.study.smooth, [&] { return ArvoImageNormalizeGradients::normalize(*normals); });

    Surface surface = surfaceOf(*context.study.boundary, *normals);
    CalculateSurfaceHistogram calculation;
    calculation.setImage(&context.study.voxels());
    calculation.setSurface(surface.points.data(), surface.normals.data(),
                           static_cast<int>(surface.points.size() / 3));
    calculation.setNumberOfSteps(5);
    calculation.setStepSize(0.5f);
    calculation.execute(context.cancel);
    const std::unique_ptr<Histogram> histogram(calculation.getHistogram());
    if (!calculation.isSuccess() || !histogram)
        return "the surface could not be sampled";
    context.report.addNumber("surface points", static_cast<double>(surface.points.size() / 3), "", 0);
    const Chart chart{histogram->getHistogram(), "value within 1 mm of the surface, along its normals", false,
                      static_cast<double>(context.study.boneThreshold), "bone threshold"};
    context.report.addChart("surface_histogram", "Values across the surface of the skull", chart.svg());
    return {};
}

QString measureDirections(StepContext& context)
{
    ArvoImage3D& cleaned = *context.study.cleaned;
    const int threshold = static_cast<int>(context.study.boneThreshold);
    MassCenterCalculator centre;
    centre.setImage(&cleaned);
    centre.setThreshold(threshold);
    MainDirectionsCalculator directions;
    directions.setImage(&cleaned);
    directions.setThreshold(threshold);
    if (!context.timed(cleaned, [&] { return centre.execute(); }) ||
        !context.timed(cleaned, [&] { return directions.execute(); }))
        return "the bone has no main directions";
    std::array<float, 3> middle{};
    std::copy_n(centre.getMassCenter(), 3, middle.begin());
    context.study.massCentre = middle;
    const float* const found[] = {directions.getDirection0(), directions.getDirection1(),
                                  directions.getDirection2()};
    for (std::size_t i = 0; i < 3; ++i)
        std::copy_n(found[i], 3, context.study.directions[i].begin());

    const QString axes = "xyz";
    for (qsizetype axis = 0; axis < 3; ++axis)
        context.report.addNumber(QString("mass centre ") + axes[axis],
                                 static_cast<double>(middle[static_cast<std::size_t>(axis)]), "mm");
    for (std::size_t i = 0; i < 3; ++i) {
        for (qsizetype axis = 0; axis < 3; ++axis)
            context.report.addNumber(
                QString("direction %1, ").arg(i + 1) + axes[axis],
                static_cast<double>(context.study.directions[i][static_cast<std::size_t>(axis)]), "", 3);
    }
    return {};
}
