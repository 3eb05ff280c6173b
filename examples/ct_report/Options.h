#pragma once

#include <QString>
#include <QStringList>

/// What the command line asks for.
struct Options {
    QString input;
    QString output = "ct_report_output";
    QStringList steps; ///< empty: all
    int threads = 0;   ///< 0: all
    bool writesVolumes = false;
    bool wantsHelp = false;
    QString problem; ///< what is wrong with the command line, if anything
};

Options parseOptions(int argc, char** argv);
QString usage();
