#include "arvo/geometry/Image3DClipper.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const bool registered[] = {
    bench::workload(
        {.name = "clip_plane_i16", .isThreaded = true, .isScaling = true},
        [](int edge) { return inputs::copyOf(inputs::ct16(edge)); },
        [](ArvoImage3D& image) {
            const auto middle = static_cast<float>(image.imageSize().x) / 2.0f;
            primitives::Plane plane({middle, middle, middle}, {12, 4, -3});
            Image3DClipper clipper;
            clipper.setImageToClip(&image);
            clipper.setClipPlane(&plane);
            clipper.clip();
        }),
};

} // namespace
