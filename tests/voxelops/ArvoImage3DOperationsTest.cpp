#include "arvo/voxelops/ArvoImage3DOperations.h"

#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

using namespace testing_support;

namespace {

using Operations = ArvoImage3DOperations;
using Volume = ArvoImage3D;
using Texts = std::vector<std::string>;
using Types = std::vector<image::DataType>;
using image::Binary, image::Float32, image::Int16, image::Int32, image::Reserved, image::UInt16, image::UInt8;

const Types integerTypes = {UInt16, Int16, UInt8, Binary};

template <class Body> void withIntegerType(image::DataType type, Body&& body)
{
    image::withElementType(type, image::IntegerTypes{}, nullptr, [&](auto element) { body(element); });
}

struct Operation {
    std::string name;
    std::string warning; ///< for any type but these
    Types types;
    void (*run)(Volume* a, Volume* b);
    /// What becomes of a voxel of `a` by itself or with that of `b`; exact in double, stored into the element afterwards.
    double (*naive)(double a, double b) = nullptr;
    Types onlyNormalized = {}; ///< types it takes of normalized volumes only

    bool isMasking() const { return run == Operations::applyMask; }
};

const Operation operations[] = {
    // Two floats added in double, then rounded to float: the float sum.
    {"add", "ArvoImage3DOperations : add not implemented for this data type.", voxelTypes(), Operations::add,
     [](double a, double b) { return a + b; }},
    {"subtract", "ArvoImage3DOperations : subtract not implemented for this data type.", voxelTypes(),
     Operations::subtract, [](double a, double b) { return a - b; }},
    {"min", "ArvoImage3DOperations : min not implemented for this data type.", voxelTypes(),
     [](Volume* a, Volume* b) { Operations::min(*a, *b); }, [](double a, double b) { return b < a ? b : a; }},
    {"max", "ArvoImage3DOperations : max not implemented for this data type.", voxelTypes(),
     [](Volume* a, Volume* b) { Operations::max(*a, *b); }, [](double a, double b) { return b > a ? b : a; }},
    {"mask",
     "ArvoImage3DOperations applyMask(): data type not implemented.",
     {Int16, UInt8, Binary, Float32},
     Operations::applyMask,
     [](double a, double b) { return b == 0 ? 0 : a; }},
    {"sign",
     "ArvoImage3DOperations::invertSign() Data type not implemented",
     {Int16, Float32},
     [](Volume* a, Volume*) { Operations::invertSign(a); },
     [](double a, double) { return -a; }},
    {"invert",
     "ArvoImage3DOperations : invert not implemented for this data type.",
     {Binary},
     [](Volume* a, Volume*) { Operations::invert(a); },
     [](double a, double) { return 1 - a; },
     {Float32}},
    {"normalize",
     "ArvoImage3DOperations::normalizeIntensity() Data type not implemented",
     {Float32},
     [](Volume* a, Volume*) { Operations::normalizeIntensity(*a); }},
    {"clip", "ArvoImage3DOperations::clipAndRescale() Data type not implemented", integerTypes,
     [](Volume* a, Volume*) { Operations::clipAndRescale(a, 0, 1, 0, 1, 0); }},
    {"count", "ArvoImage3DOperations::count() Data type not implemented", integerTypes,
     [](Volume* a, Volume*) { EXPECT_EQ(Operations::countNonZero(a), 0); }},
    {"box", "ArvoImage3DOperations::getBoundingBox() Data type not implemented", integerTypes,
     [](Volume* a, Volume*) { EXPECT_EQ(Operations::getBoundingBox(a, 0, 0), nullptr); }},
};

void expectDefinition(const Operation& operation, Volume&& a, Volume&& b)
{
    const Volume untouched = copyOf(b);
    Volume expected = copyOf(a);
    withType(a.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        for (std::size_t i = 0; i < voxels<T>(expected).size(); ++i) {
            const double second = operation.isMasking() ? voxels<unsigned char>(b)[i] : voxels<T>(b)[i];
            voxels<T>(expected)[i] = storedAs<T>(operation.naive(voxels<T>(a)[i], second));
        }
    });
    (void)a.getValueRange();
    operation.run(&a, &b);
    EXPECT_TRUE(sameBits(expected, a));
    EXPECT_TRUE(sameBits(untouched, b));
    EXPECT_EQ(a.getValueRange(), expected.getValueRange()) << "not published";
}

TEST(VoxelwiseOperations, AgreeWithTheDefinition)
{
    for (const Operation& operation : operations) {
        for (const Fill fill : {Fill::Uniform, Fill::Extremes}) {
            forEachCase(operation.naive ? operation.types : Types(), [&](auto size, auto type, auto seed) {
                SCOPED_TRACE(operation.name + ", " + describe(size, type, seed));
                const image::DataType second = operation.isMasking() ? UInt8 : type;
                expectDefinition(operation, randomVolume(size, type, seed, fill),
                                 randomVolume(size, second, seed + 10, fill));
            });
        }
    }
}

void expectRefusal(const Operation& operation, const Volume& a, const Volume& b, const std::string& text)
{
    const Warnings warnings;
    Volume image = copyOf(a), other = copyOf(b);
    operation.run(&image, &other);
    EXPECT_EQ(warnings.texts(), Texts{text}) << "type " << a.dataType();
    EXPECT_TRUE(sameBits(a, image));
}

TEST(Operations, RefuseWhatTheyAreNotMadeFor)
{
    const math::Ivec3 size(5, 4, 3);
    for (const Operation& operation : operations) {
        for (const image::DataType type : {UInt16, Int16, UInt8, Binary, Reserved, Float32, Int32}) {
            const Volume image = randomVolume(size, type, 1);
            if (!std::ranges::count(operation.types, type) &&
                !std::ranges::count(operation.onlyNormalized, type))
                expectRefusal(operation, image, image, operation.warning);
        }
    }
    for (const Operation& operation : std::span(operations).first(4)) { // the arithmetic of two volumes
        const std::string start =
            "ArvoImage3DOperations : cannot " + operation.name + " images of incompatible ";
        const Volume image = randomVolume(size, Int16, 1);
        expectRefusal(operation, image, randomVolume({5, 4, 2}, UInt16, 1), start + "types.");
        expectRefusal(operation, image, randomVolume({5, 3, 3}, Int16, 1), start + "size.");
    }
}

TEST(ApplyMask, RunsOverTheExtentOfTheMask)
{
    Volume image = volumeOf<short>({2, 2, 2}, Int16, {1, 2, 3, 4, 5, 6, 7, 8});
    Volume mask = volumeOf<unsigned char>({3, 1, 1}, Binary, {0, 1, 0}), ints({2, 2, 2}, {1, 1, 1}, Int32);
    Volume taller = randomMask({2, 2, 3}, 0.5, 1), wider = randomMask({3, 2, 1}, 0.5, 1);
    const Warnings warnings;
    for (Volume* each : {&mask, &taller, &wider})
        Operations::applyMask(&image, each);
    Operations::applyMask(&ints, &taller);
    EXPECT_TRUE(sameBits(volumeOf<short>({2, 2, 2}, Int16, {0, 2, 0, 4, 5, 6, 7, 8}), image));
    const std::string tooLarge = "ArvoImage3DOperations : the mask is larger than the image.";
    EXPECT_EQ(warnings.texts(),
              (Texts{tooLarge, tooLarge, "ArvoImage3DOperations applyMask(): data type not implemented."}));
}

TEST(InvertSign, FlipsTheSignOfNaN)
{
    Volume image = volumeOf<float>({1, 1, 1}, Float32, {std::abs(NAN)});
    Operations::invertSign(&image);
    EXPECT_TRUE(std::signbit(voxels<float>(image)[0]));
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
        const double scale = (double(w.highOut) - w.lowOut + 0.5) / (double(w.highIn) - w.lowIn + 0.5);
        for (const image::DataType type : integerTypes) {
            Volume image = randomVolume({256, 16, 16}, type, 1), expected = copyOf(image);
            (void)image.getValueRange();
            withIntegerType(type, [&](auto element) {
                using T = typename decltype(element)::type;
                for (std::size_t i = 0; i < voxels<T>(image).size(); ++i) {
                    const T v = voxels<T>(image)[i] = static_cast<T>(i);
                    const double mapped = (double(v) - w.lowIn) * scale + w.lowOut;
                    const bool isInside = w.lowIn <= v && v <= w.highIn;
                    voxels<T>(expected)[i] = static_cast<T>(isInside ? truncated(mapped) : w.outside);
                }
            });
            Operations::clipAndRescale(&image, w.lowIn, w.highIn, w.lowOut, w.highOut, w.outside);
            EXPECT_TRUE(sameBits(expected, image)) << "type " << type << ", window from " << w.lowIn;
            EXPECT_EQ(image.getValueRange(), expected.getValueRange());
        }
    }
}

TEST(NormalizedFloats, AreMadeAndInvertedInSinglePrecision)
{
    Volume image = randomVolume({17, 5, 4}, Float32, 3), expected = copyOf(image);
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
}

TEST(NormalizedFloats, NeedARange)
{
    const Texts notNormalized = {
        "ArvoImage3DOperations : Input image is supposed to be normalized within the [0,1] "
        "range, see ArvoImage3DOperations::normalizeIntensity."};
    const Texts noRange = {"ArvoImage3DOperations::normalizeIntensity() Invalid input image"};
    for (const std::vector<float>& values : {std::vector{0.0f, 1.0001f}, {-0.0001f, 1.0f}, {3.0f, 3.0f}}) {
        const bool isFlat = values[0] == values[1];
        const Warnings warnings;
        Volume image = volumeOf({2, 1, 1}, Float32, values);
        isFlat ? Operations::normalizeIntensity(image) : Operations::invert(&image);
        EXPECT_EQ(warnings.texts(), isFlat ? noRange : notNormalized);
        EXPECT_TRUE(sameBits(volumeOf({2, 1, 1}, Float32, values), image));
    }
}

TEST(IsAllZeros, SeesEveryVoxel)
{
    for (const image::DataType type : {UInt16, Int16, UInt8, Binary, Reserved, Float32, Int32}) {
        Volume image({129, 64, 3}, QVector3D(1, 1, 1), type);
        image.zeroSlices();
        EXPECT_TRUE(Operations::isAllZeros(&image));
        withType(type, [&](auto element) {
            const auto all = voxels<typename decltype(element)::type>(image);
            for (const std::size_t place : {std::size_t(0), all.size() / 2, all.size() - 1}) {
                all[place] = 1;
                EXPECT_FALSE(Operations::isAllZeros(&image)) << type << " at " << place;
                all[place] = 0;
            }
        });
    }
    for (const float value : {-0.0f, NAN, std::numeric_limits<float>::denorm_min()}) {
        Volume one = volumeOf<float>({1, 1, 1}, Float32, {value});
        EXPECT_EQ(Operations::isAllZeros(&one), value == 0.0f) << value;
    }
}

/// Straight from the definition: six running values, restored after a slice with too few voxels.
template <class T> std::array<int, 6> naiveBox(const Volume& image, int threshold, int minVolume)
{
    const math::Ivec3 size = image.imageSize();
    const QVector3D s = image.voxelSize();
    const int minCount = truncated(float(minVolume) / (s.x() * s.y() * s.z()));
    std::array<int, 6> box = {-1, -1, -1, -1, -1, -1}, before = box;
    int count = 0;
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        if (x == 0 && y == 0) {
            before = box;
            count = 0;
        }
        if (int(voxels<T>(image)[i]) > threshold) {
            ++count;
            const int place[3] = {x, y, z};
            for (std::size_t k = 0; k < 3; ++k) {
                box[k] = box[k] < 0 ? place[k] : std::min(box[k], place[k]);
                box[k + 3] = std::max(box[k + 3], place[k]);
            }
        }
        if (x == size.x - 1 && y == size.y - 1 && count <= minCount)
            box = before;
    });
    return box[0] < 0 ? std::array{0, 0, 0, size.x - 1, size.y - 1, size.z - 1} : box;
}

template <class T> void expectCountAndBoxes(Volume& image)
{
    EXPECT_EQ(Operations::countNonZero(&image),
              std::ranges::count_if(voxels<T>(image), [](T v) { return v != 0; }));
    const int middle = std::numeric_limits<T>::max() / 2;
    for (const int threshold : {middle, 0, -1, -32768, -32769, 32766, 65534, 65535, 255, 1 << 30}) {
        for (const int minVolume : {0, 1, 3, -5, 1000}) {
            const std::unique_ptr<int[]> box(Operations::getBoundingBox(&image, threshold, minVolume));
            EXPECT_TRUE(std::ranges::equal(naiveBox<T>(image, threshold, minVolume), std::span(box.get(), 6)))
                << "above " << threshold << ", volume " << minVolume;
        }
    }
}

TEST(CountAndBoundingBox, AgreeWithTheDefinition)
{
    Random random(9);
    forEachCase(integerTypes, [&](auto size, auto type, auto seed) {
        SCOPED_TRACE(describe(size, type, seed));
        withIntegerType(type, [&](auto element) {
            using T = typename decltype(element)::type;
            Volume image = randomVolume(size, type, seed);
            // Mostly empty, so that slices differ in how many voxels they hold.
            const std::uint64_t density = 1 + random() % 40;
            for (T& v : voxels<T>(image))
                v = random() % density == 0 ? v : std::numeric_limits<T>::lowest();
            expectCountAndBoxes<T>(image);
        });
    });
}

} // namespace
