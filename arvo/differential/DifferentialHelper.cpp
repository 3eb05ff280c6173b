#include "arvo/differential/DifferentialHelper.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/CancelRule.h"
#include "arvo/frame/ThreeImages3D.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/utility/BlockStore.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>

namespace {

/// The six neighbours of a voxel, or of a run of voxels along a row, and the weight of the difference along each axis.
/// Those of a vector field lie in three volumes: along x in U, along y in V, along z in W.
template <class T> struct Cross {
    const T* xPlus;
    const T* xMinus;
    const T* yPlus;
    const T* yMinus;
    const T* zPlus;
    const T* zMinus;
    float factorX;
    float factorY;
    float factorZ;
};

template <class T> ARVO_KERNEL float difference(T plus, T minus, float factor)
{
    if constexpr (std::is_floating_point_v<T>)
        return (plus - minus) * factor;
    else
        return static_cast<float>(static_cast<int>(plus) - static_cast<int>(minus)) * factor;
}

ARVO_KERNEL float length(float x, float y, float z)
{
    return std::sqrt(x * x + y * y + z * z);
}

// The operators, each at the i-th voxel of a run.

struct AlongX {
    template <class T> ARVO_KERNEL static float at(const Cross<T>& cross, std::ptrdiff_t i)
    {
        return difference(cross.xPlus[i], cross.xMinus[i], cross.factorX);
    }
};

struct AlongY {
    template <class T> ARVO_KERNEL static float at(const Cross<T>& cross, std::ptrdiff_t i)
    {
        return difference(cross.yPlus[i], cross.yMinus[i], cross.factorY);
    }
};

struct AlongZ {
    template <class T> ARVO_KERNEL static float at(const Cross<T>& cross, std::ptrdiff_t i)
    {
        return difference(cross.zPlus[i], cross.zMinus[i], cross.factorZ);
    }
};

struct Norm {
    template <class T> ARVO_KERNEL static float at(const Cross<T>& cross, std::ptrdiff_t i)
    {
        return length(AlongX::at(cross, i), AlongY::at(cross, i), AlongZ::at(cross, i));
    }
};

struct Divergence {
    template <class T> ARVO_KERNEL static float at(const Cross<T>& cross, std::ptrdiff_t i)
    {
        return AlongX::at(cross, i) + AlongY::at(cross, i) + AlongZ::at(cross, i);
    }
};

template <class Operator, class T>
ARVO_VECTOR_CLONES void evaluateRun(const Cross<T> cross, float* __restrict out, std::ptrdiff_t count)
{
    utility::storeInBlocks(out, count, [&](std::ptrdiff_t i) ARVO_INLINED { return Operator::at(cross, i); });
}

/// The slices from which one slice of the result is made.
template <class T> struct Slices {
    const T* x; ///< where the differences along x are taken
    const T* y; ///< where those along y are taken
    const T* zPlus;
    const T* zMinus;
    float factorZ;

    Slices(const frame::VolumeView<const T>& u, const frame::VolumeView<const T>& v,
           const frame::VolumeView<const T>& w, std::ptrdiff_t z)
        : x(u.slice(z)),
          y(v.slice(z)),
          zPlus(w.slice(std::min(z + 1, w.depth() - 1))),
          zMinus(w.slice(std::max<std::ptrdiff_t>(z - 1, 0))),
          factorZ(w.slice(z) == zPlus || w.slice(z) == zMinus ? 1.0f : 0.5f)
    {
    }
};

/// The row that starts at voxel `begin` of the slice, or, for a count of 1, its first voxel. Its two border columns are
/// voxels of their own, so that the run between them needs no test.
template <class Operator, class T>
void evaluateRow(const Slices<T>& slices, const frame::VolumeView<float>& volume, float* outSlice,
                 std::ptrdiff_t begin, std::ptrdiff_t count)
{
    const std::ptrdiff_t width = volume.width();
    const bool isFirstRow = begin == 0;
    const bool isLastRow = begin + width == volume.sliceCount();
    const auto crossAtColumn = [&](std::ptrdiff_t column) {
        const bool isFirst = column == 0;
        const bool isLast = column == width - 1;
        const std::ptrdiff_t i = begin + column;
        return Cross<T>{slices.x + (isLast ? i : i + 1),
                        slices.x + (isFirst ? i : i - 1),
                        slices.y + (isLastRow ? i : i + width),
                        slices.y + (isFirstRow ? i : i - width),
                        slices.zPlus + i,
                        slices.zMinus + i,
                        isFirst || isLast ? 1.0f : 0.5f,
                        isFirstRow || isLastRow ? 1.0f : 0.5f,
                        slices.factorZ};
    };
    float* out = outSlice + begin;
    out[0] = Operator::at(crossAtColumn(0), 0);
    if (count > 2)
        evaluateRun<Operator>(crossAtColumn(1), out + 1, count - 2);
    if (count > 1)
        out[count - 1] = Operator::at(crossAtColumn(count - 1), 0);
}

/// One slice of the result; false when the flag stopped it after the voxel it was at.
template <class Operator, class T>
bool evaluateSlice(const Slices<T>& slices, const frame::VolumeView<float>& volume, std::ptrdiff_t z,
                   const std::atomic<bool>& cancel)
{
    float* out = volume.slice(z);
    return frame::forEachRun(cancel, volume.sliceCount(), volume.width(),
                             [&](std::ptrdiff_t begin, std::ptrdiff_t end) {
                                 evaluateRow<Operator>(slices, volume, out, begin, end - begin);
                             });
}

template <class T> bool holdsElements(const ArvoImage3D& image)
{
    return image::withElementType(image.dataType(), image::VoxelTypes{}, nullptr, [](auto element) {
        return std::is_same_v<T, typename decltype(element)::type>;
    });
}

/// Whether slices of `output` can be made from slices of the same number of `input`.
template <class T>
bool canEvaluate(const ArvoImage3D& input, const ArvoImage3D& output, int startSlice, int stopSlice)
{
    if (!input.isValid() || !holdsElements<T>(input))
        return frame::refuse("DifferentialHelper : the input does not hold valid voxels of this type.");
    if (!output.isValid() || output.dataType() != image::Float32 || !frame::haveEqualSize(input, output))
        return frame::refuse("DifferentialHelper : the output is not a float volume of the input's size.");
    if (&input == &output)
        return frame::refuse("DifferentialHelper : the output is the input.");
    if (startSlice < 0 || stopSlice >= input.imageSize().z)
        return frame::refuse("DifferentialHelper : the slice range lies outside the volume.");
    return true;
}

template <class Operator, class T>
bool evaluateGradient(const ArvoImage3D& input, ArvoImage3D& output, int startSlice, int stopSlice,
                      const std::atomic<bool>& cancel)
{
    if (startSlice > stopSlice)
        return true;
    if (!canEvaluate<T>(input, output, startSlice, stopSlice))
        return false;
    const frame::VolumeView<const T> in(input);
    const frame::VolumeView<float> out(output);
    for (std::ptrdiff_t z = startSlice; z <= stopSlice; ++z) {
        if (!evaluateSlice<Operator>(Slices<T>(in, in, in, z), out, z, cancel))
            return false;
    }
    return true;
}

} // namespace

template <class T>
float DifferentialHelper<T>::gradientFtX(const ClampedCrossIndex& idx, const T* current, const T*, const T*)
{
    return difference(current[idx.xPlus], current[idx.xMinus], idx.factorX);
}

template <class T>
float DifferentialHelper<T>::gradientFtY(const ClampedCrossIndex& idx, const T* current, const T*, const T*)
{
    return difference(current[idx.yPlus], current[idx.yMinus], idx.factorY);
}

template <class T>
float DifferentialHelper<T>::gradientFtZ(const ClampedCrossIndex& idx, const T*, const T* next,
                                         const T* previous)
{
    return difference(next[idx.center], previous[idx.center], idx.factorZ);
}

template <class T>
float DifferentialHelper<T>::gradientNormFt(const ClampedCrossIndex& idx, const T* current, const T* next,
                                            const T* previous)
{
    return length(gradientFtX(idx, current, next, previous), gradientFtY(idx, current, next, previous),
                  gradientFtZ(idx, current, next, previous));
}

template <class T>
float DifferentialHelper<T>::vectorFieldDivergenceFt(const ClampedCrossIndex& idx, const T* u, const T* v,
                                                     const T*, const T* wNext, const T* wPrevious)
{
    return difference(u[idx.xPlus], u[idx.xMinus], idx.factorX) +
           difference(v[idx.yPlus], v[idx.yMinus], idx.factorY) +
           difference(wNext[idx.center], wPrevious[idx.center], idx.factorZ);
}

template <class T>
bool DifferentialHelper<T>::calculateGradientX(const ArvoImage3D& input, ArvoImage3D& output, int startSlice,
                                               int stopSlice, const std::atomic<bool>& cancel)
{
    return evaluateGradient<AlongX, T>(input, output, startSlice, stopSlice, cancel);
}

template <class T>
bool DifferentialHelper<T>::calculateGradientY(const ArvoImage3D& input, ArvoImage3D& output, int startSlice,
                                               int stopSlice, const std::atomic<bool>& cancel)
{
    return evaluateGradient<AlongY, T>(input, output, startSlice, stopSlice, cancel);
}

template <class T>
bool DifferentialHelper<T>::calculateGradientZ(const ArvoImage3D& input, ArvoImage3D& output, int startSlice,
                                               int stopSlice, const std::atomic<bool>& cancel)
{
    return evaluateGradient<AlongZ, T>(input, output, startSlice, stopSlice, cancel);
}

template <class T>
bool DifferentialHelper<T>::calculateNormGradient(const ArvoImage3D& input, ArvoImage3D& output,
                                                  int startSlice, int stopSlice,
                                                  const std::atomic<bool>& cancel)
{
    return evaluateGradient<Norm, T>(input, output, startSlice, stopSlice, cancel);
}

template <class T>
bool DifferentialHelper<T>::calculateVectorFieldDivergence(const ThreeImages3D& field, ArvoImage3D& output,
                                                           int startSlice, int stopSlice,
                                                           const std::atomic<bool>& cancel)
{
    if (startSlice > stopSlice)
        return true;
    if (!field.isValid())
        return frame::refuse("DifferentialHelper : the vector field is not valid.");
    if (!canEvaluate<T>(*field.getU(), output, startSlice, stopSlice))
        return false;
    if (field.getV() == &output || field.getW() == &output)
        return frame::refuse("DifferentialHelper : the output is a component of the field.");
    const std::atomic<bool> neverWithinASlice{false};
    const frame::VolumeView<const T> u(*field.getU()), v(*field.getV()), w(*field.getW());
    const frame::VolumeView<float> out(output);
    for (std::ptrdiff_t z = startSlice; z <= stopSlice; ++z) {
        evaluateSlice<Divergence>(Slices<T>(u, v, w, z), out, z, neverWithinASlice);
        if (cancel.load(std::memory_order_relaxed))
            return false;
    }
    return true;
}

template class DifferentialHelper<unsigned char>;
template class DifferentialHelper<short>;
template class DifferentialHelper<unsigned short>;
template class DifferentialHelper<float>;
