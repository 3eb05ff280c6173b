#include "arvo/reslice/RayBlock.h"

#include "arvo/platform/math/BoundingBox.h"
#include "arvo/platform/math/RayBoxIntersection.h"

#include <QVector3D>

#include <algorithm>
#include <cmath>
#include <limits>

namespace reslice {

namespace {

/// A single-precision parameter stops advancing by 1 here, and the samples have to be counted.
constexpr float STUCK = 16777216.0f;

/// The box in which every sample has its upper neighbours.
primitives::BoundingBox boxOf(const ArvoImage3D& volume)
{
    const math::Ivec3 size = volume.imageSize();
    return primitives::BoundingBox(0.0f, 0.0f, 0.0f, static_cast<float>(size.x) - 1.1f,
                                   static_cast<float>(size.y) - 1.1f, static_cast<float>(size.z) - 1.1f);
}

/// Number of samples at start, start + 1, ... up to the end. Below STUCK the parameter itself ends the ray; its sums
/// are rounded then, by less than 1 altogether, which may take one sample more.
std::int32_t sampleLimit(float start, float end, RayEnd rayEnd)
{
    const double span = static_cast<double>(end) - static_cast<double>(start);
    const double counted = rayEnd == RayEnd::Before ? std::ceil(span) : std::floor(span) + 1.0;
    const bool isExact = std::abs(start) >= STUCK || std::abs(end) >= STUCK;
    const double limit = isExact ? counted : counted + 1.0;
    return static_cast<std::int32_t>(
        std::clamp(limit, 0.0, static_cast<double>(std::numeric_limits<std::int32_t>::max())));
}

float raisedToZero(float value)
{
    return value < 0.0f ? 0.0f : value;
}

} // namespace

RayBlock::RayBlock(const ProjectionBand& band, int column, int row, RayEnd rayEnd)
    : position{},
      step{},
      t{},
      start{},
      end{},
      limit{},
      active{},
      hasSlab{}
{
    for (int i = 0; i < COUNT; ++i) {
        const int c = column + i % COLUMNS;
        const int r = row + i / COLUMNS;
        if (c >= band.width || r >= band.rows)
            continue;
        aim(i, band, c, r, rayEnd);
        isAnyActive = isAnyActive || active[i];
    }
}

void RayBlock::aim(int i, const ProjectionBand& band, int column, int row, RayEnd rayEnd)
{
    const QVector3D base(band.base(column, row, 0), band.base(column, row, 1), band.base(column, row, 2));
    const float* direction = band.raySteps + 3 * std::ptrdiff_t{column};
    float t0 = 0.0f;
    float t1 = 0.0f;
    if (!primitives::RayBoxIntersection::calculateIntersections(
            boxOf(band.volume), base, QVector3D(direction[0], direction[1], direction[2]), t0, t1))
        return;
    const float half = static_cast<float>(band.stepCount) * 0.5f;
    const float first = std::max(t0, -half);
    const float last = std::min(t1, half);
    if (!(last > first))
        return;
    hasSlab[i] = 1;
    start[i] = t[i] = first;
    end[i] = rayEnd == RayEnd::OneBefore ? last - 1.0f : last;
    limit[i] = sampleLimit(first, end[i], rayEnd);
    active[i] = rayEnd == RayEnd::Before ? first < end[i] : first <= end[i];
    position.x[i] = raisedToZero(base.x() + first * direction[0]);
    position.y[i] = raisedToZero(base.y() + first * direction[1]);
    position.z[i] = raisedToZero(base.z() + first * direction[2]);
    step.x[i] = direction[0];
    step.y[i] = direction[1];
    step.z[i] = direction[2];
}

} // namespace reslice
