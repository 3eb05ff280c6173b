#pragma once

#include <QImage>
#include <QWidget>

namespace viewer {

/// A picture, as large as fits, with a caption; dragging with the right mouse button asks for another window of grey.
class PictureView : public QWidget {
    Q_OBJECT

public:
    explicit PictureView(QWidget* parent = nullptr);

    QSize sizeHint() const override { return {380, 320}; }
    QSize minimumSizeHint() const override { return {120, 100}; }

Q_SIGNALS:
    /// Pixels since the last move: to the right widens the window, upwards brightens.
    void windowDragged(const QPoint& step);

protected:
    /// Shows the picture, `aspect` times as wide as high.
    void setPicture(const QImage& picture, double aspect);
    void setCaption(const QString& caption);
    /// Where the picture is painted; empty without one.
    QRectF pictureArea() const;

    /// Lines over the picture.
    virtual void paintOver(QPainter&) {}
    /// The left button was pressed at `at`, or moved by `step` while it was down.
    virtual void leftDragged(const QPointF& at, const QPoint& step) = 0;

    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    QImage m_picture;
    double m_aspect = 1.0;
    QString m_caption;
    QPoint m_last;
};

} // namespace viewer
