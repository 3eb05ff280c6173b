#include "arvo/filters/ArvoImageSubsample.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <new>
#include <vector>

namespace {

using GreyTypes = image::TypeSet<image::UInt16, image::Int16, image::UInt8, image::Float32>;

constexpr const char* INCOMPATIBLE = "ArvoImageSubsample : incompatible input data type.";

struct Job {
    const ArvoImage3D& in;
    ArvoImage3D& out;
    math::Ivec3 factor;
    const std::atomic<bool>& cancel;

    bool isCopy() const { return factor == math::Ivec3(1, 1, 1); }
};

/// Calls body with the factor along x as a compile-time constant where it is small (the strided loads then vectorise),
/// as 0 for "any other".
template <class Body> void withStride(int factor, Body&& body)
{
    switch (factor) {
    case 1:
        return body(std::integral_constant<int, 1>{});
    case 2:
        return body(std::integral_constant<int, 2>{});
    case 3:
        return body(std::integral_constant<int, 3>{});
    case 4:
        return body(std::integral_constant<int, 4>{});
    default:
        return body(std::integral_constant<int, 0>{});
    }
}

template <int STRIDE> constexpr std::ptrdiff_t strideOf(std::ptrdiff_t factor)
{
    return STRIDE == 0 ? factor : STRIDE;
}

/// What interpolation comes to at whole positions, where every weight is 0 or 1.
template <class T> struct InterpolatedVoxel {
    T operator()(T voxel) const
    {
        if constexpr (std::is_same_v<T, float>)
            return static_cast<float>(image::truncateToInt32(voxel)) + 0.5f;
        else
            return image::toVoxel<T>(static_cast<float>(voxel) + 0.5f);
    }
};

template <int STRIDE, class T, class Convert>
ARVO_VECTOR_CLONES void sampleRow(const T* from, T* to, std::ptrdiff_t count, std::ptrdiff_t factor,
                                  Convert convert)
{
    const std::ptrdiff_t stride = strideOf<STRIDE>(factor);
    for (std::ptrdiff_t i = 0; i < count; ++i)
        to[i] = convert(from[i * stride]);
}

/// sums[i] += the voxels of block i in this row, from left to right.
template <int STRIDE, class T, class Sum>
ARVO_VECTOR_CLONES void addRow(const T* from, Sum* sums, std::ptrdiff_t count, std::ptrdiff_t factor)
{
    const std::ptrdiff_t stride = strideOf<STRIDE>(factor);
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        Sum sum = sums[i];
        for (std::ptrdiff_t dx = 0; dx < stride; ++dx)
            sum += static_cast<Sum>(from[i * stride + dx]);
        sums[i] = sum;
    }
}

template <class T, class Sum>
ARVO_VECTOR_CLONES void divideRow(const Sum* sums, T* to, std::ptrdiff_t count, double divisor)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        to[i] = image::toVoxel<T>(static_cast<double>(sums[i]) / divisor);
}

/// maxima[i] = the largest of it and the voxels of block i in this row; NaN and equal values leave it.
template <int STRIDE, class T>
ARVO_VECTOR_CLONES void maximizeRow(const T* from, T* maxima, std::ptrdiff_t count, std::ptrdiff_t factor)
{
    const std::ptrdiff_t stride = strideOf<STRIDE>(factor);
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        T maximum = maxima[i];
        for (std::ptrdiff_t dx = 0; dx < stride; ++dx) {
            const T voxel = from[i * stride + dx];
            maximum = voxel > maximum ? voxel : maximum;
        }
        maxima[i] = maximum;
    }
}

bool copySlices(const Job& job)
{
    for (int z = 0; z < job.in.imageSize().z; ++z) {
        if (!job.out.setAxialSlice(z, job.in.getConstAxialSlice(z)))
            return false;
    }
    return true;
}

/// Creates the output over the physical extent of the input.
bool createBlockOutput(const Job& job)
{
    const math::Ivec3 n = job.in.imageSize();
    const QVector3D v = job.in.voxelSize();
    const math::Ivec3 size(n.x / job.factor.x, n.y / job.factor.y, n.z / job.factor.z);
    const auto spacing = [](int count, float voxelSize, int newCount) {
        return static_cast<float>(count) * voxelSize / static_cast<float>(newCount);
    };
    const QVector3D voxelSize(spacing(n.x, v.x(), size.x), spacing(n.y, v.y(), size.y),
                              spacing(n.z, v.z(), size.z));
    if (!job.out.create(size, voxelSize, job.in.dataType()))
        return frame::refuse("ArvoImageSubsampleHelper : failed to create image for subsampling.");
    return true;
}

/// Creates the output on the sample positions.
bool createSampleOutput(const Job& job)
{
    const math::Ivec3 n = job.in.imageSize();
    const QVector3D v = job.in.voxelSize();
    const math::Ivec3 f = job.factor;
    const auto samples = [](int count, int factor) { return count == 0 ? 0 : (count - 1) / factor + 1; };
    const auto spacing = [](int factor, float voxelSize) { return static_cast<float>(factor) * voxelSize; };
    if (!job.out.create(math::Ivec3(samples(n.x, f.x), samples(n.y, f.y), samples(n.z, f.z)),
                        QVector3D(spacing(f.x, v.x()), spacing(f.y, v.y()), spacing(f.z, v.z())),
                        job.in.dataType())) {
        qDebug("Failed to create image for subsampling");
        return false;
    }
    return true;
}

/// Calls fillRow(y, z, row) for every row of the created output; false when the flag was up after a slice.
template <class T, class FillRow> bool fillOutput(const Job& job, FillRow&& fillRow)
{
    const frame::VolumeView<T> out(job.out);
    for (std::ptrdiff_t z = 0; z < out.depth(); ++z) {
        for (std::ptrdiff_t y = 0; y < out.height(); ++y)
            fillRow(y, z, out.row(y, z));
        if (job.cancel.load())
            return false;
    }
    return true;
}

/// The first voxel of each block, converted, into the created output.
template <class T, class Convert> bool sample(const Job& job, Convert convert)
{
    if (job.isCopy())
        return copySlices(job);
    const frame::VolumeView<const T> in(job.in);
    const std::ptrdiff_t width = job.out.imageSize().x;
    return fillOutput<T>(job, [&](std::ptrdiff_t y, std::ptrdiff_t z, T* row) {
        withStride(job.factor.x, [&](auto stride) {
            const T* from = in.row(y * job.factor.y, z * job.factor.z);
            sampleRow<stride>(from, row, width, job.factor.x, convert);
        });
    });
}

/// Calls body(row) for the input rows that the blocks of output row (y, z) cover, in the order of z, then y.
template <class T, class Body>
void forEachBlockRow(const frame::VolumeView<const T>& in, const math::Ivec3& factor, std::ptrdiff_t y,
                     std::ptrdiff_t z, Body&& body)
{
    for (std::ptrdiff_t dz = 0; dz < factor.z; ++dz) {
        for (std::ptrdiff_t dy = 0; dy < factor.y; ++dy)
            body(in.row(y * factor.y + dy, z * factor.z + dz));
    }
}

template <class T, class Sum> bool averageWithSums(const Job& job, double blockCount)
{
    const frame::VolumeView<const T> in(job.in);
    std::vector<Sum> sums(static_cast<std::size_t>(job.out.imageSize().x));
    return fillOutput<T>(job, [&](std::ptrdiff_t y, std::ptrdiff_t z, T* row) {
        std::ranges::fill(sums, Sum(0));
        withStride(job.factor.x, [&](auto stride) {
            forEachBlockRow(in, job.factor, y, z, [&](const T* from) {
                addRow<stride>(from, sums.data(), std::ssize(sums), job.factor.x);
            });
        });
        divideRow(sums.data(), row, std::ssize(sums), blockCount);
    });
}

/// Integers below 2^53 sum up exactly in double precision: the sums may be kept in whichever type is fastest.
template <class T> bool average(const Job& job)
{
    if (job.isCopy())
        return copySlices(job);
    const double blockCount = double(job.factor.x) * double(job.factor.y) * double(job.factor.z);
    if constexpr (std::is_same_v<T, float>)
        return averageWithSums<T, double>(job, blockCount);
    else if (blockCount * 65536.0 <= 2147483648.0)
        return averageWithSums<T, std::int32_t>(job, blockCount);
    else
        return averageWithSums<T, std::int64_t>(job, blockCount);
}

template <class T> bool maximum(const Job& job)
{
    using Limits = std::numeric_limits<T>;
    if (job.isCopy())
        return copySlices(job);
    const frame::VolumeView<const T> in(job.in);
    const std::ptrdiff_t width = job.out.imageSize().x;
    return fillOutput<T>(job, [&](std::ptrdiff_t y, std::ptrdiff_t z, T* row) {
        std::fill_n(row, width, Limits::has_infinity ? -Limits::infinity() : Limits::lowest());
        withStride(job.factor.x, [&](auto stride) {
            forEachBlockRow(in, job.factor, y, z,
                            [&](const T* from) { maximizeRow<stride>(from, row, width, job.factor.x); });
        });
    });
}

/// Calls body(std::type_identity<T>{}) for the job's element type, once type and factors are known to be usable.
template <class Types, class Body> bool onElements(const Job& job, Types types, Body&& body)
{
    return image::withElementType(job.in.dataType(), types, INCOMPATIBLE, [&](auto element) {
        if (job.factor.x < 1 || job.factor.y < 1 || job.factor.z < 1)
            return frame::refuse("ArvoImageSubsample : sample factors must be at least 1.");
        return body(element);
    });
}

} // namespace

ArvoImageSubsample::ArvoImageSubsample() = default;
ArvoImageSubsample::ArvoImageSubsample(const ArvoImageSubsample&) = default;
ArvoImageSubsample& ArvoImageSubsample::operator=(const ArvoImageSubsample&) = default;
ArvoImageSubsample::~ArvoImageSubsample() = default;

bool ArvoImageSubsample::execute(SubsampleMethod method, const std::atomic<bool>& cancel)
try {
    if (method < Fast || method > Max)
        return frame::refuse("ArvoImageSubsample : unknown subsampling method.");
    if (!m_input || !m_output)
        return frame::refuse("ArvoImageSubsample : no input image or no output image.");
    if (m_input == m_output)
        return frame::refuse("ArvoImageSubsample : the output image must not be the input image.");
    bool isDone = false;
    switch (method) {
    case Fast:
        isDone = executeFast(cancel);
        break;
    case Average:
        isDone = executeAverage(cancel);
        break;
    case Interpolated:
        isDone = executeInterpolated(cancel);
        break;
    case Max:
        isDone = executeMax(cancel);
        break;
    }
    if (isDone)
        m_output->editFinished();
    return isDone;
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageSubsample : out of memory.");
}

bool ArvoImageSubsample::executeFast(const std::atomic<bool>& cancel)
{
    const Job job{*m_input, *m_output, m_sampleFactor, cancel};
    return onElements(job, GreyTypes{}, [&](auto element) {
        using T = typename decltype(element)::type;
        return createBlockOutput(job) && sample<T>(job, std::identity{});
    });
}

bool ArvoImageSubsample::executeAverage(const std::atomic<bool>& cancel)
{
    const Job job{*m_input, *m_output, m_sampleFactor, cancel};
    return onElements(job, GreyTypes{}, [&](auto element) {
        using T = typename decltype(element)::type;
        return createBlockOutput(job) && average<T>(job);
    });
}

bool ArvoImageSubsample::executeInterpolated(const std::atomic<bool>&)
{
    static const std::atomic<bool> neverCancelled{false};
    const Job job{*m_input, *m_output, m_sampleFactor, neverCancelled};
    return onElements(job, GreyTypes{}, [&](auto element) {
        using T = typename decltype(element)::type;
        return createSampleOutput(job) && sample<T>(job, InterpolatedVoxel<T>{});
    });
}

bool ArvoImageSubsample::executeMax(const std::atomic<bool>& cancel)
{
    const Job job{*m_input, *m_output, m_sampleFactor, cancel};
    return onElements(job, image::VoxelTypes{}, [&](auto element) {
        using T = typename decltype(element)::type;
        return createBlockOutput(job) && maximum<T>(job);
    });
}
