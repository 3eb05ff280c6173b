#include "support/RandomVolume.h"

#include <array>
#include <limits>

namespace testing_support {

namespace {

template <class T> T randomVoxel(Random& random, Fill fill)
{
    using Limits = std::numeric_limits<T>;
    const auto dice = static_cast<int>(random() % 8);
    switch (fill) {
    case Fill::Mask:
        return static_cast<T>(random() % 3 == 0);
    case Fill::FewValues:
        return static_cast<T>(random() % 4);
    case Fill::Extremes:
        if constexpr (std::is_floating_point_v<T>) {
            const std::array<T, 8> special = {
                Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(),  T(-0.0),
                Limits::max(),       Limits::lowest(),   Limits::denorm_min(), T(0)};
            if (dice < 4)
                return special[random() % special.size()];
        } else {
            const std::array<T, 4> special = {Limits::min(), Limits::max(), T(0), T(1)};
            if (dice < 6)
                return special[random() % special.size()];
        }
        break;
    case Fill::Uniform:
        break;
    }
    if constexpr (std::is_floating_point_v<T>)
        return std::uniform_real_distribution<T>(-1000, 1000)(random);
    else
        return static_cast<T>(random());
}

} // namespace

const std::vector<math::Ivec3>& someSizes()
{
    static const std::vector<math::Ivec3> sizes = {
        {1, 1, 1},  {2, 1, 3},  {3, 2, 1},  {1, 3, 2},  {3, 3, 3},   {5, 1, 1},   {1, 7, 2},
        {15, 4, 3}, {16, 3, 5}, {17, 5, 4}, {33, 6, 7}, {13, 11, 9}, {259, 43, 3}};
    return sizes;
}

const std::vector<image::DataType>& voxelTypes()
{
    static const std::vector<image::DataType> types = {image::UInt16, image::Int16, image::UInt8,
                                                       image::Binary, image::Float32};
    return types;
}

std::string describe(const math::Ivec3& size, image::DataType type, std::uint64_t seed)
{
    return std::to_string(size.x) + " x " + std::to_string(size.y) + " x " + std::to_string(size.z) +
           ", type " + std::to_string(type) + ", seed " + std::to_string(seed);
}

ArvoImage3D randomVolume(const math::Ivec3& size, image::DataType type, std::uint64_t seed, Fill fill)
{
    ArvoImage3D image(size, QVector3D(0.5f, 0.75f, 1.25f), type);
    Random random(seed);
    withType(type, [&](auto element) {
        using T = typename decltype(element)::type;
        for (T& voxel : voxels<T>(image))
            voxel = randomVoxel<T>(random, fill);
    });
    image.editFinished();
    return image;
}

ArvoImage3D randomMask(const math::Ivec3& size, double density, std::uint64_t seed)
{
    ArvoImage3D mask(size, QVector3D(0.5f, 0.75f, 1.25f), image::Binary);
    Random random(seed);
    std::bernoulli_distribution isSet(density);
    for (unsigned char& voxel : voxels<unsigned char>(mask))
        voxel = isSet(random);
    mask.editFinished();
    return mask;
}

ArvoImage3D copyOf(const ArvoImage3D& image)
{
    ArvoImage3D copy;
    copy.copyFrom(&image);
    return copy;
}

} // namespace testing_support
