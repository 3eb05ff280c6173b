#pragma once

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/math/Range.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include <QString>

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

namespace viewer {

using Volume = std::shared_ptr<const ArvoImage3D>;

/// What a job on the worker thread may look at and must report to.
struct JobControl {
    const std::atomic<bool>& cancel;
    ThreadProgress& progress;
};

/// What a job hands back. A job that failed has a problem and nothing else.
struct Outcome {
    Volume volume;                            ///< takes the place of the volume on show, unless null
    Volume mask;                              ///< takes the place of the overlay, unless null
    std::optional<math::Range<float>> window; ///< in which `volume` is best seen, if not its own
    QString summary;                          ///< one line for the status bar
    QString problem;
    bool isNewSubject = false; ///< `volume` was read from a file: nothing of the one before is kept
    bool isCancelled = false;

    static Outcome failed(const QString& problem);
};

/// A number that the user sets before an operation runs; a SWITCH is 0 or 1.
struct Parameter {
    enum Kind { NUMBER, SWITCH, VOXEL_VALUE };

    QString name;
    QString unit;
    Kind kind;
    double initial, lowest, highest; ///< a VOXEL_VALUE takes the value range of the volume as its bounds
    int decimals;
};

/// What an operation works on.
struct Subject {
    Volume volume;
    Volume mask; ///< null when there is none
};

/// One entry of the list: its name, its parameters in the order of `values`, and the work itself, done on a thread that
/// is not the window's.
struct Operation {
    QString name;
    QString hint;
    bool needsMask;
    std::vector<Parameter> parameters;
    Outcome (*run)(const Subject& subject, const std::vector<double>& values, const JobControl& control);
};

const std::vector<Operation>& allOperations();

/// The parameter with the bounds and the initial value that suit the volume.
Parameter fitted(const Parameter& parameter, const ArvoImage3D& volume);

} // namespace viewer
