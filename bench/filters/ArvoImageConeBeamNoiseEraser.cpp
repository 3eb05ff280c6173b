#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

/// In place, with a disc of 3/4 of the width: the head's shell and its specks reach beyond it.
void eraseNoise(ArvoImage3D& image)
{
    ArvoImageConeBeamNoiseEraser eraser;
    eraser.setInput(&image);
    eraser.setOutput(&image);
    eraser.setRadius(image.imageSize().x / 8);
    eraser.execute();
}

const bool registered[] = {
    bench::workload(
        {.name = "noiseeraser_i16"}, [](int edge) { return inputs::copyOf(inputs::ct16(edge)); }, eraseNoise),
};

} // namespace
