#include "MaskTests.h"

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

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
                objects += voxels<signed char>(a)[i] >= 1;
                differences += voxels<unsigned char>(a)[i] != voxels<unsigned char>(b)[i];
            }
            EXPECT_EQ(Tools::countNonZeroVoxels(a), objects) << describe(size, image::UInt8, 1);
            EXPECT_EQ(Tools::countMismatchedVoxels(a, b), utility::Optional<std::size_t>(differences));
        }
    }
    EXPECT_EQ(Tools::countNonZeroVoxels(randomMask({300, 300, 2}, 1.0, 1)), 180000u);
}

TEST(CompareRegions, CountsTheLayersBeyondAndTheLayersMissing)
{
    const auto cube = [](int first, int last) {
        return boxIn({16, 14, 12}, {first, first, first}, {last, last, last}, 200);
    };
    const ArvoImage3D none = cube(1, 0), small = cube(4, 7), large = cube(2, 9);
    const struct {
        const ArvoImage3D& image;
        const ArvoImage3D& reference;
        int maxSmaller;
        int maxLarger;
        std::string tooFar; // empty: close enough
    } cases[] = {
        {large, large, 0, 0, ""},           {large, small, 0, 2, ""},
        {large, small, 0, 1, "2 larger"},   {small, large, 2, 0, ""},
        {small, large, 1, 0, "2 smaller"},  {small, none, 9, 9, "32766 larger"},
        {none, large, 3, 0, "4 smaller"},   {large, large, -1, -1, "0 larger"}, // is asked first
        {large, large, -1, 0, "0 smaller"},
    };
    for (const auto& c : cases) {
        const Warnings warnings;
        EXPECT_EQ(Tools::compareRegionsOf3DBinaryImages(&c.image, &c.reference, c.maxSmaller, c.maxLarger),
                  c.tooFar.empty());
        Texts expected;
        if (const std::size_t blank = c.tooFar.find(' '); blank != std::string::npos)
            expected = {"Image object is up to " + c.tooFar.substr(0, blank) + " voxel layers" +
                        c.tooFar.substr(blank) + " than the reference object"};
        EXPECT_EQ(warnings.texts(), expected);
    }
}
