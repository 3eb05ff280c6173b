#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "arvo/reslice/ArvoImage3DWorker.h"

#include "NaiveSampler.h"
#include "RandomComponents.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include "arvo/platform/image/Image2D.h"
#include "arvo/platform/threading/ThreadCount.h"

#include <gtest/gtest.h>

#include <functional>

using namespace testing_support;

namespace {

using Reslicer = ArvoImage3DReslicer;
using naive::Vec;
using Enums = ArvoImage3DEnums;

/// The arguments of a projection.
struct Rays {
    Vec origin{};
    int width = 1;
    int height = 1;
    std::vector<float> columns = {0, 0, 0};
    std::vector<float> rows = {0, 0, 0};
    std::vector<float> steps = {0, 0, 1};
    int stepCount = 10;
    math::Range<float> range{0, 100};

    Vec base(int c, int r) const
    {
        Vec p;
        for (std::size_t a = 0; a < 3; ++a)
            p[a] = origin[a] + rows[static_cast<std::size_t>(3 * r) + a] +
                   columns[static_cast<std::size_t>(3 * c) + a];
        return p;
    }
    Vec step(int c) const
    {
        const auto first = static_cast<std::size_t>(3 * c);
        return {steps[first], steps[first + 1], steps[first + 2]};
    }
};

Rays randomRays(Random& random, const math::Ivec3& size)
{
    Rays rays;
    rays.width = static_cast<int>(random() % 70);
    rays.height = static_cast<int>(random() % 40);
    rays.columns.resize(static_cast<std::size_t>(3 * rays.width + 3));
    rays.rows.resize(static_cast<std::size_t>(3 * rays.height + 3));
    rays.steps.resize(rays.columns.size());
    for (std::size_t a = 0; a < 3; ++a)
        rays.origin[a] = 0.5f * static_cast<float>(size[static_cast<int>(a)]) + component(random, 2.0f);
    for (float& offset : rays.columns)
        offset = component(random, 3.0f);
    for (float& offset : rays.rows)
        offset = component(random, 3.0f);
    for (float& step : rays.steps)
        step = component(random, 1.2f);
    constexpr int counts[] = {0, 1, 2, 5, 13, 60, -4};
    rays.stepCount = counts[random() % 7];
    rays.range = {component(random, 900), component(random, 900)};
    return rays;
}

/// The slab of one ray, and sample after sample through `take(sample, t)`; whether the slab has an extent.
struct Ray {
    Vec base, step;
    float start = 0, end = 0;
    bool hasSlab = false;

    Ray(const ArvoImage3D& volume, const Rays& rays, int c, int r) : base(rays.base(c, r)), step(rays.step(c))
    {
        float t0 = -INFINITY, t1 = INFINITY;
        for (std::size_t a = 0; a < 3; ++a) {
            const float high = static_cast<float>(volume.imageSize()[static_cast<int>(a)]) - 1.1f;
            if (!(high >= 0))
                return;
            if (step[a] == 0) {
                if (!(base[a] >= 0 && base[a] <= high))
                    return;
                continue;
            }
            const float x = (0 - base[a]) / step[a], y = (high - base[a]) / step[a];
            if (std::isnan(x) || std::isnan(y))
                return;
            t0 = std::max(t0, std::min(x, y));
            t1 = std::min(t1, std::max(x, y));
        }
        start = std::max(t0, -static_cast<float>(rays.stepCount) * 0.5f);
        end = std::min(t1, static_cast<float>(rays.stepCount) * 0.5f);
        hasSlab = t0 <= t1 && end > start;
    }

    /// counts(t) ends the ray; so does `most` samples, where t is too large to advance.
    void walk(const ArvoImage3D& volume, const std::function<bool(float)>& counts,
              const std::function<void(float, float)>& take) const
    {
        if (!hasSlab)
            return;
        Vec p;
        for (std::size_t a = 0; a < 3; ++a)
            p[a] = std::max(base[a] + start * step[a], 0.0f);
        const bool isStuck = std::max(std::abs(start), std::abs(end)) >= 16777216.0f;
        const double most = isStuck ? std::ceil(double(end) - double(start)) : 1e9;
        int done = 0;
        for (float t = start; counts(t) && done < most; t += 1, ++done) {
            take(naive::trilinear(volume, p), t);
            for (std::size_t a = 0; a < 3; ++a)
                p[a] += step[a];
        }
    }
};

struct Pixel {
    float value;
    float depth = 0;
};

Pixel naiveMaximum(const ArvoImage3D& volume, const Rays& rays, int c, int r, bool wantsPeaks)
{
    const Ray ray(volume, rays, c, r);
    if (!ray.hasSlab)
        return {0, 0};
    const auto lowest = static_cast<float>(volume.minValue());
    Pixel pixel{lowest, ray.start};
    float previous = lowest, before = lowest, sum = 0, count = 0;
    ray.walk(
        volume, [&](float t) { return t < ray.end; },
        [&](float sample, float t) {
            if (sample > pixel.value)
                pixel = {sample, wantsPeaks ? pixel.depth : t};
            if (previous + 0.001f >= sample && previous + 0.001f >= before) {
                sum += t - 1;
                count += 1;
            }
            before = previous;
            previous = sample;
        });
    if (wantsPeaks && count > 0)
        pixel.depth = sum / count;
    return pixel;
}

float normalized(const ArvoImage3D& volume, float value)
{
    const auto low = static_cast<float>(volume.minValue()), high = static_cast<float>(volume.maxValue());
    return (value - low) / (high - low);
}

float naiveXRay(const ArvoImage3D& volume, const Rays& rays, int c, int r)
{
    const Ray ray(volume, rays, c, r);
    const bool isByte = volume.dataType() == image::UInt8;
    const float low = normalized(volume, isByte ? 0 : rays.range.first);
    const float high = normalized(volume, isByte ? 255 : rays.range.second);
    float weights = 0, weighted = 0;
    ray.walk(
        volume, [&](float t) { return t <= ray.end; },
        [&](float sample, float) {
            const float s = normalized(volume, sample);
            const float clamped = std::max(std::min(s, high), low);
            const float weight = std::max((clamped - low) / (high - low), 0.05f);
            weights += weight;
            weighted += weight * s;
        });
    const float mean = weights == 0 ? 0 : weighted / weights;
    return std::isnan(mean) ? 0 : std::clamp(mean, 0.0f, 1.0f);
}

float naiveSum(const ArvoImage3D& volume, const Rays& rays, int c, int r)
{
    const Ray ray(volume, rays, c, r);
    double sum = 0;
    ray.walk(
        volume, [&](float t) { return t <= ray.end - 1; }, [&](float sample, float) { sum += sample; });
    return static_cast<float>(sum);
}

float naiveInterpolated(const ArvoImage3D& volume, const Rays& rays, int c, int r)
{
    Vec p = rays.base(c, r);
    int index[3];
    for (int a = 0; a < 3; ++a)
        index[a] = naive::indexOf(p[static_cast<std::size_t>(a)]);
    if (!naive::isInside(volume, index[0], index[1], index[2]))
        return normalized(volume, static_cast<float>(volume.minValue()));
    float sum = 0;
    for (int k = 0; k < 8; ++k) {
        float weight = 1;
        int v[3];
        bool isDropped = false;
        for (int a = 0; a < 3; ++a) {
            const int upper = k >> a & 1;
            const bool isLast = index[a] == volume.imageSize()[a] - 1;
            const float f = p[static_cast<std::size_t>(a)] - static_cast<float>(index[a]);
            isDropped = isDropped || (isLast && upper);
            weight *= isLast ? 1.0f : upper ? f : 1 - f;
            v[a] = index[a] + upper;
        }
        if (!isDropped)
            sum += weight * volume.getFloatValue(v[0], v[1], v[2]);
    }
    return normalized(volume, sum);
}

enum class Job { Maximum, Peaks, NormalizedMaximum, XRay, Sum, Interpolated };

Pixel expectedPixel(Job job, const ArvoImage3D& volume, const Rays& rays, int c, int r)
{
    switch (job) {
    case Job::Maximum:
    case Job::Peaks:
        return naiveMaximum(volume, rays, c, r, job == Job::Peaks);
    case Job::NormalizedMaximum:
        return {normalized(volume, naiveMaximum(volume, rays, c, r, false).value)};
    case Job::XRay:
        return {naiveXRay(volume, rays, c, r)};
    case Job::Sum:
        return {naiveSum(volume, rays, c, r)};
    case Job::Interpolated:
        return {naiveInterpolated(volume, rays, c, r)};
    }
    return {};
}

void runJob(Job job, ArvoImage3D* volume, Rays& rays, Image2D& result, Image2D* depth)
{
    float *o = rays.origin.data(), *c = rays.columns.data(), *r = rays.rows.data(), *s = rays.steps.data();
    const int w = rays.width, h = rays.height, n = rays.stepCount;
    switch (job) {
    case Job::Maximum:
        return Reslicer::loadMIPReslice(volume, o, c, r, w, h, s, n, result, depth,
                                        Enums::MIP_COMPARE_MAXIMUM);
    case Job::Peaks:
        return Reslicer::loadMIPReslice(volume, o, c, r, w, h, s, n, result, depth,
                                        Enums::MIP_COMPARE_LOCAL_MAXIMA);
    case Job::NormalizedMaximum:
        return Reslicer::loadMIPNormalizedReslice(volume, o, c, r, w, h, s, n, result);
    case Job::XRay:
        return Reslicer::loadXRayNormalizedReslice(volume, o, c, r, w, h, s, n, rays.range, result);
    case Job::Sum:
        return Reslicer::loadCephNormalizedReslice(volume, o, c, r, w, h, s, n, result);
    case Job::Interpolated:
        return Reslicer::loadInterpolatedNormalizedReslice(volume, o, c, r, w, h, result);
    }
}

bool takes(Job job, image::DataType type)
{
    if (job == Job::Maximum || job == Job::Peaks || job == Job::NormalizedMaximum)
        return true;
    return (type == image::Float32) == (job == Job::Sum);
}

constexpr Job allJobs[] = {Job::Maximum, Job::Peaks, Job::NormalizedMaximum,
                           Job::XRay,    Job::Sum,   Job::Interpolated};
constexpr float UNTOUCHED = 1234.5f;

float* floatsOf(Image2D& image)
{
    return reinterpret_cast<float*>(image.dataPtr());
}

Image2D untouchedImage(int width, int height)
{
    Image2D image(width, height, Image2D::Float32, {}, false);
    std::fill_n(floatsOf(image), width * height, UNTOUCHED);
    return image;
}

/// Compares every pixel, and that none is written behind them.
void checkJob(Job job, ArvoImage3D& volume, Rays rays)
{
    const bool hasDepth = job == Job::Maximum || job == Job::Peaks;
    Image2D result = untouchedImage(70, 40);
    Image2D depth = untouchedImage(70, 40);
    runJob(job, &volume, rays, result, &depth);
    for (int r = 0; r < rays.height; ++r) {
        for (int c = 0; c < rays.width; ++c) {
            const Pixel expected = expectedPixel(job, volume, rays, c, r);
            const int i = r * rays.width + c;
            const float wantedDepth = hasDepth ? expected.depth : UNTOUCHED;
            if (!sameBits(expected.value, floatsOf(result)[i]) ||
                !sameBits(wantedDepth, floatsOf(depth)[i])) {
                ADD_FAILURE() << "job " << int(job) << ", pixel (" << c << ", " << r << ") is "
                              << floatsOf(result)[i] << " at " << floatsOf(depth)[i] << ", expected "
                              << expected.value << " at " << wantedDepth;
                return;
            }
        }
    }
    EXPECT_EQ(floatsOf(result)[rays.width * rays.height], UNTOUCHED);
}

/// A volume of n^3 voxels of one value, but for its corner.
ArvoImage3D flatVolume(int n, short value, short corner)
{
    std::vector<short> voxels(static_cast<std::size_t>(n * n * n), value);
    voxels[0] = corner;
    return volumeOf<short>({n, n, n}, image::Int16, voxels);
}

/// One pixel of a job, and its depth.
Pixel castOne(Job job, ArvoImage3D& volume, Rays rays)
{
    Image2D result = untouchedImage(1, 1), depth = untouchedImage(1, 1);
    runJob(job, &volume, rays, result, &depth);
    return {floatsOf(result)[0], floatsOf(depth)[0]};
}

} // namespace

TEST(Projections, AgreeWithTheDefinition)
{
    for (const int threads : {1, 0}) {
        threading::setThreadLimit(threads);
        forEachCase(voxelTypes(), [](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
            SCOPED_TRACE(describe(size, type, seed));
            const Fill fill =
                seed == 1 ? Fill::Uniform : Fill::FewValues; // few values: ties and flat stretches
            ArvoImage3D volume = randomVolume(size, type, seed, fill);
            Random random(seed);
            for (int i = 0; i < 12; ++i) {
                const Rays rays = randomRays(random, size);
                for (const Job job : allJobs) {
                    if (takes(job, type))
                        checkJob(job, volume, rays);
                }
            }
        });
    }
    threading::setThreadLimit(0);
}

TEST(Projections, SplitEveryNumberOfRowsOverTheThreads)
{
    ArvoImage3D volume = randomVolume({12, 11, 10}, image::Int16, 7);
    for (int height = 0; height <= 7; ++height) {
        Rays rays;
        rays.origin = {1.5f, 0.25f, 5};
        rays.width = 5;
        rays.height = height;
        rays.columns = {0, 0, 0, 1, 0, 0, 2, 0, 0, 3, 0, 0, 4, 0, 0};
        rays.steps = {0, 0, 1, 0, 0.1f, 1, 0, 0, -1, 1, 1, 0, 0.3f, 0.2f, 0.1f};
        rays.rows.clear();
        for (int r = 0; r <= height; ++r)
            rays.rows.insert(rays.rows.end(), {0, static_cast<float>(r), 0});
        for (const Job job : {Job::Maximum, Job::XRay, Job::Interpolated})
            checkJob(job, volume, rays);
    }
}

TEST(Projections, OfRaysWithoutSamplesAreZero)
{
    ArvoImage3D volume = flatVolume(5, 30, -10); // min -10, max 30
    const float zero = normalized(volume, 0);
    Rays miss, noSteps;
    miss.origin = {9, 9, 9};
    noSteps.origin = {2, 2, 2};
    noSteps.stepCount = 0;
    for (const Rays& rays : {miss, noSteps}) {
        const Pixel maximum = castOne(Job::Maximum, volume, rays);
        EXPECT_EQ(maximum.value, 0);
        EXPECT_EQ(maximum.depth, 0);
        EXPECT_EQ(castOne(Job::NormalizedMaximum, volume, rays).value, zero);
        EXPECT_EQ(castOne(Job::XRay, volume, rays).value, 0);
    }
}

TEST(Projections, OfFlatRegionsAreKnown)
{
    ArvoImage3D volume = flatVolume(8, 30, -10);
    Rays rays;
    rays.origin = {3, 3, 3};
    rays.range = {0, 30};
    EXPECT_EQ(castOne(Job::XRay, volume, rays).value, 1); // the top of the range is the volume's maximum
    // From t = -3, at z = 0, on; every sample exceeds the minimum, so the first one counts.
    EXPECT_EQ(castOne(Job::Maximum, volume, rays).depth, -3);
    // The peaks of a flat ray are all samples but the last: z = 0 to 6, t = -3 to 3; the start itself has none before it.
    EXPECT_EQ(castOne(Job::Peaks, volume, rays).depth, (-3 - 2 - 1 + 0 + 1 + 2) / 6.0f);
    rays.range = {20, 20};
    EXPECT_EQ(castOne(Job::XRay, volume, rays).value, 0);
}

TEST(Projections, CountAPeakThatAnotherExceedsByTheToleranceOnly)
{
    const float above = 2.0f + 0.001f;
    std::vector<float> slices;
    for (const float value : {0.0f, 2.0f, above, 2.0f, 0.0f, 0.0f})
        slices.insert(slices.end(), 4, value);
    ArvoImage3D volume = volumeOf<float>({2, 2, 6}, image::Float32, slices);
    Rays rays;
    checkJob(Job::Peaks, volume, rays);
    // In front of the ray (0 >= 0), z = 1 (just not exceeded by z = 2), 2 and 3.
    EXPECT_EQ(castOne(Job::Peaks, volume, rays).depth, (-1 + 1 + 2 + 3) / 4.0f);
}

TEST(Projections, EndWhereTheRayParameterStopsAdvancing)
{
    ArvoImage3D volume = randomVolume({9, 8, 7}, image::Int16, 3);
    Rays rays;
    rays.origin = {-16777220.0f, 3.5f, 2.5f}; // the box begins at t = 16777220, where t + 1 == t
    rays.steps = {1, 0, 0};
    rays.stepCount = 2000000000;
    for (const Job job : {Job::Maximum, Job::Peaks, Job::NormalizedMaximum})
        checkJob(job, volume, rays);
    ASSERT_TRUE(castOne(Job::XRay, volume, rays).value > 0);
    rays.steps = {-1, 0, 0};
    rays.origin[0] = 1e30f;
    castOne(Job::XRay, volume, rays);
}

TEST(Projections, LeaveOtherTypesUnwritten)
{
    for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Binary,
                                       image::Float32, image::Int32, image::Reserved}) {
        ArvoImage3D volume = randomVolume({6, 5, 4}, type, 1);
        Rays rays;
        rays.origin = {2, 2, 2};
        for (const Job job : allJobs) {
            const bool isTaken = image::isOneOf(type, image::VoxelTypes{}) && takes(job, type);
            const Warnings warnings;
            EXPECT_EQ(castOne(job, volume, rays).value != UNTOUCHED, isTaken) << "type " << type;
            const std::string text =
                "void __cdecl ArvoImage3DWorker::runLoadCephNormalizedReslice(void) Unexpected image type.";
            EXPECT_EQ(warnings.texts(),
                      job == Job::Sum && !isTaken ? std::vector{text} : std::vector<std::string>{});
        }
    }
}

TEST(Projections, RefuseBadCalls)
{
    ArvoImage3D volume = randomVolume({6, 5, 4}, image::Int16, 1);
    Rays rays;
    for (const Job job : allJobs) {
        Image2D image = untouchedImage(1, 1), none, whole(1, 1, Image2D::Int32, {}, true);
        const Warnings warnings;
        runJob(job, nullptr, rays, image, nullptr);
        runJob(job, &volume, rays, none, nullptr);
        runJob(job, &volume, rays, whole, nullptr);
        Rays empty = rays, negative = rays;
        empty.height = 0;
        negative.width = -1;
        runJob(job, nullptr, empty, image, nullptr);
        runJob(job, &volume, negative, image, nullptr);
        const std::string noPixels = "ArvoImage3DReslicer : the image does not hold the pixels to write.";
        EXPECT_EQ(warnings.texts(),
                  (std::vector<std::string>{"ArvoImage3DReslicer : no valid volume.", noPixels, noPixels,
                                            "ArvoImage3DReslicer : the size is negative."}));
        EXPECT_EQ(floatsOf(image)[0], UNTOUCHED);
    }
    Image2D image = untouchedImage(1, 1), small(0, 1, Image2D::Float32, {}, true);
    const Warnings warnings;
    runJob(Job::Maximum, &volume, rays, image, &small);
    Reslicer::loadMIPNormalizedReslice(&volume, rays.origin.data(), rays.columns.data(), nullptr, 1, 1,
                                       rays.steps.data(), 3, image);
    EXPECT_EQ(warnings.texts().size(), 2u);
    EXPECT_EQ(floatsOf(image)[0], UNTOUCHED);
}

TEST(ProjectionWorker, NeedsAnInitCallAndCanBeReused)
{
    ArvoImage3DWorker worker;
    const auto run = [&] {
        worker.start();
        worker.waitUntilDone();
    };
    ArvoImage3D volume = flatVolume(8, 30, -10);
    Rays rays;
    rays.origin = {3, 3, 3};
    float result = UNTOUCHED, depth = UNTOUCHED;
    float *o = rays.origin.data(), *c = rays.columns.data(), *r = rays.rows.data(), *s = rays.steps.data();
    const Warnings warnings;
    run();
    worker.initLoadMIPNormalizedReslice(nullptr, o, c, r, 1, 1, s, 4, &result);
    run();
    worker.initLoadMIPNormalizedReslice(&volume, o, c, r, 1, 1, nullptr, 4, &result);
    run();
    EXPECT_EQ(result, UNTOUCHED);
    worker.initLoadMIPReslice(&volume, o, c, r, 1, 1, s, 4, &result, &depth, Enums::MIP_COMPARE_FUNCTION(7));
    run();
    EXPECT_EQ(result, 30);
    EXPECT_EQ(depth, -2);
    worker.initLoadInterpolatedNormalizedReslice(&volume, o, c, r, 1, 1, &result);
    run();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(warnings.texts(),
              (std::vector<std::string>{"ArvoImage3DWorker : nothing to do, call an init function first.",
                                        "ArvoImage3DWorker : no valid volume.",
                                        "ArvoImage3DWorker : a table or buffer is missing."}));
}
