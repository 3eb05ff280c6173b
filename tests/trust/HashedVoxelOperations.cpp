#include "trust/ResultHashes.h"

#include "arvo/platform/data/Histogram.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/voxelops/ArvoImage3DConvertor.h"
#include "arvo/voxelops/ArvoImage3DOperations.h"
#include "arvo/voxelops/CalculateSurfaceHistogram.h"
#include "arvo/voxelops/CalculateVolume.h"
#include "arvo/voxelops/FloatedBinnedHistogram.h"
#include "arvo/voxelops/Image3DReplaceVoxels.h"
#include "arvo/voxelops/Image3DReplaceVoxelsWorker.h"
#include "arvo/voxelops/Image3DSortHelper.h"
#include "arvo/voxelops/Image3DStatistics.h"
#include "arvo/voxelops/Image3DStatisticsWorker.h"
#include "arvo/voxelops/OtsuThreshold.h"

namespace trust {

namespace {

const std::atomic<bool> never{false};
using Operations = ArvoImage3DOperations;

void hashArithmetic(Results& results, const math::Ivec3& size, image::DataType type)
{
    const ArvoImage3D a = fixedVolume(size, type, 1);
    ArvoImage3D b = fixedVolume(size, type, 2);
    ArvoImage3D mask = fixedMask(size, 3);
    const auto changed = [&](const char* name, const std::function<void(ArvoImage3D&)>& change) {
        ArvoImage3D volume = copyOf(a);
        change(volume);
        results.add(name + nameOf(type, size), &volume);
    };
    changed("add", [&](ArvoImage3D& volume) { Operations::add(&volume, &b); });
    changed("subtract", [&](ArvoImage3D& volume) { Operations::subtract(&volume, &b); });
    changed("min", [&](ArvoImage3D& volume) { Operations::min(volume, b); });
    changed("max", [&](ArvoImage3D& volume) { Operations::max(volume, b); });
    if (type != image::UInt16)
        changed("apply_mask", [&](ArvoImage3D& volume) { Operations::applyMask(&volume, &mask); });
    if (type == image::Int16 || type == image::Float32)
        changed("invert_sign", [](ArvoImage3D& volume) { Operations::invertSign(&volume); });
    if (type == image::Float32) {
        changed("normalize_intensity", [](ArvoImage3D& volume) { Operations::normalizeIntensity(volume); });
        changed("invert", [](ArvoImage3D& volume) {
            Operations::normalizeIntensity(volume);
            Operations::invert(&volume);
        });
    } else {
        changed("clip_and_rescale",
                [](ArvoImage3D& volume) { Operations::clipAndRescale(&volume, 10, 400, 3, 220, 7); });
        results.addValue("count_non_zero" + nameOf(type, size), Operations::countNonZero(&a));
        const std::unique_ptr<int[]> box(Operations::getBoundingBox(&b, 150, 4));
        Hash hash;
        hash.addBytes(box.get(), 6 * sizeof(int));
        results.add("bounding_box" + nameOf(type, size), hash);
    }
    results.addValue("is_all_zeros" + nameOf(type, size), Operations::isAllZeros(&b));
}

void hashConversions(Results& results, const math::Ivec3& size, image::DataType type)
{
    const ArvoImage3D volume = fixedVolume(size, type, 1);
    for (const image::DataType target : {image::Int16, image::Float32}) {
        const auto converted = ArvoImage3DConvertor::convertToCopy(&volume, target, 3);
        results.add(std::string("convert_to_") + nameOf(target) + nameOf(type, size), converted.get());
    }
}

void hashReplacement(Results& results, const math::Ivec3& size, image::DataType type)
{
    const std::string name = "replace" + nameOf(type, size);
    ArvoImage3D mask = fixedMask(size, 3);
    ArvoImage3D volume = fixedVolume(size, type, 1);
    Image3DReplaceVoxels replace;
    replace.setInputImage(&volume);
    replace.setMaskImage(&mask);
    replace.setReplaceValue(77.5f);
    replace.execute(never);
    results.add(name, &volume);

    forEachCut(
        size.z, [&] { volume = fixedVolume(size, type, 1); },
        [&](int, int) {
            auto worker = std::make_unique<Image3DReplaceVoxelsWorker>();
            worker->setImages(&volume, nullptr);
            worker->setMaskImage(&mask);
            worker->setReplaceValue(77.5f);
            return worker;
        },
        [&](int, const Workers&) { results.add(name, &volume); });
}

void hashStatistics(Results& results, const math::Ivec3& size, image::DataType type)
{
    using Method = Image3DStatisticsMethod;
    ArvoImage3D volume = fixedVolume(size, type, 1);
    const auto calculated = [&](Method::Method method, const std::string& name) {
        Image3DStatistics statistics(method);
        statistics.setInputImage(&volume);
        statistics.execute(never);
        results.addValue(name, statistics.getValue());
    };
    const auto [count, slices] = threading::calculateNumThreads(size.z);
    const auto named = [&](const char* method, int workers) {
        return method + nameOf(type, size) + "/workers=" + std::to_string(workers);
    };
    calculated(Method::Mean, named("mean", count));
    calculated(Method::MeanOfNonZeroValues, named("mean_non_zero", count));
    calculated(Method::Median, "median" + nameOf(type, size));
    calculated(Method::MedianOfNonZeroValues, "median_non_zero" + nameOf(type, size));

    forEachCut(
        size.z, [] {},
        [&](int, int) {
            auto worker = std::make_unique<Image3DStatisticsWorker>(Method::Mean);
            worker->setImages(&volume, nullptr);
            return worker;
        },
        [&](int, const Workers& workers) {
            double mean = 0.0;
            for (const auto& worker : workers)
                mean += static_cast<const Image3DStatisticsWorker&>(*worker).getPartialResult();
            results.addValue(named("mean", static_cast<int>(workers.size())), mean);
        });
}

template <class T> void hashSorting(Results& results, const math::Ivec3& size, image::DataType type)
{
    ArvoImage3D volume = fixedVolume(size, type, 1);
    const auto add = [&](const char* name, const std::vector<float>& values) {
        Hash hash;
        hash.addFloats(values.data(), values.size());
        results.add(name + nameOf(type, size), hash);
    };
    add("sorted", Image3DSortHelper<T>::calculateSortedValues(volume, 1, size.z - 2, never));
    add("sorted_non_zero", Image3DSortHelper<T>::calculateNonZeroSortedValues(volume, 1, size.z - 2, never));
}

void hashCounts(Results& results, const math::Ivec3& size, image::DataType type)
{
    ArvoImage3D volume = fixedVolume(size, type, 1);
    const auto threshold = OtsuThreshold::calculate(volume, never);
    results.addValue("otsu" + nameOf(type, size), threshold.value_or(-1.0f));

    if (type == image::Float32) {
        Hash bins;
        for (const auto& [value, count] :
             image3d::FloatedBinnedHistogram::computeHistogram(volume, -40, 50, 64)) {
            bins.add(value);
            bins.add(count);
        }
        results.add("binned_histogram" + nameOf(type, size), bins);
    }

    std::vector<float> points, normals;
    for (int i = 0; i < 300; ++i) {
        points.insert(points.end(), {static_cast<float>(i % 13) / 2.0f, static_cast<float>(i % 11) / 2.0f,
                                     static_cast<float>(i % 7)});
        normals.insert(normals.end(), {static_cast<float>(i % 3 - 1), 0.5f, static_cast<float>(i % 5 - 2)});
    }
    CalculateSurfaceHistogram surface;
    surface.setImage(&volume);
    surface.setSurface(points.data(), normals.data(), 300);
    surface.setNumberOfSteps(5);
    surface.setStepSize(0.25f);
    surface.execute(never);
    const std::unique_ptr<Histogram> histogram(surface.getHistogram());
    Hash counts;
    const QMap<int, int> bars = histogram->getHistogram();
    for (auto bar = bars.begin(); bar != bars.end(); ++bar) {
        counts.add(bar.key());
        counts.add(bar.value());
    }
    results.add("surface_histogram" + nameOf(type, size), counts);
}

} // namespace

void hashVoxelOperations(Results& results)
{
    for (const math::Ivec3& size : fixedSizes()) {
        for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Float32}) {
            hashArithmetic(results, size, type);
            hashReplacement(results, size, type);
            hashStatistics(results, size, type);
            hashCounts(results, size, type);
            image::withElementType(type, image::VoxelTypes{}, nullptr, [&](auto element) {
                hashSorting<typename decltype(element)::type>(results, size, type);
            });
        }
        for (const image::DataType type :
             {image::UInt16, image::Int16, image::UInt8, image::Float32, image::Int32})
            hashConversions(results, size, type);
        ArvoImage3D mask = fixedMask(size, 3);
        results.addValue("volume_of_mask" + nameOf(image::Binary, size), CalculateVolume::calculate(mask));
        Operations::invert(&mask);
        results.add("invert" + nameOf(image::Binary, size), &mask);
    }
}

} // namespace trust
