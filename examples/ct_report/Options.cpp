#include "Options.h"

#include "Steps.h"

QString usage()
{
    QString text =
        "usage: ct_report [VOLUME] [--output FOLDER] [--steps NAME,NAME,...] [--threads N] [--volumes]\n\n"
        "Reads a CT (NIfTI, NRRD, MetaImage or a folder with a DICOM series), runs the steps below and "
        "writes\n"
        "report.html, report.json and the pictures into FOLDER (default: ct_report_output). Without a "
        "volume:\n"
        "the sample skull. --volumes also writes the result volumes as NIfTI. Steps bring along what they "
        "need.\n\n";
    for (const Step& step : allSteps())
        text += QString("  %1 %2\n").arg(step.name, -12).arg(step.title);
    return text + "\nexit codes: 0 done, 1 a step failed, 2 wrong command line, 3 the input cannot be read, "
                  "4 the output cannot\n"
                  "be written, 130 stopped by Ctrl-C (the report then tells what was left out)\n";
}

Options parseOptions(int argc, char** argv)
{
    Options options;
    QStringList words;
    for (int i = 1; i < argc; ++i)
        words.append(QString::fromLocal8Bit(argv[i]));
    while (!words.isEmpty() && options.problem.isEmpty()) {
        const QString word = words.takeFirst();
        const auto value = [&] {
            if (words.isEmpty())
                options.problem = word + " takes a value";
            return words.isEmpty() ? QString() : words.takeFirst();
        };
        if (word == "--help" || word == "-h") {
            options.wantsHelp = true;
        } else if (word == "--output") {
            options.output = value();
        } else if (word == "--steps") {
            options.steps = value().split(',', Qt::SkipEmptyParts);
        } else if (word == "--threads") {
            bool isNumber = false;
            options.threads = value().toInt(&isNumber);
            if (options.problem.isEmpty() && (!isNumber || options.threads < 1))
                options.problem = "--threads takes a number of at least 1";
        } else if (word == "--volumes") {
            options.writesVolumes = true;
        } else if (word.startsWith('-')) {
            options.problem = word + ": no such option";
        } else if (options.input.isEmpty()) {
            options.input = word;
        } else {
            options.problem = word + ": one volume is enough";
        }
    }
    return options;
}
