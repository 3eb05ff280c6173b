#include "arvo/filters/ArvoImageSubsample.h"

#include "support/CancelFlags.h"
#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

using namespace testing_support;
using Method = ArvoImageSubsample::SubsampleMethod;
using enum ArvoImageSubsample::SubsampleMethod;

namespace {

constexpr Method methods[] = {Fast, Average, Interpolated, Max};

bool subsample(const ArvoImage3D* in, ArvoImage3D* out, Method method, const math::Ivec3& factor,
               const std::atomic<bool>& cancel = notCancelled)
{
    ArvoImageSubsample operation;
    operation.setInput(in);
    operation.setOutput(out);
    operation.setSampleFactor(factor.x, factor.y, factor.z);
    return operation.execute(method, cancel);
}

template <class T>
T voxelOfBlock(const ArvoImage3D& in, Method method, const math::Ivec3& f, int x, int y, int z)
{
    const auto at = [&](int i, int j, int k) {
        return voxels<T>(in)[indexOf(in.imageSize(), x * f.x + i, y * f.y + j, z * f.z + k)];
    };
    const T first = at(0, 0, 0);
    if (method == Fast)
        return first;
    if (method == Interpolated) {
        const double sample = truncated(double(first));
        return std::is_same_v<T, float> ? T(float(sample) + 0.5f) : storedAs<T>(sample + 0.5);
    }
    double sum = 0.0, maximum = std::numeric_limits<double>::lowest();
    forEachVoxel(f, [&](int i, int j, int k, std::size_t) {
        const double voxel = at(i, j, k);
        sum += voxel;
        maximum = voxel > maximum ? voxel : maximum;
    });
    return storedAs<T>(method == Max ? maximum : sum / (f.x * f.y * f.z));
}

ArvoImage3D expectedOf(const ArvoImage3D& in, Method method, const math::Ivec3& f)
{
    math::Ivec3 size;
    QVector3D voxelSize;
    for (int axis = 0; axis < 3; ++axis) {
        const int n = in.imageSize()[axis];
        const float v = in.voxelSize()[axis];
        size[axis] = method == Interpolated ? (n - 1) / f[axis] + 1 : n / f[axis];
        voxelSize[axis] = method == Interpolated ? float(f[axis]) * v : float(n) * v / float(size[axis]);
    }
    ArvoImage3D out(size, voxelSize, in.dataType());
    withType(in.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
            voxels<T>(out)[i] = voxelOfBlock<T>(in, method, f, x, y, z);
        });
    });
    return out;
}

TEST(ArvoImageSubsample, AgreesWithTheDefinition)
{
    forEachCase(voxelTypes(), [](auto size, auto type, auto seed) {
        const ArvoImage3D in = randomVolume(size, type, seed, seed == 1 ? Fill::Uniform : Fill::Extremes);
        for (const Method method : methods) {
            if (type == image::Binary && method != Max)
                continue;
            for (const math::Ivec3& f : {math::Ivec3(2, 2, 2), {1, 3, 2}, {3, 1, 1}, {4, 2, 5}, {7, 4, 1}}) {
                const ArvoImage3D expected = expectedOf(in, method, f);
                ArvoImage3D out;
                EXPECT_TRUE(subsample(&in, &out, method, f));
                EXPECT_TRUE(sameBits(expected, out)) << describe(size, type, seed) << ", method " << method;
                for (int axis = 0; axis < 3; ++axis)
                    EXPECT_TRUE(sameBits(expected.voxelSize()[axis], out.voxelSize()[axis]));
            }
            ArvoImage3D copy;
            EXPECT_TRUE(subsample(&in, &copy, method, {1, 1, 1}, cancelled));
            EXPECT_TRUE(sameBits(in, copy)) << method;
            EXPECT_EQ(in.voxelSize(), copy.voxelSize());
        }
    });
}

TEST(ArvoImageSubsample, ByHand)
{
    const std::vector<unsigned short> high(64000, 65535); // its sum exceeds 32 bits
    const ArvoImage3D large = volumeOf({40, 40, 40}, image::UInt16, high);
    const ArvoImage3D floats = volumeOf<float>({4, 1, 1}, image::Float32, {2.7f, 0.0f, -2.7f, 0.0f});
    const ArvoImage3D empty = volumeOf<short>({0, 1, 1}, image::Int16, {});
    const ArvoImage3D shorts = volumeOf<short>({4, 1, 1}, image::Int16, {-1, 2, 1, 2});
    const struct {
        const ArvoImage3D& in;
        Method method;
        math::Ivec3 factor;
        ArvoImage3D expected;
    } cases[] = {{large, Average, {40, 40, 40}, volumeOf<unsigned short>({1, 1, 1}, image::UInt16, {65535})},
                 {floats, Interpolated, {2, 1, 1}, volumeOf<float>({2, 1, 1}, image::Float32, {2.5f, -1.5f})},
                 {shorts, Interpolated, {2, 1, 1}, volumeOf<short>({2, 1, 1}, image::Int16, {0, 1})},
                 {shorts, Average, {2, 1, 1}, volumeOf<short>({2, 1, 1}, image::Int16, {0, 1})},
                 {shorts, Fast, {5, 1, 1}, volumeOf<short>({0, 1, 1}, image::Int16, {})},
                 {empty, Interpolated, {5, 1, 1}, volumeOf<short>({0, 1, 1}, image::Int16, {})},
                 {shorts, Interpolated, {5, 7, 9}, volumeOf<short>({1, 1, 1}, image::Int16, {0})}};
    for (const auto& [in, method, factor, expected] : cases) {
        ArvoImage3D out;
        EXPECT_TRUE(subsample(&in, &out, method, factor));
        EXPECT_TRUE(sameBits(expected, out)) << method << ", factor " << factor.x;
    }
}

TEST(ArvoImageSubsample, ARaisedFlagLeavesTheFirstSlice)
{
    const ArvoImage3D in = randomVolume({8, 6, 6}, image::Int16, 1);
    for (const Method method : methods) {
        ArvoImage3D out, expected = expectedOf(in, method, {2, 2, 2});
        out.createFrom(&expected, image::Int16); // the run reuses this block
        out.memsetSlices(7);
        const bool ignoresFlag = method == Interpolated;
        for (int z = 1; z < 3 && !ignoresFlag; ++z)
            std::fill_n(expected.getAxialSlice(z), expected.sizeOfAxialSlice(), char(7));
        EXPECT_EQ(subsample(&in, &out, method, {2, 2, 2}, cancelled), ignoresFlag);
        EXPECT_TRUE(sameBits(expected, out)) << method;
    }
}

TEST(ArvoImageSubsample, RefusesBadCallsInOrder)
{
    const ArvoImage3D in = randomVolume({4, 4, 4}, image::Int16, 1), mask = randomMask({4, 4, 4}, 0.5, 1);
    const ArvoImage3D invalid;
    ArvoImage3D out = copyOf(in);
    const auto refuses = [&](const ArvoImage3D* input, ArvoImage3D* output, Method method,
                             const math::Ivec3& factor, const std::string& problem) {
        const Warnings warnings;
        EXPECT_FALSE(subsample(input, output, method, factor)) << problem;
        EXPECT_EQ(warnings.texts(), std::vector<std::string>{"ArvoImageSubsample : " + problem});
    };
    for (const Method method : {Method(4), Method(-1)})
        refuses(nullptr, nullptr, method, {1, 1, 1}, "unknown subsampling method.");
    for (const Method method : methods) {
        refuses(nullptr, &out, method, {1, 1, 1}, "no input image or no output image.");
        refuses(&in, nullptr, method, {1, 1, 1}, "no input image or no output image.");
        refuses(&out, &out, method, {2, 2, 2}, "the output image must not be the input image.");
        refuses(&in, &out, method, {2, 0, 2}, "sample factors must be at least 1.");
        if (method != Max)
            refuses(&mask, &out, method, {0, 1, 1}, "incompatible input data type.");
        refuses(&invalid, &out, method, {1, 1, 1}, "incompatible input data type.");
    }
    EXPECT_TRUE(sameBits(in, out));
}

} // namespace
