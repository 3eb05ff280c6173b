#include "arvo/voxelops/ArvoImage3DConvertor.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/Conversions.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/utility/PageStreams.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

using Targets = image::TypeSet<image::Int16, image::Float32>;
using Sources =
    image::TypeSet<image::UInt16, image::Int16, image::UInt8, image::Binary, image::Float32, image::Int32>;

/// Rounds halves away from zero; what no 32-bit integer holds, NaN included, gives -2147483648.
///
/// Adding the largest float below a half and truncating is roundf for every float: the sum of x.5 and it rounds up to the
/// next integer, that of anything less does not reach it. Unlike roundf, it vectorises.
ARVO_KERNEL std::int32_t roundToInt32(float value)
{
    constexpr float LIMIT = 2147483648.0f;
    constexpr float ALMOST_HALF = 0.49999997f;
    const float inRange = value >= -LIMIT && value < LIMIT ? value : -LIMIT;
    return static_cast<std::int32_t>(inRange + std::copysign(ALMOST_HALF, inRange));
}

template <class From> ARVO_KERNEL std::uint32_t product(From value, int factor)
{
    if constexpr (std::is_floating_point_v<From>)
        return static_cast<std::uint32_t>(roundToInt32(static_cast<float>(factor) * value));
    else
        return static_cast<std::uint32_t>(value) * static_cast<std::uint32_t>(factor);
}

template <class From>
ARVO_VECTOR_CLONES void convertRun(const From* in, short* out, std::ptrdiff_t count, int factor)
{
    utility::forEachElement<std::max(sizeof(From), sizeof(short))>(
        count, [&](std::ptrdiff_t i) ARVO_INLINED { out[i] = static_cast<short>(product(in[i], factor)); });
}

template <class From>
ARVO_VECTOR_CLONES void convertRun(const From* in, float* out, std::ptrdiff_t count, int factor)
{
    const auto multiplier = static_cast<float>(factor);
    utility::forEachElement<sizeof(float)>(
        count, [&](std::ptrdiff_t i) ARVO_INLINED { out[i] = static_cast<float>(in[i]) * multiplier; });
}

template <class From, class To> bool convertVolume(const ArvoImage3D& in, ArvoImage3D& out, int factor)
{
    if (!frame::coversLoopOver(out, in, sizeof(To)))
        return frame::refuse("ArvoImage3DConvertor : the output image is smaller than the input image.");
    const frame::VolumeView<const From> from(in);
    const frame::VolumeView<To> to(out);
    for (std::ptrdiff_t z = 0; z < from.depth(); ++z)
        convertRun(from.slice(z), to.slice(z), from.sliceCount(), factor);
    out.editFinished();
    return true;
}

} // namespace

bool ArvoImage3DConvertor::convert(const ArvoImage3D* in, ArvoImage3D* out, int factor)
{
    if (!in || !out)
        return frame::refuse("ArvoImage3DConvertor : no images to convert.");
    return image::withElementType(
        out->dataType(), Targets{}, "ArvoImage3DConvertor::convert: can only convert to float and short",
        [&](auto target) {
            using To = typename decltype(target)::type;
            if (!image::isOneOf(in->dataType(), Sources{}))
                return true; // nothing to convert is no failure
            return image::withElementType(in->dataType(), Sources{}, nullptr, [&](auto source) {
                return convertVolume<typename decltype(source)::type, To>(*in, *out, factor);
            });
        });
}

std::unique_ptr<ArvoImage3D> ArvoImage3DConvertor::convertToCopy(const ArvoImage3D* in,
                                                                 image::DataType target, int factor)
try {
    auto copy = std::make_unique<ArvoImage3D>();
    if (frame::isUsable(in)) {
        const math::Ivec3 extent = in->imageSize();
        const int size[3] = {extent.x, extent.y, extent.z};
        const QVector3D spacing = in->voxelSize();
        copy->create(size, data::Conversions::toArray(spacing), target);
    }
    if (copy->isValid() && convert(in, copy.get(), factor))
        return copy;
    frame::refuse("ArvoImage3DConvertor : failed to convert image.");
    return nullptr;
} catch (const std::bad_alloc&) {
    frame::refuse("ArvoImage3DConvertor : out of memory.");
    return nullptr;
}
