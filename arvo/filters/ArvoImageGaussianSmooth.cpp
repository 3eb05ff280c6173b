#include "arvo/filters/ArvoImageGaussianSmooth.h"

#include "arvo/filters/ArvoImageGaussianSmoothHelper.h"
#include "arvo/filters/LegacyGaussian.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/platform/image/ElementTypes.h"

namespace {

using SmoothTypes = image::TypeSet<image::Int16, image::UInt16, image::UInt8, image::Float32>;

constexpr const char* NOT_IMPLEMENTED = "ArvoImageGaussianSmooth : not implemented for this data type.";
constexpr const char* NO_IMAGES = "ArvoImageGaussianSmooth : no input image or no output image.";

} // namespace

ArvoImageGaussianSmooth::ArvoImageGaussianSmooth() = default;
ArvoImageGaussianSmooth::ArvoImageGaussianSmooth(const ArvoImageGaussianSmooth&) = default;
ArvoImageGaussianSmooth& ArvoImageGaussianSmooth::operator=(const ArvoImageGaussianSmooth&) = default;
ArvoImageGaussianSmooth::~ArvoImageGaussianSmooth() = default;

bool ArvoImageGaussianSmooth::execute(const std::atomic<bool>& cancel)
{
    if (!m_input || !m_output)
        return frame::refuse(NO_IMAGES);
    return doBlurring(m_input, m_output, cancel);
}

bool ArvoImageGaussianSmooth::executeDeprecated(const std::atomic<bool>& cancel)
{
    if (!m_input || !m_output)
        return frame::refuse(NO_IMAGES);
    return doLegacyBlurring(m_input, m_output, cancel);
}

bool ArvoImageGaussianSmooth::doBlurring(const ArvoImage3D* in, ArvoImage3D* out,
                                         const std::atomic<bool>& cancel)
{
    if (!in || !out)
        return frame::refuse(NO_IMAGES);
    const bool isDone =
        image::withElementType(in->dataType(), SmoothTypes{}, NOT_IMPLEMENTED, [&](auto element) {
            using T = typename decltype(element)::type;
            return ArvoImageGaussianSmoothHelper<T>::smooth(m_radius, m_standardDeviation, in, out, cancel);
        });
    if (isDone)
        out->editFinished();
    return isDone;
}

bool ArvoImageGaussianSmooth::doLegacyBlurring(const ArvoImage3D* in, ArvoImage3D* out,
                                               const std::atomic<bool>& cancel)
{
    if (!in || !out)
        return frame::refuse(NO_IMAGES);
    const bool isDone =
        image::withElementType(in->dataType(), SmoothTypes{}, NOT_IMPLEMENTED, [&](auto element) {
            using T = typename decltype(element)::type;
            return legacy_gaussian::smooth<T>(m_radius, m_standardDeviation, *in, *out, cancel);
        });
    if (isDone)
        out->editFinished();
    return isDone;
}
