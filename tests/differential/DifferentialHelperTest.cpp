#include "arvo/differential/DifferentialHelper.h"

#include "NaiveDifferences.h"

#include "support/CancelFlags.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

using namespace testing_support;

namespace {

TEST(ClampedCrossIndex, ClampsAtEachBorder)
{
    struct Case {
        int x, y, width, height, center, xPlus, xMinus, yPlus, yMinus;
        float factorX, factorY;
    };
    for (const Case& c :
         {Case{1, 1, 4, 3, 5, 6, 4, 9, 1, 0.5f, 0.5f}, Case{0, 0, 4, 3, 0, 1, 0, 4, 0, 1.0f, 1.0f},
          Case{3, 2, 4, 3, 11, 11, 10, 11, 7, 1.0f, 1.0f}, Case{3, 1, 4, 3, 7, 7, 6, 11, 3, 1.0f, 0.5f},
          Case{0, 1, 1, 3, 1, 1, 1, 2, 0, 1.0f, 0.5f}, Case{1, 0, 3, 1, 1, 2, 0, 1, 1, 0.5f, 1.0f}}) {
        const ClampedCrossIndex idx(c.x, c.y, c.width, c.height, 0.25f);
        EXPECT_EQ(std::vector({idx.x, idx.y, idx.center, idx.xPlus, idx.xMinus, idx.yPlus, idx.yMinus}),
                  std::vector({c.x, c.y, c.center, c.xPlus, c.xMinus, c.yPlus, c.yMinus}));
        EXPECT_EQ(std::vector({idx.factorX, idx.factorY, idx.factorZ}),
                  std::vector({c.factorX, c.factorY, 0.25f}));
    }
}

TEST(DifferentialHelper, KernelsTakeUnsignedDifferencesBelowZero)
{
    const unsigned char current[] = {0, 9, 255, 4, 5, 6, 1, 10, 3}, next[9] = {0, 0, 0, 0, 2},
                        previous[9] = {0, 0, 0, 0, 252};
    using Helper = DifferentialHelper<unsigned char>;
    const ClampedCrossIndex middle(1, 1, 3, 3, 0.5f), corner(2, 0, 3, 3, 1.0f), topMiddle(1, 0, 3, 3, 1.0f);
    EXPECT_EQ(Helper::gradientFtX(topMiddle, current, nullptr, nullptr), 127.5f);
    EXPECT_EQ(Helper::gradientFtX(corner, current, next, previous), 246.0f);
    EXPECT_EQ(Helper::gradientFtY(corner, current, next, previous), -249.0f);
    EXPECT_EQ(Helper::gradientFtZ(middle, current, next, previous), -125.0f);
    EXPECT_EQ(Helper::gradientNormFt(corner, current, current, current),
              std::sqrt(246.0f * 246.0f + 249.0f * 249.0f));
    EXPECT_EQ(Helper::vectorFieldDivergenceFt(middle, current, next, nullptr, next, previous), 1.0f - 125.0f);
}

TEST(DifferentialHelper, ARaisedFlagLetsOneVoxelOrOneSliceThrough)
{
    const ThreeImages3D field = naive::randomField({7, 5, 4}, image::Int16, 1, false);
    const ArvoImage3D& image = *field.getU();
    using Helper = DifferentialHelper<short>;
    const auto isStart = [](const math::Ivec3& v) { return v.x == 0 && v.y == 0 && v.z == 1; };
    const auto check = [&](int axis, auto driver) {
        const ArvoImage3D expected = naive::volume(
            image, [&](auto v) { return isStart(v) ? naive::difference(image, axis, v) : -7.0f; });
        ArvoImage3D out = naive::volume(image, {}, 1, 0);
        EXPECT_FALSE(driver(image, out, 1, 3, cancelled));
        EXPECT_TRUE(sameBits(expected, out)) << "axis " << axis;
        EXPECT_TRUE(driver(image, out, 2, 1, cancelled)) << "an empty range";
    };
    check(0, Helper::calculateGradientX);
    check(1, Helper::calculateGradientY);
    check(2, Helper::calculateGradientZ);

    ArvoImage3D out = naive::volume(image, {}, 1, 0);
    EXPECT_FALSE(Helper::calculateVectorFieldDivergence(field, out, 1, 3, cancelled));
    EXPECT_TRUE(sameBits(naive::volume(
                             image, [&](auto v) { return naive::divergence(field, v); }, 1, 1),
                         out));
}

TEST(DifferentialHelper, RefusesWhatDoesNotMatch)
{
    const ArvoImage3D image = randomVolume({4, 3, 2}, image::Float32, 1);
    const auto refuses = [&](const ArvoImage3D& input, ArvoImage3D output, int first, int last) {
        const ArvoImage3D before = copyOf(output);
        const Warnings warnings;
        EXPECT_FALSE(
            DifferentialHelper<float>::calculateNormGradient(input, output, first, last, notCancelled));
        EXPECT_TRUE(sameBits(before, output));
        return warnings.texts().size() == 1 && warnings.texts()[0].starts_with("DifferentialHelper : ");
    };
    EXPECT_TRUE(refuses(image, copyOf(image), -1, 1));
    EXPECT_TRUE(refuses(image, copyOf(image), 0, 2));
    EXPECT_TRUE(refuses(image, randomVolume({4, 3, 3}, image::Float32, 1), 0, 1));
    EXPECT_TRUE(refuses(image, randomVolume({4, 3, 2}, image::Int16, 1), 0, 1));
    EXPECT_TRUE(refuses(randomVolume({4, 3, 2}, image::Int16, 1), copyOf(image), 0, 1));
}

} // namespace
