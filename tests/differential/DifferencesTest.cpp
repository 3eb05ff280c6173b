#include "arvo/differential/DifferentialHelper.h"
#include "arvo/differential/DirectGradientNorm.h"
#include "arvo/differential/Gradient.h"
#include "arvo/differential/GradientWorker.h"
#include "arvo/differential/VectorFieldDivergence.h"
#include "arvo/differential/VectorFieldDivergenceWorker.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include "support/CancelFlags.h"
#include "support/RandomFields.h"
#include "support/Warnings.h"

#include <cmath>

using namespace testing_support;

namespace {

using Field = std::unique_ptr<ThreeImages3D>;
using Texts = std::vector<std::string>;

/// The difference of a voxel's neighbours along axis 0, 1 or 2; halved where both exist.
float naiveDifference(const ArvoImage3D& image, int axis, const math::Ivec3& voxel)
{
    math::Ivec3 a = voxel, b = voxel;
    a[axis] = std::max(voxel[axis] - 1, 0);
    b[axis] = std::min(voxel[axis] + 1, image.imageSize()[axis] - 1);
    const float factor = b[axis] - a[axis] == 2 ? 0.5f : 1.0f;
    if (image.dataType() == image::Float32)
        return (image.getFloatValue(b.x, b.y, b.z) - image.getFloatValue(a.x, a.y, a.z)) * factor;
    return static_cast<float>(image.getValue(b.x, b.y, b.z) - image.getValue(a.x, a.y, a.z)) * factor;
}

float naiveNorm(const ArvoImage3D& image, const math::Ivec3& v)
{
    const float x = naiveDifference(image, 0, v), y = naiveDifference(image, 1, v);
    const float z = naiveDifference(image, 2, v);
    return std::sqrt((x * x + y * y) + z * z);
}

float naiveDivergence(const ThreeImages3D& field, const math::Ivec3& v)
{
    return (naiveDifference(*field.getU(), 0, v) + naiveDifference(*field.getV(), 1, v)) +
           naiveDifference(*field.getW(), 2, v);
}

/// A float volume of that geometry: value(voxel) everywhere.
template <class Value> ArvoImage3D volume(const ArvoImage3D& geometry, Value&& value)
{
    ArvoImage3D result;
    result.createFrom(&geometry, image::Float32);
    forEachVoxel(geometry.imageSize(), [&](int x, int y, int z, std::size_t i) {
        voxels<float>(result)[i] = value(math::Ivec3(x, y, z));
    });
    return result;
}

ArvoImage3D untouched(const ArvoImage3D& geometry)
{
    return volume(geometry, [](auto) { return -7.0f; });
}

/// The differences along an axis in the given slices, the rest untouched.
ArvoImage3D naiveDifferences(const ArvoImage3D& image, int axis, int first, int last)
{
    return volume(
        image, [&](auto v) { return first <= v.z && v.z <= last ? naiveDifference(image, axis, v) : -7.0f; });
}

template <class T> void expectKernelsAgree(const ThreeImages3D& field)
{
    using Helper = DifferentialHelper<T>;
    const math::Ivec3 size = field.getU()->imageSize();
    const ArvoImage3D &u = *field.getU(), &v = *field.getV(), &w = *field.getW();
    const auto slice = [&](const ArvoImage3D& volume, int z) {
        return reinterpret_cast<const T*>(volume.getConstAxialSlice(std::clamp(z, 0, size.z - 1)));
    };
    forEachVoxel(size, [&](int x, int y, int z, std::size_t) {
        const math::Ivec3 at(x, y, z);
        const ClampedCrossIndex idx(x, y, size.x, size.y, z == 0 || z == size.z - 1 ? 1.0f : 0.5f);
        const T *current = slice(u, z), *next = slice(u, z + 1), *previous = slice(u, z - 1);
        ASSERT_TRUE(idx.x == x && idx.y == y);
        const std::pair<float, float> expectedAndFound[] = {
            {naiveDifference(u, 0, at), Helper::gradientFtX(idx, current, nullptr, nullptr)},
            {naiveDifference(u, 1, at), Helper::gradientFtY(idx, current, nullptr, nullptr)},
            {naiveDifference(u, 2, at), Helper::gradientFtZ(idx, current, next, previous)},
            {naiveNorm(u, at), Helper::gradientNormFt(idx, current, next, previous)},
            {naiveDivergence(field, at), Helper::vectorFieldDivergenceFt(idx, current, slice(v, z), nullptr,
                                                                         slice(w, z + 1), slice(w, z - 1))}};
        for (const auto& [expected, found] : expectedAndFound)
            ASSERT_TRUE(sameBits(expected, found)) << expected << ", not " << found;
    });
}

Field gradientOf(ArvoImage3D& image, bool isSuccess = true)
{
    Gradient gradient;
    gradient.setInputImage(&image);
    gradient.execute(notCancelled);
    EXPECT_EQ(gradient.isSuccess(), isSuccess);
    return Field(gradient.takeGradientImage());
}

TEST(Differences, AgreeWithTheDefinition)
{
    forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
        SCOPED_TRACE(describe(size, type, seed));
        const ThreeImages3D field = randomField(size, type, seed, Fill::Extremes);
        ArvoImage3D& image = *field.getU();
        image::withElementType(type, image::VoxelTypes{}, nullptr, [&](auto element) {
            expectKernelsAgree<typename decltype(element)::type>(field);
        });

        const Field gradient = gradientOf(image);
        const ThreeImages3D expected =
            fieldOf([&](int axis) { return naiveDifferences(image, axis, 0, size.z); });
        EXPECT_TRUE(sameFields(expected, *gradient));
        EXPECT_EQ(gradient->getW()->voxelSize(), image.voxelSize());

        ArvoImage3D norm = untouched(image);
        (void)norm.getValueRange();
        DirectGradientNorm::calculateNormGradient(&image, &norm);
        const ArvoImage3D expectedNorm = volume(image, [&](auto v) { return naiveNorm(image, v); });
        EXPECT_TRUE(sameBits(expectedNorm, norm));
        EXPECT_EQ(expectedNorm.getValueRange(), norm.getValueRange());

        const auto divergence = VectorFieldDivergence::calculate(field);
        EXPECT_TRUE(sameBits(volume(image, [&](auto v) { return naiveDivergence(field, v); }), *divergence));
        EXPECT_EQ(divergence->voxelSize(), image.voxelSize());
    });
}

TEST(Differences, ARaisedFlagLetsOneVoxelOrOneSliceThrough)
{
    using Helper = DifferentialHelper<short>;
    const ThreeImages3D field = randomField({7, 5, 4}, image::Int16, 1);
    const ArvoImage3D& image = *field.getU();
    const auto firstVoxel = [&](int axis) {
        return volume(image, [&](auto v) {
            return v == math::Ivec3(0, 0, 1) ? naiveDifference(image, axis, v) : -7.0f;
        });
    };
    ThreeImages3D separate = fieldOf([&](int) { return untouched(image); });
    ArvoImage3D divergence = untouched(image);
    for (const int first : {3, 1}) { // an empty range, then one that the flag cuts short
        const bool isEmpty = first == 3;
        EXPECT_EQ(Helper::calculateGradientX(image, *separate.getU(), first, 2, cancelled), isEmpty);
        EXPECT_EQ(Helper::calculateGradientY(image, *separate.getV(), first, 2, cancelled), isEmpty);
        EXPECT_EQ(Helper::calculateGradientZ(image, *separate.getW(), first, 2, cancelled), isEmpty);
        EXPECT_EQ(Helper::calculateVectorFieldDivergence(field, divergence, first, 2, cancelled), isEmpty);
    }
    EXPECT_TRUE(sameFields(fieldOf(firstVoxel), separate));
    EXPECT_TRUE(sameBits(volume(image, [&](auto v) { return v.z == 1 ? naiveDivergence(field, v) : -7.0f; }),
                         divergence));
}

TEST(Differences, RefuseWhatDoesNotMatch)
{
    using Helper = DifferentialHelper<float>;
    const math::Ivec3 size(4, 3, 2);
    const struct {
        image::DataType input, output;
        int depth, first, last;
    } cases[] = {{image::Float32, image::Float32, 2, -1, 1},
                 {image::Float32, image::Float32, 2, 0, 2},
                 {image::Float32, image::Float32, 3, 0, 1},
                 {image::Float32, image::Int32, 2, 0, 1},
                 {image::Int16, image::Float32, 2, 0, 1}};
    for (const auto& c : cases) {
        const ArvoImage3D input = randomVolume(size, c.input, 1);
        const ArvoImage3D before = randomVolume({4, 3, c.depth}, c.output, 1);
        ArvoImage3D output = copyOf(before);
        const Warnings warnings;
        EXPECT_FALSE(Helper::calculateNormGradient(input, output, c.first, c.last, notCancelled));
        EXPECT_EQ(warnings.texts().size(), 1u);
        EXPECT_TRUE(sameBits(before, output));
    }
    const ThreeImages3D field = randomField(size, image::Float32, 1);
    for (ArvoImage3D* component : {field.getU(), field.getV(), field.getW()}) {
        const Warnings warnings;
        EXPECT_FALSE(Helper::calculateVectorFieldDivergence(field, *component, 0, 1, notCancelled));
        EXPECT_EQ(warnings.texts().size(), 1u);
    }
    EXPECT_TRUE(sameFields(randomField(size, image::Float32, 1), field));
}

TEST(Differences, WarnOncePerWorker)
{
    const math::Ivec3 size(3, 3, 4);
    const auto workers = static_cast<std::size_t>(threading::calculateNumThreads(size.z).first);
    const Texts noOutput(workers, "DirectGradientNormWorker: the output is not a valid image");
    const Texts noNorm(
        workers, "DirectGradientNormWorker: calculateNormGradient is not implemented for current data type");
    ArvoImage3D ints = randomVolume(size, image::Int32, 1), bytes = randomVolume(size, image::UInt8, 1);
    ArvoImage3D floats = randomVolume(size, image::Float32, 2),
                tall = randomVolume({3, 4, 4}, image::Float32, 2);
    const struct {
        ArvoImage3D *input, *output;
        Texts texts;
    } cases[] = {{&bytes, &bytes, noOutput},
                 {&bytes, &tall, noOutput},
                 {&ints, &floats, noNorm},
                 {nullptr, &floats, {"DirectGradientNorm : no valid input image."}},
                 {&floats, &floats, {"DirectGradientNorm : no output image of its own."}}};
    for (const auto& c : cases) {
        const ArvoImage3D before = copyOf(*c.output);
        const Warnings warnings;
        DirectGradientNorm::calculateNormGradient(c.input, c.output);
        EXPECT_EQ(warnings.texts(), c.texts);
        EXPECT_TRUE(sameBits(before, *c.output));
    }
    const auto textsOf = [](auto&& run) {
        const Warnings warnings;
        run();
        return warnings.texts();
    };
    EXPECT_EQ(textsOf([&] { EXPECT_TRUE(gradientOf(ints, false)); }),
              Texts(3 * workers, "GradientWorker : not implemented for the given input image data type."));
    EXPECT_EQ(
        textsOf([&] { EXPECT_TRUE(VectorFieldDivergence::calculate(randomField(size, image::Int32, 1))); }),
        Texts(workers, "VectorFieldDivergenceWorker: calculateVectorFieldDivergence is not implemented for "
                       "current data type."));
    EXPECT_EQ(textsOf([] {
                  EXPECT_FALSE(VectorFieldDivergence::calculate({new ArvoImage3D(), nullptr, nullptr}));
              }),
              Texts{"VectorFieldDivergenceWorker: The input vector field is not valid."});
}

TEST(Gradient, KeepsOneOwnerOfTheResult)
{
    ArvoImage3D image = randomVolume({5, 4, 3}, image::UInt8, 1);
    ThreadProgress progress;
    Gradient gradient, assigned;
    gradient.setInputImage(&image);
    gradient.setProgress(&progress);
    assigned = gradient;
    assigned.execute(notCancelled);
    EXPECT_EQ(progress.value(), 3 * 3);
    EXPECT_EQ(progress.total(), 3 * 3);
    gradient.execute(notCancelled);
    assigned = gradient;
    EXPECT_FALSE(assigned.isSuccess());
    EXPECT_EQ(assigned.takeGradientImage(), nullptr) << "a field of the input it had before";
    Gradient copy(gradient);
    EXPECT_EQ(copy.takeGradientImage(), nullptr);
    copy.execute(notCancelled);
    EXPECT_TRUE(copy.isSuccess());
    gradient.execute(cancelled);
    EXPECT_FALSE(gradient.isSuccess()) << "of the last run";
    EXPECT_TRUE(Field(gradient.takeGradientImage())) << "the flag alone leaves an unfilled field";
    EXPECT_EQ(gradient.takeGradientImage(), nullptr);
    gradient.execute(cancelled);
    gradient.setInputImage(nullptr);
    const Warnings warnings;
    gradient.execute(notCancelled);
    EXPECT_EQ(gradient.takeGradientImage(), nullptr);
    EXPECT_EQ(warnings.texts(), Texts{"Gradient : no valid input image."});
}

bool runWorker(SliceWorker&& worker, ArvoImage3D* input, ArvoImage3D& output, const std::atomic<bool>& cancel)
{
    worker.setImages(input, &output);
    worker.setWork(1, 2);
    worker.startWithCancel(&cancel);
    worker.waitUntilDone();
    return worker.isSuccessful();
}

TEST(GradientWorker, ComputesItsComponentOfItsRange)
{
    ArvoImage3D input = randomVolume({3, 3, 4}, image::UInt16, 1);
    for (int direction = -1; direction <= 3; ++direction) { // -1 and 3: nothing to do
        const bool isNone = direction < 0 || direction > 2;
        ArvoImage3D output = untouched(input);
        EXPECT_FALSE(runWorker(GradientWorker(direction, nullptr), &input, output, cancelled));
        EXPECT_TRUE(runWorker(GradientWorker(direction, nullptr), &input, output, notCancelled));
        const ArvoImage3D expected = isNone ? untouched(input) : naiveDifferences(input, direction, 1, 2);
        EXPECT_TRUE(sameBits(expected, output)) << direction;
    }
    const Warnings warnings;
    ArvoImage3D tall = randomVolume({3, 3, 5}, image::Float32, 1);
    EXPECT_FALSE(runWorker(GradientWorker(0, nullptr), &input, tall, notCancelled));
    EXPECT_EQ(warnings.texts(), Texts{"GradientWorker : input and/or output image is not correct."});
}

TEST(VectorFieldDivergenceWorker, IgnoresTheFlag)
{
    const ThreeImages3D field = randomField({6, 5, 4}, image::UInt8, 1);
    ArvoImage3D output = untouched(*field.getU());
    EXPECT_TRUE(runWorker(VectorFieldDivergenceWorker(&field, nullptr), nullptr, output, cancelled));
    const ArvoImage3D expected =
        volume(output, [&](auto v) { return v.z % 3 ? naiveDivergence(field, v) : -7.0f; });
    EXPECT_TRUE(sameBits(expected, output));
}

} // namespace
