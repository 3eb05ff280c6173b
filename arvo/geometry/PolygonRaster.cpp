#include "arvo/geometry/PolygonRaster.h"

#include <QBrush>
#include <QColor>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace geometry {

namespace {

constexpr int LARGEST_SIDE = 32767;

/// The polygon in pixels; the fractions are scaled in double.
QPolygonF inPixels(const QPolygonF& polygon, const QSize& screen)
{
    QPolygonF scaled;
    scaled.reserve(polygon.size());
    for (const QPointF& point : polygon)
        scaled.append(QPointF(screen.width() * point.x(), screen.height() * point.y()));
    return scaled;
}

bool isFinite(const QPointF& point)
{
    return std::isfinite(point.x()) && std::isfinite(point.y());
}

} // namespace

PolygonRaster::PolygonRaster(const QSize& screen, const QPolygonF& polygon)
{
    if (screen.isEmpty() || screen.width() > LARGEST_SIDE || screen.height() > LARGEST_SIDE)
        return;
    const QPolygonF scaled = inPixels(polygon, screen);
    if (!std::all_of(scaled.begin(), scaled.end(), isFinite))
        return;
    QImage image(screen, QImage::Format_RGB32);
    if (image.isNull())
        return;
    image.fill(0);
    {
        QPainter painter(&image);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QBrush(QColor::fromRgb(PAINTED), Qt::SolidPattern));
        painter.drawPolygon(scaled, Qt::OddEvenFill);
    }
    m_image = image;
    m_pixels = reinterpret_cast<const QRgb*>(m_image.constBits());
    m_stride = m_image.bytesPerLine() / static_cast<std::ptrdiff_t>(sizeof(QRgb));
    m_width = static_cast<unsigned>(screen.width());
    m_height = static_cast<unsigned>(screen.height());

    // The painter's own rounding decides which pixels are covered, so they are looked up, not computed.
    for (int y = 0; y < screen.height(); ++y) {
        const QRgb* row = m_pixels + y * m_stride;
        const QRgb* first = std::find(row, row + m_width, PAINTED);
        if (first == row + m_width)
            continue;
        const QRgb* last = row + m_width - 1;
        while (*last != PAINTED)
            --last;
        m_painted |= QRect(QPoint(static_cast<int>(first - row), y), QPoint(static_cast<int>(last - row), y));
    }
}

} // namespace geometry
