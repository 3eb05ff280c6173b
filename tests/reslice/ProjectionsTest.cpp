#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "arvo/reslice/ArvoImage3DWorker.h"

#include "support/NaiveSampler.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include "arvo/platform/image/Image2D.h"
#include "arvo/platform/math/RayBoxIntersection.h"
#include "arvo/platform/threading/ThreadCount.h"

using namespace testing_support;

namespace {

using Reslicer = ArvoImage3DReslicer;
using Enums = ArvoImage3DEnums;

/// The arguments of a projection.
struct Rays {
    QVector3D origin;
    int width = 1;
    int height = 1;
    std::vector<QVector3D> columns = {{0, 0, 0}}, rows = {{0, 0, 0}}, steps = {{0, 0, 1}};
    int stepCount = 10;
    math::Range<float> range{0, 100};

    QVector3D base(int c, int r) const
    {
        return origin + rows[static_cast<std::size_t>(r)] + columns[static_cast<std::size_t>(c)];
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
    rays.origin = 0.5f * QVector3D(float(size.x), float(size.y), float(size.z)) + naive::vector(random, 2.0f);
    const auto fill = [&](std::vector<QVector3D>& table, int entries, float scale) {
        table.resize(static_cast<std::size_t>(entries + 1));
        std::ranges::generate(table, [&] { return naive::vector(random, scale); });
    };
    fill(rays.columns, rays.width, 3.0f);
    fill(rays.rows, rays.height, 3.0f);
    fill(rays.steps, rays.width, 1.2f);
    return rays;
}

/// The slab of one ray.
struct Ray {
    struct Sample {
        float value, t;
    };

    const ArvoImage3D& volume;
    QVector3D base, step;
    float start = 0, end = 0;
    bool hasSlab = false;

    Ray(const ArvoImage3D& image, const Rays& rays, int c, int r)
        : volume(image),
          base(rays.base(c, r)),
          step(rays.steps[static_cast<std::size_t>(c)])
    {
        const math::Ivec3 n = volume.imageSize();
        const primitives::BoundingBox box(0, 0, 0, float(n.x) - 1.1f, float(n.y) - 1.1f, float(n.z) - 1.1f);
        const float half = static_cast<float>(rays.stepCount) * 0.5f;
        float t0 = 0, t1 = 0;
        if (!primitives::RayBoxIntersection::calculateIntersections(box, base, step, t0, t1))
            return;
        start = std::max(t0, -half);
        end = std::min(t1, half);
        hasSlab = end > start;
    }

    /// The samples at start, start + 1, ... as long as counts(t).
    template <class Counts> std::vector<Sample> samples(Counts counts) const
    {
        QVector3D p = base + start * step;
        for (int a = 0; a < 3; ++a)
            p[a] = std::max(p[a], 0.0f);
        // From 2^24 on t does not advance, and the samples are counted.
        const bool isStuck = std::max(std::abs(start), std::abs(end)) >= 16777216.0f;
        const double most = isStuck ? std::ceil(double(end) - double(start)) : 1e9;
        std::vector<Sample> list;
        for (float t = start; hasSlab && counts(t) && double(list.size()) < most; t += 1, p += step)
            list.push_back({naive::trilinear(volume, p), t});
        return list;
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
    for (const auto& [sample, t] : ray.samples([&](float at) { return at < ray.end; })) {
        if (sample > pixel.value)
            pixel = {sample, WantsPeaks ? pixel.depth : t};
        if (previous + 0.001f >= sample && previous + 0.001f >= before) {
            sum += t - 1;
            count += 1;
        }
        before = previous;
        previous = sample;
    }
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
    for (const auto& [sample, t] : ray.samples([&](float at) { return at <= ray.end; })) {
        const float s = normalized(volume, sample);
        const float clamped = std::max(std::min(s, high), low);
        const float weight = std::max((clamped - low) / (high - low), 0.05f);
        weights += weight;
        weighted += weight * s;
    }
    const float mean = weights == 0 ? 0 : weighted / weights;
    return {std::isnan(mean) ? 0 : std::clamp(mean, 0.0f, 1.0f)};
}

Pixel naiveSum(const ArvoImage3D& volume, const Rays& rays, int c, int r)
{
    const Ray ray(volume, rays, c, r);
    double sum = 0;
    for (const auto& [sample, t] : ray.samples([&](float at) { return at <= ray.end - 1; }))
        sum += sample;
    return {static_cast<float>(sum)};
}

Pixel naiveInterpolated(const ArvoImage3D& volume, const Rays& rays, int c, int r)
{
    QVector3D p = rays.base(c, r);
    const math::Ivec3 index = naive::indexOf(p), n = volume.imageSize();
    if (!holds(n, index.x, index.y, index.z))
        return {normalized(volume, static_cast<float>(volume.minValue()))};
    for (int a = 0; a < 3; ++a) { // past the last voxel there is that voxel alone
        if (index[a] == n[a] - 1)
            p[a] = static_cast<float>(index[a]);
    }
    return {normalized(volume, naive::trilinear(volume, p))};
}

enum Kind { MAXIMUM, PEAKS, UNKNOWN_RULE, NORMALIZED_MAXIMUM, X_RAY, SUM, INTERPOLATED };

void project(Kind kind, ArvoImage3D* volume, Rays rays, Image2D& result, Image2D& depth)
{
    float *o = &rays.origin[0], *c = &rays.columns[0][0], *r = &rays.rows[0][0], *s = &rays.steps[0][0];
    const int w = rays.width, h = rays.height, n = rays.stepCount;
    const auto rule = static_cast<Enums::MIP_COMPARE_FUNCTION>(kind == UNKNOWN_RULE ? 7 : int{kind});
    if (kind <= UNKNOWN_RULE)
        Reslicer::loadMIPReslice(volume, o, c, r, w, h, s, n, result, &depth, rule);
    else if (kind == NORMALIZED_MAXIMUM)
        Reslicer::loadMIPNormalizedReslice(volume, o, c, r, w, h, s, n, result);
    else if (kind == X_RAY)
        Reslicer::loadXRayNormalizedReslice(volume, o, c, r, w, h, s, n, rays.range, result);
    else if (kind == SUM)
        Reslicer::loadCephNormalizedReslice(volume, o, c, r, w, h, s, n, result);
    else
        Reslicer::loadInterpolatedNormalizedReslice(volume, o, c, r, w, h, result);
}

const struct Job {
    Kind kind;
    Pixel (*expected)(const ArvoImage3D& volume, const Rays& rays, int c, int r);
    bool takesFloats, takesIntegers;

    bool takes(image::DataType type) const
    {
        return type == image::Float32 ? takesFloats
                                      : takesIntegers && image::isOneOf(type, image::IntegerTypes{});
    }
} jobs[] = {{MAXIMUM, naiveMaximum<false>, true, true},
            {PEAKS, naiveMaximum<true>, true, true},
            {UNKNOWN_RULE, naiveMaximum<false>, true, true},
            {NORMALIZED_MAXIMUM, naiveNormalizedMaximum, true, true},
            {X_RAY, naiveXRay, false, true},
            {SUM, naiveSum, true, false},
            {INTERPOLATED, naiveInterpolated, false, true}};

constexpr float UNTOUCHED = 1234.5f;

/// A picture of 70 x 40 pixels, larger than any projection here.
struct Picture {
    Image2D image{70, 40, Image2D::Float32, {}, false};
    float* pixels = reinterpret_cast<float*>(image.dataPtr());

    Picture() { std::fill_n(pixels, 70 * 40, UNTOUCHED); }
};

/// Compares every pixel, and that none is written behind them.
void check(const Job& job, ArvoImage3D& volume, const Rays& rays)
{
    Picture result, depth;
    project(job.kind, &volume, rays, result.image, depth.image);
    int i = 0;
    for (int r = 0; r < rays.height; ++r) {
        for (int c = 0; c < rays.width; ++c, ++i) {
            const Pixel expected = job.expected(volume, rays, c, r);
            const float expectedDepth = job.kind <= UNKNOWN_RULE ? expected.depth : UNTOUCHED;
            ASSERT_TRUE(sameBits(expected.value, result.pixels[i]) &&
                        sameBits(expectedDepth, depth.pixels[i]))
                << job.kind << ", pixel (" << c << ", " << r << ") is " << result.pixels[i] << " at "
                << depth.pixels[i] << ", expected " << expected.value << " at " << expectedDepth;
        }
    }
    EXPECT_EQ(result.pixels[i], UNTOUCHED);
}

/// One pixel, and its depth.
Pixel castOne(Kind kind, ArvoImage3D& volume, const Rays& rays)
{
    Picture result, depth;
    project(kind, &volume, rays, result.image, depth.image);
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
    forEachCase(voxelTypes(), [](const math::Ivec3& size, image::DataType type, std::uint64_t seed) {
        SCOPED_TRACE(describe(size, type, seed));
        threading::setThreadLimit(seed == 1 ? 1 : 0);                  // alone, a band is higher than a tile
        const Fill fill = seed == 1 ? Fill::Uniform : Fill::FewValues; // few values: ties and flat stretches
        ArvoImage3D volume = randomVolume(size, type, seed, fill);
        Random random(seed);
        for (int i = 0; i < 12; ++i) {
            // Fewer rows than threads, one more, and many.
            const Rays rays = randomRays(random, size, i < 6 ? i : static_cast<int>(random() % 40));
            for (const Job& job : jobs) {
                if (job.takes(type))
                    check(job, volume, rays);
            }
        }
    });
    threading::setThreadLimit(0);
}

TEST(Projections, ByHand)
{
    // In a volume of 30, but for its corner of -10; rays from (n, n, n) along z.
    const struct {
        Kind kind;
        float origin;
        Pixel expected;
        math::Range<float> range{0, 30};
        int stepCount = 10;
    } cases[] = {{X_RAY, 3, {1, UNTOUCHED}},                        // the top of the range is the maximum
                 {X_RAY, 3, {0, UNTOUCHED}, {20, 20}},              // a range without width
                 {MAXIMUM, 3, {30, -3}},                            // the first of equal samples
                 {PEAKS, 3, {30, (-3 - 2 - 1 + 0 + 1 + 2) / 6.0f}}, // all samples but the last
                 {MAXIMUM, 9, {0, 0}},                              // a miss
                 {NORMALIZED_MAXIMUM, 9, {0.25f, UNTOUCHED}},       // the same 0, normalised
                 {X_RAY, 9, {0, UNTOUCHED}},
                 {MAXIMUM, 2, {0, 0}, {0, 30}, 0}, // a hit without a step
                 {NORMALIZED_MAXIMUM, 2, {0.25f, UNTOUCHED}, {0, 30}, 0},
                 {X_RAY, 2, {0, UNTOUCHED}, {0, 30}, 0}};
    ArvoImage3D volume = flatVolume();
    for (const auto& [kind, origin, expected, range, stepCount] : cases) {
        Rays rays;
        rays.origin = {origin, origin, origin};
        rays.range = range;
        rays.stepCount = stepCount;
        const Pixel pixel = castOne(kind, volume, rays);
        EXPECT_EQ(pixel.value, expected.value) << kind << " at " << origin;
        EXPECT_EQ(pixel.depth, expected.depth) << kind << " at " << origin;
    }

    // A peak that another exceeds by no more than the tolerance: in front of the ray (0 >= 0), z = 1, 2 and 3.
    std::vector<float> slices;
    for (const float value : {0.0f, 2.0f, 2.0f + 0.001f, 2.0f, 0.0f, 0.0f})
        slices.insert(slices.end(), 4, value);
    ArvoImage3D bump = volumeOf<float>({2, 2, 6}, image::Float32, slices);
    EXPECT_EQ(castOne(PEAKS, bump, Rays()).depth, (-1 + 1 + 2 + 3) / 4.0f);
}

TEST(Projections, EndWhereTheRayParameterStopsAdvancing)
{
    ArvoImage3D volume = randomVolume({9, 8, 7}, image::Int16, 3);
    Rays rays;
    rays.origin = {-16777220.0f, 3.5f, 2.5f}; // the box begins at t = 16777220, where t + 1 == t
    rays.steps = {{1, 0, 0}};
    rays.stepCount = 2000000000;
    for (const Kind kind : {MAXIMUM, PEAKS, NORMALIZED_MAXIMUM})
        check(jobs[kind], volume, rays);
    EXPECT_GT(castOne(X_RAY, volume, rays).value, 0);
    rays.steps = {{-1, 0, 0}};
    rays.origin[0] = 1e30f;
    castOne(X_RAY, volume, rays);
}

TEST(Projections, LeaveOtherTypesAndImagesThatDoNotFitUnwritten)
{
    using Texts = std::vector<std::string>;
    const Texts noSum = {
        "void __cdecl ArvoImage3DWorker::runLoadCephNormalizedReslice(void) Unexpected image type."};
    const std::string prefix = "ArvoImage3DReslicer : ", negative = prefix + "the size is negative.";
    const std::string noPixels = prefix + "the image does not hold the pixels to write.";
    const auto raysOf = [](int width, int height) {
        Rays rays;
        rays.origin = {2, 2, 2};
        rays.width = width;
        rays.height = height;
        return rays;
    };
    for (const Job& job : jobs) {
        const Kind kind = job.kind;
        for (int type = 0; type <= 6; ++type) {
            ArvoImage3D volume = randomVolume({6, 5, 4}, static_cast<image::DataType>(type), 1);
            const bool isTaken = job.takes(volume.dataType());
            const Warnings warnings;
            EXPECT_EQ(castOne(kind, volume, raysOf(1, 1)).value != UNTOUCHED, isTaken) << kind << type;
            EXPECT_EQ(warnings.texts(), kind == SUM && !isTaken ? noSum : Texts());
        }
        ArvoImage3D volume = flatVolume();
        Picture result, depth;
        Image2D small(0, 1, Image2D::Float32, {}, true), whole(1, 1, Image2D::Int32, {}, true);
        const Warnings warnings;
        project(kind, nullptr, raysOf(1, 0), result.image, depth.image);
        project(kind, nullptr, raysOf(1, 1), result.image, depth.image);
        project(kind, &volume, raysOf(-1, 1), result.image, depth.image);
        project(kind, &volume, raysOf(1, -1), result.image, depth.image);
        project(kind, &volume, raysOf(1, 1), small, depth.image);
        project(kind, &volume, raysOf(1, 1), whole, depth.image);
        Texts texts = {prefix + "no valid volume.", negative, negative, noPixels, noPixels};
        if (kind <= UNKNOWN_RULE) {
            project(kind, &volume, raysOf(1, 1), result.image, small);
            texts.push_back(noPixels);
        }
        EXPECT_EQ(warnings.texts(), texts);
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
    float *o = &rays.origin[0], *c = &rays.columns[0][0], *r = &rays.rows[0][0], *s = &rays.steps[0][0];
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
