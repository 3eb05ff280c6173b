#include "arvo/geometry/MainDirectionsCalculator.h"
#include "arvo/geometry/MassCenterCalculator.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>

#include <sys/resource.h>
#include <unistd.h>

using namespace testing_support;

namespace {

using Vector = std::array<float, 3>;

/// The counted voxels by the definition, and their centre.
struct Cloud {
    std::vector<math::Ivec3> voxels;
    Vector centre{};
};

Cloud cloudOf(const ArvoImage3D& image, int threshold)
{
    Cloud cloud;
    std::array<double, 3> sums{};
    forEachVoxel(image.imageSize(), [&](int x, int y, int z, std::size_t) {
        if (image.getValue(x, y, z) > threshold) {
            cloud.voxels.emplace_back(x, y, z);
            sums = {sums[0] + x, sums[1] + y, sums[2] + z};
        }
    });
    const QVector3D spacing = image.voxelSize();
    for (int k = 0; k < 3 && !cloud.voxels.empty(); ++k) {
        const auto axis = static_cast<std::size_t>(k);
        cloud.centre[axis] =
            static_cast<float>(sums[axis] / static_cast<double>(cloud.voxels.size())) * spacing[k];
    }
    return cloud;
}

Vector vectorAt(const float* values)
{
    return values ? Vector{values[0], values[1], values[2]} : Vector{};
}

/// Variance times count of the cloud along a direction.
double spreadAlong(const Cloud& cloud, const QVector3D& spacing, const Vector& direction)
{
    double sum = 0;
    for (const math::Ivec3& voxel : cloud.voxels) {
        double along = 0;
        for (int k = 0; k < 3; ++k) {
            const auto axis = static_cast<std::size_t>(k);
            along += static_cast<double>(direction[axis]) *
                     static_cast<double>(static_cast<float>(voxel[k]) * spacing[k] - cloud.centre[axis]);
        }
        sum += along * along;
    }
    return sum;
}

const std::vector<image::DataType> scanned = {image::UInt16, image::Int16, image::UInt8};

TEST(MassCenterCalculator, AgreesWithTheDefinition)
{
    std::vector<math::Ivec3> sizes = someSizes();
    sizes.insert(sizes.end(), {{255, 2, 2}, {257, 3, 2}, {700, 2, 3}, {0, 3, 3}});
    for (const math::Ivec3& size : sizes) {
        for (const image::DataType type : scanned) {
            ArvoImage3D image = randomVolume(size, type, 5, Fill::Extremes);
            for (const int threshold : {std::numeric_limits<int>::min(), -32769, -32768, -1, 0, 1, 200, 254,
                                        255, 32766, 32767, 65534, 65535, std::numeric_limits<int>::max()}) {
                const Cloud expected = cloudOf(image, threshold);
                MassCenterCalculator calculator;
                calculator.setImage(&image);
                calculator.setThreshold(threshold);
                ASSERT_EQ(calculator.execute(), !expected.voxels.empty())
                    << describe(size, type, 5) << ", threshold " << threshold;
                ASSERT_EQ(calculator.getMassCenter() == nullptr, expected.voxels.empty());
                ASSERT_EQ(vectorAt(calculator.getMassCenter()), expected.centre)
                    << describe(size, type, 5) << ", threshold " << threshold;
            }
        }
    }
}

TEST(MassCenterCalculator, KeepsItsResultOnFailureAndCopiesIt)
{
    ArvoImage3D image({4, 5, 6}, QVector3D(0.5f, 0.5f, 2.0f), image::Int16);
    image.zeroSlices();
    image.changeVoxelValues({{2, 3, 4}}, 7);
    MassCenterCalculator calculator;
    calculator.setImage(&image);
    calculator.setThreshold(6);
    ASSERT_TRUE(calculator.execute());
    EXPECT_EQ(vectorAt(calculator.getMassCenter()), (Vector{1.0f, 1.5f, 8.0f}));

    MassCenterCalculator copy = calculator;
    ASSERT_NE(copy.getMassCenter(), calculator.getMassCenter());
    calculator.getMassCenter()[0] = -1.0f;
    EXPECT_EQ(copy.getMassCenter()[0], 1.0f);

    const Warnings warnings;
    copy.setThreshold(7); // the voxel's own value
    EXPECT_FALSE(copy.execute());
    EXPECT_EQ(copy.getMassCenter()[0], 1.0f);
    for (const image::DataType type : {image::Binary, image::Reserved, image::Float32, image::Int32}) {
        ArvoImage3D other({2, 2, 2}, QVector3D(1, 1, 1), type);
        other.memsetSlices(1);
        copy.setThreshold(-1);
        copy.setImage(&other);
        EXPECT_FALSE(copy.execute());
    }
    EXPECT_TRUE(warnings.texts().empty());
    copy.setImage(nullptr);
    EXPECT_FALSE(copy.execute());
    EXPECT_EQ(warnings.texts(), std::vector<std::string>{"MassCenterCalculator : no valid image."});
}

/// The directions are orthonormal, right-handed, and no direction spreads the cloud more than the first, none across
/// the first more than the second: a stationary point with ordered spreads is the decomposition up to signs.
TEST(MainDirectionsCalculator, FindsTheAxesOfRandomClouds)
{
    for (const math::Ivec3& size : {math::Ivec3{13, 11, 9}, {40, 21, 17}, {3, 3, 3}, {300, 4, 3}}) {
        for (const image::DataType type : scanned) {
            ArvoImage3D image = randomVolume(size, type, 9, Fill::FewValues);
            const Cloud cloud = cloudOf(image, 2);
            MainDirectionsCalculator calculator;
            calculator.setImage(&image);
            calculator.setThreshold(2);
            ASSERT_TRUE(calculator.execute());
            ASSERT_EQ(vectorAt(calculator.getMassCenter()), cloud.centre);
            const Vector a = vectorAt(calculator.getDirection0());
            const Vector b = vectorAt(calculator.getDirection1());
            const Vector c = vectorAt(calculator.getDirection2());
            const auto spread = [&](const Vector& v) { return spreadAlong(cloud, image.voxelSize(), v); };
            const double total = spread(a) + spread(b) + spread(c);
            EXPECT_GE(spread(a), spread(b));
            EXPECT_GE(spread(b), spread(c) - 1e-6 * total);
            const auto mixed = [&](const Vector& u, const Vector& v) { // u^T C v
                const Vector sum{u[0] + v[0], u[1] + v[1], u[2] + v[2]};
                return (spread(sum) - spread(u) - spread(v)) / 2;
            };
            EXPECT_NEAR(mixed(a, b), 0.0, 1e-6 * total);
            EXPECT_NEAR(mixed(a, c), 0.0, 1e-6 * total);
            EXPECT_NEAR(mixed(b, c), 0.0, 1e-6 * total);
            EXPECT_NEAR(a[0] * a[0] + a[1] * a[1] + a[2] * a[2], 1.0f, 1e-6f);
            EXPECT_EQ(c[0], a[1] * b[2] - a[2] * b[1]);
            EXPECT_EQ(c[1], a[2] * b[0] - a[0] * b[2]);
            EXPECT_EQ(c[2], a[0] * b[1] - a[1] * b[0]);
        }
    }
}

TEST(MainDirectionsCalculator, OrdersTheAxesOfABlock)
{
    ArvoImage3D image({5, 14, 9}, QVector3D(1, 1, 1), image::UInt8);
    image.zeroSlices();
    std::vector<math::Ivec3> block;
    for (int i = 0; i < 2 * 10 * 4; ++i)
        block.emplace_back(1 + i % 2, 2 + i / 2 % 10, 3 + i / 20);
    image.changeVoxelValues(block, 200);
    MainDirectionsCalculator calculator;
    calculator.setImage(&image);
    calculator.setThreshold(199);
    ASSERT_TRUE(calculator.execute());
    EXPECT_EQ(vectorAt(calculator.getMassCenter()), (Vector{1.5f, 6.5f, 4.5f}));
    EXPECT_NEAR(std::abs(calculator.getDirection0()[1]), 1.0f, 1e-6f);
    EXPECT_NEAR(std::abs(calculator.getDirection1()[2]), 1.0f, 1e-6f);
    EXPECT_NEAR(std::abs(calculator.getDirection2()[0]), 1.0f, 1e-6f);
}

TEST(MainDirectionsCalculator, FailsWithoutTwoAxesAndKeepsItsResults)
{
    ArvoImage3D image({9, 3, 3}, QVector3D(0.3f, 0.7f, 1.1f), image::Int16);
    image.zeroSlices();
    image.changeVoxelValues({{0, 0, 0}, {4, 1, 0}, {8, 0, 0}}, 10);
    MainDirectionsCalculator calculator;
    EXPECT_EQ(calculator.getMassCenter(), nullptr);
    EXPECT_EQ(calculator.getDirection0(), nullptr);
    EXPECT_EQ(calculator.getDirection1(), nullptr);
    EXPECT_EQ(calculator.getDirection2(), nullptr);
    calculator.setImage(&image);
    calculator.setThreshold(5);
    ASSERT_TRUE(calculator.execute()); // a flat cloud has two axes
    const Vector direction = vectorAt(calculator.getDirection2());
    EXPECT_NEAR(std::abs(direction[2]), 1.0f, 1e-6f);

    const Warnings warnings;
    const MainDirectionsCalculator kept = calculator;
    image.zeroSlices();
    image.changeVoxelValues({{1, 1, 1}, {5, 1, 1}, {7, 1, 1}}, 10); // a line
    EXPECT_FALSE(calculator.execute());
    image.changeVoxelValues({{5, 1, 1}, {7, 1, 1}}, 0); // a point
    EXPECT_FALSE(calculator.execute());
    EXPECT_TRUE(warnings.texts().empty());
    image.zeroSlices();
    EXPECT_FALSE(calculator.execute());
    calculator.setImage(nullptr);
    EXPECT_FALSE(calculator.execute());
    ArvoImage3D mask = randomMask({3, 3, 3}, 1.0, 1);
    calculator.setImage(&mask);
    calculator.setThreshold(0);
    EXPECT_FALSE(calculator.execute());
    ArvoImage3D unplaced({3, 3, 3}, QVector3D(NAN, 1, 1), image::UInt8);
    unplaced.memsetSlices(1);
    calculator.setImage(&unplaced);
    EXPECT_FALSE(calculator.execute());
    EXPECT_EQ(warnings.texts(),
              (std::vector<std::string>{"There are no voxels in the image. Main axis cannot be calculated",
                                        "MainDirectionsCalculator : no valid image."}));
    EXPECT_EQ(vectorAt(calculator.getDirection2()), direction);
    EXPECT_EQ(vectorAt(calculator.getMassCenter()), vectorAt(MainDirectionsCalculator(kept).getMassCenter()));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(MainDirectionsCalculator, FailsWithoutMemoryForThePositions)
{
    ArvoImage3D image({200, 200, 200}, QVector3D(1, 1, 1), image::UInt8); // 192 MB of positions
    image.memsetSlices(1);
    MainDirectionsCalculator calculator;
    calculator.setImage(&image);

    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlimit tight{pages * static_cast<rlim_t>(getpagesize()) + (rlim_t(64) << 20), before.rlim_max};
    const Warnings warnings;
    setrlimit(RLIMIT_AS, &tight);
    const bool hasSucceeded = calculator.execute();
    setrlimit(RLIMIT_AS, &before);
    EXPECT_FALSE(hasSucceeded);
    EXPECT_EQ(warnings.texts(), std::vector<std::string>{"Failed to allocate memory for svd"});
}
#endif

} // namespace
