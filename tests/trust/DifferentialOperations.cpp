#include "arvo/differential/ArvoImageNormalizeGradients.h"
#include "arvo/differential/DifferentialHelper.h"
#include "arvo/differential/DirectGradientNorm.h"
#include "arvo/differential/Gradient.h"
#include "arvo/differential/VectorFieldDivergence.h"
#include "arvo/frame/ThreeImages3D.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "trust/Operations.h"

#include <algorithm>

namespace trust {

namespace {

/// A copy of a volume, which a field can own; null stays null.
ArvoImage3D* owned(const ArvoImage3D* image)
{
    if (!image)
        return nullptr;
    auto copy = std::make_unique<ArvoImage3D>();
    if (image->isValid())
        copy->copyFrom(image);
    return copy.release();
}

template <class T> bool differentiate(Call& c)
{
    using Helper = DifferentialHelper<T>;
    const int last = c.i == 2 ? c.a->imageSize().z - 1 : c.i;
    return Helper::calculateGradientX(*c.a, *c.b, 0, last, c.cancel) &&
           Helper::calculateGradientY(*c.a, *c.b, std::min(c.i, 0), last, c.cancel) &&
           Helper::calculateGradientZ(*c.a, *c.b, 0, last, c.cancel) &&
           Helper::calculateNormGradient(*c.a, *c.b, 0, last, c.cancel);
}

} // namespace

void addDifferentialOperations(Operations& list)
{
    list.push_back({"Gradient", 1, NOTHING, 1, false, true, [](Call& c) {
                        Gradient gradient;
                        gradient.setInputImage(c.a);
                        const bool success = executed(gradient, c);
                        const std::unique_ptr<ThreeImages3D> field(gradient.takeGradientImage());
                        return success && field;
                    }});
    list.push_back({"DirectGradientNorm", 2, SECOND, 1, true,
                    false, // its workers refuse the output, if there are any
                    [](Call& c) {
                        DirectGradientNorm::calculateNormGradient(c.a, c.b);
                        return false;
                    }});
    list.push_back({"ThreeImages3D, normalize", 2, NOTHING, 1, true, true, [](Call& c) {
                        ThreeImages3D field(owned(c.a), owned(c.b), owned(c.a));
                        field.getValue(c.i, c.i, c.i);
                        float *u, *v, *w;
                        field.getAxialSlices(c.i, &u, &v, &w);
                        field.setAxialSlices(c.i, u, nullptr, w);
                        return ArvoImageNormalizeGradients::normalize(field);
                    }});
    list.push_back({"ThreeImages3D::copyValuesFrom", 2, NOTHING, 1, true, false, [](Call& c) {
                        ThreeImages3D from(owned(c.a), owned(c.a), owned(c.b));
                        ThreeImages3D to(owned(c.b), owned(c.b), owned(c.b));
                        return to.copyValuesFrom(&from);
                    }});
    list.push_back({"VectorFieldDivergence", 2, NOTHING, 1, true, false, [](Call& c) {
                        const ThreeImages3D field(owned(c.a), owned(c.b), owned(c.a));
                        return VectorFieldDivergence::calculate(field) != nullptr;
                    }});
    list.push_back({"DifferentialHelper", 2, SECOND, 1, true, false, [](Call& c) {
                        if (!c.a || !c.b)
                            return false;
                        return withElement(c, [&](auto element) {
                            return differentiate<typename decltype(element)::type>(c);
                        });
                    }});
}

} // namespace trust
