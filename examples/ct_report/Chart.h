#pragma once

#include <QMap>
#include <QString>

/// A histogram drawn as SVG.
struct Chart {
    QMap<int, int> counts; ///< value to number of samples
    QString xLabel;
    bool isLogarithmic = false;
    double marker = 0.0; ///< a vertical line at this value,
    QString markerText;  ///< labelled so; without a text there is none

    QString svg() const;
};
