// Pushes a volume of more than 2^31 voxels through the operations and looks for planted voxels, or for the far corner, in
// the results: an offset that is cut to 32 bits anywhere loses or moves them. Not a part of the tests, it needs gigabytes;
// scripts/big-volumes.sh runs it.
//
// usage: arvo_big_volumes [SIDE]      1300 unless given; 8-bit voxels
#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"
#include "arvo/filters/ArvoImageSubsample.h"
#include "arvo/geometry/MassCenterCalculator.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/Image2D.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "arvo/voxelops/ArvoImage3DOperations.h"
#include "arvo/voxelops/Image3DReplaceVoxels.h"
#include "arvo/voxelops/Image3DStatistics.h"
#include "trust/BigVolumeCorners.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

using Reslicer = ArvoImage3DReslicer;

const std::atomic<bool> never{false};
int failures = 0;

void check(const std::string& operation, const std::function<bool()>& body)
{
    const auto start = std::chrono::steady_clock::now();
    const bool isRight = body();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::printf("%-28s %-5s %7.2f s\n", operation.c_str(), isRight ? "right" : "WRONG", taken.count());
    std::fflush(stdout);
    failures += isRight ? 0 : 1;
}

/// Voxels in all corners of the index range: near the start, around the offsets 2^31 and 2^32 / 2, and the last one.
std::vector<math::Ivec3> plantedVoxels(int n)
{
    const auto at = [n](long long offset) {
        const long long slice = 1LL * n * n;
        return math::Ivec3(static_cast<int>(offset % n), static_cast<int>(offset % slice / n),
                           static_cast<int>(offset / slice));
    };
    const long long last = 1LL * n * n * n - 1;
    std::vector<math::Ivec3> planted = {{4, 4, 4}, {n / 2, n / 2, n / 2}, at(last)};
    const long long past = (1LL << 31) + 5;
    if (past + 2LL * n * n < last)
        planted.push_back(at(past));
    return planted;
}

bool hasPlanted(const ArvoImage3D& volume, const std::vector<math::Ivec3>& planted, int value)
{
    return std::ranges::all_of(planted, [&](const math::Ivec3& voxel) {
        return volume.getValue(voxel.x, voxel.y, voxel.z) == value;
    });
}

void checkCounts(ArvoImage3D& volume, const std::vector<math::Ivec3>& planted)
{
    const int n = volume.imageSize().x;
    const auto count = static_cast<std::int64_t>(planted.size());
    check("count", [&] { return ArvoImage3DOperations::countNonZero(&volume) == count; });
    check("value range", [&] { return volume.minValue() == 0 && volume.maxValue() == 200; });
    check("bounding box", [&] {
        const std::unique_ptr<int[]> box(ArvoImage3DOperations::getBoundingBox(&volume, 100, 0));
        return box && box[0] <= 4 && box[1] <= 4 && box[2] == 4 && box[3] == n - 1 && box[4] == n - 1 &&
               box[5] == n - 1;
    });
    using Method = Image3DStatisticsMethod;
    const auto isStatistic = [&](Method::Method method, double expected) {
        Image3DStatistics statistics(method);
        statistics.setInputImage(&volume);
        statistics.execute(never);
        return statistics.isSuccess() && std::abs(statistics.getValue() - expected) <= 1e-12 * expected;
    };
    const double mean = 200.0 * static_cast<double>(count) / (double{1} * n * n * n);
    check("mean", [&] { return isStatistic(Method::Mean, mean); });
    check("mean of non-zero voxels", [&] { return isStatistic(Method::MeanOfNonZeroValues, 200.0); });
    check("median", [&] { return isStatistic(Method::Median, 0.0); });
    check("median of non-zero voxels", [&] { return isStatistic(Method::MedianOfNonZeroValues, 200.0); });
}

void checkMasks(ArvoImage3D& volume, ArvoImage3D& mask, const std::vector<math::Ivec3>& planted)
{
    const int n = volume.imageSize().x;
    check("threshold", [&] {
        return ArvoImageBinaryTools::thresholdFilter(volume, mask, 100.0f, true) &&
               hasPlanted(mask, planted, 1) &&
               ArvoImageBinaryTools::countNonZeroVoxels(mask) == planted.size();
    });
    check("mask bounding box", [&] {
        std::array<int, 3> min{}, max{};
        return ArvoImageBinaryTools::getBoundingBox(&mask, min, max) && min[2] == 4 && max[2] >= n - 1;
    });
    check("replace", [&] {
        Image3DReplaceVoxels replace;
        replace.setInputImage(&volume);
        replace.setMaskImage(&mask);
        replace.setReplaceValue(77.0f);
        replace.execute(never);
        return replace.isSuccess() && hasPlanted(volume, planted, 77) &&
               ArvoImage3DOperations::countNonZero(&volume) == static_cast<std::int64_t>(planted.size());
    });
    check("label", [&] {
        ArvoImage3D labels(mask.imageSize(), mask.voxelSize(), image::Int16);
        ArvoImageBinaryTools tools;
        tools.setInput(&mask);
        tools.setOutput(&labels);
        return labels.isValid() &&
               tools.label(ArvoImageBinaryTools::LABEL_DIAGONAL) == static_cast<int>(planted.size()) + 1 &&
               labels.getValue(n - 1, n - 1, n - 1) == static_cast<int>(planted.size()) &&
               labels.getValue(4, 4, 4) == 1;
    });
}

void checkViews(ArvoImage3D& volume, const std::vector<math::Ivec3>& planted)
{
    const int n = volume.imageSize().x;
    check("slices", [&] {
        std::vector<unsigned char> slice(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
        auto* const pixels = reinterpret_cast<char*>(slice.data());
        return std::ranges::all_of(planted, [&](const math::Ivec3& voxel) {
            const auto pixel = [&](int column, int row) {
                return slice[static_cast<std::size_t>(row) * static_cast<std::size_t>(n) +
                             static_cast<std::size_t>(column)] == 77;
            };
            Reslicer::loadAxialSlices(&volume, voxel.z, 1, pixels);
            const bool isInAxial = pixel(voxel.x, voxel.y);
            Reslicer::loadCoronalSlices(&volume, voxel.y, 1, pixels);
            const bool isInCoronal = pixel(voxel.x, voxel.z);
            Reslicer::loadSagittalSlices(&volume, voxel.x, 1, pixels);
            return isInAxial && isInCoronal && pixel(voxel.y, voxel.z);
        });
    });
    check("oblique slices", [&] {
        return std::ranges::all_of(planted, [&](const math::Ivec3& voxel) {
            std::array origin = {static_cast<float>(voxel.x), static_cast<float>(voxel.y - 2),
                                 static_cast<float>(voxel.z - 2)};
            std::array across = {1.0f, 0.0f, 0.0f}, down = {0.0f, 1.0f, 1.0f};
            std::array size = {1, 3};
            Image2D picture;
            Reslicer::loadReslice2D(&volume, origin.data(), across.data(), down.data(), size.data(),
                                    &picture);
            return picture.isValid() && picture.dataPtr()[1] == 0 && picture.dataPtr()[2] == 77;
        });
    });
    check("maximum projection", [&] {
        return std::ranges::all_of(planted, [&](const math::Ivec3& voxel) {
            const float slice = static_cast<float>(voxel.z - 3);
            std::array origin = {static_cast<float>(voxel.x), static_cast<float>(voxel.y), slice};
            std::array offset = {0.0f, 0.0f, 0.0f}, step = {0.0f, 0.0f, 1.0f};
            Image2D picture(1, 1, Image2D::Float32, {1, 1, 1}, true);
            Reslicer::loadMIPReslice(&volume, origin.data(), offset.data(), offset.data(), 1, 1, step.data(),
                                     8, picture, nullptr, ArvoImage3DEnums::MIP_COMPARE_FUNCTION{});
            const bool isReached = voxel.z < n - 1; // rays end before the last voxel
            return *reinterpret_cast<const float*>(picture.dataPtr()) == (isReached ? 77.0f : 0.0f);
        });
    });
    check("mass centre", [&] {
        MassCenterCalculator centre;
        centre.setImage(&volume);
        bool isRight = centre.execute();
        for (int axis = 0; isRight && axis < 3; ++axis) {
            double sum = 0.0;
            for (const math::Ivec3& voxel : planted)
                sum += double{0.1f} * voxel[axis];
            isRight =
                std::abs(centre.getMassCenter()[axis] - sum / static_cast<double>(planted.size())) < 1e-3;
        }
        return isRight;
    });
    check("subsample by the maximum", [&] {
        ArvoImage3D small;
        ArvoImageSubsample subsample;
        subsample.setInput(&volume);
        subsample.setOutput(&small);
        subsample.setSampleFactor(2, 2, 2);
        return subsample.execute(ArvoImageSubsample::Max, never) &&
               std::ranges::all_of(planted, [&](const math::Ivec3& voxel) {
                   return small.getValue(voxel.x / 2, voxel.y / 2, voxel.z / 2) == 77;
               });
    });
    check("speck eraser", [&] {
        ArvoImageConeBeamNoiseEraser eraser;
        eraser.setInput(&volume);
        eraser.setOutput(&volume);
        eraser.setRadius(2);
        eraser.setBoneThreshold(50);
        return eraser.execute() && std::ranges::all_of(planted, [&](const math::Ivec3& voxel) {
                   const bool isInDisc = voxel.x > n / 4 && voxel.x < n - n / 4;
                   return volume.getValue(voxel.x, voxel.y, voxel.z) == (isInDisc ? 77 : 49);
               });
    });
}

void checkPlanted(int n)
{
    ArvoImage3D volume({n, n, n}, {0.1f, 0.1f, 0.1f}, image::UInt8);
    ArvoImage3D mask({n, n, n}, {0.1f, 0.1f, 0.1f}, image::Binary);
    if (!volume.isValid() || !mask.isValid())
        throw std::bad_alloc();
    const std::vector<math::Ivec3> planted = plantedVoxels(n);
    std::printf("%d^3 voxels of 8 bits, %zu planted\n", n, planted.size());
    volume.zeroSlices();
    volume.changeVoxelValues(planted, 200);
    checkCounts(volume, planted);
    checkMasks(volume, mask, planted);
    checkViews(volume, planted);
}

} // namespace

int main(int argc, char** argv)
{
    const int n = std::max(argc > 1 ? std::atoi(argv[1]) / 2 * 2 : 1300, 2 * big::CORNER);
    checkPlanted(n);
    for (const big::CornerOperation& operation : big::cornerOperations())
        check(operation.name, [&] { return big::isCornerRight(operation, n); });
    return failures == 0 ? 0 : 1;
}
