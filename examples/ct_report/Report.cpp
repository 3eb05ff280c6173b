#include "Report.h"

#include <QBuffer>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

namespace {

constexpr const char* STYLE = R"css(
:root { color-scheme: light; --ink: #24303a; --soft: #5d6b76; --line: #dfe5e9; --paper: #fbfcfc; --accent: #2b7a78; }
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 62rem; padding: 1.5rem 1rem 4rem; background: var(--paper); color: var(--ink);
       font: 16px/1.5 system-ui, "Helvetica Neue", Arial, sans-serif; }
h1 { font-size: 1.6rem; margin: 0 0 .3rem; overflow-wrap: anywhere; } h2 { font-size: 1.15rem; margin: 2.2rem 0 .6rem; border-top: 1px solid var(--line);
     padding-top: 1rem; }
p { margin: .4rem 0; color: var(--soft); } .warning { color: #8a3b12; background: #fdf1e7; padding: .6rem .8rem; border-radius: 6px; }
dl { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(9rem, 45%), 1fr)); gap: .5rem; margin: .6rem 0; }
dl div { background: #fff; border: 1px solid var(--line); border-radius: 6px; padding: .45rem .7rem; }
dt { overflow-wrap: anywhere; color: var(--soft); font-size: .8rem; } dd { margin: 0; font-size: 1.1rem; font-variant-numeric: tabular-nums; }
dd small { color: var(--soft); }
figure { margin: .8rem 0; } figure img, figure svg { max-width: 100%; height: auto; border-radius: 4px; background: #fff; }
figure img { background: #000; } figcaption { overflow-wrap: anywhere; color: var(--soft); font-size: .85rem; }
.figures { display: flex; flex-wrap: wrap; gap: 1rem; } .figures figure { flex: 0 1 auto; max-width: 100%; }
table { border-collapse: collapse; width: 100%; font-size: .9rem; } th, td { text-align: left; padding: .3rem .5rem;
        border-bottom: 1px solid var(--line); } td.n, th.n { text-align: right; font-variant-numeric: tabular-nums; }
@media print { body { max-width: none; padding: 0; } figure, dl div, tr { break-inside: avoid; } h2 { break-after: avoid; } }
)css";

QString escaped(const QString& text)
{
    return text.toHtmlEscaped();
}

/// With digits in groups of three.
QString readable(double value, int decimals)
{
    return QLocale(QLocale::English).toString(value, 'f', decimals);
}

QByteArray png(const QImage& picture)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "PNG");
    return bytes;
}

QString written(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush())
        return path + ": cannot be written: " + file.errorString();
    return {};
}

QString speed(const Report::Timing& timing)
{
    if (timing.voxels <= 0.0 || timing.milliseconds <= 0.0)
        return "–";
    return readable(timing.voxels / timing.milliseconds / 1000.0, 0);
}

} // namespace

void Report::beginSection(const QString& id, const QString& title)
{
    m_sections.push_back({id, title, {}, {}, {}});
}

void Report::addText(const QString& text)
{
    m_sections.back().texts.push_back(text);
}

void Report::addNumber(const QString& name, double value, const QString& unit, int decimals)
{
    m_sections.back().numbers.push_back({name, value, unit, decimals});
}

void Report::addPicture(const QString& name, const QString& caption, const QImage& picture)
{
    m_sections.back().figures.push_back({name, caption, picture, {}});
}

void Report::addChart(const QString& name, const QString& caption, const QString& svg)
{
    m_sections.back().figures.push_back({name, caption, {}, svg});
}

void Report::setLeftOut(const QString& reason, const QStringList& steps)
{
    m_leftOutReason = reason;
    m_leftOut = steps;
}

QString Report::html() const
{
    QString page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                   "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
                   escaped(m_title) + "</title>\n<style>" + STYLE + "</style>\n</head>\n<body>\n<h1>" +
                   escaped(m_title) + "</h1>\n<p>" +
                   escaped(QDateTime::currentDateTime().toString("d MMMM yyyy, hh:mm")) + "</p>\n";
    if (!m_leftOut.isEmpty())
        page += "<p class=\"warning\">" + escaped(m_leftOutReason + " Left out: " + m_leftOut.join(", ")) +
                ".</p>\n";
    for (const Section& section : m_sections) {
        page += "<section id=\"" + escaped(section.id) + "\">\n<h2>" + escaped(section.title) + "</h2>\n";
        for (const QString& text : section.texts)
            page += "<p>" + escaped(text) + "</p>\n";
        if (!section.numbers.empty())
            page += "<dl>\n";
        for (const Number& number : section.numbers)
            page += "<div><dt>" + escaped(number.name) + "</dt><dd>" +
                    readable(number.value, number.decimals) + " <small>" + escaped(number.unit) +
                    "</small></dd></div>\n";
        if (!section.numbers.empty())
            page += "</dl>\n";
        page += "<div class=\"figures\">\n";
        for (const Figure& figure : section.figures) {
            const QString content = figure.picture.isNull()
                                        ? figure.svg
                                        : "<img alt=\"" + escaped(figure.caption) +
                                              "\" src=\"data:image/png;base64," +
                                              QString::fromLatin1(png(figure.picture).toBase64()) + "\">";
            page +=
                "<figure>" + content + "<figcaption>" + escaped(figure.caption) + "</figcaption></figure>\n";
        }
        page += "</div>\n</section>\n";
    }
    page += "<section id=\"steps\">\n<h2>Steps</h2>\n<table><tr><th>step</th><th class=\"n\">time in ms</th>"
            "<th class=\"n\">million voxels a second</th></tr>\n";
    for (const Timing& timing : m_timings)
        page += "<tr><td>" + escaped(timing.step) + "</td><td class=\"n\">" +
                readable(timing.milliseconds, 2) + "</td><td class=\"n\">" + speed(timing) + "</td></tr>\n";
    return page + "</table>\n</section>\n</body>\n</html>\n";
}

QByteArray Report::json() const
{
    QJsonObject sections;
    for (const Section& section : m_sections) {
        QJsonObject numbers;
        for (const Number& number : section.numbers)
            numbers[number.name] = QJsonObject{{"value", number.value}, {"unit", number.unit}};
        sections[section.id] = numbers;
    }
    QJsonArray steps;
    for (const Timing& timing : m_timings)
        steps.append(QJsonObject{
            {"step", timing.step}, {"milliseconds", timing.milliseconds}, {"voxels", timing.voxels}});
    const QJsonObject root{{"title", m_title},
                           {"sections", sections},
                           {"steps", steps},
                           {"left_out", QJsonArray::fromStringList(m_leftOut)}};
    return QJsonDocument(root).toJson();
}

QString Report::write(const QString& folder) const
{
    const QDir directory(folder);
    QString problem = written(directory.filePath("report.html"), html().toUtf8());
    if (problem.isEmpty())
        problem = written(directory.filePath("report.json"), json());
    for (const Section& section : m_sections) {
        for (const Figure& figure : section.figures) {
            if (!problem.isEmpty())
                return problem;
            const bool isChart = figure.picture.isNull();
            problem = written(directory.filePath(figure.name + (isChart ? ".svg" : ".png")),
                              isChart ? figure.svg.toUtf8() : png(figure.picture));
        }
    }
    return problem;
}
