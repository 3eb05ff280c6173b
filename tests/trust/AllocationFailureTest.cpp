#include "arvo/platform/image/ArvoImage3D.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"
#include "trust/FailingAllocator.h"
#include "trust/TestNames.h"

#include <new>

using namespace testing_support;
using trust::Call;
using trust::Operation;

namespace {

/// The same numbers for all parameters.
class SameNumbers : public trust::Numbers {
public:
    explicit SameNumbers(int number) : m_number(number) {}

    int whole(int) override { return m_number; }
    float real(float) override { return 1.0f; }
    void reals(std::span<float>) override {}

private:
    int m_number;
};

class AllocationFailure : public testing::TestWithParam<Operation> {
protected:
    void failEveryAllocation(image::DataType first, image::DataType second, trust::Numbers& numbers, int way)
    {
        const Operation& operation = GetParam();
        const bool mayLeaveOutput = operation.has(trust::CREATES) || operation.has(trust::LEAVES_ROWS);
        const bool changesAny = operation.has(trust::CHANGES_A) || operation.has(trust::CHANGES_B);
        const math::Ivec3 size(6, 7, 9);
        const ArvoImage3D a = randomVolume(size, first, 1, Fill::FewValues);
        const ArvoImage3D b = randomVolume(size, second, 2, Fill::FewValues);
        const std::atomic<bool> cancel(false);
        for (int k = 1; k < 2000; ++k) {
            ArvoImage3D changedA = copyOf(a), changedB = copyOf(b);
            Call call{&changedA, &changedB, numbers, cancel, way};
            const Warnings warnings;
            bool isDone = false, hasThrown = false;
            failing_allocator::failAt(k);
            try {
                isDone = operation.run(call);
            } catch (const std::bad_alloc&) {
                hasThrown = true;
            }
            if (!failing_allocator::stop())
                return; // there are fewer than k
            const std::string where = operation.name + ", types " + std::to_string(first) + " and " +
                                      std::to_string(second) + ", allocation " + std::to_string(k);
            EXPECT_TRUE(!hasThrown || operation.has(trust::THROWS)) << "std::bad_alloc left " << where;
            if (isDone && operation.has(trust::ANSWERS))
                continue; // it found another way
            if (warnings.texts().empty() && changesAny && !operation.has(trust::SILENT))
                continue; // done as well: such a call has no answer but its warning
            if (operation.has(trust::TAKES_TWO) || !mayLeaveOutput) {
                EXPECT_TRUE(sameBits(a, changedA)) << where;
            }
            if (!mayLeaveOutput) {
                EXPECT_TRUE(sameBits(b, changedB)) << where;
            }
            if (HasFailure())
                return;
        }
        ADD_FAILURE() << operation.name << " allocates without end";
    }
};

TEST_P(AllocationFailure, IsAFailedCall)
{
    const image::DataType types[] = {image::Int16, image::UInt8, image::Binary, image::Float32};
    for (const image::DataType first : types) {
        for (const image::DataType second : types) {
            for (int way = 0; way < GetParam().ways; ++way) {
                trust::SoundNumbers numbers;
                failEveryAllocation(first, second, numbers, way);
            }
            for (const int number : {0, 1, 2}) {
                SameNumbers numbers(number);
                failEveryAllocation(first, second, numbers, 0);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, AllocationFailure, testing::ValuesIn(trust::allOperations()),
                         trust::testNameOf);

} // namespace
