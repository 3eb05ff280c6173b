#include "arvo/binary/Image3DHoleClosing.h"

#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/HullPeeling.h"
#include "arvo/binary/Image3DBoundary.h"
#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/threading/ThreadProgress.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <climits>
#include <new>
#include <vector>

namespace {

constexpr int DISTANCE_STEPS = 15; // of the progress, by their share of the time
constexpr int PEELING_STEPS = 85;

const std::atomic<bool> neverCancelled{false};

bool isByteVolume(const ArvoImage3D* image)
{
    return frame::isUsable(image) && image::isOneOf(image->dataType(), image::ByteTypes{});
}

bool hasObject(const ArvoImage3D& image)
{
    const frame::VolumeView<const char> voxels(image);
    return std::any_of(voxels.data(), voxels.data() + voxels.count(), [](char byte) { return byte != 0; });
}

/// The box around the non-zero voxels of a volume, those that are negative as signed bytes among them.
struct ObjectBox {
    math::Ivec3 min;
    math::Ivec3 size;
};

/// Adds the voxels of a row to its columns, with a bitwise or; returns that of all.
ARVO_VECTOR_CLONES unsigned char mergeRow(const unsigned char* row, unsigned char* __restrict columns,
                                          std::ptrdiff_t width)
{
    unsigned char all = 0;
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        columns[x] = static_cast<unsigned char>(columns[x] | row[x]);
        all = static_cast<unsigned char>(all | row[x]);
    }
    return all;
}

/// For a volume that has an object.
ObjectBox objectBox(const ArvoImage3D& image)
{
    const frame::VolumeView<const unsigned char> voxels(image);
    const math::Ivec3 size = image.imageSize();
    std::vector<unsigned char> columns(static_cast<std::size_t>(size.x));
    math::Ivec3 min = size;
    math::Ivec3 max(-1, -1, -1);
    for (int z = 0; z < size.z; ++z) {
        for (int y = 0; y < size.y; ++y) {
            if (mergeRow(voxels.row(y, z), columns.data(), size.x) == 0)
                continue;
            min = {min.x, std::min(min.y, y), std::min(min.z, z)};
            max = {max.x, std::max(max.y, y), z};
        }
    }
    const auto isSet = [](unsigned char column) { return column != 0; };
    min.x = static_cast<int>(std::find_if(columns.begin(), columns.end(), isSet) - columns.begin());
    max.x = static_cast<int>(columns.rend() - std::find_if(columns.rbegin(), columns.rend(), isSet)) - 1;
    return {min, {max.x - min.x + 1, max.y - min.y + 1, max.z - min.z + 1}};
}

/// A new Binary volume, or null when it cannot be had.
std::unique_ptr<ArvoImage3D> newMask(const math::Ivec3& size, const QVector3D& voxelSize)
{
    auto mask = std::make_unique<ArvoImage3D>(size, voxelSize, image::Binary);
    return mask->isValid() ? std::move(mask) : nullptr;
}

/// A copy of the box with a border of one zero voxel on every side, or null.
std::unique_ptr<ArvoImage3D> borderedCopy(const ArvoImage3D& image, const ObjectBox& box)
{
    if (std::max({box.size.x, box.size.y, box.size.z}) > INT_MAX - 2)
        return nullptr;
    auto bordered = newMask({box.size.x + 2, box.size.y + 2, box.size.z + 2}, image.voxelSize());
    if (!bordered)
        return nullptr;
    bordered->zeroSlices();
    const frame::VolumeView<const char> from(image);
    const frame::VolumeView<char> to(*bordered);
    for (std::ptrdiff_t z = 0; z < box.size.z; ++z) {
        for (std::ptrdiff_t y = 0; y < box.size.y; ++y)
            std::copy_n(from.row(box.min.y + y, box.min.z + z) + box.min.x, box.size.x,
                        to.row(y + 1, z + 1) + 1);
    }
    bordered->editFinished();
    return bordered;
}

std::unique_ptr<ArvoImage3D> distanceMap(const ArvoImage3D& object, const std::atomic<bool>& cancel)
{
    Image3DDistanceMap map(Image3DDistanceMap::UNSIGNED_DISTANCE);
    map.setInputImage(&object);
    map.execute(cancel);
    return std::unique_ptr<ArvoImage3D>(map.takeDistanceImage());
}

} // namespace

Image3DHoleClosing::Image3DHoleClosing() = default;
Image3DHoleClosing::~Image3DHoleClosing() = default;

Image3DHoleClosing::Image3DHoleClosing(const Image3DHoleClosing& other)
    : Calculation(other),
      m_inputImage(other.m_inputImage)
{
    m_success = false;
}

Image3DHoleClosing& Image3DHoleClosing::operator=(const Image3DHoleClosing& other)
{
    if (this != &other) {
        Calculation::operator=(other);
        m_inputImage = other.m_inputImage;
        reset();
    }
    return *this;
}

void Image3DHoleClosing::setInputImage(ArvoImage3D* image)
{
    if (checkValidInputImage(image))
        m_inputImage = image;
}

bool Image3DHoleClosing::checkValidInputImage(ArvoImage3D* image)
{
    return image && image->dataType() == image::Binary;
}

void Image3DHoleClosing::reset()
{
    m_success = false;
    m_closedImage.reset();
}

ArvoImage3D* Image3DHoleClosing::takeClosedImage()
{
    return m_closedImage.release();
}

void Image3DHoleClosing::execute(const std::atomic<bool>& cancel)
{
    reset();
    if (!checkValidInputImage(m_inputImage))
        return;
    if (m_progress)
        m_progress->setTotal(DISTANCE_STEPS + PEELING_STEPS);
    if (!hasObject(*m_inputImage)) {
        m_closedImage.reset(createEmptyOutputImage());
        if (m_progress)
            m_progress->advance(DISTANCE_STEPS + PEELING_STEPS);
    } else if (!cancel.load()) {
        m_closedImage = close(cancel);
    }
    m_success = m_closedImage != nullptr;
}

std::unique_ptr<ArvoImage3D> Image3DHoleClosing::close(const std::atomic<bool>& cancel)
try {
    // What is outside this box is background from the start, and nothing looks at it.
    const ObjectBox box = objectBox(*m_inputImage);
    std::unique_ptr<ArvoImage3D> bordered = borderedCopy(*m_inputImage, box);
    if (!bordered || cancel.load())
        return nullptr;
    std::unique_ptr<ArvoImage3D> distance = distanceMap(*bordered, cancel);
    if (!distance)
        return nullptr;
    if (m_progress)
        m_progress->advance(DISTANCE_STEPS);
    std::array<int, 3> min;
    std::array<int, 3> max;
    ArvoImageBinaryTools::getBoundingBox(bordered.get(), min, max);
    binary::HullPeeling peeling(*bordered, *distance, min, max);
    bordered.reset();
    distance.reset();
    const math::Ivec3 size = m_inputImage->imageSize();
    const std::ptrdiff_t voxels =
        (size.x + std::ptrdiff_t(2)) * (size.y + std::ptrdiff_t(2)) * (size.z + std::ptrdiff_t(2));
    if (!peeling.isValid() || cancel.load() || !peeling.run(cancel, m_progress, PEELING_STEPS, voxels))
        return nullptr;
    auto closed = newMask(size, m_inputImage->voxelSize());
    if (closed) {
        closed->zeroSlices();
        peeling.writeInterior(*closed, box.min);
        closed->editFinished();
    }
    return closed;
} catch (const std::bad_alloc&) {
    return nullptr; // too many voxels wait
}

ArvoImage3D* Image3DHoleClosing::createEmptyOutputImage()
try {
    if (!isByteVolume(m_inputImage))
        return nullptr;
    auto output = newMask(m_inputImage->imageSize(), m_inputImage->voxelSize());
    if (output)
        output->zeroSlices();
    return output.release();
} catch (const std::bad_alloc&) {
    return nullptr;
}

ArvoImage3D* Image3DHoleClosing::createImageWithExtendedBorder(ArvoImage3D* image)
try {
    if (!isByteVolume(image))
        return nullptr;
    return borderedCopy(*image, {{0, 0, 0}, image->imageSize()}).release();
} catch (const std::bad_alloc&) {
    return nullptr;
}

ArvoImage3D* Image3DHoleClosing::createBinaryImageWithRemovedBorder(ArvoImage3D* image)
try {
    if (!isByteVolume(image))
        return nullptr;
    const math::Ivec3 size = image->imageSize();
    if (std::min({size.x, size.y, size.z}) < 2)
        return nullptr;
    const int origin[3] = {1, 1, 1};
    const int inner[3] = {size.x - 2, size.y - 2, size.z - 2};
    auto interior = std::make_unique<ArvoImage3D>();
    return interior->copyFrom(image, origin, inner) ? interior.release() : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

ArvoImage3D* Image3DHoleClosing::createHull(ArvoImage3D* image)
try {
    if (!isByteVolume(image))
        return nullptr;
    auto hull = newMask(image->imageSize(), image->voxelSize());
    if (!hull)
        return nullptr;
    std::array<int, 3> min;
    std::array<int, 3> max;
    ArvoImageBinaryTools::getBoundingBox(image, min, max);
    ArvoImageBinaryTools::convertBoxToMask(min, max, hull.get());
    return hull.release();
} catch (const std::bad_alloc&) {
    return nullptr;
}

ArvoImage3D* Image3DHoleClosing::getWorkingSet(ArvoImage3D* object, ArvoImage3D* hull)
try {
    if (!isByteVolume(object) || !isByteVolume(hull) || !frame::haveEqualSize(*object, *hull))
        return nullptr;
    Image3DBoundary boundary;
    boundary.setInputImage(hull);
    boundary.execute(neverCancelled);
    std::unique_ptr<ArvoImage3D> workingSet(boundary.takeBoundaryImage());
    if (!boundary.isSuccess() || !workingSet)
        return nullptr;
    ArvoImageBinaryTools::applyMask(object, workingSet.get(), true);
    return workingSet.release();
} catch (const std::bad_alloc&) {
    return nullptr;
}
