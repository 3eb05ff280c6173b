#include "arvo/frame/ThreeImages3D.h"

#include "arvo/frame/CallChecks.h"

namespace {

using Component = std::unique_ptr<ArvoImage3D>;

bool agree(const ArvoImage3D& a, const ArvoImage3D& b)
{
    return a.dataType() == b.dataType() && frame::haveEqualSize(a, b);
}

/// Whether slice after slice of `from` can be copied into `to`, both having the size of `to`'s field.
bool canCopySlices(const ArvoImage3D* from, const ArvoImage3D* to, const math::Ivec3& size)
{
    return from && to && from->imageSize() == size && to->imageSize() == size &&
           from->sizeOfAxialSlice() == to->sizeOfAxialSlice();
}

void copyVolume(Component& to, const Component& from)
{
    if (!to)
        to = std::make_unique<ArvoImage3D>();
    to->copyFrom(from.get());
}

float* sliceOf(const Component& volume, int z)
{
    return volume ? reinterpret_cast<float*>(volume->getAxialSlice(z)) : nullptr;
}

void setSliceOf(const Component& volume, int z, const float* data)
{
    if (volume)
        volume->setAxialSlice(z, reinterpret_cast<const char*>(data));
}

} // namespace

ThreeImages3D::ThreeImages3D(const math::Ivec3& size, const QVector3D& voxelSize)
    : m_u(std::make_unique<ArvoImage3D>(size, voxelSize, image::Float32)),
      m_v(std::make_unique<ArvoImage3D>(size, voxelSize, image::Float32)),
      m_w(std::make_unique<ArvoImage3D>(size, voxelSize, image::Float32))
{
}

ThreeImages3D::ThreeImages3D(const int* size, const float* voxelSize)
    : m_u(std::make_unique<ArvoImage3D>(size, voxelSize, image::Float32)),
      m_v(std::make_unique<ArvoImage3D>(size, voxelSize, image::Float32)),
      m_w(std::make_unique<ArvoImage3D>(size, voxelSize, image::Float32))
{
}

ThreeImages3D::ThreeImages3D(ArvoImage3D* u, ArvoImage3D* v, ArvoImage3D* w) : m_u(u), m_v(v), m_w(w) {}

ThreeImages3D::ThreeImages3D(const ThreeImages3D& other)
{
    *this = other;
}

ThreeImages3D& ThreeImages3D::operator=(const ThreeImages3D& other)
{
    if (this == &other)
        return *this;
    copyVolume(m_u, other.m_u);
    copyVolume(m_v, other.m_v);
    copyVolume(m_w, other.m_w);
    return *this;
}

ThreeImages3D::~ThreeImages3D() = default;

bool ThreeImages3D::isValid() const
{
    return frame::isUsable(getU()) && frame::isUsable(getV()) && frame::isUsable(getW()) &&
           agree(*m_v, *m_u) && agree(*m_w, *m_u);
}

QVector3D ThreeImages3D::getValue(int x, int y, int z) const
{
    const auto valueOf = [&](const Component& volume) {
        return volume ? volume->getFloatValue(x, y, z) : 0.0f;
    };
    return {valueOf(m_u), valueOf(m_v), valueOf(m_w)};
}

void ThreeImages3D::getAxialSlices(int z, float** u, float** v, float** w)
{
    if (u)
        *u = sliceOf(m_u, z);
    if (v)
        *v = sliceOf(m_v, z);
    if (w)
        *w = sliceOf(m_w, z);
}

void ThreeImages3D::setAxialSlices(int z, float* u, float* v, float* w)
{
    setSliceOf(m_u, z, u);
    setSliceOf(m_v, z, v);
    setSliceOf(m_w, z, w);
}

bool ThreeImages3D::copyValuesFrom(ThreeImages3D* other)
{
    if (!other)
        return false;
    if (m_u && other->m_u && !frame::haveEqualSize(*m_u, *other->m_u))
        return false;
    const math::Ivec3 size = m_u ? m_u->imageSize() : math::Ivec3();
    if (!canCopySlices(other->getU(), getU(), size) || !canCopySlices(other->getV(), getV(), size) ||
        !canCopySlices(other->getW(), getW(), size))
        return frame::refuse("ThreeImages3D : the fields to copy between do not match.");
    for (int z = 0; z < size.z; ++z)
        setAxialSlices(z, sliceOf(other->m_u, z), sliceOf(other->m_v, z), sliceOf(other->m_w, z));
    return true;
}

void ThreeImages3D::editingFinished()
{
    for (ArvoImage3D* volume : {getU(), getV(), getW()}) {
        if (volume)
            volume->editFinished();
    }
}
