#include "arvo/binary/ArvoImageBinaryTools.h"

#include "binary/ToolsOn.h"
#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <limits>

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr const char* NOT_IMPLEMENTED = "ArvoImage3D::thresholdFilter() Data type not implemented";

ArvoImage3D maskLike(const ArvoImage3D& image)
{
    ArvoImage3D mask;
    mask.createFrom(&image, image::Binary);
    return mask;
}

bool passes(double voxel, double threshold, bool strict)
{
    return strict ? voxel > threshold : voxel >= threshold;
}

template <class T> bool passes(T voxel, float threshold, bool strict)
{
    if constexpr (std::is_same_v<T, float>)
        return passes(double(voxel), double(threshold), strict);
    else if constexpr (sizeof(T) == 1)
        return passes(double(voxel), double(truncated(threshold) & 255), strict);
    else
        return passes(double(voxel), double(truncated(threshold)), strict);
}

TEST(ThresholdFilter, AgreesWithTheDefinition)
{
    for (const float threshold :
         {0.0f, 1.0f, 100.7f, -0.5f, -1.5f, -32768.0f, -32769.0f, 32767.0f, 32768.0f, 65535.0f, 65536.0f,
          255.0f, 256.0f, 300.0f, -5.0f, 3e9f, -3e9f, NaN, std::numeric_limits<float>::infinity()}) {
        for (const bool strict : {false, true}) {
            forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
                const ArvoImage3D in =
                    randomVolume(size, type, seed, seed == 1 ? Fill::Extremes : Fill::Uniform);
                ArvoImage3D out = maskLike(in);
                ArvoImage3D expected = maskLike(in);
                withType(type, [&](auto element) {
                    using T = typename decltype(element)::type;
                    for (std::size_t i = 0; i < voxels<T>(in).size(); ++i)
                        voxels<unsigned char>(expected)[i] = passes(voxels<T>(in)[i], threshold, strict);
                });
                EXPECT_TRUE(Tools::thresholdFilter(in, out, threshold, strict));
                EXPECT_TRUE(sameBits(expected, out))
                    << describe(size, type, seed) << ", threshold " << threshold << ", strict " << strict;
            });
        }
    }
}

TEST(ThresholdFilter, WorksInPlaceAndTellsTheVolume)
{
    ArvoImage3D mask = volumeOf<unsigned char>({4, 1, 1}, image::Binary, {0, 44, 45, 200});
    EXPECT_EQ(mask.maxValue(), 200);
    EXPECT_TRUE(Tools::thresholdFilter(mask, mask, 300.0f, true)); // 44 in a byte
    EXPECT_TRUE(sameBits(volumeOf<unsigned char>({4, 1, 1}, image::Binary, {0, 0, 1, 1}), mask));
    EXPECT_EQ(mask.maxValue(), 1);
}

TEST(ThresholdFilter, MembersWorkFromInputToOutput)
{
    ArvoImage3D in = volumeOf<short>({3, 1, 1}, image::Int16, {275, 276, 277});
    ArvoImage3D out = maskLike(in);
    Tools tools;
    EXPECT_FALSE(tools.thresholdFilter(276, true));
    tools.setInput(&in);
    EXPECT_FALSE(tools.thresholdFilter(276.0f, true));
    EXPECT_FALSE(tools.thresholdFilterLowHigh(0, 300));
    tools.setOutput(&out);
    EXPECT_TRUE(tools.thresholdFilter(276, true));
    EXPECT_TRUE(sameBits(volumeOf<unsigned char>({3, 1, 1}, image::Binary, {0, 0, 1}), out));
    EXPECT_TRUE(tools.thresholdFilter(276.9f, false));
    EXPECT_TRUE(sameBits(volumeOf<unsigned char>({3, 1, 1}, image::Binary, {0, 1, 1}), out));
    // As a float the largest int is 2^31, which no int holds: every voxel is above the smallest.
    EXPECT_TRUE(tools.thresholdFilter(std::numeric_limits<int>::max(), true));
    EXPECT_EQ(out.minValue(), 1);
}

TEST(ThresholdFilter, RefusesOutputsSilentlyAndTypesWithAWarning)
{
    const ArvoImage3D in = randomVolume({4, 3, 2}, image::UInt8, 1);
    for (const auto& [size, type] : {std::pair(math::Ivec3(4, 3, 2), image::UInt8),
                                     {math::Ivec3(4, 3, 2), image::Int16},
                                     {math::Ivec3(4, 3, 3), image::Binary},
                                     {math::Ivec3(3, 4, 2), image::Binary}}) {
        ArvoImage3D out = randomVolume(size, type, 2);
        const ArvoImage3D before = copyOf(out);
        const Warnings warnings;
        EXPECT_FALSE(Tools::thresholdFilter(in, out, 1.0f, true));
        EXPECT_TRUE(sameBits(before, out));
        EXPECT_TRUE(warnings.texts().empty());
    }
    for (const image::DataType type : {image::Reserved, image::Int32, image::Float32}) {
        ArvoImage3D other(math::Ivec3(4, 3, 2), QVector3D(1, 1, 1), type);
        ArvoImage3D out = randomMask({4, 3, 2}, 0.5, 1);
        const ArvoImage3D before = copyOf(out);
        Tools tools = toolsOn(&other, &out);
        const Warnings warnings;
        std::vector<std::string> expected = {NOT_IMPLEMENTED};
        EXPECT_FALSE(tools.thresholdFilterLowHigh(0, 10));
        if (type != image::Float32) {
            EXPECT_FALSE(tools.thresholdFilter(1, true));
            expected.emplace_back(NOT_IMPLEMENTED);
        }
        EXPECT_EQ(warnings.texts(), expected);
        EXPECT_TRUE(sameBits(before, out));
    }
}

TEST(ThresholdFilterLowHigh, AgreesWithTheDefinition)
{
    constexpr int lowest = std::numeric_limits<int>::min(), highest = std::numeric_limits<int>::max();
    const int bounds[] = {lowest, -70000, -32769, -1,    0,     10,    20,     255,
                          256,    300,    32767,  32768, 65535, 65536, highest};
    for (const int low : bounds) {
        for (const int high : bounds) {
            for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Binary}) {
                ArvoImage3D in = randomVolume({17, 3, 2}, type, 3, Fill::Extremes);
                ArvoImage3D out = maskLike(in);
                ArvoImage3D expected = maskLike(in);
                withType(type, [&](auto element) {
                    using T = typename decltype(element)::type;
                    const int from = type == image::UInt16 ? low : static_cast<int>(static_cast<T>(low));
                    const int to = type == image::UInt16 ? high : static_cast<int>(static_cast<T>(high));
                    for (std::size_t i = 0; i < voxels<T>(in).size(); ++i) {
                        const auto voxel = static_cast<double>(voxels<T>(in)[i]);
                        voxels<unsigned char>(expected)[i] = from < voxel && voxel < to;
                    }
                });
                EXPECT_TRUE(toolsOn(&in, &out).thresholdFilterLowHigh(low, high));
                EXPECT_TRUE(sameBits(expected, out)) << low << " to " << high << ", type " << type;
            }
        }
    }
}

TEST(ThresholdFilterLowHigh, UsesALargerOutputSliceBySliceAndRefusesASmallerOne)
{
    ArvoImage3D in = volumeOf<short>({2, 1, 2}, image::Int16, {10, 11, 19, 20});
    ArvoImage3D larger = volumeOf<unsigned char>({3, 1, 3}, image::Binary, {9, 9, 9, 9, 9, 9, 9, 9, 9});
    EXPECT_TRUE(toolsOn(&in, &larger).thresholdFilterLowHigh(10, 20));
    EXPECT_TRUE(
        sameBits(volumeOf<unsigned char>({3, 1, 3}, image::Binary, {0, 1, 9, 1, 0, 9, 9, 9, 9}), larger));

    ArvoImage3D smaller = randomMask({2, 1, 1}, 1.0, 1);
    const Warnings warnings;
    EXPECT_FALSE(toolsOn(&in, &smaller).thresholdFilterLowHigh(10, 20));
    EXPECT_EQ(warnings.texts(),
              std::vector<std::string>{"ArvoImageBinaryTools : the output is smaller than the input."});
    ArvoImage3D floats = randomVolume({2, 1, 2}, image::Float32, 1);
    EXPECT_FALSE(toolsOn(&floats, &smaller).thresholdFilterLowHigh(10, 20));
    EXPECT_EQ(warnings.texts().back(), NOT_IMPLEMENTED);
}

} // namespace
