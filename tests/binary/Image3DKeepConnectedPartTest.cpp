#include "arvo/binary/Image3DKeepConnectedPart.h"

#include "DistanceByDefinition.h"
#include "MaskTests.h"
#include "NaiveLabelling.h"

#include <limits>
#include <optional>

using namespace testing_support;
using Keep = Image3DKeepConnectedPart;

namespace {

struct Settings {
    Keep::KeepStrategy strategy = Keep::KEEP_LARGEST_PARTS;
    Keep::ConnectionDirection direction = Keep::STRAIGHT;
    std::optional<float> tolerance;
    std::optional<math::Ivec3> point;
};

Keep made(ArvoImage3D& mask, const Settings& settings)
{
    Keep keep(mask, settings.strategy, settings.direction);
    if (settings.tolerance)
        keep.setRelativeTolerance(*settings.tolerance);
    if (settings.point)
        keep.setReferencePoint(*settings.point);
    return keep;
}

/// A product that no int holds is compared as it is.
bool isLargeEnough(int volume, int largest, std::optional<float> tolerance)
{
    const float product = tolerance ? static_cast<float>(largest) * *tolerance : 6000.0f;
    if (product > 2147483520.0f || product < -2147483648.0f || product != product)
        return product < 0;
    return volume >= static_cast<int>(product);
}

/// The label at the point, or of the first of the voxels nearest to it; the very first voxel stands for none.
short labelAtPoint(const ArvoImage3D& labels, const math::Ivec3& point)
{
    const math::Ivec3 size = labels.imageSize();
    const auto label = voxels<short>(labels);
    if (const short here = label[indexOf(size, point.x, point.y, point.z)])
        return here;
    if (std::min({size.x, size.y, size.z}) < 3)
        return 0; // no distance map
    const ArvoImage3D distance = unsignedDistanceByDefinition(boxIn(size, point, point));
    std::size_t best = 0;
    int smallest = 32767;
    for (std::size_t i = 1; i < label.size() && smallest != 1; ++i) {
        if (label[i] != 0 && voxels<short>(distance)[i] < smallest) {
            smallest = voxels<short>(distance)[i];
            best = i;
        }
    }
    return label[best];
}

/// The kept parts by the definition, or nothing when the run fails.
std::optional<ArvoImage3D> keptByDefinition(const ArvoImage3D& mask, const Settings& settings)
{
    const naive::Labelled parts = naive::label(mask, settings.direction != Keep::STRAIGHT);
    const auto label = voxels<short>(parts.labels);
    if (parts.volumes.size() <= 1)
        return std::nullopt;
    if (settings.strategy == Keep::KEEP_LARGEST_PARTS) {
        const int largest = *std::ranges::max_element(parts.volumes);
        return maskWhere(mask, [&](std::size_t i) {
            return isLargeEnough(parts.volumes[static_cast<std::size_t>(label[i])], largest,
                                 settings.tolerance);
        });
    }
    const math::Ivec3 size = mask.imageSize();
    const short kept =
        labelAtPoint(parts.labels, settings.point.value_or(math::Ivec3(size.x / 2, size.y / 2, size.z / 2)));
    if (kept == 0)
        return std::nullopt;
    return maskWhere(mask, [&](std::size_t i) { return label[i] == kept; });
}

void expectAsDefined(const ArvoImage3D& input, const Settings& settings, const std::string& what)
{
    const Warnings warnings;
    ArvoImage3D mask = copyOf(input);
    const std::optional<ArvoImage3D> expected = keptByDefinition(mask, settings);
    Keep keep = made(mask, settings);
    keep.execute(notCancelled);
    EXPECT_EQ(keep.isSuccess(), expected.has_value()) << what;
    const Image result = keep.takeBinaryOutputImage();
    ASSERT_EQ(result != nullptr, expected.has_value()) << what;
    EXPECT_TRUE(!result || sameBits(*expected, *result)) << what;
    EXPECT_TRUE(!result || result->voxelSize() == mask.voxelSize()) << what;
    EXPECT_EQ(warnings.texts(), Texts{}) << what;
}

} // namespace

TEST(KeepConnectedPart, KeepsTheLargePartsAsDefined)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const std::optional<float> tolerances[] = {{},    0.0f,  0.02f,  0.5f,     0.999f,    1.0f, 1.5f,
                                               -0.5f, 1e30f, -1e30f, infinity, -infinity, nan};
    forEachMask(0, [&](const ArvoImage3D& mask, const std::string& what) {
        for (const int direction : {0, 7}) {
            for (const auto tolerance : tolerances)
                expectAsDefined(
                    mask,
                    {Keep::KEEP_LARGEST_PARTS, Keep::ConnectionDirection(direction), tolerance, std::nullopt},
                    what + ", tolerance " + std::to_string(tolerance.value_or(-7.0f)));
        }
    });
}

TEST(KeepConnectedPart, KeepsThePartAtThePointAsDefined)
{
    forEachMask(1, [](const ArvoImage3D& mask, const std::string& what) {
        const math::Ivec3 size = mask.imageSize();
        for (const auto strategy : {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::KeepStrategy(-3)}) {
            expectAsDefined(mask, {strategy, Keep::DIAGONAL, {}, std::nullopt}, what);
            for (int i = 0; i < 6; ++i) {
                const math::Ivec3 point(i * 5 % size.x, i * 7 % size.y, i * 3 % size.z);
                expectAsDefined(mask, {strategy, Keep::STRAIGHT, {}, point}, what);
            }
        }
    });
}

TEST(KeepConnectedPart, LooksAtTheFirstVoxelOnlyWhenThereIsNoOther)
{
    ArvoImage3D mask = boxIn({5, 5, 5}, {0, 0, 0}, {0, 0, 0});
    Keep keep = made(mask, {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::STRAIGHT, {}, math::Ivec3(1, 1, 1)});
    keep.execute(notCancelled);
    EXPECT_TRUE(sameBits(mask, *keep.takeBinaryOutputImage()));
    mask.changeVoxelValues({{4, 4, 4}}, 1);
    keep.execute(notCancelled);
    EXPECT_TRUE(sameBits(boxIn({5, 5, 5}, {4, 4, 4}, {4, 4, 4}), *keep.takeBinaryOutputImage()));
}

TEST(KeepConnectedPart, DropsEverythingBelow6000VoxelsWithoutATolerance)
{
    ArvoImage3D mask = boxIn({20, 20, 15}, {0, 0, 0}, {19, 19, 14});
    expectAsDefined(mask, {}, "6000");
    mask.changeVoxelValues({{0, 0, 0}}, 0);
    expectAsDefined(mask, {}, "5999");
}

TEST(KeepConnectedPart, KeepsTheSuccessOfTheStepBeforeARaisedFlagWasNoticed)
{
    for (const double density : {0.0, 0.3}) {
        ArvoImage3D mask = randomMask({6, 5, 4}, density, 2);
        Keep keep = made(mask, {Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT, 0.1f, std::nullopt});
        keep.execute(notCancelled);
        keep.execute(cancelled); // the labelling looks for parts, whatever the flag
        EXPECT_EQ(keep.isSuccess(), density > 0);
        EXPECT_EQ(keep.takeBinaryOutputImage(), nullptr);
    }
}

TEST(KeepConnectedPart, RefusesWhatItCannotUse)
{
    const auto expectRefusal = [](Keep& keep) {
        const Warnings warnings;
        keep.execute(notCancelled);
        EXPECT_FALSE(keep.isSuccess());
        EXPECT_EQ(keep.takeBinaryOutputImage(), nullptr);
        EXPECT_EQ(warnings.texts().size(), 1u);
    };
    ArvoImage3D mask = randomMask({6, 5, 4}, 0.5, 1);
    for (const math::Ivec3& outside : {math::Ivec3(-1, 0, 0), math::Ivec3(0, -1, 0), math::Ivec3(0, 0, -1),
                                       math::Ivec3(6, 0, 0), math::Ivec3(0, 5, 0), math::Ivec3(0, 0, 4)}) {
        Keep atPoint = made(mask, {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::STRAIGHT, {}, outside});
        expectRefusal(atPoint);
        // The other strategy does not use the point.
        expectAsDefined(mask, {Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT, 0.5f, outside}, "point outside");
    }
    Keep keep(mask, Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT);
    mask.create({6, 5, 3}, {1, 1, 1}, image::Binary);
    expectRefusal(keep);
}

TEST(KeepConnectedPart, CopiesItsSettingsButNotItsResult)
{
    ArvoImage3D mask = randomMask({6, 5, 4}, 0.5, 1);
    Keep keep = made(mask, {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::DIAGONAL, 0.5f, math::Ivec3(1, 2, 3)});
    ThreadProgress progress;
    keep.setProgress(&progress);
    keep.execute(notCancelled);
    EXPECT_EQ(progress.value(), progress.total());
    keep.setProgress(nullptr);
    Keep copy(keep);
    Keep assigned(mask, Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT);
    EXPECT_EQ(assigned.getReferencePoint(), math::Ivec3(3, 2, 2));
    assigned = keep;
    const Image result = keep.takeBinaryOutputImage();
    EXPECT_EQ(keep.takeBinaryOutputImage(), nullptr);
    for (Keep* duplicate : {&copy, &assigned}) {
        EXPECT_FALSE(duplicate->isSuccess());
        EXPECT_EQ(duplicate->takeBinaryOutputImage(), nullptr);
        EXPECT_EQ(duplicate->getReferencePoint(), math::Ivec3(1, 2, 3));
        duplicate->execute(notCancelled);
        EXPECT_TRUE(sameBits(*result, *duplicate->takeBinaryOutputImage()));
    }
}
