#include "support/RandomVolume.h"
#include "trust/CallJudge.h"
#include "trust/TestNames.h"

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

struct Number {
    int i;
    float f;
};

constexpr Number HOSTILE_NUMBERS[] = {{2, 1.0f},
                                      {0, 0.0f},
                                      {1, -1.0f},
                                      {-1, std::numeric_limits<float>::quiet_NaN()},
                                      {3, 0.5f},
                                      {6, std::numeric_limits<float>::infinity()},
                                      {300, -std::numeric_limits<float>::infinity()},
                                      {std::numeric_limits<int>::max(), std::numeric_limits<float>::max()},
                                      {std::numeric_limits<int>::min(), std::numeric_limits<float>::lowest()},
                                      {100000, std::numeric_limits<float>::denorm_min()},
                                      {-300, 1e10f},
                                      {4, 7.25f}};

constexpr int ALL = -1;

/// A hostile number for all parameters of a call, or for one alone.
class HostileNumbers : public trust::Numbers {
public:
    HostileNumbers(const Number& number, int parameter) : m_number(number), m_parameter(parameter) {}

    int whole(int sound) override { return isHostile() ? m_number.i : sound; }
    float real(float sound) override { return isHostile() ? m_number.f : sound; }
    void reals(std::span<float> sound) override
    {
        if (isHostile())
            std::ranges::fill(sound.first(3), m_number.f);
    }
    /// How many the call has asked for.
    int parameters() const { return m_asked; }

private:
    bool isHostile() { return m_parameter == m_asked++ || m_parameter == ALL; }

    Number m_number;
    int m_parameter;
    int m_asked = 0;
};

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

void expectPromisesKept(const Operation& operation, Input& a, Input& b, trust::Numbers& numbers, int way,
                        bool isCancelled, const std::string& what)
{
    const Snapshot first(a.volume.get()), second(b.volume.get());
    const std::atomic<bool> cancel(isCancelled);
    Call call{a.volume.get(), b.volume.get(), numbers, cancel, way};
    EXPECT_EQ("", trust::brokenPromise(operation, call, 0))
        << operation.name << " (" << a.name << "; " << b.name << "; " << what << "; way " << way << ")";
    restore(a, first);
    restore(b, second);
}

void callWithSoundNumbers(const Operation& operation, Input& a, Input& b, int ways)
{
    trust::SoundNumbers numbers;
    for (int way = 0; way < ways; ++way)
        expectPromisesKept(operation, a, b, numbers, way, false, "sound numbers");
}

/// Every number for all parameters, cancelled once, and, where nothing else is wrong, for each parameter alone.
void callWithHostileNumbers(const Operation& operation, Input& a, Input& b, bool alsoOneByOne)
{
    for (const Number& number : HOSTILE_NUMBERS) {
        const auto call = [&](int parameter) {
            HostileNumbers numbers(number, parameter);
            const std::string what = std::to_string(number.i) + " and " + std::to_string(number.f) +
                                     " for parameter " + std::to_string(parameter);
            expectPromisesKept(operation, a, b, numbers, 0, number.i == 4 && parameter == ALL, what);
            return numbers.parameters();
        };
        const int parameters = call(ALL);
        for (int parameter = 0; alsoOneByOne && parameters > 1 && parameter < parameters; ++parameter)
            call(parameter);
    }
}

class HostileCalls : public testing::TestWithParam<Operation> {};

/// Two of every kind of volume meet, with sound numbers; then every number meets the pairs of equal size and the pairs
/// with one that is not usable.
TEST_P(HostileCalls, NeitherCrashNorTouchWhatTheyMustNot)
{
    const Operation& operation = GetParam();
    const bool takesTwo = operation.has(trust::TAKES_TWO);
    std::vector<Input> first = hostileVolumes();
    std::vector<Input> second = hostileVolumes();
    for (Input& a : first) {
        for (Input& b : std::span(second).first(takesTwo ? second.size() : 1)) {
            const bool areUsable = a.isUsable() && (b.isUsable() || !takesTwo);
            const bool areOfOneSize =
                areUsable && (!takesTwo || a.volume->imageSize() == b.volume->imageSize());
            callWithSoundNumbers(operation, a, b, areOfOneSize ? operation.ways : 1);
            if (!areUsable || areOfOneSize)
                callWithHostileNumbers(operation, a, b, areOfOneSize);
            if (HasFailure())
                return;
        }
    }
}

/// One volume as input and output, for the operations that take two.
TEST_P(HostileCalls, TakeOneVolumeAsBoth)
{
    const Operation& operation = GetParam();
    if (!operation.has(trust::TAKES_TWO))
        return;
    std::vector<Input> inputs = hostileVolumes();
    for (Input& input : inputs) {
        callWithSoundNumbers(operation, input, input, 1);
        callWithHostileNumbers(operation, input, input, false);
        if (HasFailure())
            return;
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, HostileCalls, testing::ValuesIn(trust::allOperations()),
                         trust::testNameOf);

} // namespace
