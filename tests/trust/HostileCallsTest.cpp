#include "support/RandomVolume.h"
#include "trust/CallJudge.h"

#include <algorithm>
#include <array>
#include <limits>

using namespace testing_support;
using trust::Call;
using trust::Operation;
using trust::Snapshot;

namespace {

/// A volume to hand in, and what it looked like before.
struct Input {
    std::string name;
    std::unique_ptr<ArvoImage3D> volume; // null: a null pointer is handed in

    explicit Input(std::string text) : name(std::move(text)) {}
    Input(std::string text, ArvoImage3D&& image)
        : name(std::move(text)),
          volume(std::make_unique<ArvoImage3D>(std::move(image)))
    {
    }

    bool isUsable() const { return volume && volume->isValid(); }
};

std::vector<Input> hostileVolumes()
{
    std::vector<Input> inputs;
    inputs.emplace_back("null");
    inputs.emplace_back("invalid", ArvoImage3D());
    for (int type = -1; type <= 7; ++type) {
        ArvoImage3D image(math::Ivec3(5, 4, 6), {1.0f, 0.5f, 2.0f}, static_cast<image::DataType>(type));
        if (image.isValid())
            image = randomVolume(image.imageSize(), image.dataType(), 3, Fill::Extremes);
        inputs.emplace_back("type " + std::to_string(type), std::move(image));
    }
    inputs.emplace_back("mask", randomMask(math::Ivec3(5, 4, 6), 0.4, 1));
    const math::Ivec3 sizes[] = {{0, 4, 6}, {5, 0, 6}, {5, 4, 0}, {0, 0, 0}, {1, 1, 1}, {1, 4, 6},
                                 {5, 1, 6}, {5, 4, 1}, {2, 2, 2}, {3, 3, 3}, {7, 6, 8}, {4, 5, 6}};
    for (const math::Ivec3& size : sizes) {
        for (const image::DataType type : {image::Int16, image::Binary, image::Float32})
            inputs.emplace_back(describe(size, type, 2), randomVolume(size, type, 2, Fill::Extremes));
    }
    ArvoImage3D nowhere = randomVolume(math::Ivec3(5, 4, 6), image::Int16, 4);
    ArvoImage3D copy(nowhere.imageSize(), {0.0f, std::numeric_limits<float>::quiet_NaN(), -1.0f},
                     image::Int16);
    copy.copyIn(&nowhere, std::array{0, 0, 0}.data());
    inputs.emplace_back("voxel sizes 0, NaN and -1", std::move(copy));
    return inputs;
}

struct Numbers {
    int i;
    float f;
};

std::vector<Numbers> hostileNumbers()
{
    using F = std::numeric_limits<float>;
    using I = std::numeric_limits<int>;
    return {{2, 1.0f},
            {0, 0.0f},
            {1, -1.0f},
            {-1, F::quiet_NaN()},
            {3, 0.5f},
            {6, F::infinity()},
            {300, -F::infinity()},
            {I::max(), F::max()},
            {I::min(), F::lowest()},
            {100000, F::denorm_min()},
            {-300, 1e10f},
            {4, 7.25f}};
}

/// Puts a volume back to what it was.
void restore(Input& input, const Snapshot& before)
{
    const Snapshot after(input.volume.get());
    if (after == before)
        return;
    ArvoImage3D& volume = *input.volume;
    if (!before.isValid) {
        volume = ArvoImage3D();
        return;
    }
    if (!after.isValid || after.size != before.size || after.type != before.type)
        volume.create(before.size, volume.voxelSize(), static_cast<image::DataType>(before.type));
    std::ranges::copy(before.bytes, volume.dataPtr());
    volume.editFinished();
}

void expectPromisesKept(const Operation& operation, Input& a, Input& b, const Numbers& numbers,
                        bool isCancelled)
{
    const Snapshot first(a.volume.get()), second(b.volume.get());
    const std::atomic<bool> cancel(isCancelled);
    Call call{a.volume.get(), b.volume.get(), numbers.i, numbers.f, cancel};
    EXPECT_EQ("", trust::brokenPromise(operation, call, 0))
        << operation.name << " (" << a.name << "; " << b.name << "; " << numbers.i << "; " << numbers.f
        << ")";
    restore(a, first);
    restore(b, second);
}

class HostileCalls : public testing::TestWithParam<Operation> {};

/// Two of every kind of volume meet, with sound numbers; then every number meets the pairs of equal size and the pairs
/// with one that is not usable.
TEST_P(HostileCalls, NeitherCrashNorTouchWhatTheyMustNot)
{
    const Operation& operation = GetParam();
    std::vector<Input> first = hostileVolumes();
    std::vector<Input> second = hostileVolumes();
    const std::vector<Numbers> numbers = hostileNumbers();
    const std::size_t seconds = operation.inputs > 1 ? second.size() : 1;
    for (Input& a : first) {
        for (std::size_t k = 0; k < seconds; ++k) {
            Input& b = second[k];
            const bool isPlainPair =
                a.isUsable() && b.isUsable() && a.volume->imageSize() != b.volume->imageSize();
            for (const Numbers& n : numbers) {
                const bool isSound = &n == &numbers.front();
                if (isSound || !isPlainPair)
                    expectPromisesKept(operation, a, b, n, !isSound && n.i == 4);
                if (HasFailure())
                    return;
            }
        }
    }
}

/// One volume as input and output, for the operations that take two.
TEST_P(HostileCalls, TakeOneVolumeAsBoth)
{
    const Operation& operation = GetParam();
    if (operation.inputs < 2)
        return;
    std::vector<Input> inputs = hostileVolumes();
    for (Input& input : inputs) {
        for (const Numbers& n : hostileNumbers()) {
            expectPromisesKept(operation, input, input, n, false);
            if (HasFailure())
                return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, HostileCalls, testing::ValuesIn(trust::allOperations()),
                         trust::testNameOf);

} // namespace
