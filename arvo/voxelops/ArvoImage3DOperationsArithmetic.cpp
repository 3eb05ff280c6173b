#include "arvo/voxelops/ArvoImage3DOperations.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/utility/PageStreams.h"
#include "arvo/platform/utility/VectorClones.h"

namespace {

struct Add {
    static constexpr const char* DIFFERENT_TYPES =
        "ArvoImage3DOperations : cannot add images of incompatible types.";
    static constexpr const char* DIFFERENT_SIZE =
        "ArvoImage3DOperations : cannot add images of incompatible size.";
    static constexpr const char* NOT_IMPLEMENTED =
        "ArvoImage3DOperations : add not implemented for this data type.";
    template <class T> ARVO_KERNEL static T of(T a, T b) { return static_cast<T>(a + b); }
};

struct Subtract {
    static constexpr const char* DIFFERENT_TYPES =
        "ArvoImage3DOperations : cannot subtract images of incompatible types.";
    static constexpr const char* DIFFERENT_SIZE =
        "ArvoImage3DOperations : cannot subtract images of incompatible size.";
    static constexpr const char* NOT_IMPLEMENTED =
        "ArvoImage3DOperations : subtract not implemented for this data type.";
    template <class T> ARVO_KERNEL static T of(T a, T b) { return static_cast<T>(a - b); }
};

// The order of the operands decides what NaN and zeros of either sign give.
struct Minimum {
    static constexpr const char* DIFFERENT_TYPES =
        "ArvoImage3DOperations : cannot min images of incompatible types.";
    static constexpr const char* DIFFERENT_SIZE =
        "ArvoImage3DOperations : cannot min images of incompatible size.";
    static constexpr const char* NOT_IMPLEMENTED =
        "ArvoImage3DOperations : min not implemented for this data type.";
    template <class T> ARVO_KERNEL static T of(T a, T b) { return b < a ? b : a; }
};

struct Maximum {
    static constexpr const char* DIFFERENT_TYPES =
        "ArvoImage3DOperations : cannot max images of incompatible types.";
    static constexpr const char* DIFFERENT_SIZE =
        "ArvoImage3DOperations : cannot max images of incompatible size.";
    static constexpr const char* NOT_IMPLEMENTED =
        "ArvoImage3DOperations : max not implemented for this data type.";
    template <class T> ARVO_KERNEL static T of(T a, T b) { return b > a ? b : a; }
};

template <class Operation, class T>
ARVO_VECTOR_CLONES void combineInto(T* a, const T* b, std::ptrdiff_t count)
{
    utility::forEachElement<sizeof(T)>(count, [&](std::ptrdiff_t i)
                                                  ARVO_INLINED { a[i] = Operation::of(a[i], b[i]); });
}

template <class Operation> bool combine(ArvoImage3D& a, const ArvoImage3D& b)
{
    if (a.dataType() != b.dataType())
        return frame::refuse(Operation::DIFFERENT_TYPES);
    if (!frame::haveEqualSize(a, b))
        return frame::refuse(Operation::DIFFERENT_SIZE);
    const bool isDone = image::withElementType(
        a.dataType(), image::VoxelTypes{}, Operation::NOT_IMPLEMENTED, [&](auto element) {
            using T = typename decltype(element)::type;
            const frame::VolumeView<T> into(a);
            combineInto<Operation>(into.data(), frame::VolumeView<const T>(b).data(), into.count());
        });
    if (isDone)
        a.editFinished();
    return isDone;
}

} // namespace

void ArvoImage3DOperations::add(ArvoImage3D* a, ArvoImage3D* b)
{
    if (a && b)
        combine<Add>(*a, *b);
    else
        frame::refuse("ArvoImage3DOperations : no images to add.");
}

void ArvoImage3DOperations::subtract(ArvoImage3D* a, ArvoImage3D* b)
{
    if (a && b)
        combine<Subtract>(*a, *b);
    else
        frame::refuse("ArvoImage3DOperations : no images to subtract.");
}

void ArvoImage3DOperations::min(ArvoImage3D& a, const ArvoImage3D& b)
{
    combine<Minimum>(a, b);
}

void ArvoImage3DOperations::max(ArvoImage3D& a, const ArvoImage3D& b)
{
    combine<Maximum>(a, b);
}
