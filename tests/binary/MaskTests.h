#pragma once

#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include "support/CancelFlags.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <algorithm>
#include <memory>

/// What the tests of the mask operations share.
namespace testing_support {

using Tools = ArvoImageBinaryTools;
using Texts = std::vector<std::string>;
using Image = std::unique_ptr<ArvoImage3D>;

/// The toolbox with its two volumes set.
inline Tools toolsOn(ArvoImage3D* in, ArvoImage3D* out)
{
    Tools tools;
    tools.setInput(in);
    tools.setOutput(out);
    return tools;
}

/// A mask like `image` of the bytes, or truth values, that byteAt(index of the voxel) has.
template <class ByteAt> ArvoImage3D maskLike(const ArvoImage3D& image, ByteAt&& byteAt)
{
    ArvoImage3D mask(image.imageSize(), image.voxelSize(), image::Binary);
    for (std::size_t i = 0; i < voxels<unsigned char>(mask).size(); ++i)
        voxels<unsigned char>(mask)[i] = static_cast<unsigned char>(byteAt(i));
    return mask;
}

/// A mask of the bytes, or truth values, that byteAt(x, y, z) has.
template <class ByteAt> ArvoImage3D shape(const math::Ivec3& size, ByteAt&& byteAt)
{
    ArvoImage3D mask(size, QVector3D(0.5f, 0.75f, 1.25f), image::Binary);
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        voxels<unsigned char>(mask)[i] = static_cast<unsigned char>(byteAt(x, y, z));
    });
    return mask;
}

/// A mask with `value` from `min` to `max`, both inclusive.
inline ArvoImage3D boxIn(const math::Ivec3& size, const math::Ivec3& min, const math::Ivec3& max,
                         unsigned char value = 1)
{
    return shape(size, [&](int x, int y, int z) {
        const bool isInside =
            x >= min.x && x <= max.x && y >= min.y && y <= max.y && z >= min.z && z <= max.z;
        return isInside ? value : 0;
    });
}

/// Equal voxels and equal value ranges: where the range was known before, a change without editFinished() shows.
inline void expectVolume(const ArvoImage3D& expected, const ArvoImage3D& actual, const std::string& what)
{
    EXPECT_TRUE(sameBits(expected, actual)) << what;
    EXPECT_EQ(expected.getValueRange(), actual.getValueRange()) << what;
}

/// The same of a volume that an operation has made, and the voxel size.
inline void expectMade(const ArvoImage3D& expected, const Image& made, const std::string& what)
{
    ASSERT_TRUE(made) << what;
    expectVolume(expected, *made, what);
    EXPECT_EQ(made->voxelSize(), expected.voxelSize());
}

/// Runs op(in, out), into another volume and, where input and result have one type, in place.
template <class Op>
void expectResult(const ArvoImage3D& expected, const ArvoImage3D& input, const std::string& what, Op&& op)
{
    ArvoImage3D in = copyOf(input), out = copyOf(expected);
    out.memsetSlices(77);
    out.getValueRange();
    op(in, out);
    expectVolume(expected, out, what);
    EXPECT_TRUE(sameBits(input, in)) << what << ", the input";
    if (in.dataType() == out.dataType()) {
        in.getValueRange();
        op(in, in);
        expectVolume(expected, in, what + ", in place");
    }
}

/// Calls body(mask, what) for masks from empty to full and with bytes of any value, thin along each axis, of widths
/// around those of vectors and of words of 64 voxels, and without voxels.
template <class Body> void forEachMask(int smallestExtent, Body&& body)
{
    std::vector<math::Ivec3> sizes = {{4, 3, 5},  {9, 4, 11}, {24, 24, 5}, {63, 5, 4},
                                      {64, 5, 4}, {65, 9, 5}, {130, 7, 6}, {3, 3, 40},
                                      {3, 40, 3}, {0, 3, 3},  {3, 0, 2},   {4, 3, 0}};
    sizes.insert(sizes.end(), someSizes().begin(), someSizes().end());
    std::uint64_t seed = 0;
    for (const math::Ivec3& size : sizes) {
        for (const double density : {0.0, 0.003, 0.02, 0.08, 0.2, 0.35, 0.5, 0.7, 0.95, 0.99, 1.0, -1.0}) {
            if (testing::Test::HasFailure() || std::min({size.x, size.y, size.z}) < smallestExtent)
                break; // one report is enough
            ++seed;
            body(density < 0 ? randomVolume(size, image::Binary, seed, Fill::Extremes)
                             : randomMask(size, density, seed),
                 describe(size, image::Binary, seed) + ", density " + std::to_string(density));
        }
    }
}

/// Runs the calculation, whose progress gets to its end, and copies it: copies take its settings, not its result. `assigned`
/// has other settings; take(calculation) takes the result.
template <class Calculation, class Take>
void expectCopiesOfSettings(Calculation& original, Calculation& assigned, Take take)
{
    ThreadProgress progress;
    original.setProgress(&progress);
    assigned.execute(notCancelled);
    original.execute(notCancelled);
    EXPECT_TRUE(assigned.isSuccess() && original.isSuccess());
    EXPECT_GT(progress.total(), 0);
    EXPECT_EQ(progress.value(), progress.total());
    original.setProgress(nullptr);
    Calculation copy(original);
    assigned = original;
    const Image result = take(original);
    ASSERT_TRUE(result);
    EXPECT_EQ(take(original), nullptr) << "taken twice";
    for (Calculation* duplicate : {&copy, &assigned}) {
        EXPECT_FALSE(duplicate->isSuccess());
        EXPECT_EQ(take(*duplicate), nullptr) << "the result stays with the original";
        duplicate->execute(notCancelled);
        EXPECT_TRUE(sameBits(*result, *take(*duplicate)));
    }
}

/// The rules of inputs, results, flags and copies of the calculations on one mask. `other` has other settings, if there
/// are any; besides volumes of other types the `unfit` cannot be input.
template <class Calculation, class Take>
void expectCommonRules(const Calculation& fresh, const Calculation& other, std::vector<ArvoImage3D> unfit,
                       Take take)
{
    for (const auto type : {image::UInt16, image::Int16, image::Reserved, image::Float32, image::Int32})
        unfit.emplace_back(math::Ivec3(5, 5, 5), QVector3D(1, 1, 1), type);
    unfit.emplace_back(); // an invalid one
    ArvoImage3D object = randomMask({6, 5, 4}, 0.5, 1), another = randomMask({6, 5, 4}, 0.5, 2);
    const auto isDone = [](Calculation& calculation, const std::atomic<bool>& cancel = notCancelled) {
        calculation.execute(cancel);
        return calculation.isSuccess();
    };
    const Warnings warnings;
    for (ArvoImage3D& bad : unfit) {
        Calculation calculation(fresh);
        calculation.setInputImage(&bad);
        EXPECT_FALSE(isDone(calculation));
        calculation.setInputImage(&object);
        calculation.setInputImage(&bad);
        calculation.setInputImage(nullptr);
        EXPECT_TRUE(isDone(calculation)) << "the previous input stays";
    }
    Calculation original(fresh), assigned(other);
    original.setInputImage(&object);
    assigned.setInputImage(&another);
    expectCopiesOfSettings(original, assigned, take);
    EXPECT_FALSE(isDone(original, cancelled));
    EXPECT_TRUE(isDone(original));
    object = std::move(unfit.front()); // the input becomes unfit, the earlier result is dropped
    EXPECT_FALSE(isDone(original));
    EXPECT_EQ(take(original), nullptr);
    EXPECT_EQ(warnings.texts(), Texts{});
}

} // namespace testing_support
