#include "arvo/geometry/MassCenterCalculator.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/geometry/VoxelsAboveThreshold.h"

MassCenterCalculator::MassCenterCalculator() = default;
MassCenterCalculator::MassCenterCalculator(const MassCenterCalculator&) = default;
MassCenterCalculator& MassCenterCalculator::operator=(const MassCenterCalculator&) = default;
MassCenterCalculator::~MassCenterCalculator() = default;

bool MassCenterCalculator::execute()
{
    if (!frame::isUsable(m_image))
        return frame::refuse("MassCenterCalculator : no valid image.");
    const geometry::IndexSums sums = geometry::sumIndicesAbove(*m_image, m_threshold);
    if (sums.count == 0)
        return false;
    m_massCenter = geometry::massCentreOf(sums, *m_image);
    return true;
}
