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

/// Calls body(voxel, steps along the axes to it) for those of the volume that lie in the box around a voxel.
template <class Body>
void forBox(const math::Ivec3& size, const math::Ivec3& centre, int radius, int radiusZ, Body body)
{
    for (int z = centre.z - radiusZ; z <= centre.z + radiusZ; ++z) {
        for (int y = centre.y - radius; y <= centre.y + radius; ++y) {
            for (int x = centre.x - radius; x <= centre.x + radius; ++x) {
                if (holds(size, x, y, z))
                    body(indexOf(size, x, y, z), math::Ivec3(x, y, z),
                         std::abs(x - centre.x) + std::abs(y - centre.y) + std::abs(z - centre.z));
            }
        }
    }
}

/// The definition on one block of slices. What stays need not be told apart by parts: it floods from where it is met.
template <class T> void eraseBlock(const math::Ivec3& size, T* values, int radius, int threshold)
{
    const int limit = sizeof(T) == 1 ? static_cast<T>(threshold) : threshold;
    std::vector<char> isBone;
    forEachVoxel(size, [&](int, int, int, std::size_t i) { isBone.push_back(values[i] > limit); });
    std::vector<char> isCore = isBone, stays(isBone.size(), 0);
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        forBox(size, {x, y, z}, 2, 0, [&](std::size_t near, const math::Ivec3&, int steps) {
            if (steps < 4 && !isBone[near])
                isCore[i] = 0;
        });
    });
    const auto isInDisc = [&](int x, int y) {
        const int dx = size.x / 2 - x, dy = size.y / 2 - y;
        return std::min(size.x, size.y) / 2 - radius + 0.5 > std::sqrt(float(dx * dx + dy * dy));
    };
    std::vector<math::Ivec3> front;
    const auto take = [&](std::size_t i, const math::Ivec3& voxel, int) {
        if (isCore[i] && !stays[i])
            front.push_back(voxel);
        stays[i] = isCore[i];
    };
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        if (isInDisc(x, y) || z == 0 || z == size.z - 1)
            take(i, {x, y, z}, 0);
    });
    while (!front.empty()) {
        const math::Ivec3 voxel = front.back();
        front.pop_back();
        forBox(size, voxel, 1, 1, take);
    }
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        bool isKept = isInDisc(x, y);
        int closest = isKept ? 0 : 7;
        forBox(size, {x, y, z}, 2, 2, [&](std::size_t near, const math::Ivec3&, int steps) {
            if (isCore[near] && steps < closest) {
                closest = steps;
                isKept = stays[near];
            }
        });
        if (values[i] > threshold && !(isBone[i] && isKept))
            values[i] = static_cast<T>(threshold - 1);
    });
}

/// Boxes of values around the threshold in a dark volume.
ArvoImage3D boxes(const math::Ivec3& size, image::DataType type, int threshold)
{
    ArvoImage3D image(size, QVector3D(1, 1, 1), type);
    image.zeroSlices();
    Random random(7);
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    for (int n = 0; n < 60; ++n) {
        const math::Ivec3 from(below(size.x), below(size.y), below(size.z));
        const math::Ivec3 extent(below(9), below(9), below(5));
        std::vector<math::Ivec3> box;
        forEachVoxel(extent, [&](int x, int y, int z, std::size_t) {
            box.push_back({from.x + x, from.y + y, from.z + z});
        });
        image.changeVoxelValues(box, threshold + below(40) - 3);
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
        ArvoImage3D in = boxes(size, type, s.threshold), out = randomVolume(size, type, 9);
        ArvoImage3D expected = copyOf(in), original = copyOf(in);
        image::withElementType(type, image::IntegerTypes{}, nullptr, [&](auto element) {
            using T = typename decltype(element)::type;
            for (int first = 0; first < size.z; first += 50)
                eraseBlock({size.x, size.y, std::min(50, size.z - first)},
                           &voxels<T>(expected)[indexOf(size, 0, 0, first)], s.radius, s.threshold);
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
            for (const Setting& s : {Setting{1, 120}, {5, 276}, {8, 120}, {2, -5}, {40, -5}})
                check(size, type, s);
        }
    }
    EXPECT_GT(erased, 2000u);
    EXPECT_GT(kept, 2000u);
}

TEST(ArvoImageConeBeamNoiseEraser, CopiesWhatItDoesNotClean)
{
    const struct {
        image::DataType type;
        int radius;
        math::Ivec3 size = {9, 8, 53};
    } cases[] = {{image::Int16, 0},
                 {image::Int16, -3},
                 {image::Float32, 3},
                 {image::Int32, 3},
                 {image::Reserved, 3},
                 {image::Int16, 1, {0, 4, 60}},
                 {image::Int16, 1, {4, 0, 3}},
                 {image::Int16, 1, {4, 4, 0}}};
    const Warnings warnings;
    for (const auto& [type, radius, size] : cases) {
        ArvoImage3D in = randomVolume(size, type, 1), out = randomVolume(size, type, 2);
        const ArvoImage3D original = copyOf(in);
        EXPECT_TRUE(erase(in, in, radius, -100));
        EXPECT_TRUE(sameBits(original, in)) << type << ", " << radius;
        EXPECT_TRUE(erase(in, out, radius, -100));
        EXPECT_TRUE(sameBits(original, out)) << type << ", " << radius;
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
    const ArvoImageConeBeamNoiseEraser copy(eraser);
    EXPECT_TRUE(eraser.execute());
    EXPECT_EQ(eraser.progress()->value(), 3);
    EXPECT_EQ(eraser.progress()->total(), 3);
    EXPECT_EQ(copy.progress()->value(), 0);
    EXPECT_EQ(copy.output(), &image);
}

TEST(ArvoImageConeBeamNoiseEraser, WarnsOfBadCallsAndStaysTrue)
{
    const Warnings warnings;
    const auto made = [](const math::Ivec3& size, image::DataType type) {
        return randomVolume(size, type, 1);
    };
    ArvoImage3D in = made({5, 4, 3}, image::Int16), invalid, deep = made({5, 4, 6}, image::Int16);
    ArvoImage3D unequal[] = {made({5, 4, 2}, image::Int16), made({6, 4, 3}, image::Int16),
                             made({5, 3, 3}, image::Int16), made({5, 4, 3}, image::UInt16)};
    EXPECT_TRUE(erase(in, deep, 1)); // the slices behind the input's stay
    EXPECT_TRUE(erase(in, invalid, 1));
    for (ArvoImage3D& out : unequal)
        EXPECT_TRUE(erase(in, out, 1));
    const std::string prefix = "ArvoImageConeBeamNoiseEraser : ";
    std::vector<std::string> expected(5, prefix + "the output image does not match the input image.");
    expected.front() = prefix + "no valid input image or output image.";
    EXPECT_EQ(warnings.texts(), expected);
}

} // namespace
