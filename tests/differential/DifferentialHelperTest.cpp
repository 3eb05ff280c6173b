#include "arvo/differential/DifferentialHelper.h"

#include "NaiveDifferences.h"

#include "support/CancelFlags.h"
#include "support/Warnings.h"

using namespace testing_support;

namespace {

template <class T> void expectKernelsAgree(const ThreeImages3D& field)
{
    using Helper = DifferentialHelper<T>;
    const math::Ivec3 size = field.getU()->imageSize();
    const ArvoImage3D &u = *field.getU(), &v = *field.getV(), &w = *field.getW();
    const auto slice = [&](const ArvoImage3D& volume, int z) {
        return reinterpret_cast<const T*>(volume.getConstAxialSlice(std::clamp(z, 0, size.z - 1)));
    };
    forEachVoxel(size, [&](int x, int y, int z, std::size_t) {
        const math::Ivec3 at(x, y, z);
        const ClampedCrossIndex idx(x, y, size.x, size.y, z == 0 || z == size.z - 1 ? 1.0f : 0.5f);
        const T *current = slice(u, z), *next = slice(u, z + 1), *previous = slice(u, z - 1);
        ASSERT_TRUE(idx.x == x && idx.y == y);
        ASSERT_TRUE(
            sameBits(naive::difference(u, 0, at), Helper::gradientFtX(idx, current, nullptr, nullptr)));
        ASSERT_TRUE(
            sameBits(naive::difference(u, 1, at), Helper::gradientFtY(idx, current, nullptr, nullptr)));
        ASSERT_TRUE(sameBits(naive::difference(u, 2, at), Helper::gradientFtZ(idx, current, next, previous)));
        ASSERT_TRUE(
            sameBits(naive::gradientNorm(u, at), Helper::gradientNormFt(idx, current, next, previous)));
        ASSERT_TRUE(sameBits(naive::divergence(field, at),
                             Helper::vectorFieldDivergenceFt(idx, current, slice(v, z), nullptr,
                                                             slice(w, z + 1), slice(w, z - 1))));
    });
}

TEST(DifferentialHelper, KernelsAgreeWithTheDefinition)
{
    forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
        image::withElementType(type, image::VoxelTypes{}, nullptr, [&](auto element) {
            expectKernelsAgree<typename decltype(element)::type>(
                naive::randomField(size, type, seed, Fill::Extremes));
            return true;
        });
    });
}

TEST(DifferentialHelper, ARaisedFlagLetsOneVoxelOrOneSliceThrough)
{
    using Helper = DifferentialHelper<short>;
    const ThreeImages3D field = naive::randomField({7, 5, 4}, image::Int16, 1);
    const ArvoImage3D& image = *field.getU();
    const auto untouched = [&](int = 0) { return naive::volume(image, [](auto) { return -7.0f; }); };
    const auto firstVoxel = [&](int axis) {
        return naive::volume(image, [&](auto v) {
            return v == math::Ivec3(0, 0, 1) ? naive::difference(image, axis, v) : -7.0f;
        });
    };
    ThreeImages3D separate = naive::field(untouched);
    ArvoImage3D divergence = untouched();
    for (const int first : {3, 1}) { // an empty range, then one that the flag cuts short
        const bool isEmpty = first == 3;
        EXPECT_EQ(Helper::calculateGradientX(image, *separate.getU(), first, 2, cancelled), isEmpty);
        EXPECT_EQ(Helper::calculateGradientY(image, *separate.getV(), first, 2, cancelled), isEmpty);
        EXPECT_EQ(Helper::calculateGradientZ(image, *separate.getW(), first, 2, cancelled), isEmpty);
        EXPECT_EQ(Helper::calculateVectorFieldDivergence(field, divergence, first, 2, cancelled), isEmpty);
    }
    EXPECT_TRUE(naive::sameFields(naive::field(firstVoxel), separate));
    EXPECT_TRUE(
        sameBits(naive::volume(image, [&](auto v) { return v.z == 1 ? naive::divergence(field, v) : -7.0f; }),
                 divergence));
}

TEST(DifferentialHelper, RefusesWhatDoesNotMatch)
{
    const auto refuses = [](image::DataType inputType, const math::Ivec3& outputSize, int first, int last) {
        using Helper = DifferentialHelper<float>;
        const ArvoImage3D input = randomVolume({4, 3, 2}, inputType, 1);
        ArvoImage3D output = randomVolume(outputSize, image::Float32, 1);
        const ArvoImage3D before = copyOf(output);
        const Warnings warnings;
        return !Helper::calculateNormGradient(input, output, first, last, notCancelled) &&
               warnings.texts().size() == 1 && sameBits(before, output);
    };
    EXPECT_TRUE(refuses(image::Float32, {4, 3, 2}, -1, 1));
    EXPECT_TRUE(refuses(image::Float32, {4, 3, 2}, 0, 2));
    EXPECT_TRUE(refuses(image::Float32, {4, 3, 3}, 0, 1));
    EXPECT_TRUE(refuses(image::Int16, {4, 3, 2}, 0, 1));
}

} // namespace
