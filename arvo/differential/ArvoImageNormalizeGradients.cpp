#include "arvo/differential/ArvoImageNormalizeGradients.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/ParallelFor.h"
#include "arvo/frame/ThreeImages3D.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"

#include <cmath>
#include <limits>
#include <new>
#include <type_traits>

namespace {

constexpr float EPSILON = std::numeric_limits<float>::epsilon();

/// The square, wrapping at 32 bits.
template <class T> ARVO_KERNEL unsigned square(T value)
{
    const auto bits = static_cast<unsigned>(static_cast<int>(value));
    return bits * bits;
}

/// What an integer vector is divided by: its length, cut to the element's width; 1 where that is 0.
template <class T> ARVO_KERNEL T divisorOf(T u, T v, T w)
{
    const int sum = static_cast<int>(square(u) + square(v) + square(w));
    // A sum that wrapped below zero has no root: NaN, which truncates to a number without low bits.
    const T length = image::toVoxel<T>(std::sqrt(static_cast<float>(sum)) + EPSILON);
    return length == 0 ? T(1) : length;
}

/// The integer quotient. Single precision gives it exactly for 16-bit operands, and has a vector instruction: a
/// quotient below an integer k stays below it by at least 1 / |divisor|, which is more than half a unit in the last
/// place.
template <class T> ARVO_KERNEL T quotient(T value, T divisor)
{
    static_assert(sizeof(T) <= 2);
    return static_cast<T>(static_cast<int>(static_cast<float>(value) / static_cast<float>(divisor)));
}

template <class T> ARVO_VECTOR_CLONES void normalizeRun(T* u, T* v, T* w, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        if constexpr (std::is_floating_point_v<T>) {
            const T length = std::sqrt(u[i] * u[i] + v[i] * v[i] + w[i] * w[i]) + EPSILON;
            u[i] = u[i] / length;
            v[i] = v[i] / length;
            w[i] = w[i] / length;
        } else {
            const T divisor = divisorOf(u[i], v[i], w[i]);
            u[i] = quotient(u[i], divisor);
            v[i] = quotient(v[i], divisor);
            w[i] = quotient(w[i], divisor);
        }
    }
}

template <class T> void normalizeField(ThreeImages3D& field)
{
    const frame::VolumeView<T> u(*field.getU()), v(*field.getV()), w(*field.getW());
    frame::parallelFor(static_cast<int>(u.depth()), [&](int first, int end) {
        normalizeRun(u.slice(first), v.slice(first), w.slice(first), (end - first) * u.sliceCount());
    });
}

} // namespace

bool ArvoImageNormalizeGradients::normalize(ThreeImages3D& field)
try {
    for (const ArvoImage3D* component : {field.getU(), field.getV(), field.getW()}) {
        if (!component)
            return frame::refuse("ArvoImageNormalizeGradients : the field lacks a component.");
        if (!component->isValid())
            return false;
    }
    return image::withElementType(
        field.getU()->dataType(), image::VoxelTypes{},
        "ArvoImageNormalizeGradients : normalize not implemented for this data type.", [&](auto element) {
            if (!field.isValid())
                return frame::refuse("ArvoImageNormalizeGradients : the components do not match.");
            normalizeField<typename decltype(element)::type>(field);
            field.editingFinished();
            return true;
        });
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageNormalizeGradients : out of memory.");
}
