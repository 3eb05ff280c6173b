#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "arvo/reslice/ArvoImage3DWorker.h"

#include "NaiveSampler.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include "arvo/platform/image/Image2D.h"
#include "arvo/platform/math/RayBoxIntersection.h"
#include "arvo/platform/threading/ThreadCount.h"

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
};

Rays randomRays(Random& random, const math::Ivec3& size, int height)
{
    constexpr int counts[] = {0, 1, 2, 5, 13, 60, -4};
    Rays rays;
    rays.width = static_cast<int>(random() % 70);
    rays.height = height;
    rays.stepCount = counts[random() % 7];
    rays.range = {naive::component(random, 900), naive::component(random, 900)};
    for (std::size_t a = 0; a < 3; ++a)
        rays.origin[a] =
            0.5f * static_cast<float>(size[static_cast<int>(a)]) + naive::component(random, 2.0f);
    const auto fill = [&](std::vector<float>& table, int entries, float scale) {
        table.resize(static_cast<std::size_t>(3 * entries + 3));
        for (float& value : table)
            value = naive::component(random, scale);
    };
    fill(rays.columns, rays.width, 3.0f);
    fill(rays.rows, rays.height, 3.0f);
    fill(rays.steps, rays.width, 1.2f);
    return rays;
}

/// The slab of one ray, and sample after sample through `take(sample, t)` as long as counts(t).
struct Ray {
    Vec base, step;
    float start = 0, end = 0;
    bool hasSlab = false;

    Ray(const ArvoImage3D& volume, const Rays& rays, int c, int r) : base(rays.base(c, r))
    {
        std::copy_n(rays.steps.begin() + 3 * c, 3, step.begin());
        const math::Ivec3 n = volume.imageSize();
        const primitives::BoundingBox box(0, 0, 0, static_cast<float>(n.x) - 1.1f,
                                          static_cast<float>(n.y) - 1.1f, static_cast<float>(n.z) - 1.1f);
        float t0 = 0, t1 = 0;
        if (!primitives::RayBoxIntersection::calculateIntersections(box, {base[0], base[1], base[2]},
                                                                    {step[0], step[1], step[2]}, t0, t1))
            return;
        start = std::max(t0, -static_cast<float>(rays.stepCount) * 0.5f);
        end = std::min(t1, static_cast<float>(rays.stepCount) * 0.5f);
        hasSlab = end > start;
    }

    void walk(const ArvoImage3D& volume, const std::function<bool(float)>& counts,
              const std::function<void(float, float)>& take) const
    {
        Vec p;
        for (std::size_t a = 0; a < 3; ++a)
            p[a] = std::max(base[a] + start * step[a], 0.0f);
        // From 2^24 on t does not advance, and the samples are counted.
        const bool isStuck = std::max(std::abs(start), std::abs(end)) >= 16777216.0f;
        const double most = isStuck ? std::ceil(double(end) - double(start)) : 1e9;
        int done = 0;
        for (float t = start; hasSlab && counts(t) && done < most; t += 1, ++done) {
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

float normalized(const ArvoImage3D& volume, float value)
{
    const auto low = static_cast<float>(volume.minValue()), high = static_cast<float>(volume.maxValue());
    return (value - low) / (high - low);
}

template <bool WantsPeaks> Pixel naiveMaximum(const ArvoImage3D& volume, const Rays& rays, int c, int r)
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
                pixel = {sample, WantsPeaks ? pixel.depth : t};
            if (previous + 0.001f >= sample && previous + 0.001f >= before) {
                sum += t - 1;
                count += 1;
            }
            before = previous;
            previous = sample;
        });
    if (WantsPeaks && count > 0)
        pixel.depth = sum / count;
    return pixel;
}

Pixel naiveNormalizedMaximum(const ArvoImage3D& volume, const Rays& rays, int c, int r)
{
    return {normalized(volume, naiveMaximum<false>(volume, rays, c, r).value)};
}

Pixel naiveXRay(const ArvoImage3D& volume, const Rays& rays, int c, int r)
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
    return {std::isnan(mean) ? 0 : std::clamp(mean, 0.0f, 1.0f)};
}

Pixel naiveSum(const ArvoImage3D& volume, const Rays& rays, int c, int r)
{
    const Ray ray(volume, rays, c, r);
    double sum = 0;
    ray.walk(
        volume, [&](float t) { return t <= ray.end - 1; }, [&](float sample, float) { sum += sample; });
    return {static_cast<float>(sum)};
}

Pixel naiveInterpolated(const ArvoImage3D& volume, const Rays& rays, int c, int r)
{
    Vec p = rays.base(c, r);
    const math::Ivec3 index = naive::indexOf(p);
    if (!naive::isInside(volume, index))
        return {normalized(volume, static_cast<float>(volume.minValue()))};
    for (int a = 0; a < 3; ++a) { // past the last voxel there is that voxel alone
        if (index[a] == volume.imageSize()[a] - 1)
            p[static_cast<std::size_t>(a)] = static_cast<float>(index[a]);
    }
    return {normalized(volume, naive::trilinear(volume, p))};
}

struct Job {
    const char* name;
    std::vector<image::DataType> types;
    Pixel (*expected)(const ArvoImage3D& volume, const Rays& rays, int c, int r);
    std::function<void(ArvoImage3D*, Rays&, Image2D& result, Image2D& depth)> run;
    bool hasDepth = false;
};

const std::vector<image::DataType> integers = {image::UInt16, image::Int16, image::UInt8, image::Binary};

Job maximumJob(const char* name, decltype(Job::expected) expected, int compare)
{
    return {name, voxelTypes(), expected,
            [compare](ArvoImage3D* v, Rays& r, Image2D& result, Image2D& depth) {
                Reslicer::loadMIPReslice(v, r.origin.data(), r.columns.data(), r.rows.data(), r.width,
                                         r.height, r.steps.data(), r.stepCount, result, &depth,
                                         static_cast<Enums::MIP_COMPARE_FUNCTION>(compare));
            },
            true};
}

const Job maximum = maximumJob("maximum", naiveMaximum<false>, 0);
const Job otherMaximum = maximumJob("maximum by an unknown rule", naiveMaximum<false>, 7);
const Job peaks = maximumJob("peaks", naiveMaximum<true>, 1);
const Job normalizedMaximum = {"normalized maximum", voxelTypes(), naiveNormalizedMaximum,
                               [](ArvoImage3D* v, Rays& r, Image2D& result, Image2D&) {
                                   Reslicer::loadMIPNormalizedReslice(v, r.origin.data(), r.columns.data(),
                                                                      r.rows.data(), r.width, r.height,
                                                                      r.steps.data(), r.stepCount, result);
                               }};
const Job xRay = {"X-ray", integers, naiveXRay, [](ArvoImage3D* v, Rays& r, Image2D& result, Image2D&) {
                      Reslicer::loadXRayNormalizedReslice(v, r.origin.data(), r.columns.data(), r.rows.data(),
                                                          r.width, r.height, r.steps.data(), r.stepCount,
                                                          r.range, result);
                  }};
const Job sum = {"sum", {image::Float32}, naiveSum, [](ArvoImage3D* v, Rays& r, Image2D& result, Image2D&) {
                     Reslicer::loadCephNormalizedReslice(v, r.origin.data(), r.columns.data(), r.rows.data(),
                                                         r.width, r.height, r.steps.data(), r.stepCount,
                                                         result);
                 }};
const Job interpolated = {
    "interpolated", integers, naiveInterpolated, [](ArvoImage3D* v, Rays& r, Image2D& result, Image2D&) {
        Reslicer::loadInterpolatedNormalizedReslice(v, r.origin.data(), r.columns.data(), r.rows.data(),
                                                    r.width, r.height, result);
    }};
const Job allJobs[] = {maximum, otherMaximum, peaks, normalizedMaximum, xRay, sum, interpolated};

bool takes(const Job& job, image::DataType type)
{
    return std::ranges::count(job.types, type) > 0;
}

constexpr float UNTOUCHED = 1234.5f;

/// A picture of 70 x 40 pixels, larger than any projection here.
struct Picture {
    Image2D image{70, 40, Image2D::Float32, {}, false};
    float* pixels = reinterpret_cast<float*>(image.dataPtr());

    Picture() { std::fill_n(pixels, 70 * 40, UNTOUCHED); }
};

/// Compares every pixel, and that none is written behind them.
void checkJob(const Job& job, ArvoImage3D& volume, Rays rays)
{
    Picture result, depth;
    job.run(&volume, rays, result.image, depth.image);
    int i = 0;
    for (int r = 0; r < rays.height; ++r) {
        for (int c = 0; c < rays.width; ++c, ++i) {
            const Pixel expected = job.expected(volume, rays, c, r);
            const float expectedDepth = job.hasDepth ? expected.depth : UNTOUCHED;
            ASSERT_TRUE(sameBits(expected.value, result.pixels[i]) &&
                        sameBits(expectedDepth, depth.pixels[i]))
                << job.name << ", pixel (" << c << ", " << r << ") is " << result.pixels[i] << " at "
                << depth.pixels[i] << ", expected " << expected.value << " at " << expectedDepth;
        }
    }
    EXPECT_EQ(result.pixels[i], UNTOUCHED);
}

/// One pixel of a job, and its depth.
Pixel castOne(const Job& job, ArvoImage3D& volume, Rays rays)
{
    Picture result, depth;
    job.run(&volume, rays, result.image, depth.image);
    return {result.pixels[0], depth.pixels[0]};
}

/// A volume of 8^3 voxels of 30, but for its corner, -10.
ArvoImage3D flatVolume()
{
    std::vector<short> voxels(512, 30);
    voxels[0] = -10;
    return volumeOf<short>({8, 8, 8}, image::Int16, voxels);
}

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
                // Fewer rows than threads, one more, and many.
                const Rays rays = randomRays(random, size, i < 6 ? i : static_cast<int>(random() % 40));
                for (const Job& job : allJobs) {
                    if (takes(job, type))
                        checkJob(job, volume, rays);
                }
            }
        });
    }
    threading::setThreadLimit(0);
}

TEST(Projections, ByHand)
{
    ArvoImage3D volume = flatVolume();
    Rays rays;
    rays.origin = {3, 3, 3};
    rays.range = {0, 30};
    EXPECT_EQ(castOne(xRay, volume, rays).value, 1); // the top of the range is the volume's maximum
    // From t = -3, at z = 0, on; every sample exceeds the minimum, so the first one counts.
    EXPECT_EQ(castOne(maximum, volume, rays).depth, -3);
    // The peaks of a flat ray are all samples but the last: z = 0 to 6, t = -3 to 3; the start itself has none before it.
    EXPECT_EQ(castOne(peaks, volume, rays).depth, (-3 - 2 - 1 + 0 + 1 + 2) / 6.0f);
    rays.range = {20, 20};
    EXPECT_EQ(castOne(xRay, volume, rays).value, 0);
    for (const bool isMiss : {true, false}) {
        rays.origin = isMiss ? Vec{9, 9, 9} : Vec{2, 2, 2};
        rays.stepCount = isMiss ? 10 : 0;
        EXPECT_EQ(castOne(maximum, volume, rays).value, 0);
        EXPECT_EQ(castOne(maximum, volume, rays).depth, 0);
        EXPECT_EQ(castOne(normalizedMaximum, volume, rays).value, 0.25f);
        EXPECT_EQ(castOne(xRay, volume, rays).value, 0);
    }

    // A peak that another exceeds by no more than the tolerance: in front of the ray (0 >= 0), z = 1, 2 and 3.
    std::vector<float> slices;
    for (const float value : {0.0f, 2.0f, 2.0f + 0.001f, 2.0f, 0.0f, 0.0f})
        slices.insert(slices.end(), 4, value);
    ArvoImage3D bump = volumeOf<float>({2, 2, 6}, image::Float32, slices);
    EXPECT_EQ(castOne(peaks, bump, Rays()).depth, (-1 + 1 + 2 + 3) / 4.0f);
}

TEST(Projections, EndWhereTheRayParameterStopsAdvancing)
{
    ArvoImage3D volume = randomVolume({9, 8, 7}, image::Int16, 3);
    Rays rays;
    rays.origin = {-16777220.0f, 3.5f, 2.5f}; // the box begins at t = 16777220, where t + 1 == t
    rays.steps = {1, 0, 0};
    rays.stepCount = 2000000000;
    for (const Job& job : {maximum, peaks, normalizedMaximum})
        checkJob(job, volume, rays);
    EXPECT_GT(castOne(xRay, volume, rays).value, 0);
    rays.steps = {-1, 0, 0};
    rays.origin[0] = 1e30f;
    castOne(xRay, volume, rays);
}

TEST(Projections, LeaveOtherTypesAndImagesThatDoNotFitUnwritten)
{
    const std::string noSum =
        "void __cdecl ArvoImage3DWorker::runLoadCephNormalizedReslice(void) Unexpected image type.";
    const std::string noPixels = "ArvoImage3DReslicer : the image does not hold the pixels to write.";
    using Texts = std::vector<std::string>;
    Rays rays;
    rays.origin = {2, 2, 2};
    for (const Job& job : allJobs) {
        for (int type = 0; type <= 6; ++type) {
            ArvoImage3D volume = randomVolume({6, 5, 4}, static_cast<image::DataType>(type), 1);
            const bool isTaken = takes(job, volume.dataType());
            const Warnings warnings;
            EXPECT_EQ(castOne(job, volume, rays).value != UNTOUCHED, isTaken) << job.name << ", " << type;
            EXPECT_EQ(warnings.texts(), job.name == sum.name && !isTaken ? Texts{noSum} : Texts{});
        }
        ArvoImage3D volume = flatVolume();
        Picture result, depth;
        Image2D small(0, 1, Image2D::Float32, {}, true), whole(1, 1, Image2D::Int32, {}, true);
        Rays noRows = rays;
        noRows.height = 0;
        const Warnings warnings;
        job.run(nullptr, noRows, result.image, depth.image);
        job.run(&volume, rays, small, depth.image);
        job.run(&volume, rays, whole, depth.image);
        if (job.hasDepth)
            job.run(&volume, rays, result.image, small);
        EXPECT_EQ(warnings.texts(), Texts(job.hasDepth ? 3 : 2, noPixels));
        EXPECT_EQ(result.pixels[0], UNTOUCHED);
    }
}

TEST(ProjectionWorker, NeedsAnInitCallAndCanBeReused)
{
    ArvoImage3DWorker worker;
    const auto run = [&] {
        worker.start();
        worker.waitUntilDone();
    };
    ArvoImage3D volume = flatVolume();
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
    worker.initLoadMIPReslice(&volume, o, c, r, 1, 1, s, 4, &result, &depth, Enums::MIP_COMPARE_MAXIMUM);
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

} // namespace
