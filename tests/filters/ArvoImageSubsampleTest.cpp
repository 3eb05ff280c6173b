#include "arvo/filters/ArvoImageSubsample.h"

#include "support/CancelFlags.h"
#include "support/FloatToVoxel.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

using namespace testing_support;
using Method = ArvoImageSubsample::SubsampleMethod;

namespace {

const std::vector<Method> methods = {ArvoImageSubsample::Fast, ArvoImageSubsample::Average,
                                     ArvoImageSubsample::Interpolated, ArvoImageSubsample::Max};
const std::vector<math::Ivec3> factors = {{2, 2, 2}, {1, 3, 2}, {3, 1, 1}, {4, 2, 5}, {7, 4, 1}};

bool subsample(const ArvoImage3D& in, ArvoImage3D& out, Method method, const math::Ivec3& factor,
               const std::atomic<bool>& cancel = notCancelled)
{
    ArvoImageSubsample operation;
    operation.setInput(&in);
    operation.setOutput(&out);
    operation.setSampleFactor(factor.x, factor.y, factor.z);
    return operation.execute(method, cancel);
}

template <class T>
T voxelOfBlock(const ArvoImage3D& in, Method method, const math::Ivec3& f, int x, int y, int z)
{
    const math::Ivec3 n = in.imageSize();
    const auto at = [&](int i, int j, int k) {
        return voxels<T>(in)[static_cast<std::size_t>((k * n.y + j) * n.x + i)];
    };
    const T first = at(x * f.x, y * f.y, z * f.z);
    if (method == ArvoImageSubsample::Fast)
        return first;
    if (method == ArvoImageSubsample::Interpolated) {
        const double sample = truncated(double(first));
        return std::is_same_v<T, float> ? T(float(sample) + 0.5f) : storedAs<T>(sample + 0.5);
    }
    double sum = 0.0, maximum = std::numeric_limits<double>::lowest();
    int count = 0;
    for (int k = z * f.z; k < std::min(z * f.z + f.z, n.z); ++k) {
        for (int j = y * f.y; j < std::min(y * f.y + f.y, n.y); ++j) {
            for (int i = x * f.x; i < std::min(x * f.x + f.x, n.x); ++i) {
                const double voxel = at(i, j, k);
                sum += voxel;
                maximum = voxel > maximum ? voxel : maximum;
                ++count;
            }
        }
    }
    return storedAs<T>(method == ArvoImageSubsample::Max ? maximum : sum / count);
}

ArvoImage3D expectedOf(const ArvoImage3D& in, Method method, const math::Ivec3& f)
{
    const bool isSampled = method == ArvoImageSubsample::Interpolated;
    std::array<int, 3> size;
    std::array<float, 3> voxelSize;
    for (std::size_t a = 0; a < 3; ++a) {
        const int axis = static_cast<int>(a), n = in.imageSize()[axis];
        const float v = in.voxelSize()[axis];
        size[a] = isSampled ? (n - 1) / f[axis] + 1 : n / f[axis];
        voxelSize[a] = isSampled ? float(f[axis]) * v : float(n) * v / float(size[a]);
    }
    ArvoImage3D out(size.data(), voxelSize.data(), in.dataType());
    withType(in.dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        forEachVoxel(out.imageSize(), [&](int x, int y, int z, std::size_t i) {
            voxels<T>(out)[i] = voxelOfBlock<T>(in, method, f, x, y, z);
        });
    });
    return out;
}

TEST(ArvoImageSubsample, AgreesWithTheDefinition)
{
    forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
        const ArvoImage3D in = randomVolume(size, type, seed, seed == 1 ? Fill::Uniform : Fill::Extremes);
        for (const Method method : methods) {
            if (type == image::Binary && method != ArvoImageSubsample::Max)
                continue;
            for (const math::Ivec3& f : factors) {
                const ArvoImage3D expected = expectedOf(in, method, f);
                ArvoImage3D out;
                EXPECT_TRUE(subsample(in, out, method, f));
                EXPECT_TRUE(sameBits(expected, out)) << describe(size, type, seed) << ", method " << method;
                for (int axis = 0; axis < 3; ++axis)
                    EXPECT_TRUE(sameBits(expected.voxelSize()[axis], out.voxelSize()[axis]));
            }
        }
    });
}

TEST(ArvoImageSubsample, SumsLargeBlocksWithoutOverflow)
{
    ArvoImage3D in({40, 40, 40}, QVector3D(1, 1, 1), image::UInt16), out;
    std::ranges::fill(voxels<unsigned short>(in), static_cast<unsigned short>(65535));
    EXPECT_TRUE(subsample(in, out, ArvoImageSubsample::Average, {40, 40, 40}));
    EXPECT_EQ(out.getValue(0, 0, 0), 65535);
}

TEST(ArvoImageSubsample, FactorsOfOneCopy)
{
    for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Float32}) {
        const ArvoImage3D in = randomVolume({7, 5, 3}, type, 1, Fill::Extremes);
        for (const Method method : methods) {
            ArvoImage3D out;
            EXPECT_TRUE(subsample(in, out, method, {1, 1, 1}, cancelled));
            EXPECT_TRUE(sameBits(in, out)) << method;
            EXPECT_EQ(in.voxelSize(), out.voxelSize());
        }
    }
}

TEST(ArvoImageSubsample, KeepsItsOddities)
{
    const ArvoImage3D floats = volumeOf<float>({4, 1, 1}, image::Float32, {2.7f, 0.0f, -2.7f, 0.0f});
    const ArvoImage3D shorts = volumeOf<short>({4, 1, 1}, image::Int16, {-1, 2, 1, 2});
    ArvoImage3D out;
    EXPECT_TRUE(subsample(floats, out, ArvoImageSubsample::Interpolated, {2, 1, 1}));
    EXPECT_TRUE(sameBits(volumeOf<float>({2, 1, 1}, image::Float32, {2.5f, -1.5f}), out));
    EXPECT_TRUE(subsample(shorts, out, ArvoImageSubsample::Interpolated, {2, 1, 1}));
    EXPECT_TRUE(sameBits(volumeOf<short>({2, 1, 1}, image::Int16, {0, 1}), out));
    EXPECT_TRUE(subsample(shorts, out, ArvoImageSubsample::Average, {2, 1, 1}));
    EXPECT_TRUE(sameBits(volumeOf<short>({2, 1, 1}, image::Int16, {0, 1}), out));
    EXPECT_TRUE(subsample(shorts, out, ArvoImageSubsample::Fast, {5, 1, 1}));
    EXPECT_EQ(out.imageSize(), math::Ivec3(0, 1, 1));
    EXPECT_TRUE(subsample(shorts, out, ArvoImageSubsample::Interpolated, {5, 7, 9}));
    EXPECT_EQ(out.imageSize(), math::Ivec3(1, 1, 1));
}

TEST(ArvoImageSubsample, ARaisedFlagLeavesTheFirstSlice)
{
    const ArvoImage3D in = randomVolume({8, 6, 6}, image::Int16, 1);
    for (const Method method : methods) {
        ArvoImage3D out, expected = expectedOf(in, method, {2, 2, 2});
        out.createFrom(&expected, image::Int16); // the run reuses this block
        out.memsetSlices(7);
        const bool ignoresFlag = method == ArvoImageSubsample::Interpolated;
        for (int z = 1; z < 3 && !ignoresFlag; ++z)
            std::fill_n(expected.getAxialSlice(z), expected.sizeOfAxialSlice(), char(7));
        EXPECT_EQ(subsample(in, out, method, {2, 2, 2}, cancelled), ignoresFlag);
        EXPECT_TRUE(sameBits(expected, out)) << method;
    }
}

TEST(ArvoImageSubsample, RefusesBadCallsInOrder)
{
    const std::string prefix = "ArvoImageSubsample : ";
    const ArvoImage3D in = randomVolume({4, 4, 4}, image::Int16, 1), mask = randomMask({4, 4, 4}, 0.5, 1);
    ArvoImage3D out = copyOf(in);
    const Warnings warnings;
    std::vector<std::string> expected;
    const auto refuses = [&](bool result, const std::string& problem) {
        EXPECT_FALSE(result) << problem;
        expected.push_back(prefix + problem);
    };
    refuses(ArvoImageSubsample().execute(Method(4), notCancelled), "unknown subsampling method.");
    refuses(ArvoImageSubsample().execute(Method(-1), notCancelled), "unknown subsampling method.");
    refuses(ArvoImageSubsample().execute(Method(0), notCancelled), "no input image or no output image.");
    refuses(subsample(out, out, ArvoImageSubsample::Fast, {2, 2, 2}),
            "the output image must not be the input image.");
    for (const Method method : methods) {
        refuses(subsample(in, out, method, {2, 0, 2}), "sample factors must be at least 1.");
        if (method != ArvoImageSubsample::Max)
            refuses(subsample(mask, out, method, {0, 1, 1}), "incompatible input data type.");
        refuses(subsample(ArvoImage3D(), out, method, {1, 1, 1}), "incompatible input data type.");
    }
    EXPECT_EQ(warnings.texts(), expected);
    EXPECT_TRUE(sameBits(in, out));
}

} // namespace
