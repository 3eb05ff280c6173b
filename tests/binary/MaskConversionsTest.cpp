#include "arvo/binary/ArvoImageBinaryTools.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <memory>

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

ArvoImage3D bytes(const std::vector<unsigned char>& values, image::DataType type = image::Binary)
{
    return volumeOf<unsigned char>({static_cast<int>(values.size()), 1, 1}, type, values);
}

TEST(ApplyMask, AgreesWithTheDefinition)
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
            EXPECT_TRUE(sameBits(expected, image)) << describe(size, type, seed) << ", invert " << invert;
            EXPECT_EQ(expected.getValueRange(), image.getValueRange());
        });
    }
}

TEST(ApplyMask, RefusesBadCalls)
{
    const std::string invalid = "ArvoImageBinaryTools::applyMask()  - invalid input images";
    const std::string type = "ArvoImage3D::thresholdFilter() Data type not implemented";
    ArvoImage3D image = randomVolume({4, 3, 2}, image::Int16, 1);
    ArvoImage3D wide = randomVolume({4, 3, 2}, image::Int32, 1);
    ArvoImage3D small = randomMask({4, 3, 1}, 0.5, 1);
    ArvoImage3D mask = randomMask({4, 3, 2}, 0.0, 1);
    ArvoImage3D none;
    const ArvoImage3D before = copyOf(image);
    const struct {
        ArvoImage3D* mask;
        ArvoImage3D* image;
        std::string warning;
    } cases[] = {
        {nullptr, &image, invalid},
        {&none, &image, invalid},
        {&image, &image, invalid},
        {&mask, nullptr, invalid},
        {&mask, &none, invalid},
        {&mask, &wide, type},
        {&small, &wide, type},
        {&small, &image, "ArvoImageBinaryTools : the mask is smaller than the image."},
    };
    for (const auto& c : cases) {
        const Warnings warnings;
        Tools::applyMask(c.mask, c.image, false);
        EXPECT_EQ(warnings.texts(), std::vector<std::string>{c.warning});
    }
    EXPECT_TRUE(sameBits(before, image));
}

TEST(MaskConversions, MapEveryByte)
{
    const ArvoImage3D in = bytes({0, 1, 2, 127, 128, 200, 255}, image::UInt8);
    const struct {
        void (*convert)(ArvoImage3D* in, ArvoImage3D* out);
        std::vector<unsigned char> expected;
        bool isEdited;
    } cases[] = {
        {[](ArvoImage3D* i, ArvoImage3D* o) { Tools::convertByteToBinary(i, o); },
         {0, 1, 1, 1, 1, 1, 1},
         true},
        {Tools::convertBinaryToByte, {50, 0, 0, 0, 0, 0, 0}, true},
        {Tools::convertMaskToBinary, {1, 0, 0, 0, 0, 0, 0}, false},
    };
    for (const auto& c : cases) {
        ArvoImage3D inPlace = copyOf(in);
        EXPECT_EQ(inPlace.maxValue(), 255);
        c.convert(&inPlace, &inPlace);
        EXPECT_TRUE(sameBits(bytes(c.expected, image::UInt8), inPlace));
        EXPECT_EQ(inPlace.maxValue() != 255, c.isEdited);

        ArvoImage3D from = copyOf(in);
        ArvoImage3D larger =
            volumeOf<unsigned char>({8, 1, 2}, image::Binary, std::vector<unsigned char>(16, 9));
        c.convert(&from, &larger);
        std::vector<unsigned char> expected = c.expected;
        expected.resize(16, 9);
        EXPECT_TRUE(sameBits(volumeOf<unsigned char>({8, 1, 2}, image::Binary, expected), larger));

        ArvoImage3D smaller = bytes({9, 9});
        ArvoImage3D none;
        const Warnings warnings;
        c.convert(&from, &smaller);
        c.convert(nullptr, &smaller);
        c.convert(&from, &none);
        EXPECT_TRUE(sameBits(bytes({9, 9}), smaller));
        EXPECT_EQ(warnings.texts(),
                  (std::vector<std::string>{"ArvoImageBinaryTools : the output is smaller than the input.",
                                            "ArvoImageBinaryTools : no valid volumes to convert.",
                                            "ArvoImageBinaryTools : no valid volumes to convert."}));
    }
}

TEST(UnionBinaryImages, TakesTheLargerSignedByte)
{
    ArvoImage3D a = bytes({0, 1, 0, 200, 200, 5});
    ArvoImage3D b = bytes({0, 0, 1, 0, 255, 127, 99});
    const std::unique_ptr<ArvoImage3D> both(Tools::unionBinaryImages(&a, &b));
    ASSERT_TRUE(both);
    EXPECT_TRUE(sameBits(bytes({0, 1, 1, 0, 255, 127}), *both));
    EXPECT_EQ(both->voxelSize(), a.voxelSize());

    forEachCase({image::Binary}, [](auto size, auto type, auto seed) {
        ArvoImage3D left = randomVolume(size, type, seed);
        ArvoImage3D right = randomVolume(size, type, seed + 10);
        ArvoImage3D expected = copyOf(left);
        for (std::size_t i = 0; i < voxels<signed char>(expected).size(); ++i)
            voxels<signed char>(expected)[i] =
                std::max(voxels<signed char>(left)[i], voxels<signed char>(right)[i]);
        const std::unique_ptr<ArvoImage3D> result(Tools::unionBinaryImages(&left, &right));
        EXPECT_TRUE(sameBits(expected, *result));
    });
}

TEST(UnionBinaryImages, RefusesBadCalls)
{
    ArvoImage3D mask = bytes({1, 0});
    ArvoImage3D grey = bytes({1, 0}, image::UInt8);
    ArvoImage3D small = bytes({1});
    const Warnings warnings;
    const std::pair<ArvoImage3D*, ArvoImage3D*> calls[] = {
        {nullptr, &mask}, {&mask, nullptr}, {&grey, &mask}, {&mask, &grey}, {&mask, &small}};
    for (const auto& [a, b] : calls)
        EXPECT_EQ(Tools::unionBinaryImages(a, b), nullptr);
    std::vector<std::string> expected(4, "ArvoImageBinaryTools::unionBinaryImages()  - invalid input images");
    expected.emplace_back("ArvoImageBinaryTools : the second image of the union is smaller than the first.");
    EXPECT_EQ(warnings.texts(), expected);
}

} // namespace
