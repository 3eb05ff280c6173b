#include "ProjectionView.h"

#include "support/Picture.h"
#include "support/Projection.h"

#include "arvo/reslice/ArvoImage3DReslicer.h"

#include <algorithm>
#include <cmath>

namespace viewer {

ProjectionView::ProjectionView(QWidget* parent) : PictureView(parent)
{
    setCursor(Qt::SizeHorCursor);
    setCaption("Brightest voxels");
}

void ProjectionView::setVolume(const Volume& volume)
{
    m_volume = volume;
    project();
}

void ProjectionView::setWindow(const math::Range<float>& window)
{
    m_window = window;
    render();
}

void ProjectionView::project()
{
    if (!m_volume)
        return;
    constexpr float LONGEST_SIDE = 300; // pixels: keeps turning smooth on volumes of any size
    const QVector3D extent = host::extentOf(*m_volume), spacing = m_volume->voxelSize();
    const float across = std::hypot(extent.x(), extent.y());
    const float step = std::max(std::min({spacing.x(), spacing.y(), spacing.z()}),
                                std::max(across, extent.z()) / LONGEST_SIDE);
    const auto pixels = [&](float length) {
        return std::max(1, static_cast<int>(std::lround(length / step)));
    };
    const int width = pixels(across), height = pixels(extent.z());
    host::RayTables rays(*m_volume, host::viewAround(m_degrees), width, height, step);
    m_brightest = Image2D(width, height, Image2D::Float32, {step, step, step}, true);
    if (!m_brightest.isValid())
        return;
    ArvoImage3DReslicer::loadMIPReslice(const_cast<ArvoImage3D*>(m_volume.get()), rays.origin.data(),
                                        rays.columns.data(), rays.rows.data(), width, height,
                                        rays.steps.data(), pixels(extent.length()), m_brightest, nullptr,
                                        ArvoImage3DEnums::MIP_COMPARE_MAXIMUM);
    setCaption(QString("Brightest voxels from %1°").arg(m_degrees, 0, 'f', 0));
    render();
}

void ProjectionView::render()
{
    if (!m_brightest.isValid())
        return;
    // Rays beside the volume are 0 and are to look like air; the brightest voxels need more room than a slice's.
    const float width = m_window.second - m_window.first;
    const QImage picture =
        host::greyPicture(m_brightest, {std::max(m_window.first, 0.0f), m_window.second + 0.5f * width});
    setPicture(picture, double(picture.width()) / double(picture.height()));
}

void ProjectionView::leftDragged(const QPointF&, const QPoint& step)
{
    if (step.x() == 0)
        return;
    m_degrees = std::fmod(m_degrees - static_cast<float>(step.x()) + 360.0f, 360.0f);
    project();
}

} // namespace viewer
