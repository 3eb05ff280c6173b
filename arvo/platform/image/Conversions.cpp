#include "arvo/platform/image/Conversions.h"

namespace conversions {

Image2D::DataType toImage2DDataType(image::DataType type)
{
    return static_cast<Image2D::DataType>(type);
}

} // namespace conversions

namespace data {

const float* Conversions::toArray(const QVector3D& vector)
{
    static_assert(sizeof(QVector3D) == 3 * sizeof(float));
    return reinterpret_cast<const float*>(&vector);
}

} // namespace data
