#include "Phantom.h"

#include "arvo/platform/image/ElementTypes.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <cmath>

namespace {

float hounsfield(float x, float y, float z) // from -1 to 1 along each axis of the volume
{
    const float r = std::sqrt(x * x + y * y + z * z);
    const bool isOpening = z > 0.0f && std::hypot(x, y) < 0.15f;
    const bool isSpeck = std::abs(x - 0.9f) < 0.06f && std::abs(y - 0.9f) < 0.06f;
    if (isSpeck || (r > 0.45f && r < 0.75f && !isOpening))
        return 1200.0f;
    return r < 0.85f ? 40.0f : -1000.0f;
}

} // namespace

ArvoImage3D phantom(const math::Ivec3& size, image::DataType type)
{
    ArvoImage3D volume(size, {0.8f, 0.8f, 1.2f}, type);
    image::withElementType(type, image::VoxelTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        T* voxel = reinterpret_cast<T*>(volume.dataPtr());
        const auto share = [](int i, int extent) {
            return (static_cast<float>(i) + 0.5f) / static_cast<float>(extent) * 2.0f - 1.0f;
        };
        for (int z = 0; z < size.z; ++z) {
            for (int y = 0; y < size.y; ++y) {
                for (int x = 0; x < size.x; ++x) {
                    const float value = hounsfield(share(x, size.x), share(y, size.y), share(z, size.z));
                    *voxel++ = static_cast<T>(sizeof(T) == 1 ? (value + 1000.0f) / 10.0f : value);
                }
            }
        }
    });
    volume.editFinished();
    return volume;
}

QString writePhantom(const QString& folder, const QString& name, const math::Ivec3& size,
                     image::DataType type)
{
    const char* const element = type == image::Float32 ? "MET_FLOAT"
                                : type == image::UInt8 ? "MET_UCHAR"
                                                       : "MET_SHORT";
    const ArvoImage3D volume = phantom(size, type);
    writeText(folder, name + ".raw",
              QByteArray(volume.dataPtr(), qsizetype(volume.sizeOfAxialSlice()) * size.z));
    return writeText(
        folder, name + ".mhd",
        QString("ObjectType = Image\nNDims = 3\nDimSize = %1 %2 %3\nElementSpacing = 0.8 0.8 1.2\n"
                "ElementType = %4\nElementByteOrderMSB = False\nElementDataFile = %5.raw\n")
            .arg(size.x)
            .arg(size.y)
            .arg(size.z)
            .arg(element, name)
            .toUtf8());
}

QString writeText(const QString& folder, const QString& name, const QByteArray& text)
{
    const QString path = QDir(folder).filePath(name);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    return path;
}
