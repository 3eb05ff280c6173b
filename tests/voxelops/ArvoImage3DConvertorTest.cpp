#include "arvo/voxelops/ArvoImage3DConvertor.h"

#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cmath>

using namespace testing_support;

namespace {

using Texts = std::vector<std::string>;

const std::vector<image::DataType> sources = {image::UInt16, image::Int16,   image::UInt8,
                                              image::Binary, image::Float32, image::Int32};

template <class From> short naiveShort(From value, int factor)
{
    if constexpr (std::is_same_v<From, float>)
        return storedAs<short>(::roundf(static_cast<float>(factor) * value));
    else
        return static_cast<short>(static_cast<std::int64_t>(value) * factor);
}

void expectDefinition(const ArvoImage3D& in, int factor, const std::string& what)
{
    ArvoImage3D shorts(in.imageSize(), in.voxelSize(), image::Int16);
    ArvoImage3D floats(in.imageSize(), in.voxelSize(), image::Float32);
    withType(in.dataType(), [&](auto element) {
        const auto values = voxels<typename decltype(element)::type>(in);
        for (std::size_t i = 0; i < values.size(); ++i) {
            voxels<short>(shorts)[i] = naiveShort(values[i], factor);
            voxels<float>(floats)[i] = static_cast<float>(values[i]) * static_cast<float>(factor);
        }
    });
    for (const ArvoImage3D* expected : {&shorts, &floats}) {
        const auto converted = ArvoImage3DConvertor::convertToCopy(&in, expected->dataType(), factor);
        ASSERT_TRUE(converted);
        EXPECT_TRUE(sameBits(*expected, *converted)) << what << " x " << factor;
        EXPECT_EQ(converted->voxelSize(), in.voxelSize());
    }
}

TEST(Convertor, AgreesWithTheDefinition)
{
    for (const int factor : {1, 0, -1, 3, 1000, 65537, 2147483647, -2147483647 - 1}) {
        for (const Fill fill : {Fill::Uniform, Fill::Extremes}) {
            forEachCase(sources, [&](auto size, auto type, auto seed) {
                expectDefinition(randomVolume(size, type, seed, fill), factor, describe(size, type, seed));
            });
        }
    }
}

TEST(Convertor, RoundsHalvesAwayFromZero)
{
    const std::vector<float> values = {2.5f,  -2.5f, 0.49999997f, -0.49999997f, 0.5f, -0.5f, 8388607.5f,
                                       32768, 3e9f,  -3e9f,       INFINITY,     NAN,  1e-40f};
    const std::vector<short> expected = {3, -3, 0, 0, 1, -1, 0, -32768, 0, 0, 0, 0, 0};
    const ArvoImage3D in = volumeOf({13, 1, 1}, image::Float32, values);
    const auto out = ArvoImage3DConvertor::convertToCopy(&in, image::Int16, 1);
    ASSERT_TRUE(out);
    EXPECT_TRUE(sameBits(volumeOf({13, 1, 1}, image::Int16, expected), *out));
}

TEST(Convertor, WritesIntoALargerVolumeAsFarAsTheInputReaches)
{
    const ArvoImage3D in = volumeOf<unsigned short>({2, 1, 2}, image::UInt16, {40000, 2, 3, 4});
    ArvoImage3D out = volumeOf<short>({2, 2, 2}, image::Int16, {9, 9, 9, 9, 9, 9, 9, 9});
    (void)out.getValueRange();
    EXPECT_TRUE(ArvoImage3DConvertor::convert(&in, &out, 1));
    EXPECT_TRUE(sameBits(volumeOf<short>({2, 2, 2}, image::Int16, {-25536, 2, 9, 9, 3, 4, 9, 9}), out));
    EXPECT_EQ(out.minValue(), -25536);
}

TEST(Convertor, RefusesOnlyWhatItCannotWrite)
{
    const std::string cannot = "ArvoImage3DConvertor::convert: can only convert to float and short";
    const std::string failed = "ArvoImage3DConvertor : failed to convert image.";
    const math::Ivec3 size(3, 3, 2);
    const ArvoImage3D in = randomVolume(size, image::Int16, 1);
    for (const int type : {0, 2, 4, 6, 99}) {
        const Warnings warnings;
        EXPECT_EQ(ArvoImage3DConvertor::convertToCopy(&in, static_cast<image::DataType>(type), 1), nullptr);
        EXPECT_EQ(warnings.texts(), type == 99 ? Texts{failed} : (Texts{cannot, failed})) << type;
    }
    const Warnings warnings;
    ArvoImage3D out = randomVolume(size, image::Float32, 2), small = randomVolume({3, 3, 1}, image::Int16, 1);
    const ArvoImage3D before = copyOf(out), reserved = randomVolume(size, image::Reserved, 1);
    EXPECT_TRUE(ArvoImage3DConvertor::convert(&reserved, &out, 1)) << "nothing to convert";
    EXPECT_TRUE(sameBits(before, out));
    EXPECT_FALSE(ArvoImage3DConvertor::convert(&in, &small, 1));
    EXPECT_EQ(warnings.texts(),
              Texts{"ArvoImage3DConvertor : the output image is smaller than the input image."});
}

} // namespace
