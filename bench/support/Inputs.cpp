#include "support/Inputs.h"

#include "support/Phantom.h"

#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <string>

namespace inputs {

namespace {

std::uint32_t bits(int value)
{
    return static_cast<std::uint32_t>(value);
}

/// The volume of that name and edge, filled by voxel(x, y, z) at the first call.
template <class T, class Voxel>
const ArvoImage3D& made(const std::string& name, int edge, image::DataType type, Voxel voxel)
{
    static std::map<std::string, ArvoImage3D> volumes;
    ArvoImage3D& volume = volumes[name + '@' + std::to_string(edge)];
    if (volume.isValid())
        return volume;
    volume.create(math::Ivec3(edge, edge, edge), QVector3D(1.0f, 1.0f, 1.0f), type);
    T* next = frame::VolumeView<T>(volume).data();
    for (int z = 0; z < edge; ++z) {
        for (int y = 0; y < edge; ++y) {
            for (int x = 0; x < edge; ++x)
                *next++ = voxel(x, y, z);
        }
    }
    volume.editFinished();
    return volume;
}

} // namespace

const ArvoImage3D& ct16(int edge, int seed)
{
    return made<short>("CT16" + std::to_string(seed), edge, image::Int16, [=](int x, int y, int z) {
        return static_cast<short>(phantom::ctValue(x, y, z, edge, bits(seed)));
    });
}

const ArvoImage3D& ct8(int edge, int seed)
{
    const frame::VolumeView<const short> ct(ct16(edge, seed));
    return made<unsigned char>("CT8" + std::to_string(seed), edge, image::UInt8, [&](int x, int y, int z) {
        return static_cast<unsigned char>(std::clamp((ct.row(y, z)[x] + 1024) >> 3, 0, 255));
    });
}

const ArvoImage3D& ctF(int edge, int seed)
{
    const frame::VolumeView<const short> ct(ct16(edge, seed));
    return made<float>("CTF" + std::to_string(seed), edge, image::Float32, [&](int x, int y, int z) {
        const std::uint32_t fraction = phantom::hash(bits(x), bits(y), bits(z), bits(seed)) >> 24;
        return static_cast<float>(ct.row(y, z)[x]) + static_cast<float>(fraction) / 256.0f;
    });
}

const ArvoImage3D& smooth(int edge)
{
    struct Ball {
        std::int64_t x, y, z, radius2;
    };
    std::array<Ball, 60> balls;
    for (std::uint32_t i = 0; i < balls.size(); ++i) {
        const auto centre = [&](std::uint32_t axis) -> std::int64_t {
            return phantom::hash(i, axis, 0, 201) % bits(2 * edge);
        };
        const std::int64_t radius = std::int64_t(edge) * (12 + phantom::hash(i, 3, 0, 201) % 24) / 100;
        balls[i] = {centre(0), centre(1), centre(2), radius * radius};
    }
    return made<unsigned char>("SMOOTH", edge, image::Binary, [&](int x, int y, int z) -> unsigned char {
        return std::ranges::any_of(balls, [&](const Ball& ball) {
            const std::int64_t dx = 2 * x + 1 - ball.x, dy = 2 * y + 1 - ball.y, dz = 2 * z + 1 - ball.z;
            return dx * dx + dy * dy + dz * dz < ball.radius2;
        });
    });
}

const ArvoImage3D& parts(int edge)
{
    const frame::VolumeView<const short> ct(ct16(edge));
    return made<unsigned char>("PARTS", edge, image::Binary,
                               [&](int x, int y, int z) -> unsigned char { return ct.row(y, z)[x] > 80; });
}

const ArvoImage3D& noise(int edge)
{
    return made<unsigned char>("NOISE", edge, image::Binary, [](int x, int y, int z) -> unsigned char {
        return phantom::hash(bits(x), bits(y), bits(z), 7) < 1503238553u;
    });
}

ArvoImage3D copyOf(const ArvoImage3D& image)
{
    ArvoImage3D copy;
    copy.copyFrom(&image);
    return copy;
}

unsigned long long checksum(const ArvoImage3D& image)
{
    unsigned long long sum = 0;
    image::withElementType(image.dataType(), image::VoxelTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        const frame::VolumeView<const T> voxels(image);
        for (std::ptrdiff_t i = 0; i < voxels.count(); ++i) {
            const auto value = static_cast<std::int64_t>(voxels.data()[i] * 256);
            sum += static_cast<unsigned long long>(value) * static_cast<unsigned long long>(i % 251 + 1);
        }
    });
    return sum;
}

bool check()
{
    struct Known {
        const char* name;
        const ArvoImage3D& input;
        unsigned long long checksum;
    };
    const Known known[] = {
        {"CT16", ct16(64), 18446739989928122880u}, {"CT8", ct8(64), 556390591488u},
        {"CTF", ctF(64), 18446739994139482546u},   {"SMOOTH", smooth(64), 2733331968u},
        {"PARTS", parts(64), 852524288u},          {"NOISE", noise(64), 2953779456u},
    };
    bool isRight = true;
    for (const Known& k : known) {
        if (checksum(k.input) == k.checksum)
            continue;
        std::fprintf(stderr, "input %s is wrong\n", k.name);
        isRight = false;
    }
    return isRight;
}

} // namespace inputs
