#include "arvo/geometry/GuardedRegion.h"

#include "arvo/platform/math/Plane.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace geometry {

namespace {

/// The error of a chain of k float operations is below k * 2^-24 of the sum of the absolute values of its terms, plus
/// 2^-150 for each product that underflows. The longest chain here has 11 operations on a path; 32 leaves room for the
/// second-order terms and for the rounding of the doubles.
constexpr double RELATIVE_GUARD = 32.0 / (1 << 24);
constexpr double UNDERFLOW_GUARD = 0x1p-140;

/// Below this no intermediate sum of the float test overflows.
constexpr double LARGEST_SUM = 1e38;

constexpr double INFINITE = std::numeric_limits<double>::infinity();

/// Whether map() yields the bare linear combination, without a division by a fourth coordinate.
bool isAffine(const QMatrix4x4& matrix)
{
    return matrix(3, 0) == 0.0f && matrix(3, 1) == 0.0f && matrix(3, 2) == 0.0f && matrix(3, 3) == 1.0f;
}

/// One component of matrix.map(): its coefficients, and the sum of the absolute values of its terms.
struct Component {
    std::array<double, 3> slope;
    double constant;

    Component(const QMatrix4x4& matrix, int axis)
        : slope{static_cast<double>(matrix(axis, 0)), static_cast<double>(matrix(axis, 1)),
                static_cast<double>(matrix(axis, 2))},
          constant(static_cast<double>(matrix(axis, 3)))
    {
    }

    double largestSum(const std::array<double, 3>& extent) const
    {
        return std::abs(slope[0]) * extent[0] + std::abs(slope[1]) * extent[1] +
               std::abs(slope[2]) * extent[2] + std::abs(constant);
    }
};

/// The integers of [0, count] next to a bound; the bound may be infinite, not NaN.
std::ptrdiff_t firstFrom(double bound, double count)
{
    const double clamped = std::clamp(bound, 0.0, count);
    const auto below = static_cast<std::ptrdiff_t>(clamped);
    return below + (static_cast<double>(below) < clamped);
}

std::ptrdiff_t endAfter(double bound, double count)
{
    return bound < 0.0 ? 0 : static_cast<std::ptrdiff_t>(std::min(bound, count - 1.0)) + 1;
}

} // namespace

GuardedRegion::GuardedRegion(const math::Ivec3& size)
    : m_size{static_cast<double>(size.x), static_cast<double>(size.y), static_cast<double>(size.z)}
{
}

void GuardedRegion::add(double constant, const std::array<double, 3>& slope, double guard)
{
    m_conditions.push_back({constant, slope, guard, 1.0 / std::abs(slope[0])});
}

void GuardedRegion::addRange(const QMatrix4x4& matrix, int axis, float low, float high)
{
    const Component q(matrix, axis);
    const double sum = q.largestSum(m_size);
    if (!isAffine(matrix) || !(sum < LARGEST_SUM) || std::isnan(low) || std::isnan(high)) {
        m_isSureKnown = false;
        return;
    }
    const double guard = RELATIVE_GUARD * sum + UNDERFLOW_GUARD;
    add(q.constant - static_cast<double>(low), q.slope, guard);
    add(static_cast<double>(high) - q.constant, {-q.slope[0], -q.slope[1], -q.slope[2]}, guard);
}

void GuardedRegion::addHalfSpace(const primitives::Plane& plane, const QMatrix4x4& matrix,
                                 const QVector3D& voxelSize)
{
    const std::array<double, 3> spacing = {static_cast<double>(voxelSize.x()),
                                           static_cast<double>(voxelSize.y()),
                                           static_cast<double>(voxelSize.z())};
    std::array<double, 3> extent; // bounds of the centres' coordinates
    for (std::size_t j = 0; j < 3; ++j)
        extent[j] = (m_size[j] + 1.0) * std::abs(spacing[j]);

    double constant = 0.0;
    std::array<double, 3> slope = {};
    double sum = 0.0;
    double underflow = 1.0;
    bool isBounded = isAffine(matrix);
    for (int axis = 0; axis < 3; ++axis) {
        const Component q(matrix, axis);
        const auto point = static_cast<double>(plane.point()[axis]);
        const auto normal = static_cast<double>(plane.normal()[axis]);
        const double largest = q.largestSum(extent) + std::abs(point);
        isBounded = isBounded && largest < LARGEST_SUM;
        sum += std::abs(normal) * largest;
        underflow +=
            std::abs(normal) * (1.0 + std::abs(q.slope[0]) + std::abs(q.slope[1]) + std::abs(q.slope[2]));
        constant += normal * (q.constant - point);
        for (std::size_t j = 0; j < 3; ++j) {
            constant += normal * q.slope[j] * spacing[j] / 2.0;
            slope[j] += normal * q.slope[j] * spacing[j];
        }
    }
    isBounded = isBounded && sum < LARGEST_SUM && underflow < LARGEST_SUM &&
                *std::ranges::max_element(extent) < LARGEST_SUM;
    if (!isBounded) {
        m_isSureKnown = false;
        return;
    }
    add(constant, slope, RELATIVE_GUARD * sum + UNDERFLOW_GUARD * underflow);
}

RowSpans GuardedRegion::spansOf(std::ptrdiff_t y, std::ptrdiff_t z) const
{
    double sureLow = m_isSureKnown ? 0.0 : INFINITE;
    double sureHigh = m_size[0];
    double maybeLow = 0.0;
    double maybeHigh = m_size[0];
    for (const Condition& condition : m_conditions) {
        const double atStart = condition.constant + condition.slope[1] * static_cast<double>(y) +
                               condition.slope[2] * static_cast<double>(z);
        // Infinite where the condition has no slope: it holds, or does not, on the whole row.
        const double sure = (condition.guard - atStart) * condition.perSlopeX;
        const double maybe = (-condition.guard - atStart) * condition.perSlopeX;
        if (condition.slope[0] >= 0.0) {
            sureLow = std::max(sureLow, sure);
            maybeLow = std::max(maybeLow, maybe);
        } else {
            sureHigh = std::min(sureHigh, -sure);
            maybeHigh = std::min(maybeHigh, -maybe);
        }
    }
    const double count = m_size[0];
    RowSpans spans;
    spans.maybeFirst = firstFrom(maybeLow, count);
    spans.maybeEnd = std::max(endAfter(maybeHigh, count), spans.maybeFirst);
    spans.sureFirst = std::clamp(firstFrom(sureLow, count), spans.maybeFirst, spans.maybeEnd);
    spans.sureEnd = std::clamp(endAfter(sureHigh, count), spans.sureFirst, spans.maybeEnd);
    return spans;
}

} // namespace geometry
