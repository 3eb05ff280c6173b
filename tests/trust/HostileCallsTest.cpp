#include "arvo/platform/threading/ThreadCount.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"
#include "trust/Operations.h"

#include <algorithm>
#include <limits>
#include <set>

using namespace testing_support;
using trust::Call;
using trust::Operation;

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

struct Snapshot {
    math::Ivec3 size;
    int type = 0;
    bool isValid = false;
    std::vector<char> bytes;

    explicit Snapshot(const ArvoImage3D* image)
    {
        if (!image)
            return;
        size = image->imageSize();
        type = image->dataType();
        isValid = image->isValid();
        if (isValid)
            bytes.assign(image->dataPtr(),
                         image->dataPtr() + image->sizeOfAxialSlice() * static_cast<std::size_t>(size.z));
    }
    bool operator==(const Snapshot&) const = default;
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

class Judge {
public:
    Judge(const Operation& operation, Input& a, Input& b, const Numbers& numbers)
        : m_operation(operation),
          m_a(a),
          m_b(b),
          m_numbers(numbers)
    {
    }

    void judge(const std::atomic<bool>& cancel)
    {
        const Snapshot a(m_a.volume.get()), b(m_b.volume.get());
        Call call{m_a.volume.get(), m_b.volume.get(), m_numbers.i, m_numbers.f, cancel};
        const bool isMissing =
            lacks(m_a, trust::FIRST) || (m_operation.inputs > 1 && lacks(m_b, trust::SECOND));
        threading::setThreadLimit(isMissing ? 1 : 0); // some warn once for each worker
        const Warnings warnings;
        bool isDone = false;
        try {
            isDone = m_operation.run(call);
        } catch (...) {
            ADD_FAILURE() << "an exception escaped: " << describeCall();
        }
        const std::vector<std::string> texts = warnings.texts();
        const std::set<std::string> distinct(texts.begin(), texts.end());
        EXPECT_LE(static_cast<int>(distinct.size()), m_operation.warnings) << describeCall();
        if (isMissing && !m_operation.isSilent) {
            EXPECT_EQ(texts.size(), distinct.empty() ? 1 : distinct.size()) << describeCall();
        }
        if (m_operation.canAnswer && (isMissing || !texts.empty())) {
            EXPECT_FALSE(isDone) << describeCall() << (texts.empty() ? "" : texts.front());
        }

        const bool mayChange = texts.empty();
        const bool isSame = m_a.volume == m_b.volume;
        expectKept(m_a, a, mayChange && (m_operation.changes & (isSame ? 3 : trust::FIRST)) != 0);
        expectKept(m_b, b, mayChange && (m_operation.changes & trust::SECOND) != 0);
    }

private:
    bool lacks(const Input& input, trust::Changes which) const
    {
        const int creates = which | trust::CREATES;
        return (m_operation.changes & creates) == creates ? !input.volume : !input.isUsable();
    }

    std::string describeCall() const
    {
        return m_operation.name + " (" + m_a.name + "; " + m_b.name + "; " + std::to_string(m_numbers.i) +
               "; " + std::to_string(m_numbers.f) + ") ";
    }

    /// Puts the volume back, and complains if it was not to be changed.
    void expectKept(Input& input, const Snapshot& before, bool mayChange)
    {
        const Snapshot after(input.volume.get());
        if (after == before)
            return;
        EXPECT_TRUE(mayChange) << "changed: " << input.name << " by " << describeCall();
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

    const Operation& m_operation;
    Input& m_a;
    Input& m_b;
    const Numbers& m_numbers;
};

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
                    Judge(operation, a, b, n).judge(std::atomic<bool>(!isSound && n.i == 4));
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
            Judge(operation, input, input, n).judge(std::atomic<bool>(false));
            if (HasFailure())
                return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, HostileCalls, testing::ValuesIn(trust::allOperations()),
                         trust::testNameOf);

} // namespace
