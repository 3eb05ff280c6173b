#include "arvo/differential/VectorFieldDivergence.h"

#include "NaiveDifferences.h"

#include "arvo/differential/VectorFieldDivergenceWorker.h"
#include "arvo/platform/threading/ThreadCount.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

using namespace testing_support;

namespace {

TEST(VectorFieldDivergence, AgreesWithTheDefinitionForAnyNumberOfThreads)
{
    for (const int limit : {1, 2}) {
        threading::setThreadLimit(limit);
        forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
            const ThreeImages3D field = naive::randomField(size, type, seed, limit == 2);
            const ArvoImage3D expected =
                naive::volume(*field.getU(), [&](auto voxel) { return naive::divergence(field, voxel); });
            const auto actual = VectorFieldDivergence::calculate(field);
            ASSERT_TRUE(actual);
            EXPECT_TRUE(sameBits(expected, *actual)) << describe(size, type, seed);
            EXPECT_EQ(actual->voxelSize(), field.getU()->voxelSize());
        });
    }
    threading::setThreadLimit(0);
}

TEST(VectorFieldDivergence, OfThePositionIsThreeBordersIncluded)
{
    const ArvoImage3D geometry = randomVolume({4, 5, 3}, image::Float32, 1);
    const auto coordinate = [&](int axis) {
        return new ArvoImage3D(naive::volume(geometry, [=](auto v) { return static_cast<float>(v[axis]); }));
    };
    const auto divergence = VectorFieldDivergence::calculate({coordinate(0), coordinate(1), coordinate(2)});
    EXPECT_TRUE(sameBits(naive::volume(geometry, [](auto) { return 3.0f; }), *divergence));
}

TEST(VectorFieldDivergence, WarnsOfFieldsItCannotTake)
{
    const auto warningsOf = [](const ThreeImages3D& field, bool expectedResult) {
        const Warnings warnings;
        EXPECT_EQ(VectorFieldDivergence::calculate(field) != nullptr, expectedResult);
        return warnings.texts();
    };
    const auto size = math::Ivec3(3, 4, 5);
    EXPECT_EQ(warningsOf({new ArvoImage3D(), nullptr, nullptr}, false),
              std::vector<std::string>{"VectorFieldDivergenceWorker: The input vector field is not valid."});
    const auto [workers, slices] = threading::calculateNumThreads(size.z);
    EXPECT_EQ(warningsOf(naive::randomField(size, image::Int32, 1, false), true),
              std::vector<std::string>(
                  static_cast<std::size_t>(workers),
                  "VectorFieldDivergenceWorker: calculateVectorFieldDivergence is not implemented "
                  "for current data type."));
    EXPECT_TRUE(warningsOf(naive::randomField({0, 4, 5}, image::Int16, 1, false), true).empty());
}

TEST(VectorFieldDivergence, WorkersIgnoreTheFlag)
{
    const ThreeImages3D field = naive::randomField({6, 5, 4}, image::UInt8, 1, false);
    const std::atomic<bool> cancel{true};
    ArvoImage3D output = naive::volume(*field.getU(), {}, 1, 0);
    VectorFieldDivergenceWorker worker(&field, nullptr);
    worker.setImages(nullptr, &output);
    worker.setWork(1, 2);
    worker.startWithCancel(&cancel);
    worker.waitUntilDone();
    EXPECT_TRUE(worker.isSuccessful());
    EXPECT_TRUE(sameBits(naive::volume(
                             *field.getU(), [&](auto v) { return naive::divergence(field, v); }, 1, 2),
                         output));
}

} // namespace
