#include "arvo/filters/ArvoImageGaussianSmooth.h"

#include "arvo/filters/ArvoImageGaussianSmoothHelper.h"
#include "arvo/frame/RoundToVoxel.h"

#include "support/CancelFlags.h"
#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <cmath>

using namespace testing_support;

namespace {

enum Path { Current, Legacy };

struct Setting {
    math::Ivec3 radius;
    QVector3D sigma;
};

const Setting settings[] = {{{3, 3, 3}, {2.0f, 2.0f, 2.0f}},
                            {{0, 2, 5}, {1.0f, 0.7f, 3.0f}},
                            {{4, 0, 1}, {0.0f, 2.0f, 0.0f}},
                            {{20, 1, 40}, {5.0f, 0.3f, 9.0f}}};

template <class T> T stored(float value)
{
    return storedAs<T>(std::is_same_v<T, float> ? value : std::round(static_cast<double>(value)));
}

/// Replaces the values by their weighted means along one axis. Beyond the ends the edge values are repeated, or, on the
/// legacy path, there are none and the weights are scaled to those inside.
template <class Real, class Value>
void smoothAlong(int axis, const math::Ivec3& size, int radius, Real sigma, Path path,
                 std::vector<Value>& values)
{
    const std::vector<Value> in = values;
    std::vector<Real> weights;
    for (int d = -radius; d <= radius; ++d)
        weights.push_back(sigma == 0 ? Real(d == 0)
                                     : std::exp(Real(-(d * d)) / (sigma * sigma + sigma * sigma)));
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        math::Ivec3 p(x, y, z);
        const int position = p[axis], end = size[axis] - 1;
        const int first = path == Legacy ? std::max(-radius, -position) : -radius;
        const int last = path == Legacy ? std::min(radius, end - position) : radius;
        Real sum = 0, whole = 0;
        for (int d = first; d <= last; ++d)
            whole += weights[static_cast<std::size_t>(d + radius)];
        for (int d = first; d <= last; ++d) {
            p[axis] = std::clamp(position + d, 0, end);
            sum += weights[static_cast<std::size_t>(d + radius)] / whole * in[indexOf(size, p.x, p.y, p.z)];
        }
        values[i] = static_cast<Value>(sum);
    });
}

/// The current path keeps floats between the axes and rounds at the end, the legacy path truncates after each axis; its
/// blocks change nothing unless it works in place.
template <class T> ArvoImage3D expectedOf(const ArvoImage3D& in, const Setting& s, Path path)
{
    ArvoImage3D out = copyOf(in);
    std::vector<float> floats(voxels<T>(in).begin(), voxels<T>(in).end());
    std::vector<T> elements(voxels<T>(in).begin(), voxels<T>(in).end());
    for (int axis = 0; axis < 3; ++axis) {
        if (path == Current)
            smoothAlong(axis, in.imageSize(), s.radius[axis], s.sigma[axis], path, floats);
        else
            smoothAlong(axis, in.imageSize(), s.radius[axis], double{s.sigma[axis]}, path, elements);
    }
    for (std::size_t i = 0; i < floats.size(); ++i)
        voxels<T>(out)[i] = path == Current ? stored<T>(floats[i]) : elements[i];
    return out;
}

bool smooth(const ArvoImage3D* in, ArvoImage3D* out, const Setting& s, Path path,
            const std::atomic<bool>& cancel = notCancelled)
{
    ArvoImageGaussianSmooth smooth;
    smooth.setInput(in);
    smooth.setOutput(out);
    smooth.setRadius(s.radius);
    smooth.setStandardDeviation(s.sigma);
    return path == Current ? smooth.execute(cancel) : smooth.executeDeprecated(cancel);
}

ArvoImage3D outputFor(const ArvoImage3D& in)
{
    return randomVolume(in.imageSize(), in.dataType(), 99);
}

void check(const ArvoImage3D& in, const Setting& s, Path path)
{
    ArvoImage3D out = outputFor(in);
    EXPECT_TRUE(smooth(&in, &out, s, path));
    withType(in.dataType(), [&](auto element) {
        EXPECT_TRUE(sameBits(expectedOf<typename decltype(element)::type>(in, s, path), out))
            << describe(in.imageSize(), in.dataType(), 0) << ", rx " << s.radius.x << ", path " << path;
    });
}

TEST(ArvoImageGaussianSmooth, AgreesWithTheDefinition)
{
    forEachCase({image::UInt16, image::Int16, image::UInt8, image::Float32},
                [](auto size, auto type, auto seed) {
                    const Fill fill = seed == 1 ? Fill::Uniform : Fill::Extremes;
                    for (const Setting& s : settings) {
                        check(randomVolume(size, type, seed, fill), s, Current);
                        check(randomVolume(size, type, seed), s, Legacy);
                    }
                });
    for (const int depth : {40, 41, 42, 81, 100})
        check(randomVolume({5, 3, depth}, image::Int16, 5), settings[1], Legacy);
    for (const math::Ivec3& empty : {math::Ivec3(0, 3, 2), math::Ivec3(3, 0, 2), math::Ivec3(3, 2, 0)}) {
        for (const Path path : {Current, Legacy})
            check(randomVolume(empty, image::Float32, 1), settings[0], path);
    }
}

TEST(ArvoImageGaussianSmooth, BandsOfRowsMeetWithoutASeam)
{
    for (const image::DataType type : {image::Int16, image::Float32}) {
        const Setting s{{2, 5, 60}, {1.0f, 2.0f, 20.0f}};
        const ArvoImage3D in = randomVolume({517, 71, 4}, type, 3);
        check(in, s, Current);
        ArvoImage3D out = outputFor(in), inPlace = copyOf(in);
        EXPECT_TRUE(smooth(&in, &out, s, Current));
        EXPECT_TRUE(smooth(&inPlace, &inPlace, s, Current));
        EXPECT_TRUE(sameBits(out, inPlace));
    }
}

TEST(ArvoImageGaussianSmooth, RoundsHalvesAwayFromZero)
{
    std::vector<float> values = {0.0f, 3e9f, HUGE_VALF, std::nanf(""), 1e-40f};
    for (const float base : {0.5f, 1.5f, 2.5f, 254.5f, 32767.5f, 65535.5f, 4194303.5f, 8388607.5f, 8388608.5f,
                             16777216.0f, 2147483520.0f, 2147483648.0f})
        values.insert(values.end(), {base, std::nextafter(base, 0.0f), std::nextafter(base, HUGE_VALF)});
    for (const float magnitude : values) {
        for (const float value : {magnitude, -magnitude}) {
            EXPECT_EQ(frame::roundToVoxel<short>(value), stored<short>(value)) << value;
            EXPECT_EQ(frame::roundToVoxel<unsigned short>(value), stored<unsigned short>(value)) << value;
            EXPECT_EQ(frame::roundToVoxel<unsigned char>(value), stored<unsigned char>(value)) << value;
        }
    }
}

TEST(ArvoImageGaussianSmooth, TheFlagCompletesTheCurrentRunAndStopsTheLegacyOne)
{
    const ArvoImage3D in = randomVolume({7, 6, 5}, image::Int16, 1);
    ArvoImage3D out = outputFor(in);
    EXPECT_FALSE(smooth(&in, &out, settings[0], Legacy, cancelled));
    EXPECT_TRUE(sameBits(outputFor(in), out));
    EXPECT_FALSE(smooth(&in, &out, settings[0], Current, cancelled));
    EXPECT_TRUE(sameBits(expectedOf<short>(in, settings[0], Current), out));
}

TEST(ArvoImageGaussianSmooth, RefusesBadCalls)
{
    const ArvoImage3D in = randomVolume({4, 3, 2}, image::Int16, 1), mask = randomMask({4, 3, 2}, 0.5, 1);
    const ArvoImage3D other = randomVolume({4, 3, 2}, image::UInt16, 2);
    const ArvoImage3D small = randomVolume({4, 3, 1}, image::Int16, 3);
    const std::string prefix = "ArvoImageGaussianSmooth : ",
                      noImage = prefix + "no input image or no output image.";
    const std::string unequalTypes = prefix + "images must have the same data type.";
    using Helper = ArvoImageGaussianSmoothHelper<short>;
    for (const Path path : {Current, Legacy}) {
        const auto warningOf = [&](const ArvoImage3D* input, const ArvoImage3D* like, const Setting& s) {
            ArvoImage3D output;
            if (like)
                output = outputFor(*like);
            const Warnings warnings;
            EXPECT_FALSE(smooth(input, like ? &output : nullptr, s, path));
            EXPECT_TRUE(!like || sameBits(outputFor(*like), output));
            return warnings.texts().size() == 1 ? warnings.texts().front() : "not one warning";
        };
        EXPECT_EQ(warningOf(nullptr, &in, settings[0]), noImage);
        EXPECT_EQ(warningOf(&in, nullptr, settings[0]), noImage);
        EXPECT_EQ(warningOf(&mask, &mask, settings[0]), prefix + "not implemented for this data type.");
        EXPECT_EQ(warningOf(&in, &other, settings[0]), unequalTypes);
        for (int axis = 0; axis < 3; ++axis) {
            Setting negative = settings[0];
            negative.radius[axis] = -1;
            EXPECT_EQ(warningOf(&in, &in, negative), prefix + "negative radius.");
        }
        const std::string text = warningOf(&in, &small, settings[0]);
        if (path == Legacy) {
            EXPECT_EQ(text, prefix + "images must have the same size.");
        } else { // names the function
            EXPECT_TRUE(text.find("ArvoImageGaussianSmoothHelper<") != std::string::npos &&
                        text.find("::smooth(") != std::string::npos &&
                        text.ends_with("]:Images must have the same size."))
                << text;
        }
    }
    const Warnings warnings;
    ArvoImage3D out = outputFor(in);
    EXPECT_FALSE(Helper::smooth({}, {}, &in, nullptr, notCancelled));
    EXPECT_FALSE(Helper::smooth({}, {}, &other, &out, notCancelled));
    EXPECT_EQ(warnings.texts(), (std::vector<std::string>{noImage, unequalTypes}));
}

} // namespace
