#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/binary/LabelledRuns.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"

#include <new>

namespace {

using binary::LabelledRuns;
using Voxels = LabelledRuns::Voxels;
using Neighbours = LabelledRuns::Neighbours;

bool canLabel(const ArvoImage3D* mask, const ArvoImage3D* labels)
{
    if (!frame::isUsable(mask) || image::elementWidth(mask->dataType()) != 1)
        return frame::refuse("ArvoImageBinaryTools : no valid mask to label.");
    if (!frame::isUsable(labels) || image::elementWidth(labels->dataType()) != sizeof(short))
        return frame::refuse("ArvoImageBinaryTools : no valid 16-bit volume for the labels.");
    if (!frame::haveEqualSize(*mask, *labels))
        return frame::refuse("ArvoImageBinaryTools : mask and label volume differ in size.");
    return true;
}

/// The values first + 0, 1 .. partCount, cut to 16 bits.
std::vector<short> numbersFrom(int first, int partCount)
{
    std::vector<short> numbers(static_cast<std::size_t>(partCount) + 1);
    int next = first;
    for (short& number : numbers)
        number = static_cast<short>(next++);
    return numbers;
}

} // namespace

int ArvoImageBinaryTools::label(LABEL_TYPE type)
try {
    if (!canLabel(m_input, m_output))
        return 0;
    const auto parts = LabelledRuns::of(LabelledRuns::Mask(*m_input),
                                        type == LABEL_DIAGONAL ? Neighbours::All : Neighbours::Face);
    if (!parts)
        return 0;
    parts->paint(frame::VolumeView<short>(*m_output), numbersFrom(0, parts->partCount()));
    m_output->editFinished();
    return parts->partCount() + 1;
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageBinaryTools : out of memory.");
}

int ArvoImageBinaryTools::labelImage(ArvoImage3D* in, ArvoImage3D* out)
try {
    if (!canLabel(in, out))
        return 0;
    const LabelledRuns::Mask mask(*in);
    const auto object = LabelledRuns::of(mask, Neighbours::Face);
    const auto background = LabelledRuns::of(mask, Neighbours::Face, Voxels::Zero);
    if (!object || !background)
        return 0;
    const auto objectNumbers = numbersFrom(0, object->partCount());
    const auto backgroundNumbers = numbersFrom(object->partCount(), background->partCount());
    const frame::VolumeView<short> labels(*out);
    object->paint(labels, objectNumbers);
    background->paintOver(labels, backgroundNumbers);
    out->editFinished();
    return object->partCount() + background->partCount();
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageBinaryTools : out of memory.");
}
