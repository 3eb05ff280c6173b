// Reads a CT, marks the bone by a threshold of its own and lets the library take the marked voxels out, on all cores.
#include "support/Picture.h"
#include "support/VolumeFile.h"

#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/voxelops/Image3DReplaceVoxels.h"

#include <QDir>

#include <chrono>
#include <cstdio>

namespace {

constexpr int BONE = 300; // Hounsfield units
constexpr float SOFT_TISSUE = 40.0f;

/// 1 where the voxel is bone.
std::size_t markBone(const ArvoImage3D& ct, ArvoImage3D& mask)
{
    const math::Ivec3 size = ct.imageSize();
    std::size_t count = 0;
    char* out = mask.dataPtr();
    for (int z = 0; z < size.z; ++z) {
        for (int y = 0; y < size.y; ++y) {
            for (int x = 0; x < size.x; ++x) {
                const bool isBone = ct.getValue(x, y, z) > BONE;
                *out++ = isBone;
                count += isBone;
            }
        }
    }
    mask.editFinished();
    return count;
}

bool savePicture(const ArvoImage3D& ct, const QString& path)
{
    const math::Ivec3 size = ct.imageSize();
    const math::Range<float> window(-200.0f, 1200.0f);
    const QImage picture =
        host::sideBySide({host::slicePicture(ct, host::Plane::Axial, size.z / 3, window),
                          host::slicePicture(ct, host::Plane::Coronal, size.y / 2, window),
                          host::slicePicture(ct, host::Plane::Sagittal, size.x / 2, window)});
    std::printf("  %s\n", qPrintable(path));
    return picture.save(path);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: replace_skull VOLUME OUTPUT_FOLDER\n");
        return 2;
    }
    const host::LoadedVolume loaded = host::readVolume(argv[1]);
    if (!loaded.image) {
        std::fprintf(stderr, "%s\n", loaded.problem.c_str());
        return 1;
    }
    ArvoImage3D& ct = *loaded.image;
    const math::Ivec3 size = ct.imageSize();
    std::printf("read %d x %d x %d voxels of %.3f x %.3f x %.3f mm\n", size.x, size.y, size.z,
                static_cast<double>(ct.voxelSize().x()), static_cast<double>(ct.voxelSize().y()),
                static_cast<double>(ct.voxelSize().z()));

    const QDir output(QString::fromLocal8Bit(argv[2]));
    if (!output.mkpath(".")) {
        std::fprintf(stderr, "%s: cannot be made\n", argv[2]);
        return 1;
    }
    ArvoImage3D mask(size, ct.voxelSize(), image::Binary);
    if (!mask.isValid()) {
        std::fprintf(stderr, "no memory for the mask\n");
        return 1;
    }
    std::printf("pictures of an axial, a coronal and a sagittal slice:\n");
    bool isSaved = savePicture(ct, output.filePath("before.png"));
    const std::size_t boneVoxels = markBone(ct, mask);

    const std::atomic<bool> cancel{false};
    Image3DReplaceVoxels replace;
    replace.setInputImage(&ct);
    replace.setMaskImage(&mask);
    replace.setReplaceValue(SOFT_TISSUE);
    const auto begin = std::chrono::steady_clock::now();
    replace.execute(cancel);
    const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - begin;

    isSaved = savePicture(ct, output.filePath("after.png")) && isSaved;
    std::printf("replaced %zu bone voxels (above %d) by %.0f in %.2f ms on %d threads\n", boneVoxels, BONE,
                static_cast<double>(SOFT_TISSUE), elapsed.count(), threading::idealThreadCount());
    return replace.isSuccess() && isSaved ? 0 : 1;
}
