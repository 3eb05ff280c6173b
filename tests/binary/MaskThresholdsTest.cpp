#include "MaskTests.h"
#include "support/FloatToVoxel.h"

#include <limits>

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

/// Compares filter(in, out) with its rule passes(voxel) over sizes, types and seeds.
template <class Filter, class Passes>
void expectFiltered(const std::vector<image::DataType>& types, const std::string& what, Filter&& filter,
                    Passes&& passes)
{
    forEachCase(types, [&](auto size, auto type, auto seed) {
        const ArvoImage3D in = randomVolume(size, type, seed, seed == 1 ? Fill::Extremes : Fill::Uniform);
        withType(type, [&](auto element) {
            using T = typename decltype(element)::type;
            const ArvoImage3D expected =
                maskWhere(in, [&](std::size_t i) { return passes(voxels<T>(in)[i]); });
            expectResult(expected, in, what + ", " + describe(size, type, seed),
                         [&](ArvoImage3D& from, ArvoImage3D& to) { EXPECT_TRUE(filter(from, to)); });
        });
    });
}

/// The threshold as voxels of type T are compared with it.
template <class T> double thresholdFor(float threshold)
{
    if constexpr (std::is_same_v<T, float>)
        return static_cast<double>(threshold);
    else
        return sizeof(T) == 1 ? truncated(threshold) & 255 : truncated(threshold);
}

} // namespace

TEST(ThresholdFilter, AgreesWithTheDefinition)
{
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    for (const float threshold :
         {0.0f, 1.0f, 100.7f, -0.5f, -1.5f, -32768.0f, -32769.0f, 32767.0f, 32768.0f, 65535.0f, 65536.0f,
          255.0f, 256.0f, 300.0f, -5.0f, 3e9f, -3e9f, nan, infinity}) {
        for (const bool strict : {false, true})
            expectFiltered(
                voxelTypes(), std::to_string(threshold) + (strict ? ", strict" : ""),
                [=](ArvoImage3D& in, ArvoImage3D& out) {
                    return Tools::thresholdFilter(in, out, threshold, strict);
                },
                [=]<class T>(T voxel) {
                    const auto value = static_cast<double>(voxel);
                    return strict ? value > thresholdFor<T>(threshold) : value >= thresholdFor<T>(threshold);
                });
    }
}

TEST(ThresholdFilter, MembersWorkFromInputToOutput)
{
    ArvoImage3D in = volumeOf<short>({3, 1, 1}, image::Int16, {275, 276, 277});
    ArvoImage3D out = boxIn({3, 1, 1}, {0, 0, 0}, {2, 0, 0});
    Tools tools = toolsOn(&in, &out);
    EXPECT_TRUE(tools.thresholdFilter(276, true));
    EXPECT_TRUE(sameBits(boxIn({3, 1, 1}, {2, 0, 0}, {2, 0, 0}), out));
    EXPECT_TRUE(tools.thresholdFilter(276.9f, false));
    EXPECT_TRUE(sameBits(boxIn({3, 1, 1}, {1, 0, 0}, {2, 0, 0}), out));
    // As a float the largest int is 2^31, which no int holds: every voxel is above the smallest.
    EXPECT_TRUE(tools.thresholdFilter(std::numeric_limits<int>::max(), true));
    EXPECT_EQ(out.minValue(), 1);
}

TEST(ThresholdFilterLowHigh, AgreesWithTheDefinition)
{
    constexpr int lowest = std::numeric_limits<int>::min(), highest = std::numeric_limits<int>::max();
    const int bounds[] = {lowest, -70000, -32769, -1, 0, 10, 255, 300, 32767, 32768, 65535, 65536, highest};
    for (const int low : bounds) {
        for (const int high : bounds)
            expectFiltered(
                {image::UInt16, image::Int16, image::UInt8, image::Binary},
                std::to_string(low) + " to " + std::to_string(high),
                [=](ArvoImage3D& in, ArvoImage3D& out) {
                    return toolsOn(&in, &out).thresholdFilterLowHigh(low, high);
                },
                [=]<class T>(T voxel) {
                    if constexpr (std::is_same_v<T, unsigned short>)
                        return low < voxel && voxel < high;
                    else
                        return static_cast<T>(low) < voxel && voxel < static_cast<T>(high);
                });
    }
}

TEST(ThresholdFilterLowHigh, UsesALargerOutputSliceBySlice)
{
    ArvoImage3D in = volumeOf<short>({2, 1, 2}, image::Int16, {10, 11, 19, 20});
    ArvoImage3D larger = boxIn({3, 1, 3}, {0, 0, 0}, {2, 0, 2}, 9);
    EXPECT_TRUE(toolsOn(&in, &larger).thresholdFilterLowHigh(10, 20));
    EXPECT_TRUE(
        sameBits(volumeOf<unsigned char>({3, 1, 3}, image::Binary, {0, 1, 9, 1, 0, 9, 9, 9, 9}), larger));
}
