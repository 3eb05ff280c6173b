#pragma once

#include "Study.h"

#include <QStringList>

#include <vector>

/// One step of the report. `run` returns an empty text on success, else what went wrong.
struct Step {
    QString name;
    QString title;
    QStringList needs; ///< steps whose results it takes
    QString (*run)(StepContext&);
};

/// All steps in the order in which they run.
const std::vector<Step>& allSteps();

/// The steps of that list and everything they need, in order; an empty list when a name is unknown, which is then in
/// `unknown`.
std::vector<Step> withPrerequisites(const QStringList& names, QString& unknown);

// Segmentation
QString makePreview(StepContext& context);
QString smoothVolume(StepContext& context);
QString findThreshold(StepContext& context);
QString eraseNoise(StepContext& context);
QString markBone(StepContext& context);
QString keepSkull(StepContext& context);
QString keepParts(StepContext& context);
QString closeHoles(StepContext& context);
QString replaceBone(StepContext& context);

// Shape
QString mapDistances(StepContext& context);
QString findBoundary(StepContext& context);
QString measureGradient(StepContext& context);
QString openAndClose(StepContext& context);

// Measurement
QString measureStatistics(StepContext& context);
QString measureVolume(StepContext& context);
QString measureSurface(StepContext& context);
QString measureDirections(StepContext& context);

// Views
QString cutAlongAxes(StepContext& context);
QString projectVolume(StepContext& context);
QString cutBoxAndPlane(StepContext& context);
QString resampleIsotropic(StepContext& context);
QString mergePlaced(StepContext& context);
