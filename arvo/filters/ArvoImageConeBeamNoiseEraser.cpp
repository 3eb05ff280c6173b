#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"

#include "arvo/filters/SpeckEraser.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/platform/threading/ThreadProgress.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"

#include <algorithm>
#include <new>

namespace {

constexpr int BLOCK_SLICES = 50;

} // namespace

ArvoImageConeBeamNoiseEraser::ArvoImageConeBeamNoiseEraser() = default;

ArvoImageConeBeamNoiseEraser::ArvoImageConeBeamNoiseEraser(const ArvoImageConeBeamNoiseEraser& other)
    : ArvoImageConeBeamNoiseEraser()
{
    *this = other;
}

ArvoImageConeBeamNoiseEraser&
ArvoImageConeBeamNoiseEraser::operator=(const ArvoImageConeBeamNoiseEraser& other)
{
    if (this != &other) {
        m_radius = other.m_radius;
        m_boneThreshold = other.m_boneThreshold;
        m_input = other.m_input;
        m_output = other.m_output;
    }
    return *this;
}

ArvoImageConeBeamNoiseEraser::~ArvoImageConeBeamNoiseEraser() = default;

bool ArvoImageConeBeamNoiseEraser::execute()
{
    if (!checkImages() || (m_radius <= 0 && m_input == m_output))
        return true;
    if (m_radius <= 0)
        copySlices();
    else
        eraseBlocks();
    m_output->editFinished();
    return true;
}

bool ArvoImageConeBeamNoiseEraser::checkImages() const
{
    if (!frame::isUsable(m_input) || !frame::isUsable(m_output))
        return frame::refuse("ArvoImageConeBeamNoiseEraser : no valid input image or output image.");
    const math::Ivec3 in = m_input->imageSize();
    const math::Ivec3 out = m_output->imageSize();
    if (in.x != out.x || in.y != out.y || in.z > out.z || m_input->dataType() != m_output->dataType())
        return frame::refuse(
            "ArvoImageConeBeamNoiseEraser : the output image does not match the input image.");
    return true;
}

void ArvoImageConeBeamNoiseEraser::copySlices()
{
    for (int z = 0; z < m_input->imageSize().z; ++z)
        m_output->setAxialSlice(z, m_input->getConstAxialSlice(z));
}

void ArvoImageConeBeamNoiseEraser::eraseBlocks()
{
    const math::Ivec3 size = m_input->imageSize();
    m_progress.setTotal(size.z / BLOCK_SLICES + 1);
    try {
        SpeckEraser eraser(size.x, size.y, m_radius, m_boneThreshold);
        ArvoImage3D block;
        for (int first = 0; first < size.z; first += BLOCK_SLICES) {
            const int count = std::min(BLOCK_SLICES, size.z - first);
            if (!block.create(math::Ivec3(size.x, size.y, count), m_input->voxelSize(), m_input->dataType()))
                throw std::bad_alloc();
            ArvoImage3DReslicer::loadAxialSlices(m_input, first, count, block.dataPtr());
            for (int z = first; z < first + count && m_output != m_input; ++z)
                m_output->setAxialSlice(z, m_input->getConstAxialSlice(z));
            eraser.erase(block, m_output->getAxialSlice(first));
            if (count == BLOCK_SLICES)
                m_progress.advance();
        }
    } catch (const std::bad_alloc&) {
        qWarning("ArvoImageConeBeamNoiseEraser : out of memory.");
    }
    m_progress.advance();
}
