#include "arvo/voxelops/ArvoImage3DOperations.h"

#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numeric>

using namespace testing_support;

namespace {

using Operations = ArvoImage3DOperations;
using Texts = std::vector<std::string>;

const std::vector<image::DataType> integerTypes = {image::UInt16, image::Int16, image::UInt8, image::Binary};

template <class Body> void withIntegerType(image::DataType type, Body&& body)
{
    image::withElementType(type, image::IntegerTypes{}, nullptr, [&](auto element) { body(element); });
}

/// An operation that changes each voxel of `a` by itself and the voxel of `b` at the same place.
struct VoxelwiseOperation {
    const char* name;
    std::vector<image::DataType> types;
    void (*run)(ArvoImage3D& a, ArvoImage3D& b);
    double (*naive)(double a, double b); // exact in double; stored into the element afterwards
    bool isMasked = false;               // b holds bytes
};

const VoxelwiseOperation twoVolumeOperations[] = {
    {"add", voxelTypes(), [](ArvoImage3D& a, ArvoImage3D& b) { Operations::add(&a, &b); },
     [](double a, double b) {
         return a + b;
     }}, // two floats added in double, then rounded to float: the float sum
    {"subtract", voxelTypes(), [](ArvoImage3D& a, ArvoImage3D& b) { Operations::subtract(&a, &b); },
     [](double a, double b) { return a - b; }},
    {"min", voxelTypes(), [](ArvoImage3D& a, ArvoImage3D& b) { Operations::min(a, b); },
     [](double a, double b) { return b < a ? b : a; }},
    {"max", voxelTypes(), [](ArvoImage3D& a, ArvoImage3D& b) { Operations::max(a, b); },
     [](double a, double b) { return b > a ? b : a; }},
};
const VoxelwiseOperation otherOperations[] = {
    {"applyMask",
     {image::Int16, image::UInt8, image::Binary, image::Float32},
     [](ArvoImage3D& a, ArvoImage3D& b) { Operations::applyMask(&a, &b); },
     [](double a, double b) { return b == 0 ? 0 : a; },
     true},
    {"invert",
     {image::Binary},
     [](ArvoImage3D& a, ArvoImage3D&) { Operations::invert(&a); },
     [](double a, double) { return 1 - a; }},
    {"invertSign",
     {image::Int16, image::Float32},
     [](ArvoImage3D& a, ArvoImage3D&) { Operations::invertSign(&a); },
     [](double a, double) { return -a; }},
};

void expectDefinition(const VoxelwiseOperation& operation)
{
    for (const Fill fill : {Fill::Uniform, Fill::Extremes}) {
        forEachCase(operation.types, [&](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
            ArvoImage3D a = randomVolume(size, type, seed, fill);
            ArvoImage3D b = randomVolume(size, operation.isMasked ? image::UInt8 : type, seed + 10, fill);
            const ArvoImage3D untouched = copyOf(b);
            ArvoImage3D expected = copyOf(a);
            withType(type, [&](auto element) {
                using T = typename decltype(element)::type;
                for (std::size_t i = 0; i < voxels<T>(expected).size(); ++i) {
                    const double second = operation.isMasked ? voxels<unsigned char>(b)[i] : voxels<T>(b)[i];
                    voxels<T>(expected)[i] = storedAs<T>(operation.naive(voxels<T>(a)[i], second));
                }
            });
            a.getValueRange();
            operation.run(a, b);
            EXPECT_TRUE(sameBits(expected, a)) << operation.name << ", " << describe(size, type, seed);
            EXPECT_TRUE(sameBits(untouched, b)) << operation.name;
            EXPECT_EQ(a.getValueRange(), expected.getValueRange()) << operation.name << ": not published";
        });
    }
}

TEST(VoxelwiseOperations, AgreeWithTheDefinition)
{
    for (const VoxelwiseOperation& operation : twoVolumeOperations)
        expectDefinition(operation);
    for (const VoxelwiseOperation& operation : otherOperations)
        expectDefinition(operation);
}

TEST(InvertSign, FlipsTheSignOfNaN)
{
    ArvoImage3D image = volumeOf<float>({1, 1, 1}, image::Float32, {std::abs(NAN)});
    Operations::invertSign(&image);
    EXPECT_TRUE(std::signbit(voxels<float>(image)[0]));
}

TEST(TwoVolumes, RefuseWhatDoesNotFit)
{
    const ArvoImage3D original = randomVolume({4, 3, 2}, image::Int16, 1);
    const ArvoImage3D whole = randomVolume({4, 3, 2}, image::Int32, 1);
    const ArvoImage3D otherType = randomVolume({4, 3, 1}, image::UInt16, 1);
    const ArvoImage3D otherSize = randomVolume({4, 2, 2}, image::Int16, 1);
    for (const VoxelwiseOperation& operation : twoVolumeOperations) {
        const std::string start = "ArvoImage3DOperations : ", name = operation.name;
        const auto expectRefusal = [&](const ArvoImage3D& first, const ArvoImage3D& second,
                                       const std::string& text) {
            const Warnings warnings;
            ArvoImage3D a = copyOf(first), b = copyOf(second);
            operation.run(a, b);
            EXPECT_EQ(warnings.texts(), Texts{start + text});
            EXPECT_TRUE(sameBits(first, a));
        };
        expectRefusal(original, otherType, "cannot " + name + " images of incompatible types.");
        expectRefusal(original, otherSize, "cannot " + name + " images of incompatible size.");
        expectRefusal(whole, whole, name + " not implemented for this data type.");
    }
}

TEST(ApplyMask, RunsOverTheExtentOfTheMask)
{
    ArvoImage3D image = volumeOf<short>({2, 2, 2}, image::Int16, {1, 2, 3, 4, 5, 6, 7, 8});
    ArvoImage3D mask = volumeOf<unsigned char>({3, 1, 1}, image::Binary, {0, 1, 0});
    Operations::applyMask(&image, &mask);
    EXPECT_TRUE(sameBits(volumeOf<short>({2, 2, 2}, image::Int16, {0, 2, 0, 4, 5, 6, 7, 8}), image));

    const Warnings warnings;
    ArvoImage3D larger = randomMask({2, 2, 3}, 0.5, 1);
    Operations::applyMask(&image, &larger);
    EXPECT_EQ(warnings.texts(), Texts{"ArvoImage3DOperations : the mask is larger than the image."});
    EXPECT_EQ(voxels<short>(image)[7], 8);
}

TEST(ClipAndRescale, AgreesWithTheDefinitionForEveryValue)
{
    struct Window {
        int lowIn, highIn, lowOut, highOut, outside;
    };
    const Window windows[] = {
        {-500, 1500, 0, 255, 0},         {0, 255, 0, 255, 7},          {-1000, 3000, -32768, 32767, -1},
        {10, 10, 300, 200, 70000},       {100, 50, 0, 1, -3},          {-40000, 40000, -1, 1, 5},
        {-100000, 100000, 5, -90000, 5}, {0, 65535, 0, 2147483647, 1}, {5, 9, -2147483647, 2147483647, 2},
        {70000, 80000, 0, 1, 9},
    };
    for (const Window& w : windows) {
        for (const image::DataType type : integerTypes) {
            ArvoImage3D image({256, 16, 16}, QVector3D(1, 1, 1), type);
            withIntegerType(type, [&](auto element) {
                using T = typename decltype(element)::type;
                std::iota(voxels<T>(image).begin(), voxels<T>(image).end(), T(0));
            });
            ArvoImage3D expected = copyOf(image);
            const double scale = (double(w.highOut) - w.lowOut + 0.5) / (double(w.highIn) - w.lowIn + 0.5);
            withIntegerType(type, [&](auto element) {
                using T = typename decltype(element)::type;
                for (T& v : voxels<T>(expected)) {
                    const double mapped = (double(v) - w.lowIn) * scale + w.lowOut;
                    const bool isInside = w.lowIn <= v && v <= w.highIn;
                    v = static_cast<T>(isInside ? truncated(mapped) : w.outside);
                }
            });
            Operations::clipAndRescale(&image, w.lowIn, w.highIn, w.lowOut, w.highOut, w.outside);
            EXPECT_TRUE(sameBits(expected, image)) << "type " << type << ", window from " << w.lowIn;
        }
    }
}

TEST(NormalizedFloats, AreMadeAndInvertedInSinglePrecision)
{
    ArvoImage3D image = randomVolume({17, 5, 4}, image::Float32, 3);
    ArvoImage3D expected = copyOf(image);
    const math::Range<float> range = image.getValueRange();
    for (float& v : voxels<float>(expected))
        v = (v - range.first) / (range.second - range.first);
    Operations::normalizeIntensity(image);
    EXPECT_TRUE(sameBits(expected, image));
    EXPECT_EQ(image.getValueRange(), math::Range<float>(0.0f, 1.0f));
    for (float& v : voxels<float>(expected))
        v = 1.0f - v;
    Operations::invert(&image);
    EXPECT_TRUE(sameBits(expected, image));

    const auto expectWarning = [](float first, float second, void (*run)(ArvoImage3D&), const char* text) {
        const Warnings warnings;
        ArvoImage3D pair = volumeOf<float>({2, 1, 1}, image::Float32, {first, second});
        run(pair);
        EXPECT_EQ(warnings.texts(), Texts{text});
        EXPECT_TRUE(sameBits(volumeOf<float>({2, 1, 1}, image::Float32, {first, second}), pair));
    };
    const char* notNormalized = "ArvoImage3DOperations : Input image is supposed to be normalized within the "
                                "[0,1] range, see ArvoImage3DOperations::normalizeIntensity.";
    expectWarning(
        0, 1.0001f, [](ArvoImage3D& image) { Operations::invert(&image); }, notNormalized);
    expectWarning(
        -0.0001f, 1, [](ArvoImage3D& image) { Operations::invert(&image); }, notNormalized);
    expectWarning(3, 3, Operations::normalizeIntensity,
                  "ArvoImage3DOperations::normalizeIntensity() Invalid input image");
}

TEST(CountNonZero, AgreesWithTheDefinition)
{
    for (const math::Ivec3 size :
         {math::Ivec3(1, 1, 1), math::Ivec3(33, 6, 7), math::Ivec3(251, 67, 5), math::Ivec3(4, 4, 0)}) {
        for (const image::DataType type : integerTypes) {
            for (const Fill fill : {Fill::FewValues, Fill::Uniform}) {
                const ArvoImage3D image = randomVolume(size, type, 5, fill);
                withType(type, [&](auto element) {
                    using T = typename decltype(element)::type;
                    const auto count = std::ranges::count_if(voxels<T>(image), [](T v) { return v != 0; });
                    EXPECT_EQ(Operations::countNonZero(&image), count) << describe(size, type, 5);
                });
            }
        }
    }
}

TEST(IsAllZeros, SeesEveryVoxel)
{
    const math::Ivec3 size(129, 64, 3);
    for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Binary,
                                       image::Reserved, image::Float32, image::Int32}) {
        ArvoImage3D image(size, QVector3D(1, 1, 1), type);
        image.zeroSlices();
        EXPECT_TRUE(Operations::isAllZeros(&image));
        withType(type, [&](auto element) {
            using T = typename decltype(element)::type;
            const auto all = voxels<T>(image);
            for (const std::size_t place : {std::size_t(0), all.size() / 2, all.size() - 1}) {
                all[place] = T(1);
                EXPECT_FALSE(Operations::isAllZeros(&image)) << type << " at " << place;
                all[place] = T(0);
            }
        });
    }
    ArvoImage3D floats = volumeOf<float>({2, 1, 1}, image::Float32, {-0.0f, 0.0f});
    EXPECT_TRUE(Operations::isAllZeros(&floats));
    voxels<float>(floats)[1] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(Operations::isAllZeros(&floats));
    voxels<float>(floats)[1] = std::numeric_limits<float>::denorm_min();
    EXPECT_FALSE(Operations::isAllZeros(&floats));
    ArvoImage3D none;
    EXPECT_TRUE(Operations::isAllZeros(&none));
}

/// Straight from the definition: six running values, restored after a slice with too few voxels.
template <class T> std::array<int, 6> naiveBox(const ArvoImage3D& image, int threshold, int minVolume)
{
    const math::Ivec3 size = image.imageSize();
    const QVector3D s = image.voxelSize();
    const int minCount = truncated(float(minVolume) / (s.x() * s.y() * s.z()));
    std::array<int, 6> box = {-1, -1, -1, -1, -1, -1};
    std::size_t i = 0;
    for (int z = 0; z < size.z; ++z) {
        const std::array<int, 6> before = box;
        int count = 0;
        for (int y = 0; y < size.y; ++y) {
            for (int x = 0; x < size.x; ++x, ++i) {
                if (int(voxels<T>(image)[i]) <= threshold)
                    continue;
                ++count;
                const int place[3] = {x, y, z};
                for (std::size_t k = 0; k < 3; ++k) {
                    box[k] = box[k] < 0 ? place[k] : std::min(box[k], place[k]);
                    box[k + 3] = std::max(box[k + 3], place[k]);
                }
            }
        }
        if (count <= minCount)
            box = before;
    }
    const int last[3] = {size.x - 1, size.y - 1, size.z - 1};
    for (std::size_t k = 0; k < 3; ++k) {
        box[k] = std::max(box[k], 0);
        box[k + 3] = box[k + 3] < 0 ? last[k] : box[k + 3];
    }
    return box;
}

TEST(GetBoundingBox, AgreesWithTheDefinition)
{
    Random random(9);
    forEachCase(integerTypes, [&](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
        withIntegerType(type, [&](auto element) {
            using T = typename decltype(element)::type;
            ArvoImage3D image = randomVolume(size, type, seed);
            // Mostly empty, so that slices differ in how many voxels they hold.
            const std::uint64_t density = 1 + random() % 40;
            for (T& v : voxels<T>(image))
                v = random() % density == 0 ? v : std::numeric_limits<T>::lowest();
            const int middle = std::numeric_limits<T>::max() / 2;
            for (const int threshold : {middle, 0, -1, -32768, -32769, 32766, 65534, 65535, 255, 1 << 30}) {
                for (const int minVolume : {0, 1, 3, -5, 1000}) {
                    const std::unique_ptr<int[]> box(
                        Operations::getBoundingBox(&image, threshold, minVolume));
                    const std::array<int, 6> expected = naiveBox<T>(image, threshold, minVolume);
                    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), box.get()))
                        << describe(size, type, seed) << ", threshold " << threshold << ", volume "
                        << minVolume;
                }
            }
        });
    });
}

TEST(Operations, WarnOnTypesTheyDoNotHandle)
{
    struct Case {
        const char* text;
        std::vector<image::DataType> types;
        void (*run)(ArvoImage3D& image);
    };
    using image::Binary, image::Float32, image::Int16, image::Int32, image::Reserved, image::UInt16,
        image::UInt8;
    const Case cases[] = {
        {"ArvoImage3DOperations applyMask(): data type not implemented.",
         {UInt16, Reserved, Int32},
         [](ArvoImage3D& image) { Operations::applyMask(&image, nullptr); }}, // whatever the mask
        {"ArvoImage3DOperations::clipAndRescale() Data type not implemented",
         {Float32, Reserved, Int32},
         [](ArvoImage3D& image) { Operations::clipAndRescale(&image, 0, 1, 0, 1, 0); }},
        {"ArvoImage3DOperations : invert not implemented for this data type.",
         {UInt16, Int16, UInt8, Reserved},
         [](ArvoImage3D& image) { Operations::invert(&image); }},
        {"ArvoImage3DOperations::invertSign() Data type not implemented",
         {UInt16, UInt8, Binary, Int32},
         [](ArvoImage3D& image) { Operations::invertSign(&image); }},
        {"ArvoImage3DOperations::normalizeIntensity() Data type not implemented",
         {UInt16, Int16, UInt8, Binary},
         [](ArvoImage3D& image) { Operations::normalizeIntensity(image); }},
        {"ArvoImage3DOperations::count() Data type not implemented",
         {Float32, Reserved, Int32},
         [](ArvoImage3D& image) { EXPECT_EQ(Operations::countNonZero(&image), 0); }},
        {"ArvoImage3DOperations::getBoundingBox() Data type not implemented",
         {Float32, Reserved, Int32},
         [](ArvoImage3D& image) { EXPECT_EQ(Operations::getBoundingBox(&image, 0, 0), nullptr); }},
    };
    for (const Case& c : cases) {
        for (const image::DataType type : c.types) {
            ArvoImage3D image = randomVolume({5, 4, 3}, type, 1);
            const ArvoImage3D original = copyOf(image);
            Warnings warnings;
            c.run(image);
            EXPECT_EQ(warnings.texts(), Texts{c.text}) << "type " << type;
            EXPECT_TRUE(sameBits(original, image));
        }
    }
}

} // namespace
