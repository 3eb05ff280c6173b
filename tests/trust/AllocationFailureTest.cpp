#include "arvo/platform/image/ArvoImage3D.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"
#include "trust/FailingAllocator.h"
#include "trust/Operations.h"

#include <algorithm>
#include <array>
#include <new>

using namespace testing_support;
using trust::Call;
using trust::Operation;

namespace {

/// Operations whose documentation leaves something of a run without memory: a volume that is made anew, the blocks or
/// rows done so far.
bool mayLeaveOutput(const Operation& operation)
{
    const std::array names = {"ArvoImageConeBeamNoiseEraser", "Gaussian", "dilate", "erode, ", "labelImage"};
    return (operation.changes & trust::CREATES) != 0 ||
           std::ranges::any_of(names, [&](const char* name) { return operation.name.starts_with(name); });
}

class AllocationFailure : public testing::TestWithParam<Operation> {
protected:
    void failEveryAllocation(image::DataType first, image::DataType second, int number)
    {
        const Operation& operation = GetParam();
        const math::Ivec3 size(6, 7, 9);
        const ArvoImage3D a = randomVolume(size, first, 1, Fill::FewValues);
        const ArvoImage3D b = randomVolume(size, second, 2, Fill::FewValues);
        const std::atomic<bool> cancel(false);
        for (int k = 1; k < 2000; ++k) {
            ArvoImage3D changedA = copyOf(a), changedB = copyOf(b);
            Call call{&changedA, &changedB, number, 1.0f, cancel};
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
            EXPECT_FALSE(hasThrown) << "std::bad_alloc left " << where;
            if (isDone && operation.canAnswer)
                continue; // it found another way
            if (warnings.texts().empty() && operation.changes != trust::NOTHING && !operation.isSilent)
                continue; // done as well: such a call has no answer but its warning
            if (operation.inputs > 1 || !mayLeaveOutput(operation)) {
                EXPECT_TRUE(sameBits(a, changedA)) << where;
            }
            if (!mayLeaveOutput(operation)) {
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
            for (const int number : {0, 1, 2})
                failEveryAllocation(first, second, number);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, AllocationFailure, testing::ValuesIn(trust::allOperations()),
                         trust::testNameOf);

} // namespace
