#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/utility/PageStreams.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <memory>
#include <new>

namespace {

constexpr unsigned char DISPLAYED_BACKGROUND = 50;

/// out = `whereZero` where the byte is 0, else `elsewhere`. An input that is the output is fine, here and below.
ARVO_VECTOR_CLONES void mapBytes(const unsigned char* in, unsigned char* out, std::ptrdiff_t count,
                                 unsigned char whereZero, unsigned char elsewhere)
{
    utility::forEachElement<1>(count, [&](std::ptrdiff_t i)
                                          ARVO_INLINED { out[i] = in[i] == 0 ? whereZero : elsewhere; });
}

template <class T>
ARVO_VECTOR_CLONES void clearByMask(const unsigned char* mask, T* voxels, std::ptrdiff_t count, bool invert)
{
    utility::forEachElement<sizeof(T)>(count, [&](std::ptrdiff_t i) ARVO_INLINED {
        voxels[i] = (mask[i] == 0) != invert ? T(0) : voxels[i];
    });
}

ARVO_VECTOR_CLONES void largerOf(const signed char* a, const signed char* b, signed char* out,
                                 std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        out[i] = std::max(a[i], b[i]);
}

/// Maps `in` into `out`, byte by byte; false, with a warning, when that is not possible.
bool convert(const ArvoImage3D* in, ArvoImage3D* out, unsigned char whereZero, unsigned char elsewhere)
{
    if (!frame::isUsable(in) || !frame::isUsable(out))
        return frame::refuse("ArvoImageBinaryTools : no valid volumes to convert.");
    if (!frame::coversLoopOver(*out, *in, 1))
        return frame::refuse("ArvoImageBinaryTools : the output is smaller than the input.");
    const math::Ivec3 size = in->imageSize();
    for (int z = 0; z < size.z; ++z)
        mapBytes(reinterpret_cast<const unsigned char*>(in->getConstAxialSlice(z)),
                 reinterpret_cast<unsigned char*>(out->getAxialSlice(z)), std::ptrdiff_t(size.x) * size.y,
                 whereZero, elsewhere);
    return true;
}

} // namespace

void ArvoImageBinaryTools::convertByteToBinary(const ArvoImage3D* in, ArvoImage3D* out)
{
    if (convert(in, out, 0, 1))
        out->editFinished();
}

void ArvoImageBinaryTools::convertBinaryToByte(ArvoImage3D* in, ArvoImage3D* out)
{
    if (convert(in, out, DISPLAYED_BACKGROUND, 0))
        out->editFinished();
}

void ArvoImageBinaryTools::convertMaskToBinary(ArvoImage3D* in, ArvoImage3D* out)
{
    convert(in, out, 1, 0);
}

void ArvoImageBinaryTools::applyMask(const ArvoImage3D* mask, ArvoImage3D* image, bool invert)
{
    if (!frame::isUsable(mask) || !frame::isUsable(image) ||
        !image::isOneOf(mask->dataType(), image::ByteTypes{})) {
        qWarning("ArvoImageBinaryTools::applyMask()  - invalid input images");
        return;
    }
    // Hosts know this failure by the text of the threshold filter.
    image::withElementType(image->dataType(), image::VoxelTypes{},
                           "ArvoImage3D::thresholdFilter() Data type not implemented", [&](auto element) {
                               using T = typename decltype(element)::type;
                               if (!frame::coversLoopOver(*mask, *image, 1))
                                   return frame::refuse(
                                       "ArvoImageBinaryTools : the mask is smaller than the image.");
                               const frame::VolumeView<T> voxels(*image);
                               const frame::VolumeView<const unsigned char> inside(*mask);
                               for (std::ptrdiff_t z = 0; z < voxels.depth(); ++z)
                                   clearByMask(inside.slice(z), voxels.slice(z), voxels.sliceCount(), invert);
                               image->editFinished();
                               return true;
                           });
}

ArvoImage3D* ArvoImageBinaryTools::unionBinaryImages(ArvoImage3D* a, ArvoImage3D* b)
try {
    if (!a || !b || a->dataType() != image::Binary || b->dataType() != image::Binary) {
        qWarning("ArvoImageBinaryTools::unionBinaryImages()  - invalid input images");
        return nullptr;
    }
    if (!frame::coversLoopOver(*b, *a, 1)) {
        qWarning("ArvoImageBinaryTools : the second image of the union is smaller than the first.");
        return nullptr;
    }
    auto both = std::make_unique<ArvoImage3D>(a->imageSize(), a->voxelSize(), image::Binary);
    if (!both->isValid()) {
        qWarning("ArvoImageBinaryTools : not enough memory for the union.");
        return nullptr;
    }
    const frame::VolumeView<const signed char> first(*a);
    const frame::VolumeView<const signed char> second(*b);
    const frame::VolumeView<signed char> out(*both);
    for (std::ptrdiff_t z = 0; z < out.depth(); ++z)
        largerOf(first.slice(z), second.slice(z), out.slice(z), out.sliceCount());
    both->editFinished();
    return both.release();
} catch (const std::bad_alloc&) {
    frame::refuse("ArvoImageBinaryTools : out of memory.");
    return nullptr;
}
