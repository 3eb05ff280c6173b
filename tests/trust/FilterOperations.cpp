#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"
#include "arvo/filters/ArvoImageCubicFilter.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/filters/ArvoImageResample.h"
#include "arvo/filters/ArvoImageSubsample.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ArvoImage3DInfo.h"
#include "trust/Operations.h"

#include <algorithm>
#include <new>

namespace trust {

namespace {

template <class Filter> Filter filterOn(const Call& c)
{
    Filter filter;
    filter.setInput(c.a);
    filter.setOutput(c.b);
    return filter;
}

bool gaussian(Call& c, bool isDeprecated)
{
    auto gauss = filterOn<ArvoImageGaussianSmooth>(c);
    gauss.setRadius({std::min(c.i, 1000), 1, std::min(c.i, 100)});
    gauss.setStandardDeviation({c.f, 1.0f, c.f});
    return isDeprecated ? gauss.executeDeprecated(c.cancel) : gauss.execute(c.cancel);
}

bool boxMean(Call& c)
{
    const bool isSlow =
        c.i > 2000 && c.i < 1000000; // memory can hold its table, the patience of a test cannot
    if (!c.a || isSlow)
        return false;
    try {
        return ArvoImageCubicFilter::applyCubicFilter(
                   *c.a, {static_cast<unsigned long long>(static_cast<long long>(c.i)), 3, 1}) != nullptr;
    } catch (const std::bad_alloc&) { // documented for the table
        return false;
    }
}

bool resample(Call& c, bool hasRecord)
{
    ArvoImage3D placed;
    ArvoImage3D* input = c.a;
    if (hasRecord && c.a && c.a->isValid() && placed.copyFrom(c.a)) {
        const float axes[] = {c.f, 0.0f, 0.0f, 0.0f, 1.0f, c.f, 0.0f, 0.0f, 1.0f};
        const auto bytes = std::clamp<qsizetype>(c.i, 0, sizeof axes);
        placed.addInfo(0x20001, "ImageOrientation", QByteArray(reinterpret_cast<const char*>(axes), bytes));
        input = &placed;
    }
    ArvoImageResample filter;
    filter.setInput(input);
    filter.setOutput(c.b);
    return filter.execute();
}

} // namespace

void addFilterOperations(Operations& list)
{
    list.push_back({"Gaussian", 2, SECOND, 1, false, true, [](Call& c) { return gaussian(c, false); }});
    list.push_back(
        {"Gaussian, deprecated", 2, SECOND, 1, false, true, [](Call& c) { return gaussian(c, true); }});
    list.push_back({"ArvoImageCubicFilter", 1, NOTHING, 1, true, true, boxMean});
    list.push_back({"ArvoImageConeBeamNoiseEraser", 2, SECOND, 1, false, false, [](Call& c) {
                        auto eraser = filterOn<ArvoImageConeBeamNoiseEraser>(c);
                        eraser.setRadius(c.i);
                        eraser.setBoneThreshold(c.i / 2);
                        return eraser.execute();
                    }});
    list.push_back(
        {"ArvoImageResample", 2, SECOND, 1, true, true, [](Call& c) { return resample(c, false); }});
    list.push_back(
        {"ArvoImageResample, placed", 2, SECOND, 1, true, true, [](Call& c) { return resample(c, true); }});
    for (const int method : {-1, 0, 1, 2, 3, 4})
        list.push_back({"ArvoImageSubsample, method " + std::to_string(method), 2, SECOND | CREATES, 1, false,
                        true, [method](Call& c) {
                            auto subsample = filterOn<ArvoImageSubsample>(c);
                            subsample.setSampleFactor(c.i, 1, c.i);
                            return subsample.execute(static_cast<ArvoImageSubsample::SubsampleMethod>(method),
                                                     c.cancel);
                        }});
}

} // namespace trust
