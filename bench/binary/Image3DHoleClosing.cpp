#include "arvo/binary/Image3DHoleClosing.h"

#include "arvo/frame/VolumeView.h"

#include "support/Inputs.h"
#include "support/Phantom.h"
#include "support/Workload.h"

namespace {

const std::atomic<bool> neverCancelled{false};

/// A shell between 72 and 80 percent of the half edge with a hole of random size in about every second cell of a
/// raster of 16 voxels: hundreds of tunnels into one cavity.
ArvoImage3D shellWithHoles(int edge)
{
    ArvoImage3D mask(math::Ivec3(edge, edge, edge), QVector3D(1.0f, 1.0f, 1.0f), image::Binary);
    const auto bits = [](int value) { return static_cast<std::uint32_t>(value); };
    unsigned char* next = frame::VolumeView<unsigned char>(mask).data();
    for (int z = 0; z < edge; ++z) {
        for (int y = 0; y < edge; ++y) {
            for (int x = 0; x < edge; ++x) {
                const phantom::Centred p{2 * x + 1 - edge, 2 * y + 1 - edge, 2 * z + 1 - edge, edge};
                const bool isShell = phantom::inEllipsoid(p, 0, 0, 0, 80, 80, 80) &&
                                     !phantom::inEllipsoid(p, 0, 0, 0, 72, 72, 72);
                const std::uint32_t h = phantom::hash(bits(x >> 4), bits(y >> 4), bits(z >> 4), 301);
                const int radius2 = static_cast<int>(h >> 8 & 31);
                const int dx = (x & 15) - 8, dy = (y & 15) - 8, dz = (z & 15) - 8;
                const bool isHole = h % 2 == 0 && dx * dx + dy * dy + dz * dz <= radius2;
                *next++ = isShell && !isHole;
            }
        }
    }
    mask.editFinished();
    return mask;
}

const bool registered = bench::workload(
    {.name = "holeclosing_shell"},
    [](int edge) {
        static const ArvoImage3D shell = shellWithHoles(edge);
        return inputs::copyOf(shell);
    },
    [](ArvoImage3D& mask) {
        Image3DHoleClosing closing;
        closing.setInputImage(&mask);
        closing.execute(neverCancelled);
        const std::unique_ptr<ArvoImage3D> closed(closing.takeClosedImage());
        benchmark::DoNotOptimize(closed.get());
    });

} // namespace
