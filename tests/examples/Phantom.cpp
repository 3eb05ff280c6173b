#include "Phantom.h"

#include "support/RandomVolume.h"
#include "support/VolumeFile.h"

#include <gtest/gtest.h>

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
    const auto share = [](int i, int extent) { return (float(i) + 0.5f) / float(extent) * 2.0f - 1.0f; };
    testing_support::withType(type, [&](auto element) {
        using T = typename decltype(element)::type;
        const auto all = testing_support::voxels<T>(volume);
        testing_support::forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
            const float value = hounsfield(share(x, size.x), share(y, size.y), share(z, size.z));
            all[i] = static_cast<T>(sizeof(T) == 1 ? (value + 1000.0f) / 10.0f : value);
        });
    });
    volume.editFinished();
    return volume;
}

QString TestFolder::write(const QString& name, const QByteArray& text) const
{
    QFile file(path(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    return file.fileName();
}

QString TestFolder::writePhantom(const math::Ivec3& size, image::DataType type, const QString& name) const
{
    EXPECT_EQ(host::writeVolume(phantom(size, type), path(name).toStdString()), "");
    return path(name);
}
