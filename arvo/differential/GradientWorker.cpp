#include "arvo/differential/GradientWorker.h"

#include "arvo/differential/DifferentialHelper.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/threading/ThreadProgress.h"

GradientWorker::GradientWorker(int direction, QObject* parent) : SliceWorker(parent), m_direction(direction)
{
}

void GradientWorker::processSlices()
{
    const ArvoImage3D& input = getInputImage();
    ArvoImage3D& output = getOutputImage();
    if (output.dataType() != image::Float32 || !frame::haveEqualSize(input, output)) {
        frame::refuse("GradientWorker : input and/or output image is not correct.");
        return;
    }
    if (!isRangeInside()) {
        frame::refuse("GradientWorker : the slices lie outside the volume.");
        return;
    }
    const bool isDone = image::withElementType(
        input.dataType(), image::VoxelTypes{},
        "GradientWorker : not implemented for the given input image data type.", [&](auto element) {
            using Helper = DifferentialHelper<typename decltype(element)::type>;
            constexpr decltype(&Helper::calculateGradientX) drivers[] = {
                Helper::calculateGradientX, Helper::calculateGradientY, Helper::calculateGradientZ};
            if (m_direction < 0 || m_direction > 2)
                return true;
            for (int z = getStartSlice(); z <= getStopSlice(); ++z) {
                if (!drivers[m_direction](input, output, z, z, getCancelFlag()))
                    return false;
                if (m_progress)
                    m_progress->advance();
            }
            return true;
        });
    if (isDone && !getCancelFlag().load())
        succeeded();
}
