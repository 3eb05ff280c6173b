#include "Phantom.h"
#include "support/VolumeFile.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

namespace {

struct Ended {
    int code;
    QString output;
    QString problem;
};

/// A folder of its own for each test, and the program run in it.
class CtReport : public testing::Test {
protected:
    void begin(QProcess& process, const QStringList& words) const
    {
        process.setWorkingDirectory(m_folder.path());
        process.start(CT_REPORT_PROGRAM, words);
        ASSERT_TRUE(process.waitForStarted()) << qPrintable(process.errorString());
    }

    static Ended end(QProcess& process)
    {
        EXPECT_TRUE(process.waitForFinished(240000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    Ended run(const QStringList& words) const
    {
        QProcess process;
        begin(process, words);
        return end(process);
    }

    QString path(const QString& name) const { return QDir(m_folder.path()).filePath(name); }
    QStringList left() const { return QDir(m_folder.path()).entryList({"out*", "ct_report_output*"}); }

    QByteArray contents(const QString& name) const
    {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(name);
        return file.readAll();
    }

    QJsonObject json(const QString& name) const
    {
        QJsonParseError error;
        const QJsonObject object = QJsonDocument::fromJson(contents(name), &error).object();
        EXPECT_EQ(error.error, QJsonParseError::NoError) << qPrintable(error.errorString());
        return object;
    }

    QTemporaryDir m_folder;
};

} // namespace

TEST_F(CtReport, TellsWhyAnInputIsNotTakenAndLeavesNothing)
{
    const QString truncated = writePhantom(m_folder.path(), "truncated", {20, 20, 20}, image::Int16);
    ASSERT_TRUE(QFile(path("truncated.raw")).resize(5000));
    const QString flat = writeText(m_folder.path(), "flat.pgm", "P5\n4 4\n255\n" + QByteArray(16, char(7)));
    const QString flatMeta =
        writeText(m_folder.path(), "flat.mha",
                  "ObjectType = Image\nNDims = 2\nDimSize = 4 4\nElementType = MET_UCHAR\n"
                  "ElementDataFile = LOCAL\n" +
                      QByteArray(16, char(7)));
    const QString colour = writeText(m_folder.path(), "colour.mha",
                                     "ObjectType = Image\nNDims = 3\nDimSize = 2 2 2\n"
                                     "ElementNumberOfChannels = 3\nElementType = MET_UCHAR\n"
                                     "ElementDataFile = LOCAL\n" +
                                         QByteArray(24, char(7)));
    const QString text = writeText(m_folder.path(), "letter.txt", "Dear reader,\n");
    const QString empty = writeText(m_folder.path(), "empty.nii", "");
    const QString rawMissing = writeText(m_folder.path(), "header.mhd",
                                         "ObjectType = Image\nNDims = 3\nDimSize = 4 4 4\n"
                                         "ElementType = MET_SHORT\nElementDataFile = nowhere.raw\n");
    QDir(m_folder.path()).mkdir("folder");

    const struct {
        QString input;
        QString found; ///< part of the message
    } cases[] = {{path("missing.mhd"), "no such file"},
                 {truncated, "the file is too short"},
                 {rawMissing, "Cannot open data file"},
                 {flatMeta, "a 2D image; taken are volumes"},
                 {flat, "taken are"},
                 {colour, "3 values; taken are images of one value"},
                 {text, "not an image; taken are"},
                 {empty, "taken are"},
                 {path("folder"), "no DICOM series"}};
    for (const auto& [input, found] : cases) {
        const Ended ended = run({input, "--output", "out"});
        EXPECT_EQ(ended.code, 3) << qPrintable(input);
        EXPECT_TRUE(ended.problem.contains(found)) << qPrintable(ended.problem);
        EXPECT_TRUE(ended.problem.startsWith("ct_report: " + input)) << qPrintable(ended.problem);
        EXPECT_EQ(ended.problem.count('\n'), 1) << qPrintable(ended.problem);
        EXPECT_EQ(left(), QStringList()) << qPrintable(input);
    }
}

TEST_F(CtReport, RefusesAFileThatWasCutShortInEveryFormat)
{
    const ArvoImage3D volume = phantom({20, 20, 20}, image::Int16);
    for (const char* name : {"a.mha", "b.nii", "c.nii.gz", "d.nrrd", "e.hdr"}) {
        ASSERT_EQ(host::writeVolume(volume, path(name).toStdString()), "");
        EXPECT_EQ(run({path(name), "--steps", "preview", "--output", "whole"}).code, 0) << name;
        QFile file(path(name == QString("e.hdr") ? "e.img" : name));
        ASSERT_TRUE(file.resize(file.size() * 3 / 4)) << name;
        const Ended ended = run({path(name), "--steps", "preview", "--output", "out"});
        EXPECT_EQ(ended.code, 3) << name;
        EXPECT_EQ(ended.problem.count('\n'), 1) << qPrintable(ended.problem);
        EXPECT_EQ(left(), QStringList()) << name;
    }
}

TEST_F(CtReport, RefusesACommandLineItDoesNotUnderstand)
{
    const QStringList lines[] = {{"--wrong"},           {"--steps", "smooth,nonsense"},
                                 {"--threads", "none"}, {"--threads", "0"},
                                 {"--output"},          {"a.mhd", "b.mhd"}};
    for (const QStringList& words : lines) {
        const Ended ended = run(words);
        EXPECT_EQ(ended.code, 2) << qPrintable(words.join(' '));
        EXPECT_TRUE(ended.problem.contains("see --help")) << qPrintable(ended.problem);
    }
    EXPECT_EQ(left(), QStringList());
}

TEST_F(CtReport, HelpNamesEveryStep)
{
    const Ended ended = run({"--help"});
    EXPECT_EQ(ended.code, 0);
    for (const char* word : {"usage:", "smooth", "holes", "projections", "merge", "exit codes"})
        EXPECT_TRUE(ended.output.contains(word)) << word;
}

TEST_F(CtReport, SaysWhenTheOutputCannotBeWritten)
{
    const QString input = writePhantom(m_folder.path(), "head", {16, 16, 16}, image::Int16);
    const QString file = writeText(m_folder.path(), "file", "in the way");
    for (const QString& output : {file, file + "/below", QString("/proc/out")}) {
        const Ended ended = run({input, "--steps", "smooth", "--output", output});
        EXPECT_EQ(ended.code, 4) << qPrintable(output);
        EXPECT_TRUE(ended.problem.contains(output)) << qPrintable(ended.problem);
        EXPECT_FALSE(QFileInfo::exists(output + ".unfinished"));
    }
    EXPECT_EQ(contents("file"), "in the way");
}

TEST_F(CtReport, RunsEveryStepOnEveryElementType)
{
    const struct {
        image::DataType type;
        const char* name;
        double skull; ///< the shell; without Hounsfield units Otsu's threshold takes the whole head
    } cases[] = {
        {image::Int16, "int16", 14400}, {image::UInt8, "uint8", 27200}, {image::Float32, "float", 14400}};
    for (const auto& [type, name, expected] : cases) {
        const QString input = writePhantom(m_folder.path(), name, {48, 44, 40}, type);
        const QString output = QString("out_") + name;
        const Ended ended = run({input, "--output", output});
        EXPECT_EQ(ended.code, 0) << name << qPrintable(ended.problem);
        const QByteArray html = contents(output + "/report.html");
        EXPECT_TRUE(html.startsWith("<!DOCTYPE html>") && html.trimmed().endsWith("</html>"));
        EXPECT_EQ(html.count("<section"), html.count("</section>"));
        EXPECT_FALSE(QString::fromUtf8(html).contains(QRegularExpression("<dd>-?(nan|inf)"))) << name;
        const QJsonObject report = json(output + "/report.json");
        EXPECT_EQ(report["steps"].toArray().size(), 22) << name;
        EXPECT_TRUE(report["left_out"].toArray().isEmpty()) << name;
        const double skull = report["sections"]["skull"]["voxels of the largest"]["value"].toDouble();
        EXPECT_NEAR(skull, expected, 0.03 * expected) << name;
        EXPECT_GE(report["sections"]["holes"]["voxels of the closed skull"]["value"].toDouble(), skull);
    }
}

TEST_F(CtReport, BringsAlongWhatAStepNeedsAndReplacesAnEarlierReport)
{
    const QString input = writePhantom(m_folder.path(), "head", {32, 32, 32}, image::Int16);
    EXPECT_EQ(run({input, "--steps", "preview", "--output", "out"}).code, 0);
    writeText(path("out"), "notes.txt", "mine");
    EXPECT_EQ(run({input, "--steps", "skull", "--output", "out", "--volumes", "--threads", "1"}).code, 0);
    QStringList done;
    for (const QJsonValue step : json("out/report.json")["steps"].toArray())
        done.append(step["step"].toString());
    EXPECT_EQ(done, QStringList({"Gaussian smoothing", "Histogram and Otsu threshold",
                                 "Cone-beam noise eraser", "Bone by threshold", "Largest part"}));
    EXPECT_TRUE(QFileInfo::exists(path("out/skull.nii.gz")));
    EXPECT_EQ(contents("out/notes.txt"), "mine");
    EXPECT_EQ(left(), QStringList("out"));
}

TEST_F(CtReport, NamesTheStepThatATinyVolumeIsTooSmallFor)
{
    const math::Ivec3 sizes[] = {{2, 2, 2}, {3, 3, 2}, {5, 4, 3}, {40, 2, 40}};
    for (const math::Ivec3& size : sizes) {
        const QString input = writePhantom(m_folder.path(), "tiny", size, image::Int16);
        const Ended ended = run({input, "--output", "out"});
        EXPECT_TRUE(ended.code == 0 || ended.code == 1) << ended.code << qPrintable(ended.problem);
        const QJsonObject report = json("out/report.json");
        EXPECT_EQ(ended.code == 1, !report["left_out"].toArray().isEmpty());
        EXPECT_EQ(ended.code == 1, ended.problem.contains(": ")) << qPrintable(ended.problem);
    }
    const QString input = writePhantom(m_folder.path(), "thin", {40, 40, 2}, image::Int16);
    const Ended thin = run({input, "--steps", "distance", "--output", "out"});
    EXPECT_EQ(thin.code, 1);
    EXPECT_TRUE(thin.problem.contains("at least 3 voxels along each axis")) << qPrintable(thin.problem);
}

TEST_F(CtReport, StoppedByTheUserItNamesWhatWasLeftOut)
{
    const QString input = writePhantom(m_folder.path(), "large", {160, 160, 160}, image::Int16);
    QProcess process;
    begin(process, {input, "--output", "out", "--threads", "1"});
    QByteArray output;
    while (!output.contains("Gaussian smoothing") && process.waitForReadyRead(60000))
        output += process.readAllStandardOutput();
    ASSERT_TRUE(output.contains("Gaussian smoothing"));
    ASSERT_EQ(kill(static_cast<pid_t>(process.processId()), SIGINT), 0);
    const Ended ended = end(process);
    EXPECT_EQ(ended.code, 130);
    EXPECT_TRUE(ended.output.contains("left out: ")) << qPrintable(ended.output);

    const QJsonArray leftOut = json("out/report.json")["left_out"].toArray();
    EXPECT_TRUE(leftOut.contains("Hole closing") && leftOut.contains("Union of placed volumes"));
    EXPECT_FALSE(leftOut.contains("Gaussian smoothing"));
    EXPECT_TRUE(contents("out/report.html").contains("Stopped by the user. Left out: "));
    EXPECT_EQ(left(), QStringList("out"));
}
