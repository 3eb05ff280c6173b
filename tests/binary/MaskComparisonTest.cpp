#include "arvo/binary/ArvoImageBinaryTools.h"

#include "binary/ByteObjects.h"

#include <algorithm>

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

constexpr const char* FAILED =
    "ArvoImageBinaryTools::compareRegionsOf3DBinaryImages() failed to compare images";

TEST(CountVoxels, AgreesWithTheDefinition)
{
    std::vector<math::Ivec3> sizes = someSizes();
    sizes.insert(sizes.end(), {{300, 40, 1}, {4096, 1, 2}, {127, 64, 3}, {0, 3, 4}});
    for (const math::Ivec3& size : sizes) {
        for (const Fill fill : {Fill::Uniform, Fill::FewValues, Fill::Mask}) {
            const ArvoImage3D a = randomVolume(size, image::UInt8, 1, fill);
            const ArvoImage3D b = randomVolume(size, image::UInt8, 2, fill);
            std::size_t objects = 0, differences = 0;
            for (std::size_t i = 0; i < voxels<unsigned char>(a).size(); ++i) {
                const int voxel = voxels<unsigned char>(a)[i];
                objects += voxel >= 1 && voxel <= 127;
                differences += voxel != voxels<unsigned char>(b)[i];
            }
            EXPECT_EQ(Tools::countNonZeroVoxels(a), objects) << describe(size, image::UInt8, 1);
            EXPECT_EQ(Tools::countMismatchedVoxels(a, b), utility::Optional<std::size_t>(differences));
        }
    }
    const ArvoImage3D ones = randomMask({300, 300, 2}, 1.0, 1);
    EXPECT_EQ(Tools::countNonZeroVoxels(ones), 180000u);
}

TEST(CountVoxels, RefusesBadCalls)
{
    const ArvoImage3D a = randomMask({4, 3, 2}, 0.5, 1);
    const ArvoImage3D b = randomMask({3, 4, 2}, 0.5, 1);
    const Warnings warnings;
    EXPECT_FALSE(Tools::countMismatchedVoxels(a, b).has_value());
    EXPECT_EQ(Tools::countNonZeroVoxels(ArvoImage3D()), 0u);
    EXPECT_EQ(warnings.texts(),
              (std::vector<std::string>{
                  "ArvoImageBinaryTools::differenceL1Norm failed due to different image sizes.",
                  "ArvoImageBinaryTools : no valid mask to count."}));
}

ArvoImage3D cube(int first, int last, image::DataType type = image::Binary)
{
    return boxIn({16, 14, 12}, {first, first, first}, {last, last, last}, 200, type);
}

struct Answer {
    bool isClose;
    std::vector<std::string> warnings;
    bool operator==(const Answer&) const = default;
    friend void PrintTo(const Answer& answer, std::ostream* out)
    {
        *out << answer.isClose << " " << testing::PrintToString(answer.warnings);
    }
};

Answer compare(const ArvoImage3D* image, const ArvoImage3D* reference, int smaller, int larger)
{
    const Warnings warnings;
    const bool isClose = Tools::compareRegionsOf3DBinaryImages(image, reference, smaller, larger);
    return {isClose, warnings.texts()};
}

TEST(CompareRegions, CountsTheLayersBeyondAndTheLayersMissing)
{
    const ArvoImage3D zeroed = cube(1, 0), small = cube(4, 7), large = cube(2, 9, image::UInt8);
    const auto far = [](int layers, const std::string& how) {
        return Answer{false,
                      {"Image object is up to " + std::to_string(layers) + " voxel layers " + how +
                       " than the reference object"}};
    };
    const auto beyond = [&](int layers) { return far(layers, "larger"); };
    const auto missing = [&](int layers) { return far(layers, "smaller"); };
    const Answer close{true, {}};
    EXPECT_EQ(compare(&large, &large, 0, 0), close);
    EXPECT_EQ(compare(&large, &small, 0, 2), close);
    EXPECT_EQ(compare(&large, &small, 0, 1), beyond(2));
    EXPECT_EQ(compare(&small, &large, 2, 0), close);
    EXPECT_EQ(compare(&small, &large, 1, 0), missing(2));
    EXPECT_EQ(compare(&small, &zeroed, 9, 9), beyond(32766));
    EXPECT_EQ(compare(&zeroed, &large, 3, 0), missing(4));
    EXPECT_EQ(compare(&large, &large, 0, -1), beyond(0)) << "too far is asked first";
    EXPECT_EQ(compare(&large, &large, -1, 0), missing(0));
}

TEST(CompareRegions, FailsOnWhatCannotBeCompared)
{
    const ArvoImage3D mask = cube(3, 5);
    const ArvoImage3D thin = randomMask({16, 14, 2}, 0.5, 1);
    const ArvoImage3D small = randomMask({16, 13, 12}, 0.5, 1);
    const ArvoImage3D grey = randomVolume({16, 14, 12}, image::Int16, 1);
    const ArvoImage3D none;
    const std::pair<const ArvoImage3D*, const ArvoImage3D*> calls[] = {
        {nullptr, &mask}, {&mask, nullptr}, {&none, &mask},  {&mask, &none},
        {&grey, &mask},   {&mask, &grey},   {&small, &mask}, {&thin, &thin}};
    for (const auto& [image, reference] : calls)
        EXPECT_EQ(compare(image, reference, 99, 99), (Answer{false, {FAILED}}));
}

} // namespace
