#pragma once

#include <QImage>
#include <QString>

#include <vector>

/// What the steps found: numbers, pictures and charts by section, and how long each step took.
///
/// Written as one self-contained HTML page, a JSON file with the same numbers, and the pictures beside them.
class Report {
public:
    struct Timing {
        QString step;
        double milliseconds;
        double voxels; ///< voxels the step went over; 0 when that means nothing
    };

    explicit Report(const QString& title) : m_title(title) {}

    void beginSection(const QString& id, const QString& title);
    void addText(const QString& text);
    void addNumber(const QString& name, double value, const QString& unit, int decimals = 1);
    void addPicture(const QString& name, const QString& caption, const QImage& picture);
    /// A chart as SVG markup of its own.
    void addChart(const QString& name, const QString& caption, const QString& svg);
    void addTiming(const Timing& timing) { m_timings.push_back(timing); }
    /// Steps that were not run, with the reason; shown at the top.
    void setLeftOut(const QString& reason, const QStringList& steps);

    /// Writes report.html, report.json and the pictures into the folder; an empty text on success, else the problem.
    QString write(const QString& folder) const;

private:
    struct Number {
        QString name;
        double value;
        QString unit;
        int decimals;
    };
    struct Figure {
        QString name;
        QString caption;
        QImage picture; ///< or
        QString svg;
    };
    struct Section {
        QString id;
        QString title;
        QStringList texts;
        std::vector<Number> numbers;
        std::vector<Figure> figures;
    };

    QString html() const;
    QByteArray json() const;

    QString m_title;
    QString m_leftOutReason;
    QStringList m_leftOut;
    std::vector<Section> m_sections;
    std::vector<Timing> m_timings;
};
