#include "arvo/platform/data/Histogram.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "arvo/voxelops/ArvoImage3DConvertor.h"
#include "arvo/voxelops/ArvoImage3DOperations.h"
#include "arvo/voxelops/CalculateSurfaceHistogram.h"
#include "arvo/voxelops/CalculateVolume.h"
#include "arvo/voxelops/FloatedBinnedHistogram.h"
#include "arvo/voxelops/Image3DReplaceVoxels.h"
#include "arvo/voxelops/Image3DReplaceVoxelsHelper.h"
#include "arvo/voxelops/Image3DReplaceVoxelsWorker.h"
#include "arvo/voxelops/Image3DSortHelper.h"
#include "arvo/voxelops/Image3DStatistics.h"
#include "arvo/voxelops/Image3DStatisticsWorker.h"
#include "arvo/voxelops/OtsuThreshold.h"
#include "trust/SliceWorkers.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace trust {

namespace {

using Ops = ArvoImage3DOperations;
using Method = Image3DStatisticsMethod;

constexpr image::DataType SIGNED[] = {image::Int16, image::Float32};
constexpr image::DataType MASKED[] = {image::Int16, image::UInt8, image::Float32};

ArvoImage3D normalized(const math::Ivec3& size, image::DataType type)
{
    ArvoImage3D volume = fixedInput(size, type);
    Ops::normalizeIntensity(volume);
    return volume;
}

void addArithmetic(Operations& table)
{
    constexpr unsigned CHANGES_BY_SECOND = TAKES_TWO | CHANGES_A;
    table.add("add", CHANGES_BY_SECOND, {GREYS, fixedInput, otherVolume()},
              [](Call& c) { Ops::add(c.a, c.b); });
    table.add("subtract", CHANGES_BY_SECOND, {GREYS, fixedInput, otherVolume()},
              [](Call& c) { Ops::subtract(c.a, c.b); });
    table.add("min", CHANGES_BY_SECOND, {GREYS, fixedInput, otherVolume()}, [](Call& c) {
        if (isGiven(c, true))
            Ops::min(*c.a, *c.b);
    });
    table.add("max", CHANGES_BY_SECOND, {GREYS, fixedInput, otherVolume()}, [](Call& c) {
        if (isGiven(c, true))
            Ops::max(*c.a, *c.b);
    });
    table.add("apply_mask", CHANGES_BY_SECOND, {MASKED, fixedInput, maskFor()},
              [](Call& c) { Ops::applyMask(c.a, c.b); });
    table.add("clip_and_rescale", CHANGES_A, {INTEGERS}, [](Call& c) {
        const int n[] = {c.whole(10), c.whole(400), c.whole(3), c.whole(220), c.whole(7)};
        Ops::clipAndRescale(c.a, n[0], n[1], n[2], n[3], n[4]);
    });
    table.add("clipAndRescale, a narrow window", CHANGES_A, [](Call& c) {
        const int i = c.whole(2);
        Ops::clipAndRescale(c.a, i, c.whole(3), 0, i, i);
    });
    table.add("clipAndRescale, swapped", CHANGES_A, [](Call& c) {
        const int i = c.whole(2);
        Ops::clipAndRescale(c.a, c.whole(100), i, i, i / 3, 7);
    });
    table.add("invert", CHANGES_A, {MASK}, [](Call& c) { Ops::invert(c.a); });
    table.add("invert", CHANGES_A, {FLOAT, normalized}, [](Call& c) { Ops::invert(c.a); });
    table.add("invert_sign", CHANGES_A, {SIGNED}, [](Call& c) { Ops::invertSign(c.a); });
    table.add("normalize_intensity", CHANGES_A, {FLOAT}, [](Call& c) {
        if (isGiven(c, false))
            Ops::normalizeIntensity(*c.a);
    });
}

bool sort(Call& c)
{
    return c.a && withElement(c, [&](auto element) {
               using Helper = Image3DSortHelper<typename decltype(element)::type>;
               const auto [first, last] = c.sliceRange(1);
               const auto all = Helper::calculateSortedValues(*c.a, first, last, c.cancel);
               const auto nonZero = Helper::calculateNonZeroSortedValues(*c.a, first, last, c.cancel);
               c.result("sorted").addFloats(all);
               c.result("sorted_non_zero").addFloats(nonZero);
               return !all.empty() && !nonZero.empty();
           });
}

bool sampleSurface(Call& c)
{
    std::vector<float> points, normals;
    for (int i = 0; i < 300; ++i) {
        points.insert(points.end(), {static_cast<float>(i % 13) / 2.0f, static_cast<float>(i % 11) / 2.0f,
                                     static_cast<float>(i % 7)});
        normals.insert(normals.end(), {static_cast<float>(i % 3 - 1), 0.5f, static_cast<float>(i % 5 - 2)});
    }
    c.numbers.reals(points);
    c.numbers.reals(normals);
    CalculateSurfaceHistogram surface;
    surface.setImage(c.a);
    surface.setSurface(points.data(), normals.data(), std::min(c.whole(300), 300));
    surface.setNumberOfSteps(std::min(c.whole(5), 100));
    surface.setStepSize(c.real(0.25f));
    const bool success = executed(surface, c);
    const std::unique_ptr<Histogram> histogram(surface.getHistogram());
    try {
        if (histogram)
            c.result().addBins(histogram->getHistogram());
    } catch (const std::bad_alloc&) { // documented for the container alone
        return false;
    }
    return success;
}

bool countValues(Call& c, bool isCumulative)
{
    if (!c.a || !c.a->isValid())
        return false;
    Histogram histogram(isCumulative, c.whole(7));
    const auto type = conversions::toHistogramDataType(c.a->dataType());
    const auto count = c.a->sizeOfAxialSlice() / image::elementWidth(c.a->dataType());
    for (int z = 0; z < c.slices(); ++z)
        histogram.addData(c.a->getConstAxialSlice(z), static_cast<int>(count), type);
    histogram.addData(c.a->dataPtr(), std::min(c.whole(0), 0), type);
    histogram.addData(nullptr, c.whole(0), static_cast<HistogramDataType>(c.whole(0)));
    c.result().addBins(histogram.getHistogram());
    return !histogram.getHistogram().isEmpty();
}

bool binVoxels(Call& c)
{
    if (!c.a)
        return false;
    const double min = double{c.real(-40.0f)}, max = double{c.real(50.0f)};
    const auto histogram = image3d::FloatedBinnedHistogram::computeHistogram(
        *c.a, min, max, static_cast<std::uint64_t>(c.whole(64)));
    for (const auto& [value, count] : histogram) {
        c.result().add(value);
        c.result().add(count);
    }
    try {
        return histogram[c.real(0.0f)] > 0;
    } catch (const std::out_of_range&) { // documented
        return false;
    }
}

void addCounts(Operations& table)
{
    table.add("count_non_zero", READS_ONE, {INTEGERS}, [](Call& c) {
        const auto count = Ops::countNonZero(c.a);
        c.result().add(count);
        return count > 0;
    });
    table.add("is_all_zeros", SILENT, {GREYS, otherVolume()}, // an invalid volume has no voxel that is not 0
              [](Call& c) { c.result().add(Ops::isAllZeros(c.a)); });
    table.add("bounding_box", READS_ONE, {INTEGERS, otherVolume()}, [](Call& c) {
        const int threshold = c.whole(150);
        const std::unique_ptr<int[]> box(Ops::getBoundingBox(c.a, threshold, c.whole(4)));
        if (box)
            c.result().addBytes(box.get(), 6 * sizeof(int));
    });
    table.add("sorting", SILENT, {GREYS}, sort);
    table.add("surface_histogram", ANSWERS, {GREYS}, sampleSurface);
    table.add("binned_histogram", SILENT | ANSWERS, {FLOAT}, binVoxels);
    table.add("otsu", SILENT | ANSWERS, {GREYS}, [](Call& c) {
        const auto threshold = c.a ? OtsuThreshold::calculate(*c.a, c.cancel) : std::nullopt;
        c.result().add(threshold.value_or(-1.0f));
        return threshold.has_value();
    });
    table.add("volume_of_mask", SILENT, {MASK}, [](Call& c) {
        if (c.a)
            c.result().add(CalculateVolume::calculate(*c.a));
    });
    table.add("histogram", SILENT | THROWS, {STORED}, [](Call& c) { return countValues(c, false); });
    table.add("histogram_cumulative", SILENT | THROWS, {STORED},
              [](Call& c) { return countValues(c, true); });
}

/// The means depend on the number of workers: each divides its own sum.
std::string byWorkers(const std::string& mean, std::size_t workers)
{
    return mean + "/workers=" + std::to_string(workers);
}

void addStatistics(Operations& table)
{
    const auto add = [&](const std::string& name, int method, const Hashed& hashed) {
        const bool isMean = method == Method::Mean || method == Method::MeanOfNonZeroValues;
        table.add(name, hashed.types.empty() ? READS_ONE : ANSWERS, hashed, [=](Call& c) {
            Image3DStatistics statistics(static_cast<Method::Method>(method));
            statistics.setInputImage(c.a);
            const bool success = executed(statistics, c);
            if (!success && statistics.getValue() != 0.0)
                throw std::logic_error("a value without success");
            const auto workers = static_cast<std::size_t>(threading::calculateNumThreads(c.slices()).first);
            c.result(isMean ? byWorkers(name, workers) : "").add(statistics.getValue());
            return success;
        });
        table.add(
            name + ", by workers", ANSWERS | THROWS, method == Method::Mean ? hashed : Hashed{},
            [=](Call& c) {
                Workers workers;
                const bool success = runWorkers(c, workers, [&] {
                    auto worker =
                        std::make_unique<Image3DStatisticsWorker>(static_cast<Method::Method>(method));
                    worker->setImages(c.a, nullptr);
                    return worker;
                });
                double sum = 0.0;
                for (const auto& worker : workers)
                    sum += static_cast<const Image3DStatisticsWorker&>(*worker).getPartialResult();
                c.result(byWorkers(name, workers.size())).add(sum);
                return success;
            },
            CUTS);
    };
    add("mean", Method::Mean, {GREYS});
    add("mean_non_zero", Method::MeanOfNonZeroValues, {GREYS});
    add("median", Method::Median, {GREYS});
    add("median_non_zero", Method::MedianOfNonZeroValues, {GREYS});
    for (const int unknown : {-1, 4, 5})
        add("statistics, method " + std::to_string(unknown), unknown, {});
}

void addReplacement(Operations& table)
{
    const Hashed volumeAndMask{GREYS, fixedInput, maskFor()};
    table.add("replace", TAKES_TWO | CHANGES_A | ANSWERS, volumeAndMask, [](Call& c) {
        Image3DReplaceVoxels replace;
        replace.setInputImage(c.a);
        replace.setMaskImage(c.b);
        replace.setReplaceValue(c.real(77.5f));
        return executed(replace, c);
    });
    table.add(
        "replace, by workers", TAKES_TWO | CHANGES_A | ANSWERS, volumeAndMask,
        [](Call& c) {
            const float value = c.real(77.5f);
            Workers workers;
            return runWorkers(c, workers, [&] {
                auto worker = std::make_unique<Image3DReplaceVoxelsWorker>();
                worker->setImages(c.a, nullptr);
                worker->setMaskImage(c.b);
                worker->setReplaceValue(value);
                return worker;
            });
        },
        CUTS);
    table.add("replace, of one type", TAKES_TWO | CHANGES_A | SILENT | ANSWERS, volumeAndMask, [](Call& c) {
        return c.a && c.b && withElement(c, [&](auto element) {
                   using Helper = Image3DReplaceVoxelsHelper<typename decltype(element)::type>;
                   const float value = c.real(77.5f);
                   const auto [first, last] = c.sliceRange();
                   return Helper::replaceVoxels(*c.a, *c.b, value, first, last, c.cancel);
               });
    });
}

void addConversions(Operations& table)
{
    table.add("convert", TAKES_TWO | CHANGES_B | SILENT, // an invalid volume has no voxels to convert
              [](Call& c) { return ArvoImage3DConvertor::convert(c.a, c.b, c.whole(3)); });
    const auto add = [&](const std::string& name, int target, const Hashed& hashed) {
        table.add(name, ANSWERS | WARNS_TWICE, hashed, [target](Call& c) {
            const auto converted =
                ArvoImage3DConvertor::convertToCopy(c.a, static_cast<image::DataType>(target), c.whole(3));
            c.result().addVolume(converted.get());
            return converted != nullptr;
        });
    };
    add("convert_to_i16", image::Int16, {STORED});
    add("convert_to_f32", image::Float32, {STORED});
    for (const int unknown : {-1, 0, 7})
        add("convertToCopy, type " + std::to_string(unknown), unknown, {});
}

} // namespace

void addVoxelOperations(Operations& table)
{
    addArithmetic(table);
    addReplacement(table);
    addConversions(table);
    addCounts(table);
    addStatistics(table);
}

} // namespace trust
