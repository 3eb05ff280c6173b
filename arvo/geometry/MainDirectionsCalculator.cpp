#include "arvo/geometry/MainDirectionsCalculator.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/geometry/VoxelsAboveThreshold.h"
#include "arvo/platform/image/VoxelBlock.h"
#include "arvo/platform/math/SingularValueDecomp.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

namespace {

using Vector = std::array<float, 3>;

struct Axes {
    Vector first;
    Vector second;
};

/// A singular value this much smaller than the largest is rounding, not spread.
constexpr double SMALLEST_RATIO = 1e-12;

/// The right singular vectors of the two largest singular values, of equal ones that of the lower index first; none
/// when fewer than two values are positive.
std::optional<Axes> twoLargestAxes(const double* w, const double* v)
{
    const double least = SMALLEST_RATIO * std::max({w[0], w[1], w[2]});
    int first = -1;
    int second = -1;
    for (int k = 0; k < 3; ++k) {
        if (!(w[k] > 0.0) || w[k] < least)
            continue;
        if (first < 0 || w[k] > w[first]) {
            second = first;
            first = k;
        } else if (second < 0 || w[k] > w[second]) {
            second = k;
        }
    }
    if (second < 0)
        return std::nullopt;
    const auto column = [v](int k) {
        return Vector{static_cast<float>(v[k]), static_cast<float>(v[3 + k]), static_cast<float>(v[6 + k])};
    };
    return Axes{column(first), column(second)};
}

/// The axes of `rowCount` positions; none when the decomposition fails or finds no two axes.
std::optional<Axes> axesOf(double* positions, int rowCount)
{
    SingularValueDecomp svd(rowCount, 3, 0);
    double* ownMatrix = std::exchange(svd.a, positions);
    svd.svdcmp();
    svd.a = ownMatrix;
    return svd.success ? twoLargestAxes(svd.w, svd.v) : std::nullopt;
}

Vector crossProduct(const Vector& a, const Vector& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// Scales the vector to length 1, unless it has that length already or next to none.
Vector normalised(Vector v)
{
    constexpr float tolerance = 1e-5f;
    const float length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    if (std::abs(length - 1.0f) > tolerance && std::abs(length) > tolerance) {
        for (float& component : v)
            component /= length;
    }
    return v;
}

} // namespace

MainDirectionsCalculator::MainDirectionsCalculator() = default;
MainDirectionsCalculator::MainDirectionsCalculator(const MainDirectionsCalculator&) = default;
MainDirectionsCalculator& MainDirectionsCalculator::operator=(const MainDirectionsCalculator&) = default;
MainDirectionsCalculator::~MainDirectionsCalculator() = default;

bool MainDirectionsCalculator::execute()
try {
    if (!frame::isUsable(m_image))
        return frame::refuse("MainDirectionsCalculator : no valid image.");
    if (!image::isOneOf(m_image->dataType(), geometry::ThresholdTypes{}))
        return false;
    const geometry::IndexSums sums = geometry::sumIndicesAbove(*m_image, m_threshold);
    if (sums.count == 0)
        return frame::refuse("There are no voxels in the image. Main axis cannot be calculated");

    // More rows than the decomposition can count are as good as no memory for them.
    image::VoxelBlock positions;
    if (sums.count <= std::numeric_limits<int>::max())
        positions = image::VoxelBlock::allocate(static_cast<std::size_t>(sums.count) * 3 * sizeof(double));
    if (!positions)
        return frame::refuse("Failed to allocate memory for svd");
    const Vector centre = geometry::massCentreOf(sums, *m_image);
    auto* rows = reinterpret_cast<double*>(positions.data());
    geometry::listCentredPositions(*m_image, m_threshold, centre, rows);

    const std::optional<Axes> axes = axesOf(rows, static_cast<int>(sums.count));
    if (!axes)
        return false;
    m_massCenter = centre;
    m_direction0 = normalised(axes->first);
    m_direction1 = normalised(axes->second);
    m_direction2 = normalised(crossProduct(axes->first, axes->second));
    return true;
} catch (const std::bad_alloc&) {
    return frame::refuse("Failed to allocate memory for svd");
}
