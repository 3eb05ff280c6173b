#include "arvo/voxelops/Image3DReplaceVoxels.h"

#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/voxelops/Image3DReplaceVoxelsHelper.h"

#include "support/CancelFlags.h"
#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

using namespace testing_support;

namespace {

using Texts = std::vector<std::string>;
using ByteHelper = Image3DReplaceVoxelsHelper<unsigned char>;

bool replace(ArvoImage3D& image, ArvoImage3D* mask, float value,
             const std::atomic<bool>& cancel = notCancelled)
{
    Image3DReplaceVoxels operation;
    operation.setInputImage(&image);
    operation.setMaskImage(mask);
    operation.setReplaceValue(value);
    operation.execute(cancel);
    return operation.isSuccess();
}

void expectDefinition(const math::Ivec3& size, image::DataType type, std::uint64_t seed, ArvoImage3D& mask,
                      float value)
{
    ArvoImage3D image = randomVolume(size, type, seed, Fill::Extremes);
    ArvoImage3D expected = copyOf(image);
    withType(type, [&](auto element) {
        using T = typename decltype(element)::type;
        for (std::size_t i = 0; i < voxels<T>(expected).size(); ++i) {
            if (voxels<unsigned char>(mask)[i] == 1)
                voxels<T>(expected)[i] = storedAs<T>(value);
        }
    });
    (void)image.getValueRange();
    EXPECT_TRUE(replace(image, &mask, value));
    EXPECT_TRUE(sameBits(expected, image)) << describe(size, type, seed) << ", value " << value;
    EXPECT_EQ(image.getValueRange(), expected.getValueRange());
}

TEST(Image3DReplaceVoxels, AgreesWithTheDefinition)
{
    for (const float value :
         {300.0f, -1.0f, -0.5f, 70000.7f, 3e9f, std::numeric_limits<float>::quiet_NaN()}) {
        forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
            ArvoImage3D mask = randomVolume(size, image::UInt8, seed + 10, Fill::FewValues);
            expectDefinition(size, type, seed, mask, value);
        });
    }
    for (const int width : {63, 64, 65, 200, 256}) { // blocks with and without a voxel to replace
        for (const image::DataType type : voxelTypes()) {
            ArvoImage3D sparse = randomMask({width, 9, 4}, 0.01, 1);
            expectDefinition({width, 9, 4}, type, 2, sparse, 9.0f);
        }
    }
}

TEST(Image3DReplaceVoxels, ARaisedFlagLetsOneVoxelOfEachWorkerThrough)
{
    ArvoImage3D image = randomVolume({5, 4, 6}, image::Int16, 1), mask = randomMask({5, 4, 6}, 1.0, 1);
    ArvoImage3D expected = copyOf(image);
    const auto [workers, slices] = threading::calculateNumThreads(6);
    for (int i = 0; i < workers; ++i)
        voxels<short>(expected)[static_cast<std::size_t>(i * slices * 20)] = 7;
    EXPECT_FALSE(replace(image, &mask, 7.0f, cancelled));
    EXPECT_TRUE(sameBits(expected, image));
}

TEST(Image3DReplaceVoxels, AcceptsWiderMasksAndNoVoxels)
{
    ArvoImage3D image = volumeOf<short>({2, 1, 1}, image::Int16, {5, 6});
    ArvoImage3D wideMask = volumeOf<short>({2, 1, 1}, image::Int16, {0x0100, 1}); // bytes 0 1 1 0
    EXPECT_TRUE(replace(image, &wideMask, 9.0f));
    EXPECT_TRUE(sameBits(volumeOf<short>({2, 1, 1}, image::Int16, {5, 9}), image));

    const Warnings warnings;
    for (const image::DataType type : {image::UInt8, image::Int32}) {
        ArvoImage3D none({3, 3, 0}, QVector3D(1, 1, 1), type), mask = randomMask({3, 3, 0}, 1.0, 1);
        EXPECT_TRUE(replace(none, &mask, 1.0f));
    }
    EXPECT_TRUE(ByteHelper::replaceVoxels(image, image, 1.0f, 9, 8, cancelled)) << "an empty range";
    EXPECT_TRUE(warnings.texts().empty());
}

TEST(Image3DReplaceVoxels, WarnsOfTheTypeBeforeTheMask)
{
    ArvoImage3D bytes = randomVolume({4, 3, 2}, image::UInt8, 1),
                ints = randomVolume({4, 3, 2}, image::Int32, 1);
    const ArvoImage3D before = copyOf(bytes);
    for (const math::Ivec3& size : {math::Ivec3(4, 3, 1), math::Ivec3(3, 3, 2)}) {
        ArvoImage3D mask = randomMask(size, 1.0, 1);
        const Warnings warnings;
        EXPECT_FALSE(replace(bytes, &mask, 1.0f));
        EXPECT_FALSE(ByteHelper::replaceVoxels(bytes, mask, 1.0f, 0, 1, notCancelled));
        EXPECT_FALSE(replace(ints, &mask, 1.0f));
        Texts expected = {"Image3DReplaceVoxels : the mask image is smaller than the input image.",
                          "Image3DReplaceVoxelsHelper : image and mask do not hold such slices."};
        expected.insert(expected.end(), static_cast<std::size_t>(threading::calculateNumThreads(2).first),
                        "Image3DReplaceVoxelsWorker : not implemented for the given input image data type.");
        EXPECT_EQ(warnings.texts(), expected);
    }
    EXPECT_TRUE(sameBits(before, bytes));
}

} // namespace
