#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/binary/LabelledRuns.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"

#include <algorithm>
#include <new>

namespace {

using binary::LabelledRuns;
using Bytes = frame::VolumeView<unsigned char>;
using Shorts = frame::VolumeView<short>;

bool isOfWidth(const ArvoImage3D* image, std::size_t width)
{
    return frame::isUsable(image) && image::elementWidth(image->dataType()) == width;
}

/// Both volumes with voxels of that width, and of one size.
bool canSelect(const ArvoImage3D* in, const ArvoImage3D* out, std::size_t width)
{
    if (!isOfWidth(in, width))
        return frame::refuse("ArvoImageBinaryTools : no valid input image to select parts of.");
    if (!isOfWidth(out, width))
        return frame::refuse("ArvoImageBinaryTools : no valid output image for the selected parts.");
    if (!frame::haveEqualSize(*in, *out))
        return frame::refuse("ArvoImageBinaryTools : input and output image differ in size.");
    return true;
}

std::optional<LabelledRuns> partsOf(const ArvoImage3D& mask)
{
    return LabelledRuns::of(LabelledRuns::Mask(mask), LabelledRuns::Neighbours::All);
}

/// The first of the largest; label 0, with volume 0, only where there is no part.
std::size_t largestOf(const std::vector<std::int64_t>& volumes)
{
    return static_cast<std::size_t>(std::ranges::max_element(volumes) - volumes.begin());
}

/// 1 for that label, 0 for the others.
std::vector<unsigned char> onlyLabel(std::size_t label, const LabelledRuns& parts)
{
    std::vector<unsigned char> isKept(static_cast<std::size_t>(parts.partCount()) + 1);
    isKept[label] = 1;
    return isKept;
}

void clearOutside(const Bytes& mask, const Shorts& in, short value, const Shorts& out)
{
    for (std::ptrdiff_t row = 0; row < mask.height() * mask.depth(); ++row) {
        const std::ptrdiff_t offset = row * mask.width();
        const unsigned char* isKept = mask.data() + offset;
        const short* from = in.data() + offset;
        short* to = out.data() + offset;
#pragma GCC ivdep // the output is the input itself or apart from it
        for (std::ptrdiff_t x = 0; x < mask.width(); ++x)
            to[x] = isKept[x] ? from[x] : value;
    }
}

/// Paints the parts on slice z that have at least that volume; returns their number.
int keepPartsOnSlice(const ArvoImage3D* in, ArvoImage3D* out, int z, const int* minVolume)
{
    if (!canSelect(in, out, 1))
        return 0;
    if (z < 0 || z >= in->imageSize().z)
        return frame::refuse("ArvoImageBinaryTools : the slice lies outside the image.");
    const auto parts = partsOf(*in);
    if (!parts)
        return 0;
    std::vector<unsigned char> isKept = parts->partsOnSlice(z);
    if (minVolume) {
        const std::vector<std::int64_t> volumes = parts->volumes();
        for (std::size_t label = 0; label < volumes.size(); ++label)
            isKept[label] = isKept[label] && volumes[label] >= *minVolume;
    }
    parts->paint(Bytes(*out), isKept);
    out->editFinished();
    return static_cast<int>(std::ranges::count(isKept, 1));
}

} // namespace

bool ArvoImageBinaryTools::keepLargestPart(int* partCount)
try {
    if (!frame::isUsable(m_input) || !frame::isUsable(m_output) || m_input->dataType() != image::Binary ||
        m_output->dataType() != image::Binary || !frame::haveEqualSize(*m_input, *m_output))
        return false;
    const auto parts = partsOf(*m_input);
    if (!parts)
        return false;
    parts->paint(Bytes(*m_output), onlyLabel(largestOf(parts->volumes()), *parts));
    m_output->editFinished();
    if (partCount)
        *partCount = parts->partCount() + 1;
    return true;
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageBinaryTools : out of memory.");
}

int ArvoImageBinaryTools::keepLargestPart(int threshold)
try {
    if (!canSelect(m_input, m_output, sizeof(short)))
        return 0;
    ArvoImage3D mask;
    if (!mask.createFrom(m_input, image::Binary) ||
        !thresholdFilter(*m_input, mask, static_cast<float>(threshold), true))
        return 0;
    const auto parts = partsOf(mask);
    if (!parts)
        return 0;
    const std::vector<std::int64_t> volumes = parts->volumes();
    const std::size_t largest = largestOf(volumes);
    std::vector<unsigned char> isKept = onlyLabel(largest, *parts);
    isKept[0] = 0;
    parts->paint(Bytes(mask), isKept);
    const auto minimum = static_cast<short>(m_input->minValue());
    clearOutside(Bytes(mask), Shorts(*m_input), minimum, Shorts(*m_output));
    m_output->editFinished();
    return static_cast<int>(volumes[largest]);
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageBinaryTools : out of memory.");
}

int ArvoImageBinaryTools::keepAllConnectedToSlice(int slice)
try {
    return keepPartsOnSlice(m_input, m_output, slice, nullptr);
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageBinaryTools : out of memory.");
}

int ArvoImageBinaryTools::keepAllConnectedToSlice(int slice, int minVolume)
try {
    return keepPartsOnSlice(m_input, m_output, slice, &minVolume);
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageBinaryTools : out of memory.");
}
