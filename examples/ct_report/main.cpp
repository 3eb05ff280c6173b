// Takes a CT from file to report: every step an operation of the library, shown with pictures, numbers and times.
#include "Options.h"
#include "Steps.h"
#include "support/VolumeFile.h"
#include "Terminal.h"

#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/voxelops/ArvoImage3DConvertor.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>

namespace {

enum ExitCode {
    DONE = 0,
    STEP_FAILED = 1,
    WRONG_USAGE = 2,
    INPUT_UNREADABLE = 3,
    OUTPUT_UNWRITABLE = 4,
    INTERRUPTED = 130
};

int fail(ExitCode code, const QString& problem)
{
    std::fprintf(stderr, "ct_report: %s\n", qPrintable(problem));
    return code;
}

/// Steps work on integer voxels; a float volume is also kept as signed 16-bit.
bool prepare(Study& study)
{
    if (study.ct->dataType() != image::Float32)
        return true;
    study.grey = ArvoImage3DConvertor::convertToCopy(study.ct.get(), image::Int16, 1);
    if (study.grey) {
        if (const ArvoImage3DInfo* orientation = study.ct->info("ImageOrientation"))
            study.grey->addInfo(orientation->tag(), orientation->name(),
                                QByteArray(orientation->data(), orientation->size()));
    }
    return study.grey != nullptr;
}

/// Runs the steps and returns what went wrong, step by step. Steps that failed, that need one that failed, or that came
/// after the flag went up are named in `leftOut`.
QStringList runSteps(const std::vector<Step>& steps, Study& study, Report& report, QStringList& leftOut)
{
    QStringList failures, missing;
    for (const Step& step : steps) {
        const bool canRun =
            std::ranges::none_of(step.needs, [&](auto& name) { return missing.contains(name); });
        QString problem;
        if (canRun && !terminal::cancelFlag()) {
            ThreadProgress progress;
            StepContext context{study, report, terminal::cancelFlag(), progress};
            report.beginSection(step.name, step.title);
            problem = terminal::runShown(step.title, progress, [&] { return step.run(context); });
            if (problem.isEmpty()) {
                report.addTiming({step.title, context.milliseconds, context.voxels});
                continue;
            }
            if (terminal::cancelFlag())
                problem = "stopped";
            else
                failures.append(step.title + ": " + problem);
            report.addText("Left out: " + problem + ".");
        }
        missing.append(step.name);
        leftOut.append(step.title);
    }
    return failures;
}

QString writeVolumes(const Study& study, const QDir& folder)
{
    const struct {
        const char* name;
        const ArvoImage3D* volume;
    } volumes[] = {{"smooth", study.smooth.get()},     {"cleaned", study.cleaned.get()},
                   {"skull", study.skull.get()},       {"closed", study.closed.get()},
                   {"boundary", study.boundary.get()}, {"signed_distance", study.signedDistance.get()}};
    for (const auto& [name, volume] : volumes) {
        if (!volume)
            continue;
        const std::string problem =
            host::writeVolume(*volume, folder.filePath(QString(name) + ".nii.gz").toStdString());
        if (!problem.empty())
            return QString::fromStdString(problem);
    }
    return {};
}

/// Puts a finished folder in the place of the one asked for; files of an earlier report are replaced.
QString publish(const QString& finished, const QString& output)
{
    if (!QFileInfo::exists(output))
        return QDir().rename(finished, output) ? QString() : output + ": cannot be made";
    const QDir from(finished);
    for (const QString& name : from.entryList(QDir::Files)) {
        const QString target = QDir(output).filePath(name);
        QFile::remove(target);
        if (!QFile::rename(from.filePath(name), target))
            return target + ": cannot be written";
    }
    QDir(finished).removeRecursively();
    return {};
}

} // namespace

int main(int argc, char** argv)
{
    Options options = parseOptions(argc, argv);
    if (options.wantsHelp) {
        std::printf("%s", qPrintable(usage()));
        return DONE;
    }
    if (!options.problem.isEmpty())
        return fail(WRONG_USAGE, options.problem + " (see --help)");
    QStringList names = options.steps;
    if (names.isEmpty())
        std::ranges::transform(allSteps(), std::back_inserter(names), &Step::name);
    QString unknown;
    const std::vector<Step> steps = withPrerequisites(names, unknown);
    if (!unknown.isEmpty())
        return fail(WRONG_USAGE, unknown + ": no such step (see --help)");

    if (options.input.isEmpty())
        options.input = ARVO_SAMPLE_VOLUME;
    host::LoadedVolume loaded = host::readVolume(options.input.toStdString());
    if (!loaded.image)
        return fail(INPUT_UNREADABLE, QString::fromStdString(loaded.problem));
    if (!loaded.note.empty())
        std::printf("note: %s\n", loaded.note.c_str());

    const QString output = QFileInfo(options.output).absoluteFilePath();
    if (QFileInfo::exists(output) && !QFileInfo(output).isDir())
        return fail(OUTPUT_UNWRITABLE, output + ": is a file; a folder is needed");
    const QString unfinished = output + ".unfinished";
    QDir(unfinished).removeRecursively();
    if (!QDir().mkpath(unfinished))
        return fail(OUTPUT_UNWRITABLE, unfinished + ": cannot be made");

    threading::setThreadLimit(options.threads);
    terminal::catchInterrupt();
    Study study;
    study.ct = std::move(loaded.image);
    Report report("CT report: " + QFileInfo(options.input).fileName());
    std::printf("%s, on %d threads\n", qPrintable(options.input), threading::idealThreadCount());
    QStringList leftOut;
    const QString failure =
        prepare(study) ? runSteps(steps, study, report, leftOut).join("; ") : "no memory for an integer copy";
    if (!leftOut.isEmpty())
        report.setLeftOut(terminal::cancelFlag() ? "Stopped by the user." : failure + ".", leftOut);

    QString problem = report.write(unfinished);
    if (problem.isEmpty() && options.writesVolumes)
        problem = writeVolumes(study, QDir(unfinished));
    if (problem.isEmpty())
        problem = publish(unfinished, output);
    if (!problem.isEmpty()) {
        QDir(unfinished).removeRecursively();
        return fail(OUTPUT_UNWRITABLE, problem);
    }
    std::printf("%s\n", qPrintable(QDir(output).filePath("report.html")));
    if (terminal::cancelFlag() && !leftOut.isEmpty()) {
        std::printf("stopped; left out: %s\n", qPrintable(leftOut.join(", ")));
        return INTERRUPTED;
    }
    return failure.isEmpty() ? DONE : fail(STEP_FAILED, failure);
}
