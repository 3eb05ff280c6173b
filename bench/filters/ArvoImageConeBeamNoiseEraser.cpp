#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"

#include "arvo/binary/ArvoImageBinaryTools.h"

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

struct Marking {
    const ArvoImage3D& image;
    ArvoImage3D mask;
    ArvoImage3D labels;
};

/// What the eraser is compared with: the same volume thresholded, eroded and labelled, once and whole.
void thresholdErodeLabel(Marking& marking)
{
    marking.mask.createFrom(&marking.image, image::Binary);
    marking.labels.createFrom(&marking.image, image::Int16);
    ArvoImageBinaryTools::thresholdFilter(marking.image, marking.mask, 276.0f, true);
    ArvoImageBinaryTools tools;
    tools.setInput(&marking.mask);
    tools.setOutput(&marking.mask);
    tools.erodeZ(2);
    tools.setOutput(&marking.labels);
    tools.label(ArvoImageBinaryTools::LABEL_DIAGONAL);
}

const bool registered[] = {
    bench::workload(
        {.name = "threshold_erode_label_i16"},
        [](int edge) {
            return Marking{inputs::ct16(edge), {}, {}};
        },
        thresholdErodeLabel),
    bench::workload(
        {.name = "noiseeraser_i16"}, [](int edge) { return inputs::copyOf(inputs::ct16(edge)); }, eraseNoise),
};

} // namespace
