#pragma once

namespace math {

/// A closed interval: first = minimum, second = maximum.
template <class T> struct Range {
    T first{};
    T second{};

    constexpr Range() = default;
    constexpr Range(T minimum, T maximum) : first(minimum), second(maximum) {}

    friend constexpr bool operator==(const Range&, const Range&) = default;
};

} // namespace math
