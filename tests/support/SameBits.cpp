#include "support/SameBits.h"

#include "support/RandomVolume.h"

#include <bit>
#include <cmath>
#include <cstring>

namespace testing_support {

namespace {

template <class T> bool isSame(T expected, T actual)
{
    if constexpr (std::is_same_v<T, float>)
        return sameBits(expected, actual);
    else
        return expected == actual;
}

} // namespace

bool sameBits(float expected, float actual)
{
    return std::bit_cast<std::uint32_t>(expected) == std::bit_cast<std::uint32_t>(actual) ||
           (std::isnan(expected) && std::isnan(actual));
}

testing::AssertionResult sameBits(const ArvoImage3D& expected, const ArvoImage3D& actual)
{
    if (!expected.isValid() || !actual.isValid())
        return testing::AssertionFailure() << "a volume is invalid";
    if (expected.imageSize() != actual.imageSize() || expected.dataType() != actual.dataType())
        return testing::AssertionFailure() << "size or type differs";
    testing::AssertionResult result = testing::AssertionSuccess();
    withType(expected.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        const auto want = voxels<T>(expected);
        const auto got = voxels<T>(actual);
        for (std::size_t i = 0; i < want.size(); ++i) {
            if (isSame(want[i], got[i]))
                continue;
            const auto width = static_cast<std::size_t>(expected.imageSize().x);
            const auto height = static_cast<std::size_t>(expected.imageSize().y);
            result = testing::AssertionFailure()
                     << "voxel (" << i % width << ", " << i / width % height << ", " << i / width / height
                     << ") is " << +got[i] << ", expected " << +want[i];
            return;
        }
    });
    return result;
}

} // namespace testing_support
