#include "arvo/filters/ArvoImageCubicFilter.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cmath>

using namespace testing_support;
using KernelSize = std::array<unsigned long long, 3>;

namespace {

/// The whole summed-volume table, along x, then y, then z, with a border of zeros in front; box sums from its corners.
template <class T> ArvoImage3D expectedOf(const ArvoImage3D& in, const KernelSize& kernelSize)
{
    ArvoImage3D out = copyOf(in);
    if (voxels<T>(in).empty())
        return out;
    const math::Ivec3 n = in.imageSize();
    math::Ivec3 k, size;
    for (int axis = 0; axis < 3; ++axis) {
        const int extent = static_cast<int>(kernelSize[static_cast<std::size_t>(axis)]);
        k[axis] = extent % 2 == 0 ? extent + 1 : extent;
        size[axis] = n[axis] + k[axis];
    }
    std::vector<double> table;
    forEachVoxel(size, [&](int x, int y, int z, std::size_t) {
        const auto clamped = [&](int i, int axis) { return std::clamp(i - 1 - k[axis] / 2, 0, n[axis] - 1); };
        const std::size_t source = indexOf(n, clamped(x, 0), clamped(y, 1), clamped(z, 2));
        table.push_back(x == 0 || y == 0 || z == 0 ? 0.0 : voxels<T>(in)[source]);
    });
    for (int axis = 0; axis < 3; ++axis) {
        forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
            math::Ivec3 before(x, y, z);
            if (before[axis]-- > 0)
                table[i] += table[indexOf(size, before.x, before.y, before.z)];
        });
    }
    const auto at = [&](int x, int y, int z) { return table[indexOf(size, x, y, z)]; };
    forEachVoxel(n, [&](int x, int y, int z, std::size_t i) {
        const int X = x + k.x, Y = y + k.y, Z = z + k.z;
        const double sum = at(X, Y, Z) - at(x, Y, Z) - at(X, y, Z) - at(X, Y, z) + at(x, y, Z) + at(x, Y, z) +
                           at(X, y, z) - at(x, y, z);
        voxels<T>(out)[i] = static_cast<T>(sum * (1.0 / (k.x * k.y * k.z)));
    });
    return out;
}

void check(const ArvoImage3D& in, const KernelSize& kernel)
{
    const auto out = ArvoImageCubicFilter::applyCubicFilter(in, kernel);
    ASSERT_TRUE(out);
    withType(in.dataType(), [&](auto element) {
        EXPECT_TRUE(sameBits(expectedOf<typename decltype(element)::type>(in, kernel), *out))
            << describe(in.imageSize(), in.dataType(), 0) << ", kx " << kernel[0];
    });
    EXPECT_EQ(in.voxelSize(), out->voxelSize());
}

TEST(ArvoImageCubicFilter, AgreesWithTheDefinition)
{
    forEachCase(voxelTypes(), [](auto size, auto type, auto seed) {
        for (const KernelSize& kernel : {KernelSize{3, 3, 3}, {1, 4, 0}, {5, 1, 2}, {11, 7, 3}, {9, 31, 50}})
            check(randomVolume(size, type, seed), kernel);
    });
    for (const image::DataType type : {image::UInt16, image::Float32}) { // several strips of columns
        for (const KernelSize& kernel : {KernelSize{7, 5, 9}, {61, 3, 201}})
            check(randomVolume({321, 37, 6}, type, 3), kernel);
    }
    ArvoImage3D special = randomVolume({9, 8, 7}, image::Float32, 4); // they spread as in the table
    voxels<float>(special)[60] = 1e17f;
    voxels<float>(special)[300] = HUGE_VALF;
    voxels<float>(special)[410] = std::nanf("");
    check(special, {3, 3, 3});
    check(randomVolume({0, 3, 2}, image::Int16, 1), {3, 3, 3});
}

TEST(ArvoImageCubicFilter, MeansByHand)
{
    const struct {
        short middle, others;
        KernelSize kernel;
        short mean; ///< of the middle
    } cases[] = {{1, 0, {3, 3, 3}, 0},     {27, 0, {2, 2, 2}, 1}, {-53, 0, {3, 3, 3}, -1},
                 {-53, 0, {0, 1, 0}, -53}, {1, 1, {7, 7, 1}, 0}, // 49 * (1 / 49) < 1
                 {1, 1, {5, 5, 5}, 1}};
    for (const auto& [middle, others, kernel, mean] : cases) {
        std::vector<short> values(27, others);
        values[13] = middle;
        const auto out =
            ArvoImageCubicFilter::applyCubicFilter(volumeOf({3, 3, 3}, image::Int16, values), kernel);
        EXPECT_EQ(out->getValue(1, 1, 1), mean) << middle << ", kx " << kernel[0];
    }
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
    EXPECT_EQ(warnings.texts(),
              std::vector<std::string>(
                  2, "ArvoImageCubicFilter : Cubic filter not implemented for this data type."));
}

} // namespace
