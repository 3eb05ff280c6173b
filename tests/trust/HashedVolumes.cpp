#include "trust/ResultHashes.h"

#include "arvo/platform/data/Histogram.h"
#include "arvo/platform/math/RayBoxIntersection.h"
#include "arvo/platform/math/SingularValueDecomp.h"

namespace trust {

namespace {

void hashVolume(Results& results, const ArvoImage3D& volume, const std::string& suffix)
{
    const math::Ivec3 size = volume.imageSize();
    results.add("input" + suffix, &volume);
    results.addValue("value_range" + suffix, volume.getValueRange());

    const int origin[] = {3, 2, 1};
    const int part[] = {size.x - 4, size.y - 5, size.z - 3};
    ArvoImage3D cut;
    cut.copyFrom(&volume, origin, part);
    results.add("copy_part" + suffix, &cut);
    ArvoImage3D target = fixedVolume(size, volume.dataType(), 9);
    target.copyIn(&cut, origin);
    results.add("copy_in" + suffix, &target);

    Hash samples;
    for (int i = 0; i < 500; ++i) {
        const float position[] = {static_cast<float>(i % 97) / 8.0f, static_cast<float>(i % 83) / 8.0f,
                                  static_cast<float>(i % 61) / 8.0f};
        const float value = volume.getInterpolatedValue(position);
        samples.addFloats(&value, 1);
    }
    results.add("interpolated_value" + suffix, samples);
}

void hashHistogram(Results& results, const ArvoImage3D& volume, const std::string& suffix)
{
    for (const bool isCumulative : {false, true}) {
        Histogram histogram(isCumulative, 7);
        for (int z = 0; z < volume.imageSize().z; ++z)
            histogram.addData(
                volume.getConstAxialSlice(z),
                static_cast<int>(volume.sizeOfAxialSlice() / image::elementWidth(volume.dataType())),
                conversions::toHistogramDataType(volume.dataType()));
        Hash hash;
        const QMap<int, int> bins = histogram.getHistogram();
        for (auto bin = bins.begin(); bin != bins.end(); ++bin) {
            hash.add(bin.key());
            hash.add(bin.value());
        }
        results.add((isCumulative ? "histogram_cumulative" : "histogram") + suffix, hash);
    }
}

} // namespace

void hashVolumes(Results& results)
{
    for (const math::Ivec3& size : fixedSizes()) {
        for (const image::DataType type :
             {image::UInt16, image::Int16, image::UInt8, image::Float32, image::Int32}) {
            const ArvoImage3D volume = fixedVolume(size, type, 1);
            hashVolume(results, volume, nameOf(type, size));
            hashHistogram(results, volume, nameOf(type, size));
        }
    }

    SingularValueDecomp decomposition(40, 3, 0);
    for (int i = 0; i < 120; ++i)
        decomposition.a[i] = (i * 37 % 101 - 50) / 8.0;
    decomposition.svdcmp();
    Hash hash;
    hash.add(decomposition.success);
    hash.addBytes(decomposition.w, 3 * sizeof(double));
    hash.addBytes(decomposition.v, 9 * sizeof(double));
    results.add("singular_values", hash);

    Hash rays;
    const primitives::BoundingBox box(0, 1, 2, 7, 6, 5);
    for (int i = 0; i < 200; ++i) {
        float t0 = 0, t1 = 0;
        const QVector3D direction(static_cast<float>(i % 7 - 3), static_cast<float>(i % 5 - 2),
                                  static_cast<float>(i % 3 - 1));
        rays.add(primitives::RayBoxIntersection::calculateIntersections(
            box, {static_cast<float>(i % 11), static_cast<float>(i % 9), 3.0f}, direction, t0, t1));
        rays.add(t0);
        rays.add(t1);
    }
    results.add("ray_box", rays);
}

} // namespace trust
