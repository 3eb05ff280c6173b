#include "Phantom.h"
#include "support/VolumeFile.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>

#include <csignal>

namespace {

struct Ended {
    int code;
    QString output;
    QString problem;
};

/// The program, run in a folder of its own.
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

    /// One line of a problem, and no output.
    void expectRefused(const QString& input, const QString& found) const
    {
        const Ended ended = run({input, "--steps", "preview", "--output", "out"});
        EXPECT_EQ(ended.code, 3) << qPrintable(input);
        EXPECT_TRUE(ended.problem.startsWith("ct_report: " + input)) << qPrintable(ended.problem);
        EXPECT_TRUE(ended.problem.contains(found)) << qPrintable(ended.problem);
        EXPECT_EQ(ended.problem.count('\n'), 1) << qPrintable(ended.problem);
        EXPECT_EQ(left(), QStringList()) << qPrintable(input);
    }

    QStringList left() const { return QDir(m_folder.path()).entryList({"out*", "ct_report_output*"}); }

    QByteArray contents(const QString& name) const
    {
        QFile file(m_folder.path(name));
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

    TestFolder m_folder;
};

} // namespace

TEST_F(CtReport, TellsWhyAnInputIsNotTakenAndLeavesNothing)
{
    QDir(m_folder.path()).mkdir("folder");
    expectRefused(m_folder.path("folder"), "no DICOM series");
    expectRefused(m_folder.path("missing.mhd"), "no such file");
    const QByteArray bytes(16, char(7)), volume = "ObjectType = Image\nNDims = 3\nDimSize = 4 4 4\n";
    const struct {
        const char* name;
        QByteArray text;
        const char* found; ///< part of the message
    } cases[] = {
        {"short.mha", volume + "ElementType = MET_UCHAR\nElementDataFile = LOCAL\n" + bytes,
         "the file is too short"},
        {"header.mhd", volume + "ElementType = MET_SHORT\nElementDataFile = nowhere.raw\n",
         "Cannot open data file"},
        {"flat.mha",
         "ObjectType = Image\nNDims = 2\nDimSize = 4 4\nElementType = MET_UCHAR\nElementDataFile = LOCAL\n" +
             bytes,
         "a 2D image; taken are volumes"},
        {"colour.mha",
         volume + "ElementNumberOfChannels = 3\nElementType = MET_UCHAR\nElementDataFile = LOCAL\n" +
             QByteArray(192, char(7)),
         "3 values; taken are images of one value"},
        {"letter.txt", "Dear reader,\n", "not an image; taken are"},
        {"empty.nii", "", "taken are"}};
    for (const auto& [name, text, found] : cases)
        expectRefused(m_folder.write(name, text), found);

    for (const char* name : {"a.mha", "b.nii", "c.nii.gz", "d.nrrd", "e.hdr"}) {
        const QString path = m_folder.writePhantom({20, 20, 20}, image::Int16, name);
        EXPECT_EQ(run({path, "--steps", "preview", "--output", "whole"}).code, 0) << name;
        QFile file(m_folder.path(name == QString("e.hdr") ? "e.img" : name));
        ASSERT_TRUE(file.resize(file.size() * 3 / 4)) << name;
        expectRefused(path, "");
    }
}

TEST_F(CtReport, ReadsAHeaderWithItsRawVoxels)
{
    const ArvoImage3D volume = phantom({20, 20, 20}, image::UInt8);
    const QString header =
        m_folder.write("head.mhd", "ObjectType = Image\nNDims = 3\nDimSize = 20 20 20\n"
                                   "ElementType = MET_UCHAR\nElementDataFile = head.raw\n");
    const QString voxels = m_folder.write("head.raw", QByteArray(volume.dataPtr(), 20 * 20 * 20));
    EXPECT_EQ(run({header, "--steps", "preview", "--output", "whole"}).code, 0);
    ASSERT_TRUE(QFile::resize(voxels, 6000));
    expectRefused(header, "");
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
    const Ended help = run({"--help"});
    EXPECT_EQ(help.code, 0);
    for (const char* word : {"usage:", "smooth", "holes", "projections", "merge", "exit codes"})
        EXPECT_TRUE(help.output.contains(word)) << word;
}

TEST_F(CtReport, SaysWhenTheOutputCannotBeWritten)
{
    const QString input = m_folder.writePhantom({16, 16, 16});
    const QString file = m_folder.write("file", "in the way");
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
        double skull; ///< the shell; without Hounsfield units Otsu's threshold takes the whole head
    } cases[] = {{image::Int16, 14400}, {image::UInt8, 27200}, {image::Float32, 14400}};
    for (const auto& [type, expected] : cases) {
        const QString input = m_folder.writePhantom({48, 44, 40}, type);
        const Ended ended = run({input, "--output", "out"});
        EXPECT_EQ(ended.code, 0) << type << qPrintable(ended.problem);
        const QByteArray html = contents("out/report.html");
        EXPECT_TRUE(html.startsWith("<!DOCTYPE html>") && html.trimmed().endsWith("</html>"));
        EXPECT_EQ(html.count("<section"), html.count("</section>"));
        EXPECT_FALSE(QString::fromUtf8(html).contains(QRegularExpression("<dd>-?(nan|inf)"))) << type;
        const QJsonObject report = json("out/report.json");
        EXPECT_EQ(report["steps"].toArray().size(), 22) << type;
        EXPECT_TRUE(report["left_out"].toArray().isEmpty()) << type;
        const double skull = report["sections"]["skull"]["voxels of the largest"]["value"].toDouble();
        EXPECT_NEAR(skull, expected, 0.03 * expected) << type;
        EXPECT_GE(report["sections"]["holes"]["voxels of the closed skull"]["value"].toDouble(), skull);
    }
}

TEST_F(CtReport, BringsAlongWhatAStepNeedsAndReplacesAnEarlierReport)
{
    const QString input = m_folder.writePhantom({32, 32, 32});
    EXPECT_EQ(run({input, "--steps", "preview", "--output", "out"}).code, 0);
    m_folder.write("out/notes.txt", "mine");
    EXPECT_EQ(run({input, "--steps", "skull", "--output", "out", "--volumes", "--threads", "1"}).code, 0);
    QStringList done;
    for (const QJsonValue step : json("out/report.json")["steps"].toArray())
        done.append(step["step"].toString());
    EXPECT_EQ(done, QStringList({"Gaussian smoothing", "Histogram and Otsu threshold",
                                 "Cone-beam noise eraser", "Bone by threshold", "Largest part"}));
    EXPECT_TRUE(QFileInfo::exists(m_folder.path("out/skull.nii.gz")));
    EXPECT_EQ(contents("out/notes.txt"), "mine");
    EXPECT_EQ(left(), QStringList("out"));
}

TEST_F(CtReport, NamesTheStepThatATinyVolumeIsTooSmallFor)
{
    const math::Ivec3 sizes[] = {{2, 2, 2}, {3, 3, 2}, {5, 4, 3}, {40, 2, 40}};
    for (const math::Ivec3& size : sizes) {
        const Ended ended = run({m_folder.writePhantom(size), "--output", "out"});
        EXPECT_TRUE(ended.code == 0 || ended.code == 1) << ended.code << qPrintable(ended.problem);
        EXPECT_EQ(ended.code == 1, !json("out/report.json")["left_out"].toArray().isEmpty());
        EXPECT_EQ(ended.code == 1, ended.problem.contains(": ")) << qPrintable(ended.problem);
    }
    const Ended thin = run({m_folder.writePhantom({40, 40, 2}), "--steps", "distance", "--output", "out"});
    EXPECT_EQ(thin.code, 1);
    EXPECT_TRUE(thin.problem.contains("at least 3 voxels along each axis")) << qPrintable(thin.problem);
}

TEST_F(CtReport, StoppedByTheUserItNamesWhatWasLeftOut)
{
    QProcess process;
    begin(process, {m_folder.writePhantom({160, 160, 160}), "--output", "out", "--threads", "1"});
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
