#include "arvo/binary/Image3DKeepConnectedPart.h"

#include "MasksByDefinition.h"
#include "MaskTests.h"

#include <limits>
#include <optional>

using namespace testing_support;
using Keep = Image3DKeepConnectedPart;

namespace {

struct Settings {
    Keep::KeepStrategy strategy = Keep::KEEP_LARGEST_PARTS;
    int direction = Keep::STRAIGHT;
    std::optional<float> tolerance = {};
    std::optional<math::Ivec3> point = {};
};

Keep made(ArvoImage3D& mask, const Settings& settings)
{
    Keep keep(mask, settings.strategy, static_cast<Keep::ConnectionDirection>(settings.direction));
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
std::size_t labelAtPoint(const ArvoImage3D& labels, const math::Ivec3& point)
{
    const math::Ivec3 size = labels.imageSize();
    const auto label = voxels<short>(labels);
    std::size_t best = indexOf(size, point.x, point.y, point.z);
    if (label[best] == 0 && std::min({size.x, size.y, size.z}) >= 3) { // thinner ones have no distance map
        const ArvoImage3D distance = unsignedDistanceByDefinition(boxIn(size, point, point));
        best = 0;
        int smallest = 32767;
        for (std::size_t i = 1; i < label.size(); ++i) {
            if (label[i] != 0 && voxels<short>(distance)[i] < smallest) {
                smallest = voxels<short>(distance)[i];
                best = i;
            }
        }
    }
    return static_cast<std::size_t>(label[best]);
}

/// The kept parts by the definition, or nothing when the run fails.
std::optional<ArvoImage3D> keptByDefinition(const ArvoImage3D& mask, const Settings& settings)
{
    const Labelled parts = labelledByDefinition(mask, settings.direction != Keep::STRAIGHT);
    if (parts.volumes.size() <= 1)
        return std::nullopt;
    if (settings.strategy == Keep::KEEP_LARGEST_PARTS) {
        const int largest = *std::ranges::max_element(parts.volumes);
        return keptParts(parts, [&](std::size_t label) {
            return isLargeEnough(parts.volumes[label], largest, settings.tolerance);
        });
    }
    const math::Ivec3 size = mask.imageSize();
    const std::size_t kept =
        labelAtPoint(parts.labels, settings.point.value_or(math::Ivec3(size.x / 2, size.y / 2, size.z / 2)));
    if (kept == 0)
        return std::nullopt;
    return keptParts(parts, [&](std::size_t label) { return label == kept; });
}

void expectAsDefined(const ArvoImage3D& input, const Settings& settings, const std::string& what)
{
    const Warnings warnings;
    ArvoImage3D mask = copyOf(input);
    const std::optional<ArvoImage3D> expected = keptByDefinition(mask, settings);
    Keep keep = made(mask, settings);
    keep.execute(notCancelled);
    EXPECT_EQ(keep.isSuccess(), expected.has_value()) << what;
    if (expected)
        expectMade(*expected, keep.takeBinaryOutputImage(), what);
    else
        EXPECT_EQ(keep.takeBinaryOutputImage(), nullptr) << what;
    EXPECT_EQ(warnings.texts(), Texts{}) << what;
}

void expectRefusal(Keep& keep)
{
    const Warnings warnings;
    keep.execute(notCancelled);
    EXPECT_FALSE(keep.isSuccess());
    EXPECT_EQ(keep.takeBinaryOutputImage(), nullptr);
    EXPECT_EQ(warnings.texts().size(), 1u);
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
                expectAsDefined(mask, {.direction = direction, .tolerance = tolerance},
                                what + ", tolerance " + std::to_string(tolerance.value_or(-7.0f)));
        }
    });
    // 6000 voxels without a tolerance, and one less.
    ArvoImage3D mask = boxIn({20, 20, 15}, {0, 0, 0}, {19, 19, 14});
    expectAsDefined(mask, {}, "6000");
    mask.changeVoxelValues({{0, 0, 0}}, 0);
    expectAsDefined(mask, {}, "5999");
}

TEST(KeepConnectedPart, KeepsThePartAtThePointAsDefined)
{
    forEachMask(1, [](const ArvoImage3D& mask, const std::string& what) {
        const math::Ivec3 size = mask.imageSize();
        for (const auto strategy : {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::KeepStrategy(-3)}) {
            expectAsDefined(mask, {.strategy = strategy, .direction = Keep::DIAGONAL}, what);
            for (int i = 0; i < 6; ++i) {
                const math::Ivec3 point(i * 5 % size.x, i * 7 % size.y, i * 3 % size.z);
                expectAsDefined(mask, {.strategy = strategy, .point = point}, what);
            }
        }
    });
    // The first voxel is looked at only when there is no other.
    ArvoImage3D mask = boxIn({5, 5, 5}, {0, 0, 0}, {0, 0, 0});
    const Settings atPoint = {.strategy = Keep::KEEP_PART_AT_REFERENCE_POINT, .point = math::Ivec3(1, 1, 1)};
    expectAsDefined(mask, atPoint, "alone");
    mask.changeVoxelValues({{4, 4, 4}}, 1);
    expectAsDefined(mask, atPoint, "not alone");
}

TEST(KeepConnectedPart, KeepsTheSuccessOfTheStepBeforeARaisedFlagWasNoticed)
{
    for (const double density : {0.0, 0.3}) {
        ArvoImage3D mask = randomMask({6, 5, 4}, density, 2);
        Keep keep = made(mask, {.tolerance = 0.1f});
        keep.execute(notCancelled);
        keep.execute(cancelled); // the labelling looks for parts, whatever the flag
        EXPECT_EQ(keep.isSuccess(), density > 0);
        EXPECT_EQ(keep.takeBinaryOutputImage(), nullptr);
    }
}

TEST(KeepConnectedPart, RefusesAPointOutsideAndAMaskThatHasChangedItsSize)
{
    ArvoImage3D mask = randomMask({6, 5, 4}, 0.5, 1);
    for (const math::Ivec3& outside : {math::Ivec3(-1, 0, 0), math::Ivec3(0, -1, 0), math::Ivec3(0, 0, -1),
                                       math::Ivec3(6, 0, 0), math::Ivec3(0, 5, 0), math::Ivec3(0, 0, 4)}) {
        Keep atPoint = made(mask, {.strategy = Keep::KEEP_PART_AT_REFERENCE_POINT, .point = outside});
        expectRefusal(atPoint);
        // The other strategy does not use the point.
        expectAsDefined(mask, {.tolerance = 0.5f, .point = outside}, "point outside");
    }
    Keep keep = made(mask, {});
    mask.create({6, 5, 3}, {1, 1, 1}, image::Binary);
    expectRefusal(keep);
}

TEST(KeepConnectedPart, CopiesItsSettingsButNotItsResult)
{
    ArvoImage3D mask =
        boxIn({6, 5, 4}, {3, 0, 0}, {5, 4, 3}); // and a small part, connected over corners only
    mask.changeVoxelValues({{1, 2, 3}, {0, 1, 2}}, 1);
    for (const auto strategy : {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::KEEP_LARGEST_PARTS}) {
        Keep keep = made(mask, {strategy, Keep::DIAGONAL, 0.5f, math::Ivec3(1, 2, 3)}),
             other = made(mask, {});
        EXPECT_EQ(other.getReferencePoint(), math::Ivec3(3, 2, 2));
        expectCopiesOfSettings(keep, other, [](Keep& from) { return from.takeBinaryOutputImage(); });
    }
}
