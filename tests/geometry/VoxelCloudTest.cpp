#include "arvo/geometry/MainDirectionsCalculator.h"
#include "arvo/geometry/MassCenterCalculator.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <climits>
#include <cmath>
#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

using namespace testing_support;

namespace {

using Texts = std::vector<std::string>;

const std::vector<image::DataType> SCANNED = {image::UInt16, image::Int16, image::UInt8};

/// The indices of the counted voxels by the definition, and their centre.
struct Cloud {
    std::vector<QVector3D> indices;
    QVector3D centre;

    Cloud(const ArvoImage3D& image, int threshold)
    {
        std::array<double, 3> sums{};
        forEachVoxel(image.imageSize(), [&](int x, int y, int z, std::size_t) {
            if (image.getValue(x, y, z) > threshold) {
                indices.emplace_back(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z));
                sums = {sums[0] + x, sums[1] + y, sums[2] + z};
            }
        });
        const auto mean = [&](double sum) {
            return static_cast<float>(sum / static_cast<double>(indices.size()));
        };
        if (!indices.empty())
            centre = QVector3D(mean(sums[0]), mean(sums[1]), mean(sums[2])) * image.voxelSize();
    }
};

QVector3D vectorAt(const float* values)
{
    return values ? QVector3D(values[0], values[1], values[2]) : QVector3D();
}

template <class Calculator> bool runOn(Calculator& calculator, ArvoImage3D* image, int threshold)
{
    calculator.setImage(image);
    calculator.setThreshold(threshold);
    return calculator.execute();
}

} // namespace

TEST(MassCenterCalculator, AgreesWithTheDefinition)
{
    std::vector<math::Ivec3> sizes = someSizes();
    sizes.insert(sizes.end(), {{255, 2, 2}, {257, 3, 2}, {700, 90, 2}, {0, 3, 3}});
    for (const math::Ivec3& size : sizes) {
        for (const image::DataType type : SCANNED) {
            ArvoImage3D image = randomVolume(size, type, 5, Fill::Extremes);
            for (const int threshold :
                 {INT_MIN, -32769, -32768, -1, 0, 1, 200, 254, 255, 32766, 32767, 65534, 65535, INT_MAX}) {
                const Cloud expected(image, threshold);
                MassCenterCalculator calculator;
                ASSERT_EQ(runOn(calculator, &image, threshold), !expected.indices.empty());
                ASSERT_EQ(calculator.getMassCenter() == nullptr, expected.indices.empty());
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
    ASSERT_TRUE(runOn(calculator, &image, 6));
    MassCenterCalculator copy = calculator;
    calculator.getMassCenter()[0] = -1.0f;

    const Warnings warnings;
    EXPECT_FALSE(runOn(copy, &image, 7)); // the voxel's own value
    for (const image::DataType type : {image::Binary, image::Reserved, image::Float32, image::Int32}) {
        ArvoImage3D other({2, 2, 2}, QVector3D(1, 1, 1), type);
        other.memsetSlices(1);
        EXPECT_FALSE(runOn(copy, &other, -1));
    }
    EXPECT_EQ(warnings.texts(), Texts{});
    EXPECT_EQ(vectorAt(copy.getMassCenter()), QVector3D(1.0f, 1.5f, 8.0f));
}

/// The directions are orthonormal, right-handed, and no direction spreads the cloud more than the first, none across
/// the first more than the second: a stationary point with ordered spreads is the decomposition up to signs.
TEST(MainDirectionsCalculator, FindsTheAxesOfRandomClouds)
{
    for (const math::Ivec3& size : {math::Ivec3{13, 11, 9}, {40, 21, 17}, {3, 3, 3}, {300, 4, 3}}) {
        for (const image::DataType type : SCANNED) {
            ArvoImage3D image = randomVolume(size, type, 9, Fill::FewValues);
            const Cloud cloud(image, 2);
            MainDirectionsCalculator calculator;
            ASSERT_TRUE(runOn(calculator, &image, 2));
            ASSERT_EQ(vectorAt(calculator.getMassCenter()), cloud.centre);
            const QVector3D a = vectorAt(calculator.getDirection0());
            const QVector3D b = vectorAt(calculator.getDirection1());
            const QVector3D c = vectorAt(calculator.getDirection2());
            const auto spread = [&](const QVector3D& u, const QVector3D& v) { // covariance times count
                double sum = 0;
                for (const QVector3D& index : cloud.indices) {
                    const QVector3D position = index * image.voxelSize() - cloud.centre;
                    sum += double(QVector3D::dotProduct(u, position) * QVector3D::dotProduct(v, position));
                }
                return sum;
            };
            const double tolerance = 1e-6 * (spread(a, a) + spread(b, b) + spread(c, c));
            EXPECT_GE(spread(a, a), spread(b, b));
            EXPECT_GE(spread(b, b), spread(c, c) - tolerance);
            EXPECT_NEAR(spread(a, b), 0.0, tolerance);
            EXPECT_NEAR(spread(a, c), 0.0, tolerance);
            EXPECT_NEAR(spread(b, c), 0.0, tolerance);
            EXPECT_NEAR(a.length(), 1.0f, 1e-6f);
            EXPECT_EQ(c, QVector3D::crossProduct(a, b));
        }
    }
}

TEST(MainDirectionsCalculator, FailsWithoutTwoAxesAndKeepsItsResults)
{
    ArvoImage3D image({9, 3, 3}, QVector3D(0.3f, 0.7f, 1.1f), image::Int16);
    image.zeroSlices();
    MainDirectionsCalculator calculator;
    EXPECT_TRUE(!calculator.getMassCenter() && !calculator.getDirection0() && !calculator.getDirection1() &&
                !calculator.getDirection2());
    image.changeVoxelValues({{0, 0, 0}, {4, 1, 0}, {8, 0, 0}}, 10);
    ASSERT_TRUE(runOn(calculator, &image, 5)); // a flat cloud has two axes
    EXPECT_NEAR(std::abs(calculator.getDirection2()[2]), 1.0f, 1e-6f);
    const QVector3D centre = vectorAt(calculator.getMassCenter());
    const QVector3D direction = vectorAt(calculator.getDirection2());

    const Warnings warnings;
    image.zeroSlices();
    image.changeVoxelValues({{1, 1, 1}, {5, 1, 1}, {7, 1, 1}}, 10); // a line
    EXPECT_FALSE(runOn(calculator, &image, 5));
    image.changeVoxelValues({{5, 1, 1}, {7, 1, 1}}, 0); // a point
    EXPECT_FALSE(runOn(calculator, &image, 5));
    ArvoImage3D mask = randomMask({3, 3, 3}, 1.0, 1);
    EXPECT_FALSE(runOn(calculator, &mask, 0));
    EXPECT_EQ(warnings.texts(), Texts{});
    EXPECT_FALSE(runOn(calculator, &image, 10)); // none
    EXPECT_EQ(warnings.texts(), Texts{"There are no voxels in the image. Main axis cannot be calculated"});
    EXPECT_EQ(vectorAt(calculator.getDirection2()), direction);
    EXPECT_EQ(vectorAt(MainDirectionsCalculator(calculator).getMassCenter()), centre);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(MainDirectionsCalculator, FailsWithoutMemoryForThePositions)
{
    ArvoImage3D image({200, 200, 200}, QVector3D(1, 1, 1), image::UInt8); // 192 MB of positions
    image.memsetSlices(1);
    MainDirectionsCalculator calculator;
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlimit tight{pages * static_cast<rlim_t>(getpagesize()) + (rlim_t(64) << 20), before.rlim_max};
    const Warnings warnings;
    setrlimit(RLIMIT_AS, &tight);
    const bool hasSucceeded = runOn(calculator, &image, 0);
    setrlimit(RLIMIT_AS, &before);
    EXPECT_FALSE(hasSucceeded);
    EXPECT_EQ(warnings.texts(), Texts{"Failed to allocate memory for svd"});
}
#endif
