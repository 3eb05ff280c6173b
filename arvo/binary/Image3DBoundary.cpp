#include "arvo/binary/Image3DBoundary.h"
#include "arvo/frame/CallChecks.h"

#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/threading/ThreadProgress.h"
#include "arvo/platform/utility/BlockStore.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

/// The marks of `count` voxels; the pointers address the first of them in three consecutive slices.
ARVO_VECTOR_CLONES void markBoundary(const signed char* previous, const signed char* current,
                                     const signed char* next, std::ptrdiff_t rowLength,
                                     unsigned char* __restrict marks, std::ptrdiff_t count)
{
    const signed char* above = current - rowLength;
    const signed char* below = current + rowLength;
    utility::storeInBlocks(marks, count, [&](std::ptrdiff_t i) ARVO_INLINED {
        const bool touchesZero = (previous[i] == 0) | (current[i - 1] == 0) | (current[i + 1] == 0) |
                                 (above[i] == 0) | (below[i] == 0) | (next[i] == 0);
        return static_cast<unsigned char>((current[i] > 0) & touchesZero);
    });
}

} // namespace

Image3DBoundary::Image3DBoundary() = default;
Image3DBoundary::~Image3DBoundary() = default;

Image3DBoundary::Image3DBoundary(const Image3DBoundary& other) : Calculation(other), m_input(other.m_input)
{
    m_success = false;
}

Image3DBoundary& Image3DBoundary::operator=(const Image3DBoundary& other)
{
    if (this != &other) {
        Calculation::operator=(other);
        m_input = other.m_input;
        reset();
    }
    return *this;
}

void Image3DBoundary::setInputImage(const ArvoImage3D* image)
{
    if (checkValidInputImage(image))
        m_input = image;
}

bool Image3DBoundary::checkValidInputImage(const ArvoImage3D* image)
{
    if (!image || !image::isOneOf(image->dataType(), image::ByteTypes{}))
        return false;
    const math::Ivec3 size = image->imageSize();
    return std::min({size.x, size.y, size.z}) >= 3;
}

void Image3DBoundary::execute(const std::atomic<bool>& cancel)
try {
    reset();
    if (!checkValidInputImage(m_input))
        return;
    if (m_progress)
        m_progress->setTotal(1);
    m_boundaryImage = detectBoundary();
    if (m_progress)
        m_progress->advance();
    m_success = !cancel.load() && m_boundaryImage->isValid();
} catch (const std::bad_alloc&) {
    m_success = frame::refuse("Image3DBoundary : out of memory.");
}

ArvoImage3D* Image3DBoundary::takeBoundaryImage()
{
    return m_boundaryImage.release();
}

void Image3DBoundary::reset()
{
    m_boundaryImage.reset();
    m_success = false;
}

std::unique_ptr<ArvoImage3D> Image3DBoundary::detectBoundary() const
{
    auto boundary = std::make_unique<ArvoImage3D>(m_input->imageSize(), m_input->voxelSize(), image::Binary);
    if (!boundary->isValid())
        return boundary;
    const frame::VolumeView<const signed char> object(*m_input);
    const frame::VolumeView<unsigned char> marks(*boundary);
    const std::ptrdiff_t begin = object.width() + 1;
    const std::ptrdiff_t end = object.sliceCount() - begin;
    const auto clear = [](unsigned char* first, unsigned char* last) {
        std::memset(first, 0, static_cast<std::size_t>(last - first));
    };
    // From mark to mark: what lies before the first run, between two runs and after the last is cleared once.
    unsigned char* done = marks.data();
    for (std::ptrdiff_t z = 1; z < object.depth() - 1; ++z) {
        unsigned char* first = marks.slice(z) + begin;
        clear(done, first);
        markBoundary(object.slice(z - 1) + begin, object.slice(z) + begin, object.slice(z + 1) + begin,
                     object.width(), first, end - begin);
        done = marks.slice(z) + end;
    }
    clear(done, marks.data() + marks.count());
    boundary->editFinished();
    return boundary;
}
