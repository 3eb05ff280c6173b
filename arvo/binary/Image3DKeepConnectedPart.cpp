#include "arvo/binary/Image3DKeepConnectedPart.h"

#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/binary/LabelledRuns.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/threading/ThreadProgress.h"

#include <algorithm>
#include <limits>
#include <new>

using binary::LabelledRuns;

namespace {

constexpr std::int64_t DEFAULT_MINIMUM_VOLUME = 6000;
constexpr int STEPS = 3; // label, select, write

bool isInside(const math::Ivec3& point, const math::Ivec3& size)
{
    return point.x >= 0 && point.y >= 0 && point.z >= 0 && point.x < size.x && point.y < size.y &&
           point.z < size.z;
}

/// The chessboard distance of every voxel from one voxel of the volume, or null.
std::unique_ptr<ArvoImage3D> distanceFrom(const math::Ivec3& point, const ArvoImage3D& image,
                                          const std::atomic<bool>& cancel)
{
    ArvoImage3D seed(image.imageSize(), image.voxelSize(), image::Binary);
    if (!seed.isValid())
        return nullptr;
    seed.zeroSlices();
    seed.changeVoxelValues({point}, 1);
    Image3DDistanceMap map(Image3DDistanceMap::UNSIGNED_DISTANCE);
    map.setInputImage(&seed);
    map.execute(cancel);
    return std::unique_ptr<ArvoImage3D>(map.takeDistanceImage());
}

} // namespace

Image3DKeepConnectedPart::Image3DKeepConnectedPart(ArvoImage3D& image, KeepStrategy strategy,
                                                   ConnectionDirection direction)
    : m_image(&image),
      m_strategy(strategy),
      m_direction(direction),
      m_imageSize(image.imageSize())
{
}

Image3DKeepConnectedPart::Image3DKeepConnectedPart(const Image3DKeepConnectedPart& other)
    : Calculation(other),
      m_image(other.m_image),
      m_strategy(other.m_strategy),
      m_direction(other.m_direction),
      m_imageSize(other.m_imageSize),
      m_relativeTolerance(other.m_relativeTolerance),
      m_referencePoint(other.m_referencePoint)
{
    m_success = false;
}

Image3DKeepConnectedPart& Image3DKeepConnectedPart::operator=(const Image3DKeepConnectedPart& other)
{
    if (this == &other)
        return *this;
    Calculation::operator=(other);
    m_image = other.m_image;
    m_strategy = other.m_strategy;
    m_direction = other.m_direction;
    m_imageSize = other.m_imageSize;
    m_relativeTolerance = other.m_relativeTolerance;
    m_referencePoint = other.m_referencePoint;
    reset();
    return *this;
}

Image3DKeepConnectedPart::~Image3DKeepConnectedPart() = default;

math::Ivec3 Image3DKeepConnectedPart::getReferencePoint() const
{
    return m_referencePoint.value_or(math::Ivec3(m_imageSize.x / 2, m_imageSize.y / 2, m_imageSize.z / 2));
}

std::unique_ptr<ArvoImage3D> Image3DKeepConnectedPart::takeBinaryOutputImage()
{
    return std::move(m_binaryOutputImage);
}

void Image3DKeepConnectedPart::reset()
{
    m_success = false;
    m_isSelected.clear();
    m_binaryOutputImage.reset();
}

bool Image3DKeepConnectedPart::checkImage() const
{
    if (!m_image->isValid() || image::elementWidth(m_image->dataType()) != 1)
        return frame::refuse("Image3DKeepConnectedPart : no valid mask.");
    if (!(m_image->imageSize() == m_imageSize))
        return frame::refuse("Image3DKeepConnectedPart : the mask has changed its size.");
    return true;
}

void Image3DKeepConnectedPart::finishStep() const
{
    if (m_progress)
        m_progress->advance();
}

void Image3DKeepConnectedPart::execute(const std::atomic<bool>& cancel)
try {
    reset();
    if (!checkImage())
        return;
    if (m_progress)
        m_progress->setTotal(STEPS);
    const auto parts = LabelledRuns::of(LabelledRuns::Mask(*m_image), m_direction == STRAIGHT
                                                                          ? LabelledRuns::Neighbours::Face
                                                                          : LabelledRuns::Neighbours::All);
    m_success = parts && parts->partCount() > 0;
    // A flag noticed here or below leaves the success of the step before, without a result; hosts rely on it.
    if (!m_success || cancel.load())
        return;
    finishStep();
    m_success = m_strategy == KEEP_LARGEST_PARTS ? selectLargestParts(*parts, cancel)
                                                 : selectPartContainingReferencePoint(*parts, cancel);
    if (!m_success || cancel.load())
        return;
    finishStep();
    m_success = writeSelectedParts(*parts, cancel);
    if (m_success)
        finishStep();
} catch (const std::bad_alloc&) {
    reset();
    frame::refuse("Image3DKeepConnectedPart : out of memory.");
}

bool Image3DKeepConnectedPart::isLargeEnough(std::int64_t volume, std::int64_t largestVolume) const
{
    if (!m_relativeTolerance)
        return volume >= DEFAULT_MINIMUM_VOLUME;
    const float limit = static_cast<float>(largestVolume) * *m_relativeTolerance;
    constexpr float intLimit = 2147483648.0f;
    if (limit >= -intLimit && limit < intLimit)
        return volume >= static_cast<int>(limit);
    return static_cast<float>(volume) >= limit; // no int holds the limit
}

bool Image3DKeepConnectedPart::selectLargestParts(const LabelledRuns& parts, const std::atomic<bool>& cancel)
{
    const std::vector<std::int64_t> volumes = parts.volumes(&cancel);
    if (volumes.empty())
        return false;
    const std::int64_t largest = *std::ranges::max_element(volumes);
    for (const std::int64_t volume : volumes)
        m_isSelected.push_back(isLargeEnough(volume, largest));
    return !cancel.load();
}

bool Image3DKeepConnectedPart::selectPartContainingReferencePoint(const LabelledRuns& parts,
                                                                  const std::atomic<bool>& cancel)
{
    const math::Ivec3 point = getReferencePoint();
    if (!isInside(point, m_imageSize))
        return frame::refuse("Image3DKeepConnectedPart : the reference point lies outside the volume.");
    int label = parts.labelAt(point.x, point.y, point.z);
    if (label == 0) {
        const auto nearest = findNearestVoxel(point, cancel);
        if (!nearest)
            return false;
        label = parts.labelAt(nearest->x, nearest->y, nearest->z);
    }
    if (label == 0)
        return false;
    m_isSelected.assign(static_cast<std::size_t>(parts.partCount()) + 1, 0);
    m_isSelected[static_cast<std::size_t>(label)] = 1;
    return true;
}

/// The first of the nearest object voxels, searched from the second voxel on; the first voxel when there is
/// none.
utility::Optional<math::Ivec3>
Image3DKeepConnectedPart::findNearestVoxel(const math::Ivec3& point, const std::atomic<bool>& cancel) const
{
    const auto map = distanceFrom(point, *m_image, cancel);
    if (!map)
        return std::nullopt;
    const frame::VolumeView<const unsigned char> mask(*m_image);
    const short* distance = frame::VolumeView<const short>(*map).data();
    short smallest = std::numeric_limits<short>::max();
    std::ptrdiff_t nearest = 0;
    for (std::ptrdiff_t i = 1; i < mask.count() && smallest != 1; ++i) {
        if (mask.data()[i] != 0 && distance[i] < smallest) {
            smallest = distance[i];
            nearest = i;
        }
    }
    const std::ptrdiff_t row = nearest / mask.width();
    return math::Ivec3(static_cast<int>(nearest % mask.width()), static_cast<int>(row % mask.height()),
                       static_cast<int>(row / mask.height()));
}

bool Image3DKeepConnectedPart::writeSelectedParts(const LabelledRuns& parts, const std::atomic<bool>& cancel)
{
    auto output = std::make_unique<ArvoImage3D>(m_imageSize, m_image->voxelSize(), image::Binary);
    if (!output->isValid() || !parts.paint(frame::VolumeView<unsigned char>(*output), m_isSelected, &cancel))
        return false;
    if (cancel.load())
        return false;
    output->editFinished();
    m_binaryOutputImage = std::move(output);
    return true;
}
