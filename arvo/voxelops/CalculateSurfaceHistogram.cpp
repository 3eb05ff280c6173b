#include "arvo/voxelops/CalculateSurfaceHistogram.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/platform/data/Histogram.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include <algorithm>
#include <new>

CalculateSurfaceHistogram::CalculateSurfaceHistogram() : m_ownInformationMap(std::in_place)
{
    m_informationMap = &*m_ownInformationMap;
}

CalculateSurfaceHistogram::CalculateSurfaceHistogram(const CalculateSurfaceHistogram& other)
    : CalculateSurfaceHistogram()
{
    *this = other;
}

CalculateSurfaceHistogram& CalculateSurfaceHistogram::operator=(const CalculateSurfaceHistogram& other)
{
    if (this == &other)
        return *this;
    Calculation::operator=(other);
    m_image = other.m_image;
    setSurface(other.m_points, other.m_normals, other.m_pointCount);
    m_numberOfSteps = other.m_numberOfSteps;
    m_stepSize = other.m_stepSize;
    if (!other.m_ownInformationMap)
        setInformationMap(other.m_informationMap);
    return *this;
}

CalculateSurfaceHistogram::~CalculateSurfaceHistogram() = default;

void CalculateSurfaceHistogram::setSurface(float* points, float* normals, int count)
{
    m_points = points;
    m_normals = normals;
    m_pointCount = count;
}

void CalculateSurfaceHistogram::setInformationMap(QMap<QString, QVariant>* map)
{
    m_ownInformationMap.reset();
    m_informationMap = map;
}

bool CalculateSurfaceHistogram::checkInput() const
{
    if (!frame::isUsable(m_image))
        return frame::refuse("CalculateSurfaceHistogram : no valid image.");
    if (m_pointCount > 0 && (!m_points || !m_normals))
        return frame::refuse("CalculateSurfaceHistogram : no surface points and normals.");
    return true;
}

void CalculateSurfaceHistogram::execute(const std::atomic<bool>& cancel)
try {
    m_success = false;
    if (!checkInput())
        return;
    m_histogram = new Histogram(false, 1);
    if (m_progress)
        m_progress->setTotal(std::max(m_pointCount, 0));
    for (int point = 0; point < m_pointCount && !cancel.load(std::memory_order_relaxed); ++point) {
        samplePoint(point, cancel);
        if (m_progress)
            m_progress->advance();
    }
    m_success = !cancel.load();
} catch (const std::bad_alloc&) {
    frame::refuse("CalculateSurfaceHistogram : out of memory.");
}

void CalculateSurfaceHistogram::samplePoint(int point, const std::atomic<bool>& cancel)
{
    const QVector3D voxelSize = m_image->voxelSize();
    const float* p = m_points + static_cast<std::ptrdiff_t>(point) * 3;
    const float* normal = m_normals + static_cast<std::ptrdiff_t>(point) * 3;
    const float step[3] = {m_stepSize * normal[0], m_stepSize * normal[1], m_stepSize * normal[2]};
    const int first = -(m_numberOfSteps / 2);
    const int end = m_numberOfSteps + first;
    for (int s = first; s < end && !cancel.load(std::memory_order_relaxed); ++s) {
        const auto offset = static_cast<float>(s);
        const float position[3] = {(offset * step[0] + p[0]) / voxelSize.x(),
                                   (offset * step[1] + p[1]) / voxelSize.y(),
                                   (offset * step[2] + p[2]) / voxelSize.z()};
        const std::int32_t value = image::truncateToInt32(m_image->getInterpolatedValue(position));
        m_histogram->addData(reinterpret_cast<const char*>(&value), 1, HistogramDataType::Int32);
    }
}
