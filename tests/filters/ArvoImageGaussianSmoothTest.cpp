#include "arvo/filters/ArvoImageGaussianSmooth.h"

#include "arvo/filters/ArvoImageGaussianSmoothHelper.h"
#include "arvo/frame/RoundToVoxel.h"
#include "arvo/platform/threading/ThreadCount.h"

#include "support/CancelFlags.h"
#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <array>
#include <cmath>

using namespace testing_support;

namespace {

const std::vector<image::DataType> smoothedTypes = {image::UInt16, image::Int16, image::UInt8,
                                                    image::Float32};

struct Setting {
    math::Ivec3 radius;
    QVector3D sigma;
};

const std::vector<Setting> settings = {{{3, 3, 3}, {2.0f, 2.0f, 2.0f}},
                                       {{0, 2, 5}, {1.0f, 0.7f, 3.0f}},
                                       {{4, 0, 1}, {0.0f, 2.0f, 0.0f}},
                                       {{20, 1, 40}, {5.0f, 0.3f, 9.0f}}};

template <class T> T stored(float value)
{
    return storedAs<T>(std::is_same_v<T, float> ? value : std::round(static_cast<double>(value)));
}

/// One axis of the current algorithm on a whole volume of floats.
std::vector<float> alongAxis(const std::vector<float>& in, const math::Ivec3& size, int axis, int radius,
                             float sigma)
{
    std::vector<float> taps(static_cast<std::size_t>(2 * radius + 1), 0.0f);
    if (sigma == 0.0f) {
        taps[static_cast<std::size_t>(radius)] = 1.0f;
    } else {
        float sum = 0.0f;
        for (int d = -radius; d <= radius; ++d)
            sum += taps[static_cast<std::size_t>(d + radius)] =
                std::exp(float(-(d * d)) / (sigma * sigma + sigma * sigma));
        for (float& tap : taps)
            tap /= sum;
    }
    std::vector<float> out;
    forEachVoxel(size, [&](int x, int y, int z, std::size_t) {
        float sum = 0.0f;
        for (int d = -radius; d <= radius; ++d) {
            math::Ivec3 p(x, y, z);
            p[axis] = std::clamp(p[axis] + d, 0, size[axis] - 1);
            sum += taps[static_cast<std::size_t>(d + radius)] *
                   in[static_cast<std::size_t>((p.z * size.y + p.y) * size.x + p.x)];
        }
        out.push_back(sum);
    });
    return out;
}

ArvoImage3D expectedOf(const ArvoImage3D& in, const Setting& s)
{
    ArvoImage3D out = copyOf(in);
    withType(in.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        std::vector<float> values(voxels<T>(in).begin(), voxels<T>(in).end());
        for (int axis = 0; axis < 3; ++axis)
            values = alongAxis(values, in.imageSize(), axis, s.radius[axis], s.sigma[axis]);
        std::ranges::transform(values, voxels<T>(out).begin(), stored<T>);
    });
    return out;
}

/// The legacy algorithm without blocks: they change nothing unless it works in place.
ArvoImage3D legacyOf(const ArvoImage3D& in, const Setting& s)
{
    ArvoImage3D out = copyOf(in);
    const math::Ivec3 size = in.imageSize();
    withType(in.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        for (int axis = 0; axis < 3; ++axis) {
            const ArvoImage3D from = copyOf(out);
            const double sigma = s.sigma[axis];
            const int stride = axis == 0 ? 1 : axis == 1 ? size.x : size.x * size.y;
            for (int i = 0; sigma != 0.0 && i < static_cast<int>(voxels<T>(out).size()); ++i) {
                const int position = i / stride % size[axis];
                const int first = std::max(-s.radius[axis], -position);
                const int last = std::min(s.radius[axis], size[axis] - 1 - position);
                double weights = 0.0, sum = 0.0;
                for (int d = first; d <= last; ++d)
                    weights += std::exp(-(d * d) / (2 * sigma * sigma));
                for (int d = first; d <= last; ++d)
                    sum += std::exp(-(d * d) / (2 * sigma * sigma)) / weights *
                           voxels<T>(from)[static_cast<std::size_t>(i + d * stride)];
                voxels<T>(out)[static_cast<std::size_t>(i)] = static_cast<T>(sum);
            }
        }
    });
    return out;
}

enum Path { Current, Legacy };

bool smooth(const ArvoImage3D& in, ArvoImage3D& out, const Setting& s, Path path = Current,
            const std::atomic<bool>& cancel = notCancelled)
{
    ArvoImageGaussianSmooth smooth;
    smooth.setInput(&in);
    smooth.setOutput(&out);
    smooth.setRadius(s.radius);
    smooth.setStandardDeviation(s.sigma);
    return path == Current ? smooth.execute(cancel) : smooth.executeDeprecated(cancel);
}

ArvoImage3D outputFor(const ArvoImage3D& in)
{
    return randomVolume(in.imageSize(), in.dataType(), 99);
}

TEST(ArvoImageGaussianSmooth, AgreesWithTheDefinition)
{
    for (const int limit : {1, 2}) {
        threading::setThreadLimit(limit);
        forEachCase(smoothedTypes, [&](auto size, auto type, auto seed) {
            for (const Setting& s : settings) {
                const ArvoImage3D in =
                    randomVolume(size, type, seed, seed == 1 ? Fill::Uniform : Fill::Extremes);
                ArvoImage3D out = outputFor(in);
                EXPECT_TRUE(smooth(in, out, s));
                EXPECT_TRUE(sameBits(expectedOf(in, s), out))
                    << describe(size, type, seed) << ", rx " << s.radius.x;
            }
        });
    }
    threading::setThreadLimit(0);
}

TEST(ArvoImageGaussianSmooth, BandsOfRowsMeetWithoutASeam)
{
    for (const image::DataType type : {image::Int16, image::Float32}) {
        const ArvoImage3D in = randomVolume({517, 71, 4}, type, 3);
        const Setting s{{2, 5, 60}, {1.0f, 2.0f, 20.0f}};
        ArvoImage3D out = outputFor(in), inPlace = copyOf(in);
        EXPECT_TRUE(smooth(in, out, s));
        EXPECT_TRUE(sameBits(expectedOf(in, s), out));
        EXPECT_TRUE(smooth(inPlace, inPlace, s));
        EXPECT_TRUE(sameBits(out, inPlace));
    }
}

TEST(ArvoImageGaussianSmooth, RoundsHalvesAwayFromZero)
{
    const float inf = std::numeric_limits<float>::infinity();
    std::vector<float> values = {0.0f, -0.0f, 3e9f, -3e9f, inf, -inf, std::nanf(""), 1e-40f, -2147483648.0f};
    for (const float base : {0.5f, 1.5f, 2.5f, 254.5f, 32767.5f, 65535.5f, 4194303.5f, 8388607.5f, 8388608.5f,
                             16777216.0f, 2147483520.0f, 2147483648.0f}) {
        for (const float v : {base, std::nextafter(base, 0.0f), std::nextafter(base, inf)})
            values.insert(values.end(), {v, -v});
    }
    for (const float value : values) {
        EXPECT_EQ(frame::roundToVoxel<short>(value), stored<short>(value)) << value;
        EXPECT_EQ(frame::roundToVoxel<unsigned short>(value), stored<unsigned short>(value)) << value;
        EXPECT_EQ(frame::roundToVoxel<unsigned char>(value), stored<unsigned char>(value)) << value;
    }
}

TEST(ArvoImageGaussianSmooth, AConstantVolumeStaysConstant)
{
    const ArvoImage3D in =
        volumeOf<unsigned char>({9, 5, 2}, image::UInt8, std::vector<unsigned char>(90, 255));
    ArvoImage3D out = outputFor(in);
    EXPECT_TRUE(smooth(in, out, settings[0]));
    EXPECT_TRUE(sameBits(in, out));
    EXPECT_EQ(out.minValue(), 255);
}

TEST(ArvoImageGaussianSmooth, LegacyAgreesWithTheDefinition)
{
    forEachCase(smoothedTypes, [&](auto size, auto type, auto seed) {
        for (const Setting& s : settings) {
            const ArvoImage3D in = randomVolume(size, type, seed);
            ArvoImage3D out = outputFor(in);
            EXPECT_TRUE(smooth(in, out, s, Legacy));
            EXPECT_TRUE(sameBits(legacyOf(in, s), out))
                << describe(size, type, seed) << ", rx " << s.radius.x;
        }
    });
    for (const int depth : {40, 41, 42, 81, 100}) {
        const ArvoImage3D in = randomVolume({5, 3, depth}, image::Int16, 5);
        ArvoImage3D out = outputFor(in);
        EXPECT_TRUE(smooth(in, out, settings[1], Legacy));
        EXPECT_TRUE(sameBits(legacyOf(in, settings[1]), out)) << depth;
    }
}

TEST(ArvoImageGaussianSmooth, TheFlagCompletesTheCurrentRunAndStopsTheLegacyOne)
{
    const ArvoImage3D in = randomVolume({7, 6, 5}, image::Int16, 1);
    ArvoImage3D out = outputFor(in);
    EXPECT_FALSE(smooth(in, out, settings[0], Current, cancelled));
    EXPECT_TRUE(sameBits(expectedOf(in, settings[0]), out));
    out = outputFor(in);
    EXPECT_FALSE(smooth(in, out, settings[0], Legacy, cancelled));
    EXPECT_TRUE(sameBits(outputFor(in), out));
}

TEST(ArvoImageGaussianSmooth, RefusesBadCalls)
{
    const ArvoImage3D in = randomVolume({4, 3, 2}, image::Int16, 1);
    const ArvoImage3D mask = randomMask({4, 3, 2}, 0.5, 1);
    const std::string prefix = "ArvoImageGaussianSmooth : ";
    for (const Path path : {Current, Legacy}) {
        const Warnings warnings;
        ArvoImageGaussianSmooth unset;
        EXPECT_FALSE(path == Current ? unset.execute(notCancelled) : unset.executeDeprecated(notCancelled));
        ArvoImage3D out = outputFor(in), unsignedOut = randomVolume({4, 3, 2}, image::UInt16, 2);
        ArvoImage3D small = randomVolume({4, 3, 1}, image::Int16, 3), maskOut = copyOf(mask);
        EXPECT_FALSE(smooth(mask, maskOut, settings[0], path));
        EXPECT_FALSE(smooth(in, unsignedOut, settings[0], path));
        EXPECT_FALSE(smooth(in, out, {{3, -1, 3}, {2.0f, 2.0f, 2.0f}}, path));
        EXPECT_FALSE(smooth(in, small, settings[0], path));
        EXPECT_TRUE(sameBits(outputFor(in), out));
        EXPECT_TRUE(sameBits(randomVolume({4, 3, 1}, image::Int16, 3), small));
        auto texts = warnings.texts();
        ASSERT_EQ(texts.size(), 5u);
        if (path == Current) {
            EXPECT_NE(texts[4].find("ArvoImageGaussianSmoothHelper<"), std::string::npos) << texts[4];
            EXPECT_NE(texts[4].find("::smooth("), std::string::npos) << texts[4];
            EXPECT_TRUE(texts[4].ends_with("]:Images must have the same size.")) << texts[4];
            texts.back() = prefix + "images must have the same size.";
        }
        const std::vector<std::string> expected = {
            prefix + "no input image or no output image.", prefix + "not implemented for this data type.",
            prefix + "images must have the same data type.", prefix + "negative radius.",
            prefix + "images must have the same size."};
        EXPECT_EQ(texts, expected);
    }
}

TEST(ArvoImageGaussianSmooth, AnEmptyVolumeIsDoneAtOnce)
{
    for (const Path path : {Current, Legacy}) {
        for (const math::Ivec3& size : {math::Ivec3(0, 3, 2), math::Ivec3(3, 0, 2), math::Ivec3(3, 2, 0)}) {
            const ArvoImage3D in = randomVolume(size, image::Float32, 1);
            ArvoImage3D out = outputFor(in);
            EXPECT_TRUE(smooth(in, out, settings[0], path));
        }
    }
}

} // namespace
