#include "arvo/platform/data/Histogram.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/voxelops/ArvoImage3DConvertor.h"
#include "arvo/voxelops/ArvoImage3DOperations.h"
#include "arvo/voxelops/CalculateSurfaceHistogram.h"
#include "arvo/voxelops/CalculateVolume.h"
#include "arvo/voxelops/FloatedBinnedHistogram.h"
#include "arvo/voxelops/Image3DReplaceVoxels.h"
#include "arvo/voxelops/Image3DReplaceVoxelsHelper.h"
#include "arvo/voxelops/Image3DSortHelper.h"
#include "arvo/voxelops/Image3DStatistics.h"
#include "arvo/voxelops/OtsuThreshold.h"
#include "trust/Operations.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <stdexcept>

namespace trust {

namespace {

using Ops = ArvoImage3DOperations;

bool sampleSurface(Call& c)
{
    float points[] = {0.5f, 1.0f, 1.5f, c.f, c.f, c.f};
    float normals[] = {0.0f, 0.0f, 1.0f, c.f, 1.0f, -c.f};
    CalculateSurfaceHistogram surface;
    surface.setImage(c.a);
    surface.setSurface(points, normals, std::min(c.i, 2));
    surface.setNumberOfSteps(std::min(c.i, 100));
    surface.setStepSize(c.f);
    const bool success = executed(surface, c);
    const std::unique_ptr<Histogram> histogram(surface.getHistogram());
    return success;
}

bool countValues(Call& c)
{
    if (!c.a || !c.a->isValid())
        return false;
    try {
        Histogram histogram(c.f > 0.0f, c.i);
        const int count = c.a->imageSize().x * c.a->imageSize().y;
        histogram.addData(c.a->dataPtr(), c.a->imageSize().z > 0 ? count : c.i & INT32_MIN,
                          conversions::toHistogramDataType(c.a->dataType()));
        histogram.addData(nullptr, c.i, static_cast<HistogramDataType>(c.i));
        return !histogram.getHistogram().isEmpty();
    } catch (const std::bad_alloc&) { // documented
        return false;
    }
}

bool binVoxels(Call& c)
{
    if (!c.a)
        return false;
    const auto bins = static_cast<std::uint64_t>(c.i);
    const auto histogram = image3d::FloatedBinnedHistogram::computeHistogram(*c.a, -10.0, double{c.f}, bins);
    try {
        return histogram[c.f] > 0;
    } catch (const std::out_of_range&) { // documented
        return false;
    }
}

void addStatistics(Operations& list)
{
    for (const int method : {0, 1, 2, 3, 4, 5, -1})
        list.push_back({"Image3DStatistics, method " + std::to_string(method), 1, NOTHING, 1, false,
                        method >= 0 && method < 4, [method](Call& c) {
                            Image3DStatistics statistics(
                                static_cast<Image3DStatisticsMethod::Method>(method));
                            statistics.setInputImage(c.a);
                            return executed(statistics, c);
                        }});
    list.push_back({"Image3DSortHelper", 1, NOTHING, 1, true, false, [](Call& c) {
                        return c.a && withElement(c, [&](auto element) {
                                   using Helper = Image3DSortHelper<typename decltype(element)::type>;
                                   return !Helper::calculateSortedValues(*c.a, 0, c.i, c.cancel).empty() &&
                                          !Helper::calculateNonZeroSortedValues(*c.a, std::min(c.i, 0), c.i,
                                                                                c.cancel)
                                               .empty();
                               });
                    }});
    list.push_back({"CalculateSurfaceHistogram", 1, NOTHING, 1, false, true, sampleSurface});
    list.push_back({"FloatedBinnedHistogram", 1, NOTHING, 1, true, true, binVoxels});
    list.push_back({"OtsuThreshold", 1, NOTHING, 1, true, true,
                    [](Call& c) { return c.a && OtsuThreshold::calculate(*c.a, c.cancel).has_value(); }});
    list.push_back({"CalculateVolume", 1, NOTHING, 1, true, false,
                    [](Call& c) { return c.a && CalculateVolume::calculate(*c.a) > 0.0f; }});
    list.push_back({"Histogram", 1, NOTHING, 1, true, false, countValues});
}

} // namespace

void addVoxelOperations(Operations& list)
{
    const auto add = [&](const char* name, int inputs, int changes, std::function<bool(Call&)> run) {
        list.push_back({name, inputs, changes, 1, false, false, std::move(run)});
    };
    add("add", 2, FIRST, [](Call& c) { return Ops::add(c.a, c.b), false; });
    add("subtract", 2, FIRST, [](Call& c) { return Ops::subtract(c.a, c.b), false; });
    add("min", 2, FIRST, [](Call& c) {
        if (c.a && c.b)
            Ops::min(*c.a, *c.b);
        else
            qWarning("no reference to nothing");
        return false;
    });
    add("max", 2, FIRST, [](Call& c) {
        if (c.a && c.b)
            Ops::max(*c.a, *c.b);
        else
            qWarning("no reference to nothing");
        return false;
    });
    add("applyMask", 2, FIRST, [](Call& c) { return Ops::applyMask(c.a, c.b), false; });
    add("clipAndRescale", 1, FIRST,
        [](Call& c) { return Ops::clipAndRescale(c.a, c.i, 100, c.i / -2, c.i, c.i), false; });
    add("clipAndRescale, a narrow window", 1, FIRST,
        [](Call& c) { return Ops::clipAndRescale(c.a, c.i, 3, 0, c.i, c.i), false; });
    add("clipAndRescale, swapped", 1, FIRST,
        [](Call& c) { return Ops::clipAndRescale(c.a, 100, c.i, c.i, c.i / 3, 7), false; });
    add("invert", 1, FIRST, [](Call& c) { return Ops::invert(c.a), false; });
    add("invertSign", 1, FIRST, [](Call& c) { return Ops::invertSign(c.a), false; });
    add("normalizeIntensity", 1, FIRST, [](Call& c) {
        if (c.a)
            Ops::normalizeIntensity(*c.a);
        else
            qWarning("no reference to nothing");
        return false;
    });
    add("countNonZero", 1, NOTHING, [](Call& c) { return Ops::countNonZero(c.a) > 0; });
    list.push_back({"isAllZeros", 1, NOTHING, 1, true, false, // an invalid volume has no voxel that is not 0
                    [](Call& c) { return Ops::isAllZeros(c.a); }});
    add("getBoundingBox", 1, NOTHING, [](Call& c) {
        const std::unique_ptr<int[]> box(Ops::getBoundingBox(c.a, c.i, c.i));
        return box != nullptr;
    });
    list.push_back({"Image3DReplaceVoxels", 2, FIRST, 1, false, true, [](Call& c) {
                        Image3DReplaceVoxels replace;
                        replace.setInputImage(c.a);
                        replace.setMaskImage(c.b);
                        replace.setReplaceValue(c.f);
                        return executed(replace, c);
                    }});
    list.push_back(
        {"Image3DReplaceVoxelsHelper", 2, FIRST, 1, true, true, [](Call& c) {
             return c.a && c.b && withElement(c, [&](auto element) {
                        using Helper = Image3DReplaceVoxelsHelper<typename decltype(element)::type>;
                        return Helper::replaceVoxels(*c.a, *c.b, c.f, std::min(c.i, 0), c.i, c.cancel);
                    });
         }});
    list.push_back({"convert", 2, SECOND, 1, true, false, // an invalid volume has no voxels to convert
                    [](Call& c) { return ArvoImage3DConvertor::convert(c.a, c.b, c.i); }});
    for (const int target : {-1, 0, 1, 5, 7})
        list.push_back(
            {"convertToCopy, type " + std::to_string(target), 1, NOTHING, 2, false, true, [target](Call& c) {
                 return ArvoImage3DConvertor::convertToCopy(c.a, static_cast<image::DataType>(target), c.i) !=
                        nullptr;
             }});
    addStatistics(list);
}

} // namespace trust
