#include "arvo/filters/ArvoImageGaussianSmooth.h"

#include "arvo/filters/ArvoImageGaussianSmoothHelper.h"
#include "arvo/filters/LegacyGaussian.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"

namespace {

using SmoothTypes = image::TypeSet<image::Int16, image::UInt16, image::UInt8, image::Float32>;

/// Calls smooth(std::type_identity<T>{}) with the element type of the input; an output that it completed is edited.
template <class Smooth> bool smoothByType(const ArvoImage3D* in, ArvoImage3D* out, Smooth&& smooth)
{
    if (!in || !out)
        return frame::refuse("ArvoImageGaussianSmooth : no input image or no output image.");
    const bool isDone =
        image::withElementType(in->dataType(), SmoothTypes{},
                               "ArvoImageGaussianSmooth : not implemented for this data type.", smooth);
    if (isDone)
        out->editFinished();
    return isDone;
}

} // namespace

ArvoImageGaussianSmooth::ArvoImageGaussianSmooth() = default;
ArvoImageGaussianSmooth::ArvoImageGaussianSmooth(const ArvoImageGaussianSmooth&) = default;
ArvoImageGaussianSmooth& ArvoImageGaussianSmooth::operator=(const ArvoImageGaussianSmooth&) = default;
ArvoImageGaussianSmooth::~ArvoImageGaussianSmooth() = default;

bool ArvoImageGaussianSmooth::execute(const std::atomic<bool>& cancel)
{
    return doBlurring(m_input, m_output, cancel);
}

bool ArvoImageGaussianSmooth::executeDeprecated(const std::atomic<bool>& cancel)
{
    return doLegacyBlurring(m_input, m_output, cancel);
}

bool ArvoImageGaussianSmooth::doBlurring(const ArvoImage3D* in, ArvoImage3D* out,
                                         const std::atomic<bool>& cancel)
{
    return smoothByType(in, out, [&](auto element) {
        using T = typename decltype(element)::type;
        return ArvoImageGaussianSmoothHelper<T>::smooth(m_radius, m_standardDeviation, in, out, cancel);
    });
}

bool ArvoImageGaussianSmooth::doLegacyBlurring(const ArvoImage3D* in, ArvoImage3D* out,
                                               const std::atomic<bool>& cancel)
{
    return smoothByType(in, out, [&](auto element) {
        using T = typename decltype(element)::type;
        return legacy_gaussian::smooth<T>(m_radius, m_standardDeviation, *in, *out, cancel);
    });
}
