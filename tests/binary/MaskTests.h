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

using Texts = std::vector<std::string>;
using Image = std::unique_ptr<ArvoImage3D>;

/// The toolbox with its two volumes set.
inline ArvoImageBinaryTools toolsOn(ArvoImage3D* in, ArvoImage3D* out)
{
    ArvoImageBinaryTools tools;
    tools.setInput(in);
    tools.setOutput(out);
    return tools;
}

/// A mask like `image`, 1 where isSet(index of the voxel).
template <class IsSet> ArvoImage3D maskWhere(const ArvoImage3D& image, IsSet&& isSet)
{
    ArvoImage3D mask(image.imageSize(), image.voxelSize(), image::Binary);
    for (std::size_t i = 0; i < voxels<unsigned char>(mask).size(); ++i)
        voxels<unsigned char>(mask)[i] = isSet(i);
    return mask;
}

/// A mask of spacing 1 with `value` from `min` to `max`, both inclusive.
inline ArvoImage3D boxIn(const math::Ivec3& size, const math::Ivec3& min, const math::Ivec3& max,
                         unsigned char value = 1)
{
    ArvoImage3D box(size, QVector3D(1, 1, 1), image::Binary);
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        const bool isInside =
            x >= min.x && x <= max.x && y >= min.y && y <= max.y && z >= min.z && z <= max.z;
        voxels<unsigned char>(box)[i] = isInside ? value : 0;
    });
    return box;
}

/// Equal voxels and equal value ranges: where the range was known before, a change without editFinished() shows.
inline void expectVolume(const ArvoImage3D& expected, const ArvoImage3D& actual, const std::string& what)
{
    EXPECT_TRUE(sameBits(expected, actual)) << what;
    EXPECT_EQ(expected.getValueRange(), actual.getValueRange()) << what;
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
    std::vector<math::Ivec3> sizes = someSizes();
    sizes.insert(sizes.end(), {{4, 3, 5},
                               {9, 4, 11},
                               {24, 24, 5},
                               {63, 5, 4},
                               {64, 5, 4},
                               {65, 9, 5},
                               {130, 7, 6},
                               {3, 3, 40},
                               {3, 40, 3},
                               {0, 3, 3},
                               {3, 0, 2},
                               {4, 3, 0}});
    std::uint64_t seed = 0;
    for (const math::Ivec3& size : sizes) {
        if (std::min({size.x, size.y, size.z}) < smallestExtent)
            continue;
        const auto label = [&] { return describe(size, image::Binary, seed); };
        for (const double density : {0.0, 0.003, 0.02, 0.08, 0.2, 0.35, 0.5, 0.7, 0.95, 0.99, 1.0}) {
            if (testing::Test::HasFailure())
                return; // one report is enough
            ++seed;
            body(randomMask(size, density, seed), label() + ", density " + std::to_string(density));
        }
        ++seed;
        body(randomVolume(size, image::Binary, seed, Fill::Extremes), label() + ", bytes");
    }
}

/// The rules of inputs, results, flags and copies of the calculations on one mask. `other` has other settings, if there
/// are any; take(calculation) takes the result; `afterCancel`: whether a cancelled run leaves one.
template <class Calculation, class Take>
void expectCommonRules(const Calculation& fresh, const Calculation& other, Take take, bool afterCancel)
{
    const Warnings warnings;
    ArvoImage3D object = randomMask({6, 5, 4}, 0.5, 1);
    std::vector<ArvoImage3D> unfit(1);
    for (const auto type : {image::UInt16, image::Int16, image::Reserved, image::Float32, image::Int32})
        unfit.emplace_back(math::Ivec3(5, 5, 5), QVector3D(1, 1, 1), type);
    for (const auto& size : {math::Ivec3(2, 10, 10), {10, 2, 10}, {10, 10, 2}, {0, 10, 10}})
        unfit.emplace_back(size, QVector3D(1, 1, 1), image::Binary);
    for (const ArvoImage3D& bad : unfit) {
        Calculation calculation(fresh);
        calculation.setInputImage(&bad);
        calculation.execute(notCancelled);
        EXPECT_FALSE(calculation.isSuccess());
        EXPECT_EQ(take(calculation), nullptr);
        calculation.setInputImage(&object);
        calculation.setInputImage(&bad);
        calculation.setInputImage(nullptr);
        calculation.execute(notCancelled);
        EXPECT_TRUE(calculation.isSuccess()) << "the previous input stays";
    }

    Calculation original(fresh);
    original.setInputImage(&object);
    ThreadProgress progress;
    original.setProgress(&progress);
    original.execute(notCancelled);
    EXPECT_GT(progress.total(), 0);
    EXPECT_EQ(progress.value(), progress.total());
    original.setProgress(nullptr);
    Calculation copy(original);
    Calculation assigned(other);
    assigned = original;
    EXPECT_TRUE(original.isSuccess());
    const Image result(take(original));
    ASSERT_TRUE(result);
    EXPECT_EQ(take(original), nullptr) << "taken twice";
    for (Calculation* duplicate : {&copy, &assigned}) {
        EXPECT_FALSE(duplicate->isSuccess());
        EXPECT_EQ(take(*duplicate), nullptr) << "the result stays with the original";
        duplicate->execute(notCancelled);
        EXPECT_TRUE(sameBits(*result, *Image(take(*duplicate))));
    }

    original.execute(notCancelled);
    original.execute(cancelled);
    EXPECT_FALSE(original.isSuccess());
    EXPECT_EQ(Image(take(original)) != nullptr, afterCancel);
    original.execute(notCancelled);
    object = randomMask({5, 2, 4}, 0.5, 1);
    original.execute(notCancelled);
    EXPECT_FALSE(original.isSuccess()) << "the input has become unfit, the earlier result is dropped";
    EXPECT_EQ(take(original), nullptr);
    EXPECT_EQ(warnings.texts(), Texts{});
}

} // namespace testing_support
