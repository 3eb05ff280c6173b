#include "arvo/platform/utility/BlockStore.h"
#include "arvo/platform/utility/PageStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

namespace {

template <class T> class MemoryOrder : public testing::Test {
};
using Elements = testing::Types<std::uint8_t, std::uint16_t, float>;
TYPED_TEST_SUITE(MemoryOrder, Elements);

TYPED_TEST(MemoryOrder, PiecesCoverEveryElementOnce)
{
    constexpr std::ptrdiff_t BLOCK = 8 * 4096 / sizeof(TypeParam);
    for (const std::ptrdiff_t count :
         {std::ptrdiff_t(0), std::ptrdiff_t(1), BLOCK - 1, BLOCK, 3 * BLOCK + 77}) {
        std::vector<int> visits(static_cast<std::size_t>(count));
        utility::forEachPiece<sizeof(TypeParam)>(count, [&](std::ptrdiff_t begin, std::ptrdiff_t end) {
            std::for_each(visits.begin() + begin, visits.begin() + end, [](int& visit) { ++visit; });
        });
        EXPECT_EQ(std::count(visits.begin(), visits.end(), 1), count);
    }
}

TYPED_TEST(MemoryOrder, BlocksStoreEveryResultAndNothingBeyond)
{
    std::vector<TypeParam> in(1000);
    std::iota(in.begin(), in.end(), TypeParam(1));
    for (std::ptrdiff_t count = 0; count < 600; ++count) {
        std::vector<TypeParam> out(in.size(), TypeParam(99));
        std::vector<TypeParam> expected = out;
        std::copy_n(in.begin(), count, expected.begin());
        utility::storeInBlocks(out.data(), count,
                               [&](std::ptrdiff_t i) { return in[static_cast<std::size_t>(i)]; });
        ASSERT_EQ(out, expected) << count;
    }
}

} // namespace
