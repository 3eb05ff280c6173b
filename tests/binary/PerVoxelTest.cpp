#include "MaskTests.h"
#include "support/FloatToVoxel.h"

#include <climits>
#include <cmath>
#include <tuple>

using namespace testing_support;

namespace {

/// Compares filter(in, out), which makes bytes, with its rule byteOf(voxel) over sizes, types and seeds.
template <class Filter, class ByteOf>
void expectFiltered(const std::vector<image::DataType>& types, const std::string& what, Filter&& filter,
                    ByteOf&& byteOf)
{
    forEachCase(types, [&](auto size, auto type, auto seed) {
        const ArvoImage3D in = randomVolume(size, type, seed, seed == 1 ? Fill::Extremes : Fill::Uniform);
        withType(type, [&](auto element) {
            using T = typename decltype(element)::type;
            const ArvoImage3D expected =
                maskLike(in, [&](std::size_t i) { return byteOf(voxels<T>(in)[i]); });
            expectResult(expected, in, what + ", " + describe(size, type, seed), filter);
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
    for (const float threshold :
         {0.0f, 1.0f, 100.7f, -0.5f, -1.5f, -32768.0f, -32769.0f, 32767.0f, 32768.0f, 65535.0f, 65536.0f,
          255.0f, 256.0f, 300.0f, -5.0f, 3e9f, -3e9f, NAN, HUGE_VALF}) {
        const std::string what = std::to_string(threshold);
        expectFiltered(
            voxelTypes(), what,
            [=](ArvoImage3D& in, ArvoImage3D& out) {
                EXPECT_TRUE(toolsOn(&in, &out).thresholdFilter(threshold, false));
            },
            [=]<class T>(T voxel) { return static_cast<double>(voxel) >= thresholdFor<T>(threshold); });
        expectFiltered(
            voxelTypes(), what + ", strict",
            [=](ArvoImage3D& in, ArvoImage3D& out) {
                EXPECT_TRUE(Tools::thresholdFilter(in, out, threshold, true));
            },
            [=]<class T>(T voxel) { return static_cast<double>(voxel) > thresholdFor<T>(threshold); });
    }
}

TEST(ThresholdFilter, TakesAnIntegerAsAFloat)
{
    ArvoImage3D in = volumeOf<short>({3, 1, 1}, image::Int16, {275, 276, 277}),
                out = boxIn({3, 1, 1}, {}, {});
    // As a float the largest int is 2^31, which no int holds: every voxel is above the smallest.
    for (const auto& [threshold, strict, first] :
         {std::tuple(276, true, 2), {276, false, 1}, {INT_MAX, true, 0}}) {
        EXPECT_TRUE(toolsOn(&in, &out).thresholdFilter(threshold, strict));
        EXPECT_TRUE(sameBits(boxIn({3, 1, 1}, {first, 0, 0}, {2, 0, 0}), out));
    }
}

TEST(ThresholdFilterLowHigh, AgreesWithTheDefinition)
{
    const int bounds[] = {INT_MIN, -70000, -32769, -1, 0, 10, 255, 300, 32767, 32768, 65535, 65536, INT_MAX};
    for (const int low : bounds) {
        for (const int high : bounds)
            expectFiltered(
                {image::UInt16, image::Int16, image::UInt8, image::Binary},
                std::to_string(low) + " to " + std::to_string(high),
                [=](ArvoImage3D& in, ArvoImage3D& out) {
                    EXPECT_TRUE(toolsOn(&in, &out).thresholdFilterLowHigh(low, high));
                },
                [=]<class T>(T voxel) {
                    if constexpr (std::is_same_v<T, unsigned short>)
                        return low < voxel && voxel < high;
                    else
                        return static_cast<T>(low) < voxel && voxel < static_cast<T>(high);
                });
    }
}

TEST(MaskConversions, AgreeWithTheDefinition)
{
    const std::vector<image::DataType> types = {image::UInt8, image::Binary};
    const auto byteToBinary = [](auto& in, auto& out) { Tools::convertByteToBinary(&in, &out); };
    const auto binaryToByte = [](auto& in, auto& out) { Tools::convertBinaryToByte(&in, &out); };
    const auto maskToBinary = [](auto& in, auto& out) {
        const auto before = out.getValueRange();
        Tools::convertMaskToBinary(&in, &out);
        EXPECT_EQ(out.getValueRange(), before); // leaves that to the caller
        out.editFinished();
    };
    expectFiltered(types, "byte to binary", byteToBinary, [](auto voxel) { return voxel != 0; });
    expectFiltered(types, "binary to byte", binaryToByte, [](auto voxel) { return voxel != 0 ? 0 : 50; });
    expectFiltered(types, "mask to binary", maskToBinary, [](auto voxel) { return voxel == 0; });
}

TEST(PerVoxel, OperationsUseALargerOutputSliceBySlice)
{
    ArvoImage3D in = volumeOf<unsigned char>({2, 1, 2}, image::Binary, {0, 11, 19, 20});
    const auto expectWritten = [&](const std::vector<unsigned char>& expected, auto&& filter) {
        ArvoImage3D larger = boxIn({3, 1, 3}, {0, 0, 0}, {2, 0, 2}, 9);
        filter(larger);
        EXPECT_TRUE(sameBits(volumeOf({3, 1, 3}, image::Binary, expected), larger));
    };
    expectWritten({0, 1, 9, 1, 0, 9, 9, 9, 9},
                  [&](ArvoImage3D& out) { toolsOn(&in, &out).thresholdFilterLowHigh(10, 20); });
    expectWritten({1, 0, 9, 0, 0, 9, 9, 9, 9},
                  [&](ArvoImage3D& out) { Tools::convertMaskToBinary(&in, &out); });
}
