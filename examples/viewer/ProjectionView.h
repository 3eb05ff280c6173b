#pragma once

#include "Operations.h"
#include "PictureView.h"

#include "arvo/platform/image/Image2D.h"

namespace viewer {

/// The brightest voxel of each ray through the volume; dragging with the left mouse button walks around it.
class ProjectionView : public PictureView {
    Q_OBJECT

public:
    explicit ProjectionView(QWidget* parent = nullptr);

    void setVolume(const Volume& volume);
    void setWindow(const math::Range<float>& window);
    float degrees() const { return m_degrees; }

protected:
    void leftDragged(const QPointF& at, const QPoint& step) override;

private:
    void project();
    void render();

    Volume m_volume;
    Image2D m_brightest;
    math::Range<float> m_window{0.0f, 1.0f};
    float m_degrees = 0.0f;
};

} // namespace viewer
