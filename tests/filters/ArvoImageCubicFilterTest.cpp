#include "arvo/filters/ArvoImageCubicFilter.h"

#include "arvo/platform/threading/ThreadCount.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cmath>

using namespace testing_support;
using KernelSize = std::array<unsigned long long, 3>;

namespace {

const std::vector<KernelSize> kernels = {{3, 3, 3}, {1, 4, 0}, {5, 1, 2}, {11, 7, 3}, {9, 31, 50}};

/// The whole summed-volume table, along x, then y, then z; box sums from its corners.
ArvoImage3D expectedOf(const ArvoImage3D& in, KernelSize k)
{
    const math::Ivec3 n = in.imageSize();
    std::array<std::size_t, 3> size, kernel;
    for (std::size_t a = 0; a < 3; ++a) {
        kernel[a] = k[a] % 2 == 0 ? k[a] + 1 : k[a];
        size[a] = static_cast<std::size_t>(n[static_cast<int>(a)]) + kernel[a];
    }
    const auto at = [&](std::size_t x, std::size_t y, std::size_t z) {
        return (z * size[1] + y) * size[0] + x;
    };
    const auto clamped = [&](std::size_t i, std::size_t a) {
        const int index = static_cast<int>(i) - 1 - static_cast<int>(kernel[a] / 2);
        return static_cast<std::size_t>(std::clamp(index, 0, n[static_cast<int>(a)] - 1));
    };
    ArvoImage3D out = copyOf(in);
    withType(in.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        std::vector<double> table(size[0] * size[1] * size[2], 0.0);
        const auto forAll = [&](auto body) {
            for (std::size_t z = 1; z < size[2]; ++z)
                for (std::size_t y = 1; y < size[1]; ++y)
                    for (std::size_t x = 1; x < size[0]; ++x)
                        body(x, y, z);
        };
        forAll([&](auto x, auto y, auto z) {
            const auto nx = static_cast<std::size_t>(n.x), ny = static_cast<std::size_t>(n.y);
            table[at(x, y, z)] = voxels<T>(in)[(clamped(z, 2) * ny + clamped(y, 1)) * nx + clamped(x, 0)];
        });
        forAll([&](auto x, auto y, auto z) { table[at(x, y, z)] += table[at(x - 1, y, z)]; });
        forAll([&](auto x, auto y, auto z) { table[at(x, y, z)] += table[at(x, y - 1, z)]; });
        forAll([&](auto x, auto y, auto z) { table[at(x, y, z)] += table[at(x, y, z - 1)]; });
        const double reciprocal = 1.0 / static_cast<double>(kernel[0] * kernel[1] * kernel[2]);
        std::size_t i = 0;
        for (std::size_t z = 0, Z = kernel[2]; Z < size[2]; ++z, ++Z)
            for (std::size_t y = 0, Y = kernel[1]; Y < size[1]; ++y, ++Y)
                for (std::size_t x = 0, X = kernel[0]; X < size[0]; ++x, ++X) {
                    const double sum = table[at(X, Y, Z)] - table[at(x, Y, Z)] - table[at(X, y, Z)] -
                                       table[at(X, Y, z)] + table[at(x, y, Z)] + table[at(x, Y, z)] +
                                       table[at(X, y, z)] - table[at(x, y, z)];
                    voxels<T>(out)[i++] = static_cast<T>(sum * reciprocal);
                }
    });
    return out;
}

TEST(ArvoImageCubicFilter, AgreesWithTheDefinition)
{
    for (const int limit : {1, 2}) {
        threading::setThreadLimit(limit);
        forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
            const ArvoImage3D in = randomVolume(size, type, seed);
            for (const KernelSize& kernel : kernels) {
                const auto out = ArvoImageCubicFilter::applyCubicFilter(in, kernel);
                ASSERT_TRUE(out);
                EXPECT_TRUE(sameBits(expectedOf(in, kernel), *out))
                    << describe(size, type, seed) << ", kx " << kernel[0];
                EXPECT_EQ(in.voxelSize(), out->voxelSize());
            }
        });
    }
    threading::setThreadLimit(0);
}

TEST(ArvoImageCubicFilter, StripsOfColumnsMeetWithoutASeam)
{
    for (const image::DataType type : {image::UInt16, image::Float32}) {
        const ArvoImage3D in = randomVolume({321, 37, 6}, type, 3);
        for (const KernelSize& kernel : {KernelSize{7, 5, 9}, KernelSize{61, 3, 201}}) {
            const auto out = ArvoImageCubicFilter::applyCubicFilter(in, kernel);
            EXPECT_TRUE(sameBits(expectedOf(in, kernel), *out)) << kernel[0];
        }
    }
}

TEST(ArvoImageCubicFilter, SpecialFloatsSpreadAsInTheTable)
{
    ArvoImage3D in = randomVolume({9, 8, 7}, image::Float32, 4);
    voxels<float>(in)[300] = std::numeric_limits<float>::infinity();
    voxels<float>(in)[410] = std::nanf("");
    EXPECT_TRUE(sameBits(expectedOf(in, {3, 3, 3}), *ArvoImageCubicFilter::applyCubicFilter(in, {3, 3, 3})));
}

TEST(ArvoImageCubicFilter, MeansByHand)
{
    ArvoImage3D one({3, 3, 3}, QVector3D(1, 1, 1), image::Int16);
    one.zeroSlices();
    voxels<short>(one)[13] = 1;
    EXPECT_EQ(ArvoImageCubicFilter::applyCubicFilter(one, {3, 3, 3})->maxValue(), 0); // 1 / 27
    voxels<short>(one)[13] = 27;
    EXPECT_EQ(ArvoImageCubicFilter::applyCubicFilter(one, {2, 2, 2})->getValue(1, 1, 1), 1);
    voxels<short>(one)[13] = -53;
    EXPECT_EQ(ArvoImageCubicFilter::applyCubicFilter(one, {3, 3, 3})->getValue(1, 1, 1), -1);
    EXPECT_TRUE(sameBits(one, *ArvoImageCubicFilter::applyCubicFilter(one, {0, 1, 0})));
    std::ranges::fill(voxels<short>(one), short(1));
    EXPECT_EQ(ArvoImageCubicFilter::applyCubicFilter(one, {7, 7, 1})->maxValue(), 0); // 49 * (1 / 49) < 1
    EXPECT_EQ(ArvoImageCubicFilter::applyCubicFilter(one, {5, 5, 5})->minValue(), 1);
}

TEST(ArvoImageCubicFilter, ATableBeyondTheMemoryIsAnAllocationFailure)
{
    const ArvoImage3D in = randomVolume({3, 3, 3}, image::UInt8, 1);
    constexpr unsigned long long all = ~0ull;
    for (const KernelSize& kernel :
         {KernelSize{all, 1, 1}, KernelSize{1, all - 3, 1}, KernelSize{1, 1, all - 2},
          KernelSize{1ull << 21, 1ull << 21, 1ull << 21}, KernelSize{1ull << 46, 1, 1},
          KernelSize{1, 1, 1ull << 46}})
        EXPECT_THROW(ArvoImageCubicFilter::applyCubicFilter(in, kernel), std::bad_alloc) << kernel[0];
}

TEST(ArvoImageCubicFilter, RefusesWhatItCannotFilter)
{
    const Warnings warnings;
    EXPECT_FALSE(ArvoImageCubicFilter::applyCubicFilter(ArvoImage3D(), {3, 3, 3}));
    EXPECT_TRUE(warnings.texts().empty());
    for (const image::DataType type : {image::Reserved, image::Int32})
        EXPECT_FALSE(ArvoImageCubicFilter::applyCubicFilter(randomVolume({2, 2, 2}, type, 1), {3, 3, 3}));
    const std::string text = "ArvoImageCubicFilter : Cubic filter not implemented for this data type.";
    EXPECT_EQ(warnings.texts(), (std::vector<std::string>{text, text}));
    const auto empty =
        ArvoImageCubicFilter::applyCubicFilter(randomVolume({0, 3, 2}, image::Int16, 1), {3, 3, 3});
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->imageSize(), math::Ivec3(0, 3, 2));
}

} // namespace
