#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/frame/CallChecks.h"

#include "arvo/binary/ChessboardSweep.h"
#include "arvo/binary/Image3DBoundary.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include <algorithm>
#include <new>

namespace {

constexpr int UNSIGNED_STAGES = 2; // the two sweeps
constexpr int SIGNED_STAGES = 3;   // besides them the boundary

} // namespace

Image3DDistanceMap::Image3DDistanceMap(DISTANCE_TYPE type) : m_distanceType(type) {}

Image3DDistanceMap::~Image3DDistanceMap() = default;

Image3DDistanceMap::Image3DDistanceMap(const Image3DDistanceMap& other)
    : Calculation(other),
      m_input(other.m_input),
      m_distanceType(other.m_distanceType)
{
    m_success = false;
}

Image3DDistanceMap& Image3DDistanceMap::operator=(const Image3DDistanceMap& other)
{
    if (this != &other) {
        Calculation::operator=(other);
        m_input = other.m_input;
        m_distanceType = other.m_distanceType;
        reset();
    }
    return *this;
}

void Image3DDistanceMap::setInputImage(const ArvoImage3D* image)
{
    if (checkValidInputImage(image))
        m_input = image;
}

bool Image3DDistanceMap::checkValidInputImage(const ArvoImage3D* image)
{
    if (!image || !image::isOneOf(image->dataType(), image::ByteTypes{}))
        return false;
    const math::Ivec3 size = image->imageSize();
    return std::min({size.x, size.y, size.z}) >= 3;
}

void Image3DDistanceMap::execute(const std::atomic<bool>& cancel)
try {
    reset();
    if (!checkValidInputImage(m_input))
        return;
    const bool isSigned = m_distanceType != UNSIGNED_DISTANCE;
    if (m_progress)
        m_progress->setTotal(isSigned ? SIGNED_STAGES : UNSIGNED_STAGES);
    m_distanceImage = isSigned ? signedDistance(cancel) : unsignedDistance(cancel);
    m_success = m_distanceImage != nullptr;
} catch (const std::bad_alloc&) {
    m_success = frame::refuse("Image3DDistanceMap : out of memory.");
}

ArvoImage3D* Image3DDistanceMap::takeDistanceImage()
{
    return m_distanceImage.release();
}

void Image3DDistanceMap::reset()
{
    m_distanceImage.reset();
    m_success = false;
}

void Image3DDistanceMap::finishStage() const
{
    if (m_progress)
        m_progress->advance();
}

std::unique_ptr<ArvoImage3D> Image3DDistanceMap::unsignedDistance(const std::atomic<bool>& cancel) const
{
    return distanceTo(*m_input, nullptr, cancel);
}

std::unique_ptr<ArvoImage3D> Image3DDistanceMap::signedDistance(const std::atomic<bool>& cancel) const
{
    Image3DBoundary boundary;
    boundary.setInputImage(m_input);
    boundary.execute(cancel);
    if (!boundary.isSuccess())
        return nullptr;
    finishStage();
    const std::unique_ptr<ArvoImage3D> edge(boundary.takeBoundaryImage());
    return distanceTo(*edge, m_input, cancel);
}

/// The distance to the object, negated on the non-zero voxels of `inside`; null when cancelled or out of memory.
std::unique_ptr<ArvoImage3D> Image3DDistanceMap::distanceTo(const ArvoImage3D& object,
                                                            const ArvoImage3D* inside,
                                                            const std::atomic<bool>& cancel) const
{
    auto distance = std::make_unique<ArvoImage3D>(object.imageSize(), object.voxelSize(), image::Int16);
    if (cancel.load() || !distance->isValid())
        return nullptr;
    chessboard::initAndSweepForward(object, *distance);
    finishStage();
    if (cancel.load())
        return nullptr;
    chessboard::sweepBackward(*distance, inside);
    finishStage();
    if (cancel.load())
        return nullptr;
    distance->editFinished();
    return distance;
}
