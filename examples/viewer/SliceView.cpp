#include "SliceView.h"

#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace viewer {

namespace {

const QColor maskColour(240, 150, 40);

QString nameOf(host::Plane plane)
{
    switch (plane) {
    case host::Plane::Axial:
        return "Axial";
    case host::Plane::Coronal:
        return "Coronal";
    case host::Plane::Sagittal:
        break;
    }
    return "Sagittal";
}

} // namespace

SliceView::SliceView(host::Plane plane, QWidget* parent)
    : PictureView(parent),
      m_plane(plane),
      m_axes(host::axesOf(plane))
{
    setCursor(Qt::CrossCursor);
    setCaption(nameOf(plane));
}

void SliceView::setVolume(const Volume& volume, const Volume& mask, const math::Ivec3& position)
{
    m_volume = volume;
    m_mask = mask;
    m_position = position;
    render();
}

void SliceView::setWindow(const math::Range<float>& window)
{
    m_window = window;
    render();
}

void SliceView::setPosition(const math::Ivec3& voxel)
{
    const bool isSameSlice = voxel[m_axes.through] == slice();
    m_position = voxel;
    if (isSameSlice)
        update();
    else
        render();
}

void SliceView::render()
{
    if (!m_volume)
        return;
    QImage picture = host::greyPicture(host::sliceAt(*m_volume, m_plane, slice()), m_window);
    if (m_mask)
        picture = host::overlaid(picture, host::sliceAt(*m_mask, m_plane, slice()), maskColour);
    picture = host::upright(picture, m_plane, m_volume->voxelSize());
    setPicture(picture, double(picture.width()) / double(picture.height()));
    setCaption(QString("%1  %2 / %3")
                   .arg(nameOf(m_plane))
                   .arg(slice() + 1)
                   .arg(m_volume->imageSize()[m_axes.through]));
}

QPointF SliceView::pointOf(const math::Ivec3& voxel) const
{
    if (!m_volume)
        return {};
    const math::Ivec3 size = m_volume->imageSize();
    const QRectF area = pictureArea();
    const auto share = [&](int axis) { return (double(voxel[axis]) + 0.5) / double(size[axis]); };
    return {area.left() + share(m_axes.across) * area.width(),
            area.bottom() - share(m_axes.along) * area.height()}; // slices are painted upside down
}

math::Ivec3 SliceView::voxelAt(const QPointF& point) const
{
    math::Ivec3 voxel = m_position;
    const QRectF area = pictureArea();
    if (area.isEmpty())
        return voxel;
    const math::Ivec3 size = m_volume->imageSize();
    const auto place = [&](int axis, double share) {
        voxel[axis] = std::clamp(static_cast<int>(std::floor(share * size[axis])), 0, size[axis] - 1);
    };
    place(m_axes.across, (point.x() - area.left()) / area.width());
    place(m_axes.along, (area.bottom() - point.y()) / area.height());
    return voxel;
}

void SliceView::paintOver(QPainter& painter)
{
    const QRectF area = pictureArea();
    const QPointF cross = pointOf(m_position);
    painter.setPen(QPen(QColor(90, 220, 120, 170), 1));
    painter.drawLine(QPointF(area.left(), cross.y()), QPointF(area.right(), cross.y()));
    painter.drawLine(QPointF(cross.x(), area.top()), QPointF(cross.x(), area.bottom()));
}

void SliceView::leftDragged(const QPointF& at, const QPoint&)
{
    Q_EMIT positionPicked(voxelAt(at));
}

void SliceView::wheelEvent(QWheelEvent* event)
{
    const int turned = event->angleDelta().y();
    if (!m_volume || turned == 0)
        return;
    math::Ivec3 voxel = m_position;
    const int last = m_volume->imageSize()[m_axes.through] - 1;
    voxel[m_axes.through] = std::clamp(slice() + (turned > 0 ? 1 : -1), 0, last);
    Q_EMIT positionPicked(voxel);
}

} // namespace viewer
