#include "arvo/differential/Gradient.h"

#include "NaiveDifferences.h"

#include "arvo/differential/DirectGradientNorm.h"
#include "arvo/differential/GradientWorker.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include "support/CancelFlags.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cstring>
#include <thread>

using namespace testing_support;

namespace {

using Field = std::unique_ptr<ThreeImages3D>;

Field gradientOf(ArvoImage3D& image, bool expectedSuccess = true,
                 const std::atomic<bool>& cancel = notCancelled)
{
    Gradient gradient;
    gradient.setInputImage(&image);
    gradient.execute(cancel);
    EXPECT_EQ(gradient.isSuccess(), expectedSuccess);
    return Field(gradient.takeGradientImage());
}

std::vector<std::string> times(int count, const char* text)
{
    return std::vector<std::string>(static_cast<std::size_t>(count), text);
}

TEST(Gradient, AgreesWithTheDefinitionForAnyNumberOfThreads)
{
    for (const int limit : {1, 2}) {
        threading::setThreadLimit(limit);
        forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
            ArvoImage3D image = randomVolume(size, type, seed, Fill::Extremes);
            const ArvoImage3D before = copyOf(image);
            const Field field = gradientOf(image);
            ASSERT_TRUE(field && field->isValid());
            const ArvoImage3D* components[] = {field->getU(), field->getV(), field->getW()};
            for (int axis = 0; axis < 3; ++axis) {
                const ArvoImage3D expected =
                    naive::volume(image, [&](auto voxel) { return naive::difference(image, axis, voxel); });
                EXPECT_TRUE(sameBits(expected, *components[axis]))
                    << describe(size, type, seed) << ", axis " << axis;
                EXPECT_EQ(components[axis]->voxelSize(), image.voxelSize());
            }
            EXPECT_TRUE(sameBits(before, image));

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
}

TEST(Gradient, OfALinearRampIsExactOnTheBorders)
{
    ArvoImage3D ramp = randomVolume({4, 3, 5}, image::Float32, 1);
    ramp = naive::volume(ramp, [](auto v) { return static_cast<float>(2 * v.x - 3 * v.y + 5 * v.z); });
    const Field field = gradientOf(ramp);
    for (const math::Ivec3 v :
         {math::Ivec3(0, 0, 0), math::Ivec3(3, 2, 4), math::Ivec3(1, 1, 2), math::Ivec3(0, 2, 3)})
        EXPECT_EQ(field->getValue(v.x, v.y, v.z), QVector3D(2, -3, 5));
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
    EXPECT_EQ(progress.total(), 3 * 96);
    EXPECT_LE(progress.value(), 3 * 96);
    EXPECT_EQ(gradient.takeGradientImage(), nullptr);
    // No slice counts before all its voxels are done.
    int finished = 0;
    const ArvoImage3D* components[] = {field->getU(), field->getV(), field->getW()};
    for (int axis = 0; axis < 3; ++axis) {
        const ArvoImage3D expected =
            naive::volume(image, [&](auto v) { return naive::difference(image, axis, v); });
        for (int z = 0; z < 96; ++z)
            finished += !std::memcmp(expected.getConstAxialSlice(z), components[axis]->getConstAxialSlice(z),
                                     expected.sizeOfAxialSlice());
    }
    EXPECT_GE(finished, progress.value());
    EXPECT_TRUE(!gradient.isSuccess() || finished == 3 * 96);
}

TEST(Gradient, KeepsOneOwnerOfTheResult)
{
    ArvoImage3D image = randomVolume({5, 4, 3}, image::Int16, 1);
    Gradient gradient;
    gradient.setInputImage(&image);
    gradient.execute(notCancelled);
    Gradient copy(gradient), assigned;
    assigned = gradient;
    EXPECT_EQ(copy.takeGradientImage(), nullptr);
    EXPECT_EQ(assigned.takeGradientImage(), nullptr);
    copy.execute(notCancelled);
    EXPECT_TRUE(copy.isSuccess());
    gradient.execute(notCancelled);
    EXPECT_TRUE(Field(gradient.takeGradientImage())->isValid());
    gradient.execute(cancelled);
    EXPECT_FALSE(gradient.isSuccess());
    EXPECT_TRUE(Field(gradient.takeGradientImage())->isValid());
    gradient.setInputImage(nullptr);
    const Warnings warnings;
    gradient.execute(notCancelled);
    EXPECT_FALSE(gradient.isSuccess());
    EXPECT_EQ(gradient.takeGradientImage(), nullptr);
    EXPECT_EQ(warnings.texts(), std::vector<std::string>{"Gradient : no valid input image."});
}

TEST(Gradient, OfNoVoxelsIsAnEmptyField)
{
    for (const math::Ivec3 size : {math::Ivec3(0, 3, 2), math::Ivec3(3, 0, 2), math::Ivec3(3, 2, 0)}) {
        ArvoImage3D image(size, QVector3D(1, 1, 1), image::Int16);
        EXPECT_EQ(gradientOf(image)->getW()->imageSize(), size);
        ArvoImage3D norm(size, QVector3D(1, 1, 1), image::Float32);
        DirectGradientNorm::calculateNormGradient(&image, &norm);
    }
}

TEST(Gradient, WarnsOncePerWorker)
{
    const auto [workers, slices] = threading::calculateNumThreads(4);
    ArvoImage3D ints = randomVolume({3, 3, 4}, image::Int32, 1),
                bytes = randomVolume({3, 3, 4}, image::UInt8, 1);
    {
        const Warnings warnings;
        EXPECT_TRUE(gradientOf(ints, false)->isValid());
        EXPECT_EQ(
            warnings.texts(),
            times(3 * workers, "GradientWorker : not implemented for the given input image data type."));
    }
    ArvoImage3D invalid;
    const char* notAnImage = "DirectGradientNormWorker: the output is not a valid image";
    const auto check = [&](ArvoImage3D* input, ArvoImage3D output, const std::vector<std::string>& texts) {
        const ArvoImage3D before = copyOf(output);
        const Warnings warnings;
        DirectGradientNorm::calculateNormGradient(input, &output);
        EXPECT_EQ(warnings.texts(), texts);
        EXPECT_TRUE(sameBits(before, output));
    };
    check(&bytes, randomVolume({3, 3, 4}, image::Int16, 2), times(workers, notAnImage));
    check(&bytes, randomVolume({3, 4, 4}, image::Float32, 2), times(workers, notAnImage));
    check(&ints, randomVolume({3, 3, 4}, image::Float32, 2),
          times(workers,
                "DirectGradientNormWorker: calculateNormGradient is not implemented for current data type"));
    check(nullptr, randomVolume({3, 3, 4}, image::Float32, 2),
          {"DirectGradientNorm : no valid input image."});
    check(&invalid, randomVolume({3, 3, 4}, image::Float32, 2),
          {"DirectGradientNorm : no valid input image."});

    const Warnings warnings;
    DirectGradientNorm::calculateNormGradient(&bytes, nullptr);
    DirectGradientNorm::calculateNormGradient(&bytes, &bytes);
    EXPECT_EQ(warnings.texts(), times(2, "DirectGradientNorm : no output image of its own."));
}

TEST(GradientWorker, ChecksItsOutputAndItsDirection)
{
    ArvoImage3D input = randomVolume({3, 3, 4}, image::UInt16, 1);
    struct Case {
        int direction;
        image::DataType outputType;
        bool isCancelled;
        bool isSuccessful;
    };
    for (const Case& c : {Case{3, image::Float32, false, true}, Case{-1, image::Float32, false, true},
                          Case{3, image::Float32, true, false}, Case{0, image::Int16, false, false}}) {
        ArvoImage3D output = randomVolume({3, 3, 4}, c.outputType, 2);
        const ArvoImage3D before = copyOf(output);
        const Warnings warnings;
        GradientWorker worker(c.direction, nullptr);
        worker.setImages(&input, &output);
        worker.setWork(0, 3);
        worker.startWithCancel(c.isCancelled ? &cancelled : nullptr);
        worker.waitUntilDone();
        EXPECT_EQ(worker.isSuccessful(), c.isSuccessful);
        EXPECT_TRUE(sameBits(before, output));
        EXPECT_EQ(warnings.texts(), times(c.outputType == image::Int16,
                                          "GradientWorker : input and/or output image is not correct."));
    }
}

} // namespace
