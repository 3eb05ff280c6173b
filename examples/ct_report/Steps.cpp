#include "Steps.h"

#include <algorithm>

const std::vector<Step>& allSteps()
{
    static const std::vector<Step> steps = {
        {"preview", "Preview by subsampling", {}, makePreview},
        {"smooth", "Gaussian smoothing", {}, smoothVolume},
        {"threshold", "Histogram and Otsu threshold", {"smooth"}, findThreshold},
        {"noise", "Cone-beam noise eraser", {"threshold"}, eraseNoise},
        {"bone", "Bone by threshold", {"noise"}, markBone},
        {"skull", "Largest part", {"bone"}, keepSkull},
        {"parts", "Parts by size and at a point", {"bone"}, keepParts},
        {"holes", "Hole closing", {"skull"}, closeHoles},
        {"distance", "Distance maps", {"skull"}, mapDistances},
        {"boundary", "Boundary", {"skull"}, findBoundary},
        {"gradient", "Gradient norm", {"smooth"}, measureGradient},
        {"morphology", "Opening and closing", {"skull"}, openAndClose},
        {"replace", "Bone replaced", {"skull"}, replaceBone},
        {"statistics", "Statistics inside and outside", {"skull"}, measureStatistics},
        {"volume", "Volume of the bone", {"holes"}, measureVolume},
        {"surface", "Histogram along the surface normals", {"smooth", "boundary"}, measureSurface},
        {"directions", "Mass centre and main directions", {"bone"}, measureDirections},
        {"reslice", "Cuts along the main directions", {"directions"}, cutAlongAxes},
        {"projections", "Projections", {}, projectVolume},
        {"cuts", "Box cut and plane clip", {"directions"}, cutBoxAndPlane},
        {"isotropic", "Resampling to cubes", {}, resampleIsotropic},
        {"merge", "Union of placed volumes", {"distance"}, mergePlaced},
    };
    return steps;
}

std::vector<Step> withPrerequisites(const QStringList& names, QString& unknown)
{
    QStringList wanted = names;
    for (qsizetype i = 0; i < wanted.size(); ++i) {
        const auto step = std::ranges::find(allSteps(), wanted[i], &Step::name);
        if (step == allSteps().end()) {
            unknown = wanted[i];
            return {};
        }
        wanted += step->needs; // looked at in turn, as the list grows
    }
    std::vector<Step> chosen;
    std::ranges::copy_if(allSteps(), std::back_inserter(chosen),
                         [&](const Step& step) { return wanted.contains(step.name); });
    return chosen;
}
