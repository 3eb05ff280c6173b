#include "Chart.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr int WIDTH = 600, HEIGHT = 280, LEFT = 24, RIGHT = 24, TOP = 34, BOTTOM = 52, BARS = 138;

/// A round step that cuts the range into about eight.
double tickStep(double range)
{
    const double rough = std::max(range, 1.0) / 8.0;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (rough <= factor * power)
            return factor * power;
    }
    return 10.0 * power;
}

} // namespace

QString Chart::svg() const
{
    QString out =
        QString("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %1 %2\" width=\"%1\" height=\"%2\" "
                "font-family=\"sans-serif\" font-size=\"17\"><rect width=\"100%\" height=\"100%\" "
                "fill=\"white\"/>")
            .arg(WIDTH)
            .arg(HEIGHT);
    if (counts.isEmpty())
        return out + "</svg>";
    const double first = counts.firstKey();
    const double range = std::max(counts.lastKey() - first + 1.0, 1.0);
    const auto xOf = [&](double value) { return LEFT + (value - first) / range * (WIDTH - LEFT - RIGHT); };

    std::vector<double> bars(BARS, 0.0);
    for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
        const auto bar = static_cast<std::size_t>((it.key() - first) / range * BARS);
        bars[std::min<std::size_t>(bar, BARS - 1)] += it.value();
    }
    const auto heightOf = [&](double count) { return isLogarithmic ? std::log10(1.0 + count) : count; };
    const double highest = std::max(heightOf(*std::ranges::max_element(bars)), 1.0);
    const double barWidth = double(WIDTH - LEFT - RIGHT) / BARS;
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const double height = heightOf(bars[i]) / highest * (HEIGHT - TOP - BOTTOM);
        out += QString("<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" fill=\"#2b7a78\"/>")
                   .arg(LEFT + static_cast<double>(i) * barWidth, 0, 'f', 2)
                   .arg(HEIGHT - BOTTOM - height, 0, 'f', 2)
                   .arg(barWidth * 0.92, 0, 'f', 2)
                   .arg(height, 0, 'f', 2);
    }
    const double step = tickStep(range);
    for (double tick = std::ceil(first / step) * step; tick <= first + range; tick += step)
        out += QString("<text x=\"%1\" y=\"%2\" text-anchor=\"middle\" fill=\"#5d6b76\">%3</text>")
                   .arg(xOf(tick), 0, 'f', 1)
                   .arg(HEIGHT - BOTTOM + 19)
                   .arg(tick, 0, 'f', 0);
    out += QString("<line x1=\"%1\" y1=\"%3\" x2=\"%2\" y2=\"%3\" stroke=\"#5d6b76\"/>"
                   "<text x=\"%4\" y=\"%5\" text-anchor=\"middle\" fill=\"#24303a\">%6</text>")
               .arg(LEFT)
               .arg(WIDTH - RIGHT)
               .arg(HEIGHT - BOTTOM)
               .arg(WIDTH / 2)
               .arg(HEIGHT - 8)
               .arg(xLabel.toHtmlEscaped());
    if (!markerText.isEmpty())
        out += QString("<line x1=\"%1\" y1=\"%2\" x2=\"%1\" y2=\"%3\" stroke=\"#b5483a\" stroke-width=\"2\"/>"
                       "<text x=\"%1\" y=\"%4\" text-anchor=\"middle\" fill=\"#b5483a\">%5</text>")
                   .arg(xOf(marker), 0, 'f', 1)
                   .arg(TOP - 6)
                   .arg(HEIGHT - BOTTOM)
                   .arg(TOP - 12)
                   .arg(markerText.toHtmlEscaped());
    return out + "</svg>";
}
