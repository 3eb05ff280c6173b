#pragma once

#include "arvo/platform/math/Ivec3.h"

#include <QMatrix4x4>
#include <QVector3D>

#include <array>
#include <cstddef>
#include <vector>

namespace primitives {
class Plane;
}

namespace geometry {

/// What is known of a row of voxels without testing them: those of [sureFirst, sureEnd) lie inside the region, those
/// outside of [maybeFirst, maybeEnd) do not, and only the test itself can tell of the rest.
/// maybeFirst <= sureFirst <= sureEnd <= maybeEnd.
struct RowSpans {
    std::ptrdiff_t maybeFirst;
    std::ptrdiff_t sureFirst;
    std::ptrdiff_t sureEnd;
    std::ptrdiff_t maybeEnd;
};

/// A convex region of voxel indices, known row by row up to the rounding of a float test.
///
/// The test that decides about a voxel runs in single precision, and its verdict is binding to the last bit. Along a
/// row each of its comparisons is linear in x but for rounding. The region keeps that linear function in double with a
/// guard, a bound of the float test's rounding error. Where the function is farther from 0 than the guard, the test
/// cannot but agree with its sign; what lies closer is left to the test. Comparisons that are not linear (perspective)
/// or not bounded (overflow, NaN) are left to the test everywhere.
class GuardedRegion {
public:
    /// All voxels of a volume of that size, until conditions are added.
    explicit GuardedRegion(const math::Ivec3& size);

    /// Adds low <= q <= high, with q the component `axis` of matrix.map(index), indices as floats.
    void addRange(const QMatrix4x4& matrix, int axis, float low, float high);

    /// Adds plane.isInHalfSpace(matrix.map(centre)), centre = index * voxelSize + voxelSize / 2 in float.
    void addHalfSpace(const primitives::Plane& plane, const QMatrix4x4& matrix, const QVector3D& voxelSize);

    RowSpans spansOf(std::ptrdiff_t y, std::ptrdiff_t z) const;

private:
    /// constant + slope * index > 0, give or take the guard.
    struct Condition {
        double constant;
        std::array<double, 3> slope;
        double guard;
        double perSlopeX; ///< 1 / |slope[0]|, infinite for a slope of 0
    };

    void add(double constant, const std::array<double, 3>& slope, double guard);

    std::array<double, 3> m_size;
    std::vector<Condition> m_conditions;
    bool m_isSureKnown = true;
};

/// Calls fill(first, end) for the runs of a row's voxels inside the region; isInside(x) is asked where it must decide.
template <class IsInside, class Fill>
void forEachInside(const RowSpans& spans, const IsInside& isInside, const Fill& fill)
{
    const auto test = [&](std::ptrdiff_t first, std::ptrdiff_t end) {
        for (std::ptrdiff_t x = first; x < end; ++x) {
            if (isInside(x))
                fill(x, x + 1);
        }
    };
    test(spans.maybeFirst, spans.sureFirst);
    if (spans.sureFirst < spans.sureEnd)
        fill(spans.sureFirst, spans.sureEnd);
    test(spans.sureEnd, spans.maybeEnd);
}

} // namespace geometry
