#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"
#include "arvo/filters/ArvoImageCubicFilter.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/filters/ArvoImageResample.h"
#include "arvo/filters/ArvoImageSubsample.h"
#include "arvo/platform/image/ArvoImage3DInfo.h"
#include "trust/Operations.h"

#include <algorithm>
#include <array>

namespace trust {

namespace {

template <class Filter> Filter filterOn(const Call& c)
{
    Filter filter;
    filter.setInput(c.a);
    filter.setOutput(c.b);
    return filter;
}

bool smooth(Call& c, int radius, bool isLegacy)
{
    auto gauss = filterOn<ArvoImageGaussianSmooth>(c);
    const bool isSigned = c.a && (c.a->dataType() == image::Int16 || c.a->dataType() == image::Float32);
    const int x = std::min(c.whole(radius), 1000), y = std::min(c.whole(radius + 1), 1000);
    gauss.setRadius({x, y, std::min(c.whole(isSigned ? radius : 2), 100)});
    gauss.setStandardDeviation(c.vector({1.5f, 0.75f, 2.0f}));
    return isLegacy ? gauss.executeDeprecated(c.cancel) : gauss.execute(c.cancel);
}

bool boxMean(Call& c, int extent)
{
    const int x = c.whole(extent), y = c.whole(3), z = c.whole(extent);
    const double cells = double{1} * x * y * z;
    if (!c.a || (cells > 1e5 && cells < 1e9)) // memory can hold its table, the patience of a test cannot
        return false;
    const auto asExtent = [](int n) { return static_cast<unsigned long long>(n); };
    const auto mean = ArvoImageCubicFilter::applyCubicFilter(*c.a, {asExtent(x), asExtent(y), asExtent(z)});
    c.result().addVolume(mean.get());
    return mean != nullptr;
}

/// The input on a grid that is turned against the output's, on a copy: a record would stay with the volume.
bool resampleTurned(Call& c)
{
    std::array<float, 9> axes = {0.8f, 0.6f, 0.0f, -0.6f, 0.8f, 0.0f, 0.0f, 0.0f, 1.0f};
    c.numbers.reals(axes);
    const auto bytes = std::clamp<qsizetype>(c.whole(sizeof axes), 0, sizeof axes);
    ArvoImage3D turned;
    const bool isTurned = c.a && c.a->isValid() && turned.copyFrom(c.a);
    if (isTurned)
        turned.addInfo(0x20001, "ImageOrientation",
                       QByteArray(reinterpret_cast<const char*>(axes.data()), bytes));
    ArvoImageResample resample;
    resample.setInput(isTurned ? &turned : c.a);
    resample.setOutput(c.b);
    return resample.execute();
}

/// Another grid than the input's.
ArvoImage3D otherGrid(const math::Ivec3&, image::DataType type)
{
    return ArvoImage3D({17, 23, 19}, QVector3D(0.625f, 0.5f, 0.4375f), type);
}

} // namespace

void addFilterOperations(Operations& table)
{
    constexpr unsigned CHANGES_OUTPUT = TAKES_TWO | CHANGES_B | ANSWERS;
    for (const int radius : {1, 4}) {
        for (const bool isLegacy : {false, true})
            table.add((isLegacy ? "gaussian_legacy_" : "gaussian_") + std::to_string(radius),
                      CHANGES_OUTPUT | LEAVES_ROWS, {GREYS, fixedInput, fixedInput},
                      [=](Call& c) { return smooth(c, radius, isLegacy); });
    }
    for (const int extent : {3, 5})
        table.add("box_mean_" + std::to_string(extent), SILENT | ANSWERS | THROWS, {GREYS},
                  [extent](Call& c) { return boxMean(c, extent); });
    table.add("speck_eraser", TAKES_TWO | CHANGES_B | LEAVES_ROWS, {INTEGERS, fixedInput, fixedInput},
              [](Call& c) {
                  auto eraser = filterOn<ArvoImageConeBeamNoiseEraser>(c);
                  eraser.setRadius(c.whole(2));
                  eraser.setBoneThreshold(c.whole(120));
                  return eraser.execute();
              });
    table.add("resample", CHANGES_OUTPUT | SILENT, {INTEGERS, fixedInput, otherGrid},
              [](Call& c) { return filterOn<ArvoImageResample>(c).execute(); });
    table.add("resample_turned", CHANGES_OUTPUT | SILENT, {INTEGERS, fixedInput, otherGrid}, resampleTurned);
    for (const int method : {0, 1, 2, 3, -1, 4}) {
        const bool isMethod = method >= 0 && method < 4;
        for (const int factor : {2, 3})
            table.add("subsample_" + std::to_string(method) + "_" + std::to_string(factor),
                      CHANGES_OUTPUT | CREATES, isMethod ? Hashed{GREYS} : Hashed{}, [=](Call& c) {
                          auto subsample = filterOn<ArvoImageSubsample>(c);
                          const int x = c.whole(factor), y = c.whole(2);
                          subsample.setSampleFactor(x, y, c.whole(factor));
                          return subsample.execute(static_cast<ArvoImageSubsample::SubsampleMethod>(method),
                                                   c.cancel);
                      });
    }
}

} // namespace trust
