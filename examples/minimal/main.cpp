// The smallest host: makes a volume, smooths it, finds the largest bright part and prints how large it is.
#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/platform/image/ArvoImage3D.h"

#include <atomic>
#include <cstdio>

namespace {

// Voxels are laid out x fastest, then y, then z; each axial slice is one block of memory.
void paintBall(ArvoImage3D& ct, int cx, int cy, int cz, int radius, short value)
{
    const math::Ivec3 size = ct.imageSize();
    for (int z = 0; z < size.z; ++z) {
        auto* slice = reinterpret_cast<short*>(ct.getAxialSlice(z));
        for (int y = 0; y < size.y; ++y) {
            for (int x = 0; x < size.x; ++x) {
                const int dx = x - cx, dy = y - cy, dz = z - cz;
                if (dx * dx + dy * dy + dz * dz <= radius * radius)
                    slice[y * size.x + x] = value;
            }
        }
    }
    ct.editFinished(); // voxels were changed through a pointer
}

} // namespace

int main()
{
    ArvoImage3D ct({96, 80, 64}, {0.5f, 0.5f, 0.5f}, image::Int16); // 0.5 mm voxels
    ArvoImage3D smooth(ct.imageSize(), ct.voxelSize(), image::Int16);
    ArvoImage3D bone(ct.imageSize(), ct.voxelSize(), image::Binary);
    if (!ct.isValid() || !smooth.isValid() || !bone.isValid())
        return 1;
    ct.zeroSlices();
    paintBall(ct, 40, 40, 32, 20, 1200);
    paintBall(ct, 85, 10, 10, 5, 1200);

    const std::atomic<bool> cancel{false}; // another thread may raise it
    ArvoImageGaussianSmooth gauss;
    gauss.setInput(&ct);
    gauss.setOutput(&smooth);
    gauss.setStandardDeviation({1.0f, 1.0f, 1.0f});

    int parts = 0;
    ArvoImageBinaryTools tools;
    tools.setInput(&bone);
    tools.setOutput(&bone);
    if (!gauss.execute(cancel) || !ArvoImageBinaryTools::thresholdFilter(smooth, bone, 600.0f, true) ||
        !tools.keepLargestPart(&parts))
        return 1;

    const double voxel = 0.5 * 0.5 * 0.5;
    const auto voxels = static_cast<double>(ArvoImageBinaryTools::countNonZeroVoxels(bone));
    std::printf("%d parts; the largest has %.0f voxels, %.2f ml\n", parts - 1, voxels,
                voxels * voxel / 1000.0);
}
