#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"

#include "arvo/platform/threading/ThreadProgress.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cmath>

using namespace testing_support;

namespace {

bool erase(ArvoImage3D& in, ArvoImage3D& out, int radius, int threshold = 276)
{
    ArvoImageConeBeamNoiseEraser eraser;
    eraser.setInput(&in);
    eraser.setOutput(&out);
    eraser.setRadius(radius);
    eraser.setBoneThreshold(threshold);
    return eraser.execute();
}

/// The definition on slices [first, first + size.z) of a volume of integers.
struct Block {
    math::Ivec3 size;
    std::vector<int> values, bone, eroded, part, closest;

    std::size_t at(int x, int y, int z) const
    {
        return static_cast<std::size_t>((z * size.y + y) * size.x + x);
    }

    template <class Body> void forBox(int x, int y, int z, int rx, int ry, int rz, Body body) const
    {
        for (int k = std::max(z - rz, 0); k <= std::min(z + rz, size.z - 1); ++k)
            for (int j = std::max(y - ry, 0); j <= std::min(y + ry, size.y - 1); ++j)
                for (int i = std::max(x - rx, 0); i <= std::min(x + rx, size.x - 1); ++i)
                    body(i, j, k);
    }

    template <class Body> void forAll(Body body) const { forBox(0, 0, 0, size.x, size.y, size.z, body); }

    void findParts()
    {
        eroded = bone;
        forAll([&](int x, int y, int z) {
            if (bone[at(x, y, z)] == 0)
                forBox(x, y, z, 2, 2, 0, [&](int i, int j, int k) {
                    if (std::abs(i - x) + std::abs(j - y) < 4)
                        eroded[at(i, j, k)] = 0;
                });
        });
        part.assign(bone.size(), 0);
        int parts = 0;
        forAll([&](int x, int y, int z) {
            std::vector<math::Ivec3> front;
            const auto take = [&](int i, int j, int k) {
                if (eroded[at(i, j, k)] && !part[at(i, j, k)]) {
                    part[at(i, j, k)] = parts;
                    front.push_back({i, j, k});
                }
            };
            if (eroded[at(x, y, z)] && !part[at(x, y, z)]) {
                ++parts;
                take(x, y, z);
                while (!front.empty()) {
                    const math::Ivec3 p = front.back();
                    front.pop_back();
                    forBox(p.x, p.y, p.z, 1, 1, 1, take);
                }
            }
        });
        closest.assign(bone.size(), 0);
        forAll([&](int x, int y, int z) {
            int best = 7;
            forBox(x, y, z, 2, 2, 2, [&](int i, int j, int k) {
                const int distance = std::abs(i - x) + std::abs(j - y) + std::abs(k - z);
                if (bone[at(x, y, z)] && part[at(i, j, k)] && distance < best) {
                    best = distance;
                    closest[at(x, y, z)] = part[at(i, j, k)];
                }
            });
        });
    }

    void clean(int radius, int threshold)
    {
        const auto isInDisc = [&](int x, int y) {
            const int dx = size.x / 2 - x, dy = size.y / 2 - y;
            return std::min(size.x, size.y) / 2 - radius + 0.5 > std::sqrt(float(dx * dx + dy * dy));
        };
        std::vector<int> keep(bone.size() + 1, 0);
        forAll([&](int x, int y, int z) {
            if (part[at(x, y, z)] && (z == 0 || z == size.z - 1 || isInDisc(x, y)))
                keep[static_cast<std::size_t>(part[at(x, y, z)])] = 1;
        });
        forAll([&](int x, int y, int z) {
            if (!isInDisc(x, y) && !keep[static_cast<std::size_t>(closest[at(x, y, z)])])
                bone[at(x, y, z)] = 0;
            if (bone[at(x, y, z)] == 0 && values[at(x, y, z)] > threshold)
                values[at(x, y, z)] = threshold - 1;
        });
    }
};

template <class T> void eraseByDefinition(ArvoImage3D& image, int radius, int threshold)
{
    const math::Ivec3 size = image.imageSize();
    for (int first = 0; first < size.z; first += 50) {
        Block block{{size.x, size.y, std::min(50, size.z - first)}, {}, {}, {}, {}, {}};
        const std::size_t start = static_cast<std::size_t>(first * size.x * size.y);
        block.forAll([&](int x, int y, int z) {
            block.values.push_back(voxels<T>(image)[start + block.at(x, y, z)]);
            const int limit = sizeof(T) == 1 ? static_cast<T>(threshold) : threshold;
            block.bone.push_back(block.values.back() > limit);
        });
        block.findParts();
        block.clean(radius, threshold);
        std::ranges::transform(block.values, voxels<T>(image).begin() + static_cast<std::ptrdiff_t>(start),
                               [](int value) { return static_cast<T>(value); });
    }
}

/// Boxes of values around the threshold in a dark volume.
ArvoImage3D boxes(const math::Ivec3& size, image::DataType type, std::uint64_t seed, int threshold)
{
    ArvoImage3D image(size, QVector3D(1, 1, 1), type);
    image.zeroSlices();
    Random random(seed);
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    for (int n = 0; n < 60; ++n) {
        const math::Ivec3 from(below(size.x), below(size.y), below(size.z)),
            extent(below(9), below(9), below(5));
        const int value = threshold + below(40) - 3;
        std::vector<math::Ivec3> list;
        forEachVoxel(extent, [&](int x, int y, int z, std::size_t) {
            list.push_back({from.x + x, from.y + y, from.z + z});
        });
        image.changeVoxelValues(list, value);
    }
    return image;
}

TEST(ArvoImageConeBeamNoiseEraser, AgreesWithTheDefinition)
{
    struct Setting {
        int radius, threshold;
    };
    std::size_t erased = 0, kept = 0;
    const auto check = [&](const math::Ivec3& size, image::DataType type, const Setting& s) {
        ArvoImage3D in = boxes(size, type, 7, s.threshold), out = randomVolume(size, type, 9);
        ArvoImage3D expected = copyOf(in), original = copyOf(in);
        image::withElementType(type, image::IntegerTypes{}, nullptr, [&](auto element) {
            using T = typename decltype(element)::type;
            eraseByDefinition<T>(expected, s.radius, s.threshold);
            for (std::size_t i = 0; i < voxels<T>(in).size(); ++i) {
                if (voxels<T>(in)[i] > s.threshold)
                    ++(voxels<T>(expected)[i] == voxels<T>(in)[i] ? kept : erased);
            }
        });
        EXPECT_TRUE(erase(in, out, s.radius, s.threshold));
        EXPECT_TRUE(sameBits(expected, out))
            << describe(size, type, 7) << ", " << s.threshold << ", " << s.radius;
        EXPECT_TRUE(sameBits(original, in));
        EXPECT_TRUE(erase(in, in, s.radius, s.threshold));
        EXPECT_TRUE(sameBits(expected, in));
    };
    for (const math::Ivec3& size : {math::Ivec3(31, 25, 9), math::Ivec3(19, 21, 104), math::Ivec3(17, 16, 51),
                                    math::Ivec3(3, 50, 4), math::Ivec3(1, 1, 1)}) {
        for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Binary}) {
            for (const Setting& s : {Setting{1, 120}, {5, 276}, {8, 120}, {40, -5}})
                check(size, type, s);
        }
    }
    EXPECT_GT(erased, 2000u);
    EXPECT_GT(kept, 2000u);
}

TEST(ArvoImageConeBeamNoiseEraser, WithoutARadiusItCopies)
{
    ArvoImage3D in = randomVolume({9, 8, 7}, image::Int16, 1), out = randomVolume({9, 8, 7}, image::Int16, 2);
    const ArvoImage3D original = copyOf(in);
    EXPECT_TRUE(erase(in, out, 0));
    EXPECT_TRUE(sameBits(original, out));
    EXPECT_TRUE(erase(in, in, -3));
    EXPECT_TRUE(sameBits(original, in));
}

TEST(ArvoImageConeBeamNoiseEraser, OtherTypesAndEmptyVolumesPassWithoutAWarning)
{
    const Warnings warnings;
    for (const image::DataType type : {image::Float32, image::Int32, image::Reserved}) {
        ArvoImage3D in = randomVolume({9, 8, 53}, type, 1), out = randomVolume({9, 8, 53}, type, 2);
        EXPECT_TRUE(erase(in, out, 3, -100));
        EXPECT_TRUE(sameBits(in, out));
    }
    for (const math::Ivec3& size : {math::Ivec3(0, 4, 60), math::Ivec3(4, 0, 3), math::Ivec3(4, 4, 0)}) {
        ArvoImage3D empty = randomVolume(size, image::Int16, 1);
        EXPECT_TRUE(erase(empty, empty, 1));
    }
    EXPECT_TRUE(warnings.texts().empty());
}

TEST(ArvoImageConeBeamNoiseEraser, ReportsABlockAStepAndTheEnd)
{
    ArvoImage3D image = randomVolume({4, 4, 120}, image::Int16, 1);
    ArvoImageConeBeamNoiseEraser eraser;
    eraser.setInput(&image);
    eraser.setOutput(&image);
    eraser.setRadius(1);
    ArvoImageConeBeamNoiseEraser copy(eraser);
    EXPECT_TRUE(eraser.execute());
    EXPECT_EQ(eraser.progress()->value(), 3);
    EXPECT_EQ(eraser.progress()->total(), 3);
    EXPECT_EQ(copy.progress()->value(), 0);
    EXPECT_EQ(copy.output(), &image);
}

TEST(ArvoImageConeBeamNoiseEraser, WarnsOfBadCallsAndStaysTrue)
{
    const Warnings warnings;
    ArvoImage3D in = randomVolume({5, 4, 3}, image::Int16, 1), invalid;
    ArvoImage3D shallow = randomVolume({5, 4, 2}, image::Int16, 1),
                wide = randomVolume({6, 4, 3}, image::Int16, 1);
    ArvoImage3D deep = randomVolume({5, 4, 6}, image::Int16, 1),
                other = randomVolume({5, 4, 3}, image::UInt16, 1);
    EXPECT_TRUE(ArvoImageConeBeamNoiseEraser().execute());
    EXPECT_TRUE(erase(in, invalid, 1));
    EXPECT_TRUE(erase(in, shallow, 1));
    EXPECT_TRUE(erase(in, wide, 0));
    EXPECT_TRUE(erase(in, other, 1));
    const std::string prefix = "ArvoImageConeBeamNoiseEraser : ";
    const std::string missing = prefix + "no valid input image or output image.";
    const std::string unequal = prefix + "the output image does not match the input image.";
    EXPECT_EQ(warnings.texts(), (std::vector<std::string>{missing, missing, unequal, unequal, unequal}));
    EXPECT_TRUE(erase(in, deep, 1));
    EXPECT_EQ(warnings.texts().size(), 5u);
}

} // namespace
