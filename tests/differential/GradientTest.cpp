#include "arvo/differential/Gradient.h"

#include "NaiveDifferences.h"

#include "arvo/differential/DirectGradientNorm.h"
#include "arvo/differential/GradientWorker.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include "support/CancelFlags.h"
#include "support/Warnings.h"

#include <cstring>
#include <thread>

using namespace testing_support;

namespace {

using Field = std::unique_ptr<ThreeImages3D>;
using Texts = std::vector<std::string>;

Texts times(int count, const char* text)
{
    return Texts(static_cast<std::size_t>(count), text);
}

Field gradientOf(ArvoImage3D& image, bool isSuccess = true, const std::atomic<bool>& cancel = notCancelled)
{
    Gradient gradient;
    gradient.setInputImage(&image);
    gradient.execute(cancel);
    EXPECT_EQ(gradient.isSuccess(), isSuccess);
    return Field(gradient.takeGradientImage());
}

ThreeImages3D naiveGradientOf(const ArvoImage3D& image)
{
    return naive::field([&](int axis) {
        return naive::volume(image, [&](auto voxel) { return naive::difference(image, axis, voxel); });
    });
}

TEST(Gradient, AgreesWithTheDefinitionForAnyNumberOfThreads)
{
    for (const int limit : {1, 2}) {
        threading::setThreadLimit(limit);
        forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
            ArvoImage3D image = randomVolume(size, type, seed, Fill::Extremes);
            const Field field = gradientOf(image);
            EXPECT_TRUE(naive::sameFields(naiveGradientOf(image), *field)) << describe(size, type, seed);
            EXPECT_EQ(field->getW()->voxelSize(), image.voxelSize());

            ArvoImage3D norm = copyOf(*field->getU());
            (void)norm.getValueRange();
            DirectGradientNorm::calculateNormGradient(&image, &norm);
            const ArvoImage3D expected =
                naive::volume(image, [&](auto voxel) { return naive::gradientNorm(image, voxel); });
            EXPECT_TRUE(sameBits(expected, norm)) << describe(size, type, seed);
            EXPECT_EQ(expected.getValueRange(), norm.getValueRange());
        });
    }
    threading::setThreadLimit(0);
    ArvoImage3D empty(math::Ivec3(3, 2, 0), QVector3D(1, 1, 1), image::Int16);
    EXPECT_EQ(gradientOf(empty)->getW()->imageSize(), empty.imageSize());
}

TEST(Gradient, DeliversTheFieldAsFarAsItCame)
{
    ArvoImage3D image = randomVolume({40, 30, 96}, image::Float32, 3);
    EXPECT_TRUE(gradientOf(image, false, cancelled)) << "the flag alone leaves an unfilled field";

    Gradient gradient;
    ThreadProgress progress;
    std::atomic<bool> cancel{false};
    gradient.setInputImage(&image);
    gradient.setProgress(&progress);
    std::thread host([&] {
        while (progress.value() < 3)
            std::this_thread::yield();
        cancel = true;
    });
    gradient.execute(cancel);
    host.join();
    const Field field(gradient.takeGradientImage());
    ASSERT_TRUE(field);
    EXPECT_EQ(gradient.takeGradientImage(), nullptr);
    EXPECT_EQ(progress.total(), 3 * 96);
    // No slice counts before all its voxels are done.
    int finished = 0;
    const ThreeImages3D expected = naiveGradientOf(image);
    for (const auto component : {&ThreeImages3D::getU, &ThreeImages3D::getV, &ThreeImages3D::getW}) {
        for (int z = 0; z < 96; ++z)
            finished += !std::memcmp((expected.*component)()->getConstAxialSlice(z),
                                     (field.get()->*component)()->getConstAxialSlice(z), 40 * 30 * 4);
    }
    EXPECT_GE(finished, progress.value());
    EXPECT_TRUE(!gradient.isSuccess() || finished == 3 * 96);
}

TEST(Gradient, KeepsOneOwnerOfTheResult)
{
    ArvoImage3D image = randomVolume({5, 4, 3}, image::UInt8, 1);
    Gradient gradient, assigned;
    gradient.setInputImage(&image);
    assigned = gradient;
    assigned.execute(notCancelled);
    gradient.execute(notCancelled);
    assigned = gradient;
    EXPECT_FALSE(assigned.isSuccess());
    EXPECT_EQ(assigned.takeGradientImage(), nullptr) << "a field of the input it had before";
    EXPECT_EQ(Gradient(gradient).takeGradientImage(), nullptr);
    gradient.execute(cancelled);
    EXPECT_FALSE(gradient.isSuccess()) << "of the last run";
    gradient.setInputImage(nullptr);
    const Warnings warnings;
    gradient.execute(notCancelled);
    EXPECT_EQ(gradient.takeGradientImage(), nullptr);
    EXPECT_EQ(warnings.texts(), Texts{"Gradient : no valid input image."});
}

TEST(Gradient, WarnsOncePerWorker)
{
    const math::Ivec3 size(3, 3, 4);
    const int workers = threading::calculateNumThreads(size.z).first;
    const Texts noOutput = times(workers, "DirectGradientNormWorker: the output is not a valid image");
    const Texts noType = times(
        workers, "DirectGradientNormWorker: calculateNormGradient is not implemented for current data type");
    ArvoImage3D ints = randomVolume(size, image::Int32, 1), bytes = randomVolume(size, image::UInt8, 1),
                floats = randomVolume(size, image::Float32, 2),
                tall = randomVolume({3, 4, 4}, image::Float32, 2);
    struct Case {
        ArvoImage3D *input, *output;
        Texts texts;
    };
    for (const Case& c :
         {Case{&bytes, &bytes, noOutput}, Case{&bytes, &tall, noOutput}, Case{&ints, &floats, noType},
          Case{nullptr, &floats, {"DirectGradientNorm : no valid input image."}},
          Case{&floats, &floats, {"DirectGradientNorm : no output image of its own."}}}) {
        const ArvoImage3D before = copyOf(*c.output);
        const Warnings warnings;
        DirectGradientNorm::calculateNormGradient(c.input, c.output);
        EXPECT_EQ(warnings.texts(), c.texts);
        EXPECT_TRUE(sameBits(before, *c.output));
    }
    const Warnings warnings;
    EXPECT_TRUE(gradientOf(ints, false)->isValid());
    EXPECT_EQ(warnings.texts(),
              times(3 * workers, "GradientWorker : not implemented for the given input image data type."));
}

TEST(GradientWorker, ComputesItsComponentOfItsRange)
{
    ArvoImage3D input = randomVolume({3, 3, 4}, image::UInt16, 1);
    const auto outputOf = [&](int direction, const math::Ivec3& size, bool isCancelled, bool isSuccessful) {
        ArvoImage3D output = naive::volume(randomVolume(size, image::Int16, 1), [](auto) { return -7.0f; });
        GradientWorker worker(direction, nullptr);
        worker.setImages(&input, &output);
        worker.setWork(1, 2);
        worker.startWithCancel(isCancelled ? &cancelled : nullptr);
        worker.waitUntilDone();
        EXPECT_EQ(worker.isSuccessful(), isSuccessful);
        return output;
    };
    for (int direction = -1; direction <= 3; ++direction) {
        const bool isNone = direction < 0 || direction > 2;
        const ArvoImage3D expected = naive::volume(input, [&](auto v) {
            return isNone || v.z % 3 == 0 ? -7.0f : naive::difference(input, direction, v);
        });
        EXPECT_TRUE(sameBits(expected, outputOf(direction, {3, 3, 4}, false, true))) << direction;
    }
    outputOf(3, {3, 3, 4}, true, false);
    const Warnings warnings;
    outputOf(0, {3, 3, 5}, false, false);
    EXPECT_EQ(warnings.texts(), Texts{"GradientWorker : input and/or output image is not correct."});
}

} // namespace
