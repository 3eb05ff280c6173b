#include "arvo/platform/image/FloatingImageContainer.h"

#include "arvo/platform/image/ArvoImage3D.h"

#include <utility>

FloatingImageContainer::FloatingImageContainer(std::unique_ptr<ArvoImage3D> image,
                                               const QVector3D& bottomLeft, const QVector3D& topRight)
    : m_image(std::move(image)),
      m_bottomLeft(bottomLeft),
      m_topRight(topRight)
{
}

FloatingImageContainer::~FloatingImageContainer() = default;
