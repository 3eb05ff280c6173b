#pragma once

#include "Operations.h"
#include "PictureView.h"

#include "support/Picture.h"

namespace viewer {

/// One slice of the volume with the mask over it and a crosshair at the voxel that all views share.
class SliceView : public PictureView {
    Q_OBJECT

public:
    explicit SliceView(host::Plane plane, QWidget* parent = nullptr);

    /// The mask may be null; it has the size of the volume, and the position lies in both.
    void setVolume(const Volume& volume, const Volume& mask, const math::Ivec3& position);
    void setWindow(const math::Range<float>& window);
    void setPosition(const math::Ivec3& voxel);
    int slice() const { return m_position[m_axes.through]; }

    /// The point of this widget where the voxel is painted, and the voxel painted at a point, on this slice.
    QPointF pointOf(const math::Ivec3& voxel) const;
    math::Ivec3 voxelAt(const QPointF& point) const;

Q_SIGNALS:
    void positionPicked(const math::Ivec3& voxel);

protected:
    void paintOver(QPainter& painter) override;
    void leftDragged(const QPointF& at, const QPoint& step) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void render();

    host::Plane m_plane;
    host::PlaneAxes m_axes;
    Volume m_volume;
    Volume m_mask;
    math::Range<float> m_window{0.0f, 1.0f};
    math::Ivec3 m_position;
};

} // namespace viewer
