#pragma once

#include "arvo/platform/Export.h"

#include <QVector3D>

#include <memory>

class ArvoImage3D;

/// A volume placed in world space by two corners; owns the volume.
class ARVO_PLATFORM_EXPORT FloatingImageContainer {
public:
    FloatingImageContainer(std::unique_ptr<ArvoImage3D> image, const QVector3D& bottomLeft,
                           const QVector3D& topRight);
    FloatingImageContainer(const FloatingImageContainer&) = delete;
    FloatingImageContainer& operator=(const FloatingImageContainer&) = delete;
    ~FloatingImageContainer();

    ArvoImage3D* getImage() const { return m_image.get(); }
    QVector3D getBottomLeft() const { return m_bottomLeft; }
    QVector3D getTopRight() const { return m_topRight; }

private:
    std::unique_ptr<ArvoImage3D> m_image;
    QVector3D m_bottomLeft;
    QVector3D m_topRight;
};
