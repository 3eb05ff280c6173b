#include "PictureView.h"

#include <QMouseEvent>
#include <QPainter>

namespace viewer {

PictureView::PictureView(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setContextMenuPolicy(Qt::PreventContextMenu);
}

void PictureView::setPicture(const QImage& picture, double aspect)
{
    m_picture = picture;
    m_aspect = aspect;
    update();
}

void PictureView::setCaption(const QString& caption)
{
    m_caption = caption;
    update();
}

QRectF PictureView::pictureArea() const
{
    if (m_picture.isNull())
        return {};
    const double width = std::min(double(this->width()), double(height()) * m_aspect);
    const QSizeF size(width, width / m_aspect);
    return {QPointF((this->width() - size.width()) / 2.0, (height() - size.height()) / 2.0), size};
}

void PictureView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (!m_picture.isNull()) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(pictureArea(), m_picture);
        paintOver(painter);
    }
    const QRect text = rect().adjusted(8, 6, -8, -6);
    painter.setPen(Qt::black); // a shadow, for bright pictures
    painter.drawText(text.translated(1, 1), Qt::AlignTop | Qt::AlignLeft, m_caption);
    painter.setPen(QColor(230, 230, 230));
    painter.drawText(text, Qt::AlignTop | Qt::AlignLeft, m_caption);
}

void PictureView::mousePressEvent(QMouseEvent* event)
{
    m_last = event->pos();
    if (event->button() == Qt::LeftButton && !m_picture.isNull())
        leftDragged(event->position(), {});
}

void PictureView::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint step = event->pos() - m_last;
    m_last = event->pos();
    if (m_picture.isNull())
        return;
    if (event->buttons() & Qt::LeftButton)
        leftDragged(event->position(), step);
    else if (event->buttons() & Qt::RightButton)
        Q_EMIT windowDragged(step);
}

} // namespace viewer
