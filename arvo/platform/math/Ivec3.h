#pragma once

namespace math {

/// Three integers: a size or a position in voxels.
struct Ivec3 {
    /// The components, 0 unless given.
    /// @{
    int x = 0;
    int y = 0;
    int z = 0;
    /// @}

    constexpr Ivec3() = default;
    /// From three components.
    constexpr Ivec3(int xValue, int yValue, int zValue) : x(xValue), y(yValue), z(zValue) {}

    /// Component 0, 1 or 2; any other index is a bug of the caller.
    /// @{
    constexpr int& operator[](int axis) { return axis == 0 ? x : axis == 1 ? y : z; }
    constexpr const int& operator[](int axis) const { return axis == 0 ? x : axis == 1 ? y : z; }
    /// @}

    /// Whether all three components are equal.
    friend constexpr bool operator==(const Ivec3&, const Ivec3&) = default;
};

} // namespace math
