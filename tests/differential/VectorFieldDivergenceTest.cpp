#include "arvo/differential/VectorFieldDivergence.h"

#include "NaiveDifferences.h"

#include "arvo/differential/VectorFieldDivergenceWorker.h"
#include "arvo/platform/threading/ThreadCount.h"

#include "support/CancelFlags.h"
#include "support/Warnings.h"

using namespace testing_support;

namespace {

TEST(VectorFieldDivergence, AgreesWithTheDefinitionForAnyNumberOfThreads)
{
    for (const int limit : {1, 2}) {
        threading::setThreadLimit(limit);
        forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
            const ThreeImages3D field = naive::randomField(size, type, seed, Fill::Extremes);
            const auto expected =
                naive::volume(*field.getU(), [&](auto v) { return naive::divergence(field, v); });
            const auto divergence = VectorFieldDivergence::calculate(field);
            EXPECT_TRUE(sameBits(expected, *divergence)) << describe(size, type, seed);
            EXPECT_EQ(divergence->voxelSize(), field.getU()->voxelSize());
        });
    }
    threading::setThreadLimit(0);
}

TEST(VectorFieldDivergence, WarnsOfFieldsItCannotTake)
{
    const auto workers = static_cast<std::size_t>(threading::calculateNumThreads(5).first);
    const Warnings warnings;
    EXPECT_FALSE(VectorFieldDivergence::calculate({new ArvoImage3D(), nullptr, nullptr}));
    EXPECT_TRUE(VectorFieldDivergence::calculate(naive::randomField({0, 4, 5}, image::Int16, 1)));
    EXPECT_TRUE(VectorFieldDivergence::calculate(naive::randomField({3, 4, 5}, image::Int32, 1)));
    std::vector<std::string> expected(
        1 + workers, "VectorFieldDivergenceWorker: calculateVectorFieldDivergence is not implemented for "
                     "current data type.");
    expected[0] = "VectorFieldDivergenceWorker: The input vector field is not valid.";
    EXPECT_EQ(warnings.texts(), expected);
}

TEST(VectorFieldDivergence, WorkersIgnoreTheFlag)
{
    const ThreeImages3D field = naive::randomField({6, 5, 4}, image::UInt8, 1);
    ArvoImage3D output = naive::volume(*field.getU(), [](auto) { return -7.0f; });
    VectorFieldDivergenceWorker worker(&field, nullptr);
    worker.setImages(nullptr, &output);
    worker.setWork(1, 2);
    worker.startWithCancel(&cancelled);
    worker.waitUntilDone();
    EXPECT_TRUE(worker.isSuccessful());
    EXPECT_TRUE(
        sameBits(naive::volume(output, [&](auto v) { return v.z % 3 ? naive::divergence(field, v) : -7.0f; }),
                 output));
}

} // namespace
