#pragma once

#include "arvo/platform/Export.h"
#include "arvo/platform/image/DataType.h"
#include "arvo/platform/image/Image2D.h"

#include <QVector3D>

namespace conversions {

/// The pixel type with the same elements.
ARVO_PLATFORM_EXPORT Image2D::DataType toImage2DDataType(image::DataType type);

} // namespace conversions

namespace data {

/// Vectors of Qt as the float arrays that the operations take.
class ARVO_PLATFORM_EXPORT Conversions {
public:
    /// The vector's three floats x, y, z; valid as long as the vector is.
    static const float* toArray(const QVector3D& vector);
};

} // namespace data
