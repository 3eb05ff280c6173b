#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"

#include "arvo/binary/StencilDilation.h"
#include "arvo/frame/CallChecks.h"

#include <new>
#include <utility>

using binary::BitSlice;
using Stencil = ArvoImageBinaryMorphologicalOperations::Stencil;

namespace {

/// The bytes of slice z, whatever the volume's type.
const unsigned char* bytesOf(const ArvoImage3D& image, int z)
{
    return reinterpret_cast<const unsigned char*>(image.getConstAxialSlice(z));
}

unsigned char* bytesOf(ArvoImage3D& image, int z)
{
    return reinterpret_cast<unsigned char*>(image.getAxialSlice(z));
}

/// Whether `in` can be processed into `out`; warns if not.
bool isPossible(const ArvoImage3D& in, const ArvoImage3D& out, const Stencil& stencil)
{
    if (static_cast<std::size_t>(in.imageSize().z) < stencil.radius())
        return frame::refuse("Image size too small: image size should be larger than the stencil radius.");
    if (!in.isValid())
        return frame::refuse("ArvoImageBinaryMorphologicalOperations : no valid input image.");
    if (stencil.radius() == 0)
        return true; // `out` is made anew
    if (!out.isValid() || !frame::coversLoopOver(out, in, 1))
        return frame::refuse(
            "ArvoImageBinaryMorphologicalOperations : the output image is smaller than the input image.");
    return true;
}

/// Spreads, slice by slice, what read(bytes of an input slice, bits) sets, and calls write(bits, z) with the
/// result of every slice. Slices are read up to `radius` ahead of the one written and never afterwards.
template <class Read, class Write>
void spread(const ArvoImage3D& in, const Stencil& stencil, Read&& read, Write&& write)
{
    const math::Ivec3 size = in.imageSize();
    binary::StencilDilation dilation(stencil, size);
    BitSlice source(size.x, size.y);
    const int ahead = static_cast<int>(stencil.radius());
    for (int z = 0; z < size.z; ++z) {
        read(bytesOf(in, z), source);
        dilation.scatter(source, z);
        if (z >= ahead)
            write(dilation.take(z - ahead), z - ahead);
    }
    for (int z = size.z - ahead; z < size.z; ++z)
        write(dilation.take(z), z);
}

/// An operation from check to editFinished(): spreads, or with radius 0 copies.
template <class Read, class Write>
void apply(const ArvoImage3D& in, ArvoImage3D& out, const Stencil& stencil, Read&& read, Write&& write)
{
    if (!isPossible(in, out, stencil))
        return;
    if (stencil.radius() == 0) {
        out.copyFrom(&in);
        return;
    }
    try {
        spread(in, stencil, read, write);
    } catch (const std::bad_alloc&) {
        frame::refuse("ArvoImageBinaryMorphologicalOperations : out of memory.");
        return;
    }
    out.editFinished();
}

} // namespace

Stencil::Stencil() noexcept = default;
Stencil::~Stencil() = default;

Stencil::Stencil(Stencil&& other) noexcept
    : m_data(std::move(other.m_data)),
      m_side(std::exchange(other.m_side, 0)),
      m_radius(std::exchange(other.m_radius, 0))
{
}

Stencil& Stencil::operator=(Stencil&& other) noexcept
{
    if (this == &other)
        return *this;
    m_data = std::move(other.m_data);
    m_side = std::exchange(other.m_side, 0);
    m_radius = std::exchange(other.m_radius, 0);
    return *this;
}

Stencil::Stencil(std::size_t radius)
{
    std::size_t side = 0;
    std::size_t count = 0;
    if (__builtin_mul_overflow(radius, std::size_t(2), &side) || __builtin_add_overflow(side, 1, &side) ||
        __builtin_mul_overflow(side, side, &count) || __builtin_mul_overflow(count, side, &count) ||
        count > PTRDIFF_MAX)
        throw std::bad_alloc();
    m_data = std::make_unique<unsigned char[]>(count);
    m_side = side;
    m_radius = radius;
}

Stencil ArvoImageBinaryMorphologicalOperations::cube(std::size_t radius)
{
    Stencil stencil(radius);
    std::fill_n(stencil.m_data.get(), stencil.m_side * stencil.m_side * stencil.m_side, 1);
    return stencil;
}

Stencil ArvoImageBinaryMorphologicalOperations::cardinalAxes(std::size_t radius)
{
    Stencil stencil(radius);
    for (std::size_t i = 0; i < stencil.m_side; ++i) {
        stencil.flag(radius, radius, i) = 1;
        stencil.flag(radius, i, radius) = 1;
        stencil.flag(i, radius, radius) = 1;
    }
    return stencil;
}

Stencil ArvoImageBinaryMorphologicalOperations::sphere(std::size_t radius)
{
    Stencil stencil(radius);
    const double limit = (static_cast<double>(radius) + 0.5) * (static_cast<double>(radius) + 0.5);
    // Unsigned differences wrap, and their squares wrap back.
    const auto squared = [radius](std::size_t k) { return (radius - k) * (radius - k); };
    for (std::size_t kz = 0; kz < stencil.m_side; ++kz) {
        for (std::size_t ky = 0; ky < stencil.m_side; ++ky) {
            for (std::size_t kx = 0; kx < stencil.m_side; ++kx) {
                // Through single precision, which rounds the squared length of stencils past radius 4096.
                const auto length2 = static_cast<float>(squared(kx) + squared(ky) + squared(kz));
                stencil.flag(kx, ky, kz) = limit > static_cast<double>(length2);
            }
        }
    }
    return stencil;
}

void ArvoImageBinaryMorphologicalOperations::dilate(const ArvoImage3D& in, ArvoImage3D& out,
                                                    const Stencil& stencil)
{
    const auto objectBits = [](const unsigned char* voxels, BitSlice& bits) { bits.setWhereNonZero(voxels); };
    apply(in, out, stencil, objectBits, [&](const BitSlice& hit, int z) { hit.writeTo(bytesOf(out, z)); });
}

void ArvoImageBinaryMorphologicalOperations::erode(const ArvoImage3D& in, ArvoImage3D& out,
                                                   const Stencil& stencil)
{
    const auto zeroBits = [](const unsigned char* voxels, BitSlice& bits) { bits.setWhereZero(voxels); };
    apply(in, out, stencil, zeroBits,
          [&](const BitSlice& hit, int z) { hit.clearWhereSet(bytesOf(in, z), bytesOf(out, z)); });
}
