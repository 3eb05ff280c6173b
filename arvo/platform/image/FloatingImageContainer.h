#pragma once

#include "arvo/platform/Export.h"

#include <QVector3D>

#include <memory>

class ArvoImage3D;

/// A volume placed in world space by two corners; owns the volume.
class ARVO_PLATFORM_EXPORT FloatingImageContainer {
public:
    /// Takes the volume, which fills the box between the two corners.
    FloatingImageContainer(std::unique_ptr<ArvoImage3D> image, const QVector3D& bottomLeft,
                           const QVector3D& topRight);
    FloatingImageContainer(const FloatingImageContainer&) = delete;
    FloatingImageContainer& operator=(const FloatingImageContainer&) = delete;
    ~FloatingImageContainer();

    /// The volume, which stays owned by the container.
    ArvoImage3D* getImage() const { return m_image.get(); }
    /// The corners in world units.
    /// @{
    QVector3D getBottomLeft() const { return m_bottomLeft; }
    QVector3D getTopRight() const { return m_topRight; }
    /// @}

private:
    std::unique_ptr<ArvoImage3D> m_image;
    QVector3D m_bottomLeft;
    QVector3D m_topRight;
};
