#pragma once

namespace math {

/// A closed interval: first = minimum, second = maximum.
template <class T> struct Range {
    /// Minimum and maximum; the maximum belongs to the interval.
    /// @{
    T first{};
    T second{};
    /// @}

    constexpr Range() = default;
    /// Stored as given.
    constexpr Range(T minimum, T maximum) : first(minimum), second(maximum) {}

    /// Whether both ends are equal.
    friend constexpr bool operator==(const Range&, const Range&) = default;
};

} // namespace math
