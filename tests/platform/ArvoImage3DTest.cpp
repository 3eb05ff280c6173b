#include "arvo/platform/image/ArvoImage3D.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cmath>
#include <limits>

using namespace testing_support;

namespace {

using Range = math::Range<float>;

const QVector3D spacing(0.5f, 0.75f, 1.25f);

TEST(ArvoImage3D, LaysSlicesOutOneAfterAnother)
{
    ArvoImage3D image({10, 20, 3}, spacing, image::Int16);
    ASSERT_TRUE(image.isValid());
    EXPECT_EQ(image.voxelSize(), spacing);
    EXPECT_EQ(image.sizeOfAxialSlice(), 400u);
    EXPECT_EQ(image.getAxialSlice(2), image.dataPtr() + 800);
    EXPECT_EQ(image.getConstAxialSlice(3), nullptr);
    EXPECT_EQ(image.getAxialSlice(-1), nullptr);
    image.memsetSlices(1);
    voxels<short>(image)[(2 * 20 + 7) * 10 + 4] = -5;
    EXPECT_EQ(image.getValue(4, 7, 2), -5);
    EXPECT_EQ(image.getFloatValue(4, 7, 2), -5.0f);
    for (const math::Ivec3& out : {math::Ivec3(10, 7, 1), {-1, 7, 1}, {4, 20, 1}, {4, -1, 1}, {4, 7, 3}})
        EXPECT_EQ(image.getValue(out.x, out.y, out.z), 0);
}

TEST(ArvoImage3D, IsInvalidWhenItCannotBeMade)
{
    const int edge = std::numeric_limits<int>::max();
    const struct {
        math::Ivec3 size;
        int type;
    } cases[] = {{{edge, edge, edge}, image::UInt8}, // the byte count overflows 64 bits
                 {{1 << 20, 1 << 20, 1 << 12}, image::UInt8},
                 {{-1, 2, 2}, image::UInt8},
                 {{2, 2, 2}, 7},
                 {{2, 2, 2}, -1}};
    const auto expectInvalid = [](auto size, auto voxelSize, int type) {
        ArvoImage3D image({2, 2, 2}, spacing, image::UInt8);
        EXPECT_FALSE(image.create(size, voxelSize, static_cast<image::DataType>(type)));
        EXPECT_FALSE(image.isValid());
        EXPECT_EQ(image.imageSize(), math::Ivec3());
        EXPECT_EQ(image.dataPtr(), nullptr);
        image.zeroSlices();
        EXPECT_EQ(image.maxValue(), 0);
    };
    for (const auto& c : cases)
        expectInvalid(c.size, spacing, c.type);
    const int size[] = {2, 2, 2};
    expectInvalid(size, static_cast<const float*>(nullptr), image::UInt8);
}

TEST(ArvoImage3D, CopiesBoxesInAndOut)
{
    const auto types = {image::UInt8, image::Int16, image::Float32, image::Int32};
    forEachCase(types, [](auto size, auto type, auto seed) {
        const ArvoImage3D original = randomVolume(size, type, seed, Fill::Extremes);
        ArvoImage3D bordered({size.x + 2, size.y + 2, size.z + 2}, spacing, type);
        bordered.zeroSlices();
        const int one[] = {1, 1, 1}, extent[] = {size.x, size.y, size.z};
        ASSERT_TRUE(bordered.copyIn(&original, one));
        EXPECT_EQ(bordered.getValue(0, 1, 1), 0);
        ArvoImage3D inner;
        ASSERT_TRUE(inner.copyFrom(&bordered, one, extent));
        EXPECT_TRUE(sameBits(original, inner)) << describe(size, type, seed);
        ASSERT_TRUE(bordered.copyFrom(&bordered, one, extent));
        EXPECT_TRUE(sameBits(original, bordered)) << describe(size, type, seed);
    });
}

TEST(ArvoImage3D, RefusesCopiesThatDoNotFit)
{
    const ArvoImage3D small = randomVolume({2, 3, 4}, image::UInt8, 1), invalid;
    const ArvoImage3D otherType = randomVolume({2, 3, 4}, image::Int16, 1);
    ArvoImage3D target = randomVolume({3, 3, 4}, image::UInt8, 2);
    const ArvoImage3D before = copyOf(target);
    const int fits[] = {1, 0, 0}, size[] = {2, 3, 4};

    const Warnings warnings;
    for (const int x : {2, -1, std::numeric_limits<int>::max()}) {
        const int origin[] = {x, 0, 0};
        EXPECT_FALSE(target.copyIn(&small, origin)) << x;
        EXPECT_FALSE(target.copyFrom(&small, origin, size)) << x;
    }
    EXPECT_FALSE(target.copyIn(&otherType, fits));
    EXPECT_FALSE(target.copyIn(nullptr, fits));
    EXPECT_FALSE(target.copyFrom(nullptr));
    EXPECT_FALSE(target.copyFrom(&invalid));
    EXPECT_FALSE(target.createFrom(nullptr, image::UInt8));
    EXPECT_EQ(warnings.texts().size(), 11u);
    EXPECT_FALSE(target.setAxialSlice(4, small.dataPtr()));
    EXPECT_TRUE(sameBits(before, target));
    (void)target.getValueRange();
    EXPECT_TRUE(target.copyIn(&small, fits));
    EXPECT_EQ(target.getValueRange(), copyOf(target).getValueRange());
}

TEST(ArvoImage3D, KeepsRecordsInACopyAndDropsThemInANewVolume)
{
    ArvoImage3D image = volumeOf<short>({2, 1, 1}, image::Int16, {4, 5});
    image.addInfo(0x20001, "ImageOrientation", QByteArray("abc"));
    image.addInfo(0x20001, "ImageOrientation", QByteArray("xyz"));
    image.addInfo(7, "Other", QByteArray());
    char* payload = image.info(0x20001)->data();
    ArvoImage3D copy = copyOf(image);
    ASSERT_NE(copy.info(0x20001), nullptr);
    EXPECT_EQ(image.info(0x20001)->data(), payload) << "moved by copying";
    payload[1] = 'z';
    EXPECT_EQ(copy.info(0x20001), copy.info("ImageOrientation"));
    EXPECT_EQ(copy.info("ImageOrientation")->data()[1], 'y');
    EXPECT_NE(copy.info(7), nullptr);
    EXPECT_EQ(copy.info(8), nullptr);
    copy.create({2, 1, 1}, spacing, image::Int16);
    EXPECT_EQ(copy.info(7), nullptr);

    const ArvoImage3D moved = std::move(image);
    EXPECT_EQ(moved.maxValue(), 5);
    EXPECT_NE(moved.info(7), nullptr);
    EXPECT_FALSE(image.isValid()); // NOLINT(bugprone-use-after-move): what a moved-from volume is
    EXPECT_EQ(image.imageSize(), math::Ivec3());
}

template <class T> Range naiveRange(const ArvoImage3D& image)
{
    Range range;
    bool isFirst = true;
    for (const T value : voxels<T>(image)) {
        if (value != value)
            continue;
        const auto number = static_cast<float>(value);
        range.first = isFirst || number < range.first ? number : range.first;
        range.second = isFirst || number > range.second ? number : range.second;
        isFirst = false;
    }
    return range;
}

TEST(ArvoImage3D, RangeAgreesWithTheDefinition)
{
    std::vector<image::DataType> types = voxelTypes();
    types.insert(types.end(), {image::Int32, image::Reserved});
    for (const Fill fill : {Fill::Uniform, Fill::Extremes, Fill::FewValues}) {
        forEachCase(types, [&](auto size, auto type, auto seed) {
            const ArvoImage3D image = randomVolume(size, type, seed, fill);
            withType(type, [&](auto element) {
                using T = typename decltype(element)::type;
                EXPECT_EQ(image.getValueRange(), naiveRange<T>(image)) << describe(size, type, seed);
            });
        });
    }
}

TEST(ArvoImage3D, RangeLeavesNaNOutAndKeepsInfinities)
{
    const float nan = std::nanf(""), inf = std::numeric_limits<float>::infinity();
    const auto rangeOf = [](const std::vector<float>& values) {
        const int count = static_cast<int>(values.size());
        return volumeOf({count, 1, 1}, image::Float32, values).getValueRange();
    };
    EXPECT_EQ(rangeOf({nan, nan}), Range(0.0f, 0.0f));
    EXPECT_EQ(rangeOf({nan, 3.0f, -2.0f}), Range(-2.0f, 3.0f));
    EXPECT_EQ(rangeOf({inf, nan}), Range(inf, inf));
    EXPECT_FALSE(std::signbit(rangeOf(std::vector<float>(70, -0.0f)).first));

    const ArvoImage3D floats = volumeOf<float>({2, 1, 1}, image::Float32, {-1.9f, 3e9f});
    EXPECT_EQ(floats.minValue(), -1);
    EXPECT_EQ(floats.maxValue(), std::numeric_limits<int>::min());
    const ArvoImage3D ints = volumeOf<std::int32_t>({2, 1, 1}, image::Int32, {16777217, -5});
    EXPECT_EQ(ints.maxValue(), 16777217);
}

TEST(ArvoImage3D, RangeFollowsChanges)
{
    ArvoImage3D image = volumeOf<short>({2, 2, 1}, image::Int16, {1, 2, 3, 4});
    EXPECT_EQ(image.maxValue(), 4);
    image.changeVoxelValues({{1, 0, 0}, {2, 0, 0}}, 65535); // the second lies outside
    EXPECT_EQ(image.minValue(), -1);
    EXPECT_EQ(image.getValue(0, 1, 0), 3);
    voxels<short>(image)[0] = 9;
    image.editFinished();
    EXPECT_EQ(image.maxValue(), 9);
}

TEST(ArvoImage3D, InterpolatesInsideAndClampsOutside)
{
    // x:      0   1
    // y = 0   0  10      z = 1 adds 100
    // y = 1  20  30
    const ArvoImage3D image = volumeOf<short>({2, 2, 2}, image::Int16, {0, 10, 20, 30, 100, 110, 120, 130});
    const float cases[][4] = {
        {0, 0, 0, 0},      {1, 1, 1, 130}, {0.5f, 0, 0, 5}, {0.25f, 0.5f, 0.75f, 87.5f},
        {-3, 0.5f, 0, 10}, {9, 9, 9, 130}, {NAN, 1, 0, 20}, {INFINITY, 0, -INFINITY, 10}};
    for (const auto& c : cases)
        EXPECT_EQ(image.getInterpolatedValue(c), c[3]) << c[0] << ' ' << c[1] << ' ' << c[2];
    EXPECT_EQ(ArvoImage3D().getInterpolatedValue(cases[0]), 0.0f);
}

} // namespace
