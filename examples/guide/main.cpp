// The code of docs/GUIDE.md. Each function is shown there as it stands here.
#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/Image3DHoleClosing.h"
#include "arvo/binary/Image3DKeepConnectedPart.h"
#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/geometry/MainDirectionsCalculator.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/Image2D.h"
#include "arvo/platform/threading/ThreadProgress.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "arvo/voxelops/ArvoImage3DConvertor.h"
#include "arvo/voxelops/CalculateVolume.h"
#include "arvo/voxelops/Image3DStatistics.h"
#include "arvo/voxelops/OtsuThreshold.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

namespace {

const std::atomic<bool> cancel{false};

std::unique_ptr<ArvoImage3D> segmentBone(ArvoImage3D& ct)
{
    ArvoImage3D smooth(ct.imageSize(), ct.voxelSize(), ct.dataType());
    ArvoImageGaussianSmooth gauss;
    gauss.setInput(&ct);
    gauss.setOutput(&smooth);
    gauss.setRadius({2, 2, 2});
    gauss.setStandardDeviation({0.8f, 0.8f, 0.8f}); // in voxels
    if (!gauss.execute(cancel))
        return nullptr;

    const auto threshold = OtsuThreshold::calculate(smooth, cancel);
    auto mask = std::make_unique<ArvoImage3D>(ct.imageSize(), ct.voxelSize(), image::Binary);
    if (!threshold || !ArvoImageBinaryTools::thresholdFilter(smooth, *mask, *threshold, true))
        return nullptr;
    return mask;
}

std::unique_ptr<ArvoImage3D> closedLargestPart(ArvoImage3D& mask)
{
    Image3DKeepConnectedPart keep(mask, Image3DKeepConnectedPart::KEEP_LARGEST_PARTS,
                                  Image3DKeepConnectedPart::DIAGONAL);
    keep.setRelativeTolerance(0.5f); // parts of at least half the size of the largest
    keep.execute(cancel);
    const std::unique_ptr<ArvoImage3D> largest = keep.takeBinaryOutputImage();
    if (!largest)
        return nullptr;

    Image3DHoleClosing closing;
    closing.setInputImage(largest.get());
    closing.execute(cancel);
    return std::unique_ptr<ArvoImage3D>(closing.isSuccess() ? closing.takeClosedImage() : nullptr);
}

void removeSpecks(ArvoImage3D& ct)
{
    ArvoImageConeBeamNoiseEraser eraser;
    eraser.setInput(&ct);
    eraser.setOutput(&ct); // in place
    eraser.setRadius(4);   // the field of view ends 4 voxels before the border of the slice
    eraser.setBoneThreshold(300);
    eraser.execute();
}

void measure(ArvoImage3D& ct, ArvoImage3D& mask)
{
    Image3DStatistics median(Image3DStatisticsMethod::Median);
    median.setInputImage(&ct);
    median.execute(cancel);

    MainDirectionsCalculator directions;
    directions.setImage(&ct);
    directions.setThreshold(300);
    if (!median.isSuccess() || !directions.execute())
        return;
    const float* centre = directions.getMassCenter(); // mm; owned by the calculator
    std::printf("volume %.1f ml, median %.1f, centre %.1f %.1f %.1f mm\n",
                static_cast<double>(CalculateVolume::calculate(mask)) / 1000.0, median.getValue(),
                static_cast<double>(centre[0]), static_cast<double>(centre[1]),
                static_cast<double>(centre[2]));
}

Image2D brightestAlongY(ArvoImage3D& ct)
{
    const math::Ivec3 size = ct.imageSize();
    std::vector<float> columns, rows, steps;
    for (int x = 0; x < size.x; ++x) {
        columns.insert(columns.end(), {static_cast<float>(x), 0.0f, 0.0f}); // added to the origin, in voxels
        steps.insert(steps.end(), {0.0f, 1.0f, 0.0f});                      // one step along the ray
    }
    for (int z = size.z - 1; z >= 0; --z) // the head up
        rows.insert(rows.end(), {0.0f, 0.0f, static_cast<float>(z)});

    float origin[] = {0.0f, 0.5f * static_cast<float>(size.y), 0.0f}; // the plane in the middle of the slab
    Image2D picture(size.x, size.z, Image2D::Float32, {1, 1, 1}, true);
    ArvoImage3DReslicer::loadMIPReslice(&ct, origin, columns.data(), rows.data(), size.x, size.z,
                                        steps.data(), size.y, picture, nullptr,
                                        ArvoImage3DEnums::MIP_COMPARE_MAXIMUM);
    return picture;
}

bool closeHolesWithProgress(ArvoImage3D& mask, std::atomic<bool>& stop)
{
    ThreadProgress progress;
    Image3DHoleClosing closing;
    closing.setInputImage(&mask);
    closing.setProgress(&progress);

    std::thread worker([&] { closing.execute(stop); });
    // The host's own thread stays free: draw progress.value() of progress.total(); set `stop` to cancel.
    worker.join();
    return closing.isSuccess();
}

ArvoImage3D ballInAir()
{
    ArvoImage3D ct({64, 56, 60}, {0.5f, 0.5f, 0.5f}, image::Int16);
    for (int z = 0; z < 60; ++z) {
        auto* slice = reinterpret_cast<short*>(ct.getAxialSlice(z));
        for (int y = 0; y < 56; ++y) {
            for (int x = 0; x < 64; ++x) {
                const int d2 = (x - 32) * (x - 32) + (y - 28) * (y - 28) + (z - 30) * (z - 30);
                slice[y * 64 + x] = d2 <= 400 && d2 >= 144 ? 1200 : -1000; // a hollow ball
            }
        }
    }
    ct.editFinished();
    return ct;
}

} // namespace

int main()
{
    ArvoImage3D ct = ballInAir();
    removeSpecks(ct);
    const auto bone = segmentBone(ct);
    const auto closed = bone ? closedLargestPart(*bone) : nullptr;
    if (!closed)
        return 1;
    measure(ct, *bone);
    measure(ct, *closed);
    std::atomic<bool> stop{false};
    const Image2D picture = brightestAlongY(ct);
    return closeHolesWithProgress(*bone, stop) && picture.isValid() ? 0 : 1;
}
