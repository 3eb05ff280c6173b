#include "trust/ResultHashes.h"

#include "arvo/platform/image/Image2D.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace trust {

void Hash::addBytes(const void* data, std::size_t count)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < count; ++i)
        m_value = (m_value ^ bytes[i]) * 1099511628211u;
}

void Hash::addFloats(const float* values, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        add(std::isnan(values[i]) ? std::numeric_limits<float>::quiet_NaN() : values[i]);
}

void Hash::addVolume(const ArvoImage3D* volume)
{
    add(volume != nullptr && volume->isValid());
    if (!volume || !volume->isValid())
        return;
    const math::Ivec3 size = volume->imageSize();
    const QVector3D spacing = volume->voxelSize();
    add(size);
    for (const int axis : {0, 1, 2})
        add(spacing[axis]);
    add(volume->dataType());
    for (int z = 0; z < size.z; ++z) {
        const char* slice = volume->getConstAxialSlice(z);
        if (volume->dataType() == image::Float32)
            addFloats(reinterpret_cast<const float*>(slice), volume->sizeOfAxialSlice() / sizeof(float));
        else
            addBytes(slice, volume->sizeOfAxialSlice());
    }
}

void Hash::addPicture(const Image2D& picture)
{
    const auto pixels =
        static_cast<std::size_t>(picture.width()) * static_cast<std::size_t>(picture.height());
    add(picture.width());
    add(picture.height());
    add(picture.dataType());
    if (picture.dataType() == Image2D::Float32)
        addFloats(reinterpret_cast<const float*>(picture.dataPtr()), pixels);
    else
        addBytes(picture.dataPtr(),
                 pixels * image::elementWidth(static_cast<image::DataType>(picture.dataType())));
}

void Results::add(const std::string& name, const Hash& hash)
{
    const auto [line, isNew] = m_lines.emplace(name, hash.value());
    if (!isNew && line->second != hash.value()) {
        std::printf("%s: two runs differ\n", name.c_str());
        m_isConsistent = false;
    }
}

void Results::add(const std::string& name, const ArvoImage3D* volume)
{
    Hash hash;
    hash.addVolume(volume);
    add(name, hash);
}

const std::vector<math::Ivec3>& fixedSizes()
{
    static const std::vector<math::Ivec3> sizes = {{13, 11, 9}, {67, 21, 35}};
    return sizes;
}

const char* nameOf(image::DataType type)
{
    switch (type) {
    case image::UInt16:
        return "u16";
    case image::Int16:
        return "i16";
    case image::UInt8:
        return "u8";
    case image::Binary:
        return "mask";
    case image::Reserved:
        return "reserved";
    case image::Float32:
        return "f32";
    case image::Int32:
        return "i32";
    }
    return "none";
}

std::string nameOf(image::DataType type, const math::Ivec3& size)
{
    return std::string("/") + nameOf(type) + "/" + std::to_string(size.x);
}

namespace {

// The 64-bit finaliser of D. Stafford's mix 13 over a counter: every bit of the result depends on every bit of it.
std::uint64_t noise(std::uint64_t counter)
{
    std::uint64_t bits = counter * 0x9e3779b97f4a7c15u;
    bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9u;
    bits = (bits ^ (bits >> 27)) * 0x94d049bb133111ebu;
    return bits ^ (bits >> 31);
}

/// Calls set(slice, index in the slice, noise, share) for every voxel; share falls from 1000 in the middle to below 0.
template <class T, class Set> void fill(ArvoImage3D& volume, unsigned seed, Set&& set)
{
    const math::Ivec3 size = volume.imageSize();
    std::uint64_t counter = static_cast<std::uint64_t>(seed) << 32;
    for (int z = 0; z < size.z; ++z) {
        auto* slice = reinterpret_cast<T*>(volume.getAxialSlice(z));
        for (int y = 0; y < size.y; ++y) {
            for (int x = 0; x < size.x; ++x) {
                const int dx = 2 * x - size.x, dy = 2 * y - size.y, dz = 2 * z - size.z;
                const int share = 1000 - 1000 * dx * dx / (size.x * size.x) -
                                  1000 * dy * dy / (size.y * size.y) - 1000 * dz * dz / (size.z * size.z);
                slice[y * size.x + x] = set(noise(++counter), share);
            }
        }
    }
    volume.editFinished();
}

} // namespace

ArvoImage3D fixedVolume(const math::Ivec3& size, image::DataType type, unsigned seed)
{
    ArvoImage3D volume(size, QVector3D(0.5f, 0.75f, 1.25f), type);
    image::withElementType(type, image::StoredTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        fill<T>(volume, seed, [](std::uint64_t bits, int share) {
            const auto wide = static_cast<int>(bits % 40001) - 20000;
            const int value = bits >> 60 == 0 ? wide : share + static_cast<int>(bits % 200) - 500;
            if constexpr (std::is_same_v<T, float>)
                return static_cast<float>(value) / 16.0f;
            else
                return static_cast<T>(value);
        });
    });
    return volume;
}

ArvoImage3D fixedMask(const math::Ivec3& size, unsigned seed)
{
    ArvoImage3D mask(size, QVector3D(0.5f, 0.75f, 1.25f), image::Binary);
    fill<unsigned char>(mask, seed, [](std::uint64_t bits, int share) {
        return static_cast<unsigned char>(share > 600 ? bits % 256 != 0 : bits % 64 == 0);
    });
    return mask;
}

ArvoImage3D copyOf(const ArvoImage3D& volume)
{
    ArvoImage3D copy;
    copy.copyFrom(&volume);
    return copy;
}

std::vector<std::pair<int, int>> rangesOf(int workers, int count)
{
    const int wanted = std::min(workers, count);
    const int items = (count - 1) / wanted + 1;
    std::vector<std::pair<int, int>> ranges;
    for (int first = 0; first < count; first += items)
        ranges.emplace_back(first, std::min(first + items, count) - 1);
    return ranges;
}

void forEachCut(int slices, const std::function<void()>& prepare, const MakeWorker& make,
                const std::function<void(int, const Workers&)>& finish)
{
    static const std::atomic<bool> never{false};
    for (const int count : {1, 2, 3, 7, 16}) {
        prepare();
        Workers workers;
        for (const auto& [first, last] : rangesOf(count, slices)) {
            workers.push_back(make(first, last));
            workers.back()->setWork(first, last);
        }
        for (const auto& worker : workers)
            worker->startWithCancel(&never);
        for (const auto& worker : workers)
            worker->waitUntilDone();
        finish(count, workers);
    }
}

} // namespace trust
