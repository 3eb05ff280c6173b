#pragma once

#include "support/RandomVolume.h"

#include <cmath>
#include <limits>

namespace testing_support {

/// A component of a position or a direction: mostly within the scale, often 0 or a whole number, sometimes absurd.
inline float component(Random& random, float scale)
{
    constexpr float absurd[] = {1e9f, -1e9f, 3e38f, std::numeric_limits<float>::infinity(),
                                std::numeric_limits<float>::quiet_NaN()};
    const float any = std::uniform_real_distribution<float>(-scale, scale)(random);
    switch (random() % 16) {
    case 0:
    case 1:
    case 2:
        return 0.0f;
    case 3:
    case 4:
        return std::round(any);
    case 5:
        return random() % 4 == 0 ? absurd[random() % 5] : -0.0f;
    default:
        return any;
    }
}

} // namespace testing_support
