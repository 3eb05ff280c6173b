#include "arvo/binary/Image3DKeepConnectedPart.h"

#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include "binary/NaiveLabelling.h"
#include "support/CancelFlags.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <limits>
#include <optional>
#include <set>
#include <thread>

namespace {

using namespace testing_support;
using Keep = Image3DKeepConnectedPart;
using Texts = std::vector<std::string>;

/// What was set, or nothing.
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
bool passes(int volume, int largest, std::optional<float> tolerance)
{
    const float product = tolerance ? static_cast<float>(largest) * *tolerance : 6000.0f;
    if (product > 2147483520.0f || product < -2147483648.0f || product != product)
        return product < 0;
    return volume >= static_cast<int>(product);
}

std::set<short> largestLabels(const ArvoImage3D& labels, int count, std::optional<float> tolerance)
{
    std::vector<int> bins(static_cast<std::size_t>(count));
    for (const short label : voxels<short>(labels))
        bins[static_cast<std::size_t>(label)] += label != 0;
    std::set<short> selected;
    for (std::size_t l = 0; l < bins.size(); ++l) {
        if (passes(bins[l], *std::ranges::max_element(bins), tolerance))
            selected.insert(static_cast<short>(l));
    }
    return selected;
}

std::set<short> labelAtPoint(const ArvoImage3D& mask, const ArvoImage3D& labels, const math::Ivec3& point)
{
    const math::Ivec3 size = mask.imageSize();
    const auto label = voxels<short>(labels);
    const auto at = static_cast<std::size_t>((point.z * size.y + point.y) * size.x + point.x);
    if (label[at] != 0)
        return {label[at]};
    ArvoImage3D seed(size, mask.voxelSize(), image::Binary);
    seed.zeroSlices();
    voxels<unsigned char>(seed)[at] = 1;
    Image3DDistanceMap map(Image3DDistanceMap::UNSIGNED_DISTANCE);
    map.setInputImage(&seed);
    map.execute(notCancelled);
    const std::unique_ptr<ArvoImage3D> distance(map.takeDistanceImage());
    if (!distance)
        return {};
    std::size_t best = 0;
    int smallest = 32767;
    for (std::size_t i = 1; i < label.size() && smallest != 1; ++i) {
        if (label[i] != 0 && voxels<short>(*distance)[i] < smallest) {
            smallest = voxels<short>(*distance)[i];
            best = i;
        }
    }
    return label[best] != 0 ? std::set<short>{label[best]} : std::set<short>{};
}

/// The kept parts by the definition, or nothing when the run fails.
std::optional<ArvoImage3D> naive(ArvoImage3D& mask, const Settings& settings)
{
    const auto [labels, count] = naive::label(mask, settings.direction != Keep::STRAIGHT);
    if (count <= 1)
        return std::nullopt;
    const math::Ivec3 size = mask.imageSize();
    const bool byVolume = settings.strategy == Keep::KEEP_LARGEST_PARTS;
    const std::set<short> selected =
        byVolume ? largestLabels(labels, count, settings.tolerance)
                 : labelAtPoint(mask, labels,
                                settings.point.value_or(math::Ivec3(size.x / 2, size.y / 2, size.z / 2)));
    if (!byVolume && selected.empty())
        return std::nullopt;
    ArvoImage3D result(size, mask.voxelSize(), image::Binary);
    for (std::size_t i = 0; i < voxels<short>(labels).size(); ++i)
        voxels<unsigned char>(result)[i] = selected.contains(voxels<short>(labels)[i]);
    return result;
}

void expectAsDefined(ArvoImage3D& mask, const Settings& settings, const std::string& what)
{
    const Warnings warnings;
    const std::optional<ArvoImage3D> expected = naive(mask, settings);
    Keep keep = made(mask, settings);
    keep.execute(notCancelled);
    EXPECT_EQ(keep.isSuccess(), expected.has_value()) << what;
    const std::unique_ptr<ArvoImage3D> result = keep.takeBinaryOutputImage();
    ASSERT_EQ(result != nullptr, expected.has_value()) << what;
    EXPECT_TRUE(!result || sameBits(*expected, *result)) << what;
    EXPECT_TRUE(!result || result->voxelSize() == mask.voxelSize()) << what;
    EXPECT_EQ(warnings.texts(), Texts{}) << what;
}

const std::vector<math::Ivec3> SIZES = {{3, 3, 3},  {5, 1, 1},   {2, 7, 2}, {17, 5, 4},
                                        {33, 6, 7}, {13, 11, 9}, {65, 4, 5}};

TEST(KeepConnectedPart, KeepsPartsByVolumeAsDefined)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const std::vector<std::optional<float>> tolerances = {std::nullopt,
                                                          0.0f,
                                                          0.02f,
                                                          0.5f,
                                                          0.999f,
                                                          1.0f,
                                                          1.5f,
                                                          -0.5f,
                                                          1e30f,
                                                          -1e30f,
                                                          infinity,
                                                          -infinity,
                                                          std::numeric_limits<float>::quiet_NaN()};
    for (const math::Ivec3& size : SIZES) {
        for (const double density : {0.0, 0.1, 0.3, 0.7, 1.0}) {
            for (const auto direction : {Keep::STRAIGHT, Keep::DIAGONAL, Keep::ConnectionDirection(7)}) {
                ArvoImage3D mask = randomMask(size, density, 11);
                for (const auto tolerance : tolerances) {
                    expectAsDefined(mask, {Keep::KEEP_LARGEST_PARTS, direction, tolerance, std::nullopt},
                                    describe(size, image::Binary, 11) + ", density " +
                                        std::to_string(density) + ", tolerance " +
                                        std::to_string(tolerance.value_or(-7.0f)));
                }
            }
        }
    }
    ArvoImage3D grey = randomVolume({9, 8, 7}, image::UInt8, 3, Fill::Extremes);
    expectAsDefined(grey, {Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT, 0.1f, std::nullopt}, "grey");
}

TEST(KeepConnectedPart, KeepsThePartAtThePointAsDefined)
{
    for (const math::Ivec3& size : SIZES) {
        for (const double density : {0.01, 0.05, 0.4}) {
            ArvoImage3D mask = randomMask(size, density, 5);
            const std::string what =
                describe(size, image::Binary, 5) + ", density " + std::to_string(density);
            for (const auto strategy : {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::KeepStrategy(-3)}) {
                expectAsDefined(mask, {strategy, Keep::DIAGONAL, {}, std::nullopt}, what);
                for (int i = 0; i < 12; ++i) {
                    const math::Ivec3 point(i * 5 % size.x, i * 7 % size.y, i * 3 % size.z);
                    expectAsDefined(mask, {strategy, Keep::STRAIGHT, {}, point}, what);
                }
            }
        }
    }
}

TEST(KeepConnectedPart, LooksAtTheFirstVoxelOnlyWhenThereIsNoOther)
{
    ArvoImage3D mask({5, 5, 5}, {1, 1, 1}, image::Binary);
    mask.zeroSlices();
    mask.changeVoxelValues({{0, 0, 0}, {4, 4, 4}}, 1);
    Keep keep = made(mask, {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::STRAIGHT, {}, math::Ivec3(1, 1, 1)});
    keep.execute(notCancelled);
    EXPECT_EQ(keep.takeBinaryOutputImage()->getValue(4, 4, 4), 1);
    mask.changeVoxelValues({{4, 4, 4}}, 0);
    keep.execute(notCancelled);
    EXPECT_EQ(keep.takeBinaryOutputImage()->getValue(0, 0, 0), 1);
}

TEST(KeepConnectedPart, DropsEverythingBelow6000VoxelsWithoutATolerance)
{
    ArvoImage3D mask({20, 20, 15}, {1, 1, 1}, image::Binary);
    mask.memsetSlices(1);
    Keep keep(mask, Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT);
    keep.execute(notCancelled);
    EXPECT_TRUE(sameBits(mask, *keep.takeBinaryOutputImage()));
    mask.changeVoxelValues({{0, 0, 0}}, 0);
    keep.execute(notCancelled);
    EXPECT_TRUE(keep.isSuccess());
    EXPECT_EQ(keep.takeBinaryOutputImage()->maxValue(), 0);
}

TEST(KeepConnectedPart, LeavesNoResultAfterACancelledRun)
{
    ArvoImage3D mask = randomMask({40, 40, 40}, 0.3, 2);
    for (const auto strategy : {Keep::KEEP_LARGEST_PARTS, Keep::KEEP_PART_AT_REFERENCE_POINT}) {
        Keep keep = made(mask, {strategy, Keep::STRAIGHT, 0.1f, math::Ivec3(7, 7, 7)});
        keep.execute(notCancelled);
        const auto whole = keep.takeBinaryOutputImage();
        ASSERT_NE(whole, nullptr);
        keep.execute(notCancelled);
        keep.execute(cancelled); // noticed after the labelling, which succeeded
        EXPECT_TRUE(keep.isSuccess());
        EXPECT_EQ(keep.takeBinaryOutputImage(), nullptr);
        // Raised from another thread once so many steps are done: either the whole result or none.
        for (const int step : {0, 1, 2}) {
            ThreadProgress progress;
            std::atomic<bool> cancel{false};
            std::atomic<bool> isDone{false};
            std::thread watcher([&] {
                while (progress.total() == 0 || progress.value() < step) {
                    if (isDone)
                        return;
                }
                cancel = true;
            });
            keep.setProgress(&progress);
            keep.execute(cancel);
            isDone = true;
            watcher.join();
            const auto result = keep.takeBinaryOutputImage();
            EXPECT_EQ(result != nullptr, progress.value() == progress.total());
            EXPECT_TRUE(!result || (keep.isSuccess() && sameBits(*whole, *result)));
        }
    }
    ArvoImage3D empty = randomMask({4, 4, 4}, 0.0, 1);
    Keep keep(empty, Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT);
    keep.execute(cancelled);
    EXPECT_FALSE(keep.isSuccess());
}

TEST(KeepConnectedPart, RefusesWhatItCannotUse)
{
    const auto expectRefusal = [](Keep& keep, const char* problem) {
        const Warnings warnings;
        keep.execute(notCancelled);
        EXPECT_FALSE(keep.isSuccess());
        EXPECT_EQ(keep.takeBinaryOutputImage(), nullptr);
        EXPECT_EQ(warnings.texts(), Texts{std::string("Image3DKeepConnectedPart : ") + problem});
    };
    ArvoImage3D mask = randomMask({6, 5, 4}, 0.5, 1);
    for (const math::Ivec3& outside : {math::Ivec3(-1, 0, 0), math::Ivec3(0, -1, 0), math::Ivec3(0, 0, -1),
                                       math::Ivec3(6, 0, 0), math::Ivec3(0, 5, 0), math::Ivec3(0, 0, 4)}) {
        Keep atPoint = made(mask, {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::STRAIGHT, {}, outside});
        expectRefusal(atPoint, "the reference point lies outside the volume.");
        // The other strategy does not use the point.
        expectAsDefined(mask, {Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT, 0.5f, outside}, "point outside");
    }
    Keep keep(mask, Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT);
    mask.create({6, 5, 3}, {1, 1, 1}, image::Binary);
    expectRefusal(keep, "the mask has changed its size.");
    mask = ArvoImage3D();
    expectRefusal(keep, "no valid mask.");
    ArvoImage3D wide({6, 5, 4}, {1, 1, 1}, image::Int16);
    Keep keepWide(wide, Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT);
    expectRefusal(keepWide, "no valid mask.");
}

TEST(KeepConnectedPart, KeepsItsResultWhenCopied)
{
    ArvoImage3D mask = randomMask({6, 5, 4}, 0.5, 1);
    Keep keep = made(mask, {Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::DIAGONAL, 0.5f, math::Ivec3(1, 2, 3)});
    keep.execute(notCancelled);
    Keep copy(keep);
    EXPECT_FALSE(copy.isSuccess());
    EXPECT_EQ(copy.takeBinaryOutputImage(), nullptr);
    EXPECT_EQ(copy.getReferencePoint(), math::Ivec3(1, 2, 3));
    copy.execute(notCancelled);
    const auto result = copy.takeBinaryOutputImage();
    EXPECT_TRUE(sameBits(*keep.takeBinaryOutputImage(), *result));
    EXPECT_EQ(keep.takeBinaryOutputImage(), nullptr);
    EXPECT_EQ(Keep(mask, Keep::KEEP_LARGEST_PARTS, Keep::STRAIGHT).getReferencePoint(), math::Ivec3(3, 2, 2));
}

} // namespace
