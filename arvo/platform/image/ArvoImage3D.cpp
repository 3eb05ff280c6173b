#include "arvo/platform/image/ArvoImage3D.h"

#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/ValueRange.h"
#include "arvo/platform/image/VoxelConversion.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

namespace {

std::size_t asCount(int extent)
{
    return static_cast<std::size_t>(extent);
}

bool boxFits(const int* origin, const math::Ivec3& size, const math::Ivec3& container)
{
    for (int axis = 0; axis < 3; ++axis) {
        if (origin[axis] < 0 || size[axis] < 0 || size[axis] > container[axis] ||
            origin[axis] > container[axis] - size[axis])
            return false;
    }
    return true;
}

/// Copies a box of voxels between two blocks; `from` and `to` point to the box's first voxel.
struct Rows {
    std::size_t rowBytes;
    std::size_t sliceBytes;
};

void copyBox(const char* from, Rows fromRows, char* to, Rows toRows, std::size_t boxRowBytes,
             const math::Ivec3& box)
{
    for (std::size_t z = 0; z < asCount(box.z); ++z) {
        for (std::size_t y = 0; y < asCount(box.y); ++y) {
            std::memcpy(to + z * toRows.sliceBytes + y * toRows.rowBytes,
                        from + z * fromRows.sliceBytes + y * fromRows.rowBytes, boxRowBytes);
        }
    }
}

/// The two neighbours of a coordinate that is clamped into [0, extent - 1], and the weight of the upper one.
struct Cell {
    std::size_t lower;
    std::size_t upper;
    float weight;
};

Cell cellOf(float position, int extent)
{
    const float last = static_cast<float>(extent - 1);
    const float clamped = position > 0.0f ? std::min(position, last) : 0.0f;
    const auto lower = std::min(static_cast<std::size_t>(clamped), asCount(extent - 1));
    return {lower, std::min(lower + 1, asCount(extent - 1)), clamped - static_cast<float>(lower)};
}

float blend(float a, float b, float weight)
{
    return a * (1.0f - weight) + b * weight;
}

} // namespace

ArvoImage3D::ArvoImage3D() = default;
ArvoImage3D::~ArvoImage3D() = default;

ArvoImage3D::ArvoImage3D(const int* size, const float* voxelSize, image::DataType type)
{
    create(size, voxelSize, type);
}

ArvoImage3D::ArvoImage3D(const math::Ivec3& size, const QVector3D& voxelSize, image::DataType type)
{
    create(size, voxelSize, type);
}

ArvoImage3D::ArvoImage3D(ArvoImage3D&& other) noexcept
{
    *this = std::move(other);
}

ArvoImage3D& ArvoImage3D::operator=(ArvoImage3D&& other) noexcept
{
    if (this == &other)
        return *this;
    m_size = other.m_size;
    m_voxelSize = other.m_voxelSize;
    m_dataType = other.m_dataType;
    m_sliceBytes = other.m_sliceBytes;
    m_voxels = std::move(other.m_voxels);
    m_infos = std::move(other.m_infos);
    editFinished();
    other.invalidate();
    return *this;
}

void ArvoImage3D::invalidate()
{
    m_size = {};
    m_voxelSize = {};
    m_dataType = image::Reserved;
    m_sliceBytes = 0;
    m_voxels = {};
    m_infos.clear();
    editFinished();
}

bool ArvoImage3D::create(const int* size, const float* voxelSize, image::DataType type)
{
    if (!size || !voxelSize) {
        invalidate();
        return false;
    }
    return create(math::Ivec3(size[0], size[1], size[2]), QVector3D(voxelSize[0], voxelSize[1], voxelSize[2]),
                  type);
}

bool ArvoImage3D::create(const math::Ivec3& size, const QVector3D& voxelSize, image::DataType type)
{
    const std::size_t width = image::elementWidth(type);
    std::size_t sliceBytes = 0;
    std::size_t bytes = 0;
    const bool isPossible = width != 0 && size.x >= 0 && size.y >= 0 && size.z >= 0 &&
                            !__builtin_mul_overflow(asCount(size.x) * asCount(size.y), width, &sliceBytes) &&
                            !__builtin_mul_overflow(sliceBytes, asCount(size.z), &bytes);
    if (!isPossible) {
        invalidate();
        return false;
    }
    m_infos.clear();
    if (!m_voxels || m_voxels.bytes() != bytes) {
        m_voxels = {}; // freed first: the old and the new block need not fit side by side
        m_voxels = image::VoxelBlock::allocate(bytes);
    }
    if (!m_voxels) {
        invalidate();
        return false;
    }
    m_size = size;
    m_voxelSize = voxelSize;
    m_dataType = type;
    m_sliceBytes = sliceBytes;
    editFinished();
    return true;
}

bool ArvoImage3D::createFrom(const ArvoImage3D* other, image::DataType type)
{
    if (!other || !other->isValid()) {
        qWarning("ArvoImage3D : no valid volume to create from.");
        return false;
    }
    return create(other->imageSize(), other->voxelSize(), type);
}

bool ArvoImage3D::copyFrom(const ArvoImage3D* other)
{
    if (!other || !other->isValid()) {
        qWarning("ArvoImage3D : no valid volume to copy from.");
        return false;
    }
    if (other == this)
        return true;
    if (!create(other->m_size, other->m_voxelSize, other->m_dataType))
        return false;
    std::memcpy(m_voxels.data(), other->m_voxels.data(), m_voxels.bytes());
    try {
        for (const auto& record : other->m_infos)
            m_infos.push_back(std::make_unique<ArvoImage3DInfo>(*record));
    } catch (const std::bad_alloc&) {
        invalidate();
        return false;
    }
    return true;
}

bool ArvoImage3D::copyFrom(const ArvoImage3D* other, const int* origin, const int* size)
{
    if (!other || !other->isValid() || !origin || !size) {
        qWarning("ArvoImage3D : no valid volume to copy from.");
        return false;
    }
    const math::Ivec3 box(size[0], size[1], size[2]);
    if (!boxFits(origin, box, other->m_size)) {
        qWarning("ArvoImage3D : the box to copy lies outside the volume.");
        return false;
    }
    ArvoImage3D copy(box, other->m_voxelSize, other->m_dataType);
    if (!copy.isValid())
        return false;
    const std::size_t width = image::elementWidth(other->m_dataType);
    const Rows fromRows{asCount(other->m_size.x) * width, other->m_sliceBytes};
    const Rows toRows{asCount(box.x) * width, copy.m_sliceBytes};
    copyBox(other->dataPtr() + other->offsetOf(origin[0], origin[1], origin[2]), fromRows, copy.dataPtr(),
            toRows, toRows.rowBytes, box);
    *this = std::move(copy);
    return true;
}

bool ArvoImage3D::copyIn(const ArvoImage3D* other, const int* origin)
{
    if (!isValid() || !other || !other->isValid() || !origin) {
        qWarning("ArvoImage3D : no valid volume to copy in.");
        return false;
    }
    if (other->m_dataType != m_dataType || !boxFits(origin, other->m_size, m_size)) {
        qWarning("ArvoImage3D : the volume to copy in does not fit.");
        return false;
    }
    if (other == this)
        return true;
    const std::size_t width = image::elementWidth(m_dataType);
    const Rows fromRows{asCount(other->m_size.x) * width, other->m_sliceBytes};
    const Rows toRows{asCount(m_size.x) * width, m_sliceBytes};
    copyBox(other->dataPtr(), fromRows, dataPtr() + offsetOf(origin[0], origin[1], origin[2]), toRows,
            fromRows.rowBytes, other->m_size);
    editFinished();
    return true;
}

std::size_t ArvoImage3D::offsetOf(int x, int y, int z) const
{
    return asCount(z) * m_sliceBytes +
           (asCount(y) * asCount(m_size.x) + asCount(x)) * image::elementWidth(m_dataType);
}

bool ArvoImage3D::holds(int x, int y, int z) const
{
    return x >= 0 && y >= 0 && z >= 0 && x < m_size.x && y < m_size.y && z < m_size.z;
}

char* ArvoImage3D::getAxialSlice(int z)
{
    return z >= 0 && z < m_size.z ? m_voxels.data() + asCount(z) * m_sliceBytes : nullptr;
}

const char* ArvoImage3D::getConstAxialSlice(int z) const
{
    return z >= 0 && z < m_size.z ? m_voxels.data() + asCount(z) * m_sliceBytes : nullptr;
}

bool ArvoImage3D::setAxialSlice(int z, const char* data)
{
    char* slice = getAxialSlice(z);
    if (!slice || !data)
        return false;
    if (slice != data)
        std::memmove(slice, data, m_sliceBytes);
    editFinished();
    return true;
}

int ArvoImage3D::getValue(int x, int y, int z) const
{
    int value = 0;
    if (!holds(x, y, z))
        return value;
    image::withElementType(m_dataType, image::StoredTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        value = image::toVoxel<int>(*reinterpret_cast<const T*>(dataPtr() + offsetOf(x, y, z)));
    });
    return value;
}

float ArvoImage3D::getFloatValue(int x, int y, int z) const
{
    float value = 0.0f;
    if (!holds(x, y, z))
        return value;
    image::withElementType(m_dataType, image::StoredTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        value = static_cast<float>(*reinterpret_cast<const T*>(dataPtr() + offsetOf(x, y, z)));
    });
    return value;
}

float ArvoImage3D::getInterpolatedValue(const float* position) const
{
    float value = 0.0f;
    if (!position || !isValid() || m_size.x == 0 || m_size.y == 0 || m_size.z == 0)
        return value;
    const Cell x = cellOf(position[0], m_size.x);
    const Cell y = cellOf(position[1], m_size.y);
    const Cell z = cellOf(position[2], m_size.z);
    image::withElementType(m_dataType, image::StoredTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        const T* voxels = reinterpret_cast<const T*>(dataPtr());
        const auto alongX = [&](std::size_t j, std::size_t k) {
            const T* row = voxels + (k * asCount(m_size.y) + j) * asCount(m_size.x);
            return blend(static_cast<float>(row[x.lower]), static_cast<float>(row[x.upper]), x.weight);
        };
        const auto alongY = [&](std::size_t k) {
            return blend(alongX(y.lower, k), alongX(y.upper, k), y.weight);
        };
        value = blend(alongY(z.lower), alongY(z.upper), z.weight);
    });
    return value;
}

math::Range<double> ArvoImage3D::exactRange() const
{
    if (!m_isRangeKnown.load(std::memory_order_acquire)) {
        const std::lock_guard lock(m_rangeMutex);
        if (!m_isRangeKnown.load(std::memory_order_relaxed)) {
            const std::size_t width = image::elementWidth(m_dataType);
            m_range = image::valueRangeOf(m_voxels.data(), m_voxels.bytes() / width, m_dataType);
            m_isRangeKnown.store(true, std::memory_order_release);
        }
    }
    return m_range;
}

math::Range<float> ArvoImage3D::getValueRange() const
{
    const math::Range<double> range = exactRange();
    return {static_cast<float>(range.first), static_cast<float>(range.second)};
}

int ArvoImage3D::minValue() const
{
    return image::truncateToInt32(exactRange().first);
}

int ArvoImage3D::maxValue() const
{
    return image::truncateToInt32(exactRange().second);
}

void ArvoImage3D::memsetSlices(int value)
{
    if (isValid())
        std::memset(m_voxels.data(), value, m_voxels.bytes());
    editFinished();
}

void ArvoImage3D::zeroSlices()
{
    memsetSlices(0);
}

void ArvoImage3D::changeVoxelValues(const std::vector<math::Ivec3>& voxels, int value)
{
    image::withElementType(m_dataType, image::StoredTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        for (const math::Ivec3& v : voxels) {
            if (holds(v.x, v.y, v.z))
                *reinterpret_cast<T*>(dataPtr() + offsetOf(v.x, v.y, v.z)) = image::toVoxel<T>(value);
        }
    });
    editFinished();
}

void ArvoImage3D::editFinished()
{
    m_isRangeKnown.store(false, std::memory_order_release);
}

ArvoImage3DInfo* ArvoImage3D::info(int tag) const
{
    const auto found = std::ranges::find(m_infos, tag, [](const auto& record) { return record->tag(); });
    return found == m_infos.end() ? nullptr : found->get();
}

ArvoImage3DInfo* ArvoImage3D::info(const QString& name) const
{
    const auto found =
        std::ranges::find_if(m_infos, [&](const auto& record) { return record->name() == name; });
    return found == m_infos.end() ? nullptr : found->get();
}

ArvoImage3DInfo* ArvoImage3D::addInfo(int tag, const QString& name, const QByteArray& payload)
try {
    auto added = std::make_unique<ArvoImage3DInfo>(tag, name, payload);
    m_infos.reserve(m_infos.size() + 1);
    std::erase_if(m_infos,
                  [&](const auto& record) { return record->tag() == tag && record->name() == name; });
    return m_infos.emplace_back(std::move(added)).get();
} catch (const std::bad_alloc&) {
    return nullptr;
}
