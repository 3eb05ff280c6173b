#pragma once

#include <QImage>
#include <QPolygonF>
#include <QRect>
#include <QSize>

#include <cstddef>

namespace geometry {

/// The pixels that a polygon covers on a screen.
class PolygonRaster {
public:
    /// Paints the polygon, given in fractions of the screen, by the odd-even rule. Invalid afterwards when the screen
    /// has no pixel, a side that the painter does not reach across (32767 pixels) or no memory, or when a point is no
    /// finite number.
    PolygonRaster(const QSize& screen, const QPolygonF& polygon);

    bool isValid() const { return !m_image.isNull(); }

    /// The rectangle around the painted pixels.
    const QRect& paintedRect() const { return m_painted; }

    /// False outside the screen.
    bool isPainted(int x, int y) const
    {
        return static_cast<unsigned>(x) < m_width && static_cast<unsigned>(y) < m_height &&
               m_pixels[static_cast<std::ptrdiff_t>(y) * m_stride + x] == PAINTED;
    }

private:
    static constexpr QRgb PAINTED = 0xffffffff;

    QImage m_image;
    const QRgb* m_pixels = nullptr;
    std::ptrdiff_t m_stride = 0;
    unsigned m_width = 0;
    unsigned m_height = 0;
    QRect m_painted;
};

} // namespace geometry
