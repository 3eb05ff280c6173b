#include "MaskTests.h"

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

ArvoImage3D bytes(const std::vector<unsigned char>& values)
{
    return volumeOf<unsigned char>({static_cast<int>(values.size()), 1, 1}, image::Binary, values);
}

} // namespace

TEST(ApplyMask, ClearsOutsideOrInsideTheMask)
{
    for (const bool invert : {false, true}) {
        forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
            ArvoImage3D image = randomVolume(size, type, seed, Fill::Extremes);
            const ArvoImage3D mask = randomVolume(size, image::UInt8, seed + 10, Fill::FewValues);
            ArvoImage3D expected = copyOf(image);
            withType(type, [&](auto element) {
                using T = typename decltype(element)::type;
                for (std::size_t i = 0; i < voxels<T>(expected).size(); ++i) {
                    if ((voxels<unsigned char>(mask)[i] != 0) == invert)
                        voxels<T>(expected)[i] = T(0);
                }
            });
            image.getValueRange();
            Tools::applyMask(&mask, &image, invert);
            expectVolume(expected, image, describe(size, type, seed) + (invert ? ", invert" : ""));
        });
    }
}

TEST(MaskConversions, MapEveryByte)
{
    using Convert = void (*)(ArvoImage3D*, ArvoImage3D*);
    const Convert byteToBinary = [](ArvoImage3D* in, ArvoImage3D* out) {
        Tools::convertByteToBinary(in, out);
    };
    const struct {
        Convert convert;
        std::vector<unsigned char> expected;
        bool isEdited;
    } cases[] = {
        {byteToBinary, {0, 1, 1, 1, 1, 1, 1}, true},
        {Tools::convertBinaryToByte, {50, 0, 0, 0, 0, 0, 0}, true},
        {Tools::convertMaskToBinary, {1, 0, 0, 0, 0, 0, 0}, false},
    };
    for (const auto& [convert, expected, isEdited] : cases) {
        ArvoImage3D in = bytes({0, 1, 2, 127, 128, 200, 255});
        ArvoImage3D larger = boxIn({8, 1, 2}, {0, 0, 0}, {7, 0, 1}, 9);
        convert(&in, &larger);
        std::vector<unsigned char> inLarger = expected;
        inLarger.resize(16, 9);
        EXPECT_TRUE(sameBits(volumeOf<unsigned char>({8, 1, 2}, image::Binary, inLarger), larger));

        EXPECT_EQ(in.maxValue(), 255);
        convert(&in, &in);
        EXPECT_TRUE(sameBits(bytes(expected), in));
        EXPECT_EQ(in.maxValue() != 255, isEdited);
    }
}

TEST(UnionBinaryImages, TakesTheLargerSignedByte)
{
    ArvoImage3D a = bytes({0, 1, 0, 200, 200, 5});
    ArvoImage3D larger = bytes({0, 0, 1, 0, 255, 127, 99});
    EXPECT_TRUE(sameBits(bytes({0, 1, 1, 0, 255, 127}), *Image(Tools::unionBinaryImages(&a, &larger))));

    forEachCase({image::Binary}, [](auto size, auto type, auto seed) {
        ArvoImage3D left = randomVolume(size, type, seed);
        ArvoImage3D right = randomVolume(size, type, seed + 10);
        const Image both(Tools::unionBinaryImages(&left, &right));
        for (std::size_t i = 0; i < voxels<signed char>(left).size(); ++i)
            voxels<signed char>(left)[i] =
                std::max(voxels<signed char>(left)[i], voxels<signed char>(right)[i]);
        EXPECT_TRUE(sameBits(left, *both)) << describe(size, type, seed);
        EXPECT_EQ(both->voxelSize(), left.voxelSize());
    });
}
