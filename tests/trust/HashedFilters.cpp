#include "trust/ResultHashes.h"

#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"
#include "arvo/filters/ArvoImageCubicFilter.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/filters/ArvoImageResample.h"
#include "arvo/filters/ArvoImageSubsample.h"

namespace trust {

namespace {

const std::atomic<bool> never{false};

void hashSmoothing(Results& results, const ArvoImage3D& volume, const std::string& suffix)
{
    const bool isSigned = volume.dataType() == image::Int16 || volume.dataType() == image::Float32;
    for (const int radius : {1, 4}) {
        ArvoImage3D output = copyOf(volume);
        ArvoImageGaussianSmooth gauss;
        gauss.setInput(&volume);
        gauss.setOutput(&output);
        gauss.setRadius({radius, radius + 1, isSigned ? radius : 2});
        gauss.setStandardDeviation({1.5f, 0.75f, 2.0f});
        gauss.execute(never);
        results.add("gaussian_" + std::to_string(radius) + suffix, &output);
        gauss.executeDeprecated(never);
        results.add("gaussian_legacy_" + std::to_string(radius) + suffix, &output);
    }
    for (const unsigned long long kernel : {3u, 5u})
        results.add("box_mean_" + std::to_string(kernel) + suffix,
                    ArvoImageCubicFilter::applyCubicFilter(volume, {kernel, 3, kernel}).get());
}

void hashGrids(Results& results, ArvoImage3D& volume, const std::string& suffix)
{
    using Subsample = ArvoImageSubsample;
    for (const auto method : {Subsample::Fast, Subsample::Average, Subsample::Interpolated, Subsample::Max}) {
        for (const int factor : {2, 3}) {
            ArvoImage3D output;
            Subsample subsample;
            subsample.setInput(&volume);
            subsample.setOutput(&output);
            subsample.setSampleFactor(factor, 2, factor);
            subsample.execute(method, never);
            results.add("subsample_" + std::to_string(method) + "_" + std::to_string(factor) + suffix,
                        &output);
        }
    }
    if (volume.dataType() == image::Float32)
        return;
    ArvoImage3D output({17, 23, 19}, QVector3D(0.625f, 0.5f, 0.4375f), volume.dataType());
    ArvoImageResample resample;
    resample.setInput(&volume);
    resample.setOutput(&output);
    resample.execute();
    results.add("resample" + suffix, &output);
}

void hashSpecks(Results& results, ArvoImage3D& volume, const std::string& suffix)
{
    ArvoImage3D output = copyOf(volume);
    ArvoImageConeBeamNoiseEraser eraser;
    eraser.setInput(&volume);
    eraser.setOutput(&output);
    eraser.setRadius(2);
    eraser.setBoneThreshold(120);
    eraser.execute();
    results.add("speck_eraser" + suffix, &output);
}

} // namespace

void hashFilters(Results& results)
{
    for (const math::Ivec3& size : fixedSizes()) {
        for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Float32}) {
            ArvoImage3D volume = fixedVolume(size, type, 1);
            hashSmoothing(results, volume, nameOf(type, size));
            hashGrids(results, volume, nameOf(type, size));
            if (type != image::Float32)
                hashSpecks(results, volume, nameOf(type, size));
        }
    }
}

} // namespace trust
