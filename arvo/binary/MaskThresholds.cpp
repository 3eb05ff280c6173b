#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/PageStreams.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace {

constexpr const char* NOT_IMPLEMENTED = "ArvoImage3D::thresholdFilter() Data type not implemented";

/// Integer voxels that pass: both bounds inclusive, none when low > high. Wide enough for one past any voxel.
struct Accepted {
    std::int64_t low;
    std::int64_t high;
};

/// out = 1 from low to high, both inclusive. An input that is the output is fine.
template <class T>
ARVO_VECTOR_CLONES void markInterval(const T* in, unsigned char* out, std::ptrdiff_t count, T low, T high)
{
    using Unsigned = std::make_unsigned_t<T>;
    const auto span = static_cast<Unsigned>(high - low);
    utility::forEachElement<sizeof(T)>(
        count, [&](std::ptrdiff_t i) ARVO_INLINED { out[i] = static_cast<Unsigned>(in[i] - low) <= span; });
}

template <class T>
void markAccepted(const T* in, unsigned char* out, std::ptrdiff_t count, const Accepted& accepted)
{
    using Limits = std::numeric_limits<T>;
    const std::int64_t low = std::max<std::int64_t>(accepted.low, Limits::min());
    const std::int64_t high = std::min<std::int64_t>(accepted.high, Limits::max());
    if (low <= high)
        markInterval(in, out, count, static_cast<T>(low), static_cast<T>(high));
    else
        std::memset(out, 0, static_cast<std::size_t>(count));
}

ARVO_VECTOR_CLONES void markAbove(const float* in, unsigned char* out, std::ptrdiff_t count, float threshold)
{
    utility::forEachElement<sizeof(float)>(count, [&](std::ptrdiff_t i)
                                                      ARVO_INLINED { out[i] = in[i] > threshold; });
}

ARVO_VECTOR_CLONES void markAtLeast(const float* in, unsigned char* out, std::ptrdiff_t count,
                                    float threshold)
{
    utility::forEachElement<sizeof(float)>(count, [&](std::ptrdiff_t i)
                                                      ARVO_INLINED { out[i] = in[i] >= threshold; });
}

template <class T>
void markPassing(const T* in, unsigned char* out, std::ptrdiff_t count, float threshold, bool strict)
{
    if constexpr (std::is_floating_point_v<T>) {
        (strict ? markAbove : markAtLeast)(in, out, count, threshold);
    } else {
        const std::int32_t truncated = image::truncateToInt32(threshold);
        const std::int64_t bound = sizeof(T) == 1 ? static_cast<T>(truncated) : truncated;
        markAccepted(in, out, count, {strict ? bound + 1 : bound, std::numeric_limits<std::int64_t>::max()});
    }
}

} // namespace

bool ArvoImageBinaryTools::thresholdFilter(int threshold, bool strict)
{
    return thresholdFilter(static_cast<float>(threshold), strict);
}

bool ArvoImageBinaryTools::thresholdFilter(float threshold, bool strict)
{
    return m_input && m_output && thresholdFilter(*m_input, *m_output, threshold, strict);
}

bool ArvoImageBinaryTools::thresholdFilter(const ArvoImage3D& in, ArvoImage3D& out, float threshold,
                                           bool strict)
{
    if (out.dataType() != image::Binary || !frame::haveEqualSize(in, out))
        return false;
    return image::withElementType(in.dataType(), image::VoxelTypes{}, NOT_IMPLEMENTED, [&](auto element) {
        using T = typename decltype(element)::type;
        const frame::VolumeView<const T> voxels(in);
        markPassing(voxels.data(), frame::VolumeView<unsigned char>(out).data(), voxels.count(), threshold,
                    strict);
        out.editFinished();
    });
}

bool ArvoImageBinaryTools::thresholdFilterLowHigh(int low, int high)
{
    if (!m_input || !m_output || m_output->dataType() != image::Binary)
        return false;
    return image::withElementType(
        m_input->dataType(), image::IntegerTypes{}, NOT_IMPLEMENTED, [&](auto element) {
            if (!frame::coversLoopOver(*m_output, *m_input, 1))
                return frame::refuse("ArvoImageBinaryTools : the output is smaller than the input.");
            using T = typename decltype(element)::type;
            // Bounds of unsigned 16-bit voxels are compared as they are, the others in the voxel's own type.
            using Bound = std::conditional_t<std::is_same_v<T, unsigned short>, int, T>;
            const Accepted between{std::int64_t(static_cast<Bound>(low)) + 1,
                                   std::int64_t(static_cast<Bound>(high)) - 1};
            const frame::VolumeView<const T> in(*m_input);
            const frame::VolumeView<unsigned char> out(*m_output);
            for (std::ptrdiff_t z = 0; z < in.depth(); ++z)
                markAccepted(in.slice(z), out.slice(z), in.sliceCount(), between);
            m_output->editFinished();
            return true;
        });
}
