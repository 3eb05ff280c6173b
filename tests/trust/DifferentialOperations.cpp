#include "arvo/differential/ArvoImageNormalizeGradients.h"
#include "arvo/differential/DifferentialHelper.h"
#include "arvo/differential/DirectGradientNorm.h"
#include "arvo/differential/DirectGradientNormWorker.h"
#include "arvo/differential/Gradient.h"
#include "arvo/differential/GradientWorker.h"
#include "arvo/differential/VectorFieldDivergence.h"
#include "arvo/differential/VectorFieldDivergenceWorker.h"
#include "arvo/frame/ThreeImages3D.h"
#include "trust/SliceWorkers.h"

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

void addField(Call& c, const std::string& name, const ThreeImages3D& field)
{
    c.result(name + "_x").addVolume(field.getU());
    c.result(name + "_y").addVolume(field.getV());
    c.result(name + "_z").addVolume(field.getW());
}

std::unique_ptr<ThreeImages3D> gradientOf(ArvoImage3D* volume, Call& c, bool& isDone)
{
    Gradient gradient;
    gradient.setInputImage(volume);
    isDone = executed(gradient, c);
    return std::unique_ptr<ThreeImages3D>(gradient.takeGradientImage());
}

/// The gradient, its divergence, and the gradient with every vector brought to length 1.
bool differentiate(Call& c)
{
    bool isDone = false;
    const auto field = gradientOf(c.a, c, isDone);
    if (!field || !isDone)
        return false;
    addField(c, "gradient", *field);
    const auto divergence = VectorFieldDivergence::calculate(*field);
    c.result("divergence").addVolume(divergence.get());
    const bool isNormalized = ArvoImageNormalizeGradients::normalize(*field);
    addField(c, "normalized_gradient", *field);
    return divergence && isNormalized;
}

/// The helpers of one type, which are handed slices.
template <class T> bool differentiateSlices(Call& c)
{
    using Helper = DifferentialHelper<T>;
    const auto [first, last] = c.sliceRange();
    return Helper::calculateGradientX(*c.a, *c.b, first, last, c.cancel) &&
           Helper::calculateGradientY(*c.a, *c.b, first, last, c.cancel) &&
           Helper::calculateGradientZ(*c.a, *c.b, first, last, c.cancel) &&
           Helper::calculateNormGradient(*c.a, *c.b, first, last, c.cancel);
}

/// A worker that reads the first volume and writes the second.
using MakeWorker = std::function<std::unique_ptr<SliceWorker>()>;

void addWorkers(Operations& table, const std::string& name, const MakeWorker& make)
{
    table.add(
        name + ", by workers", TAKES_TWO | CHANGES_B | ANSWERS, {GREYS, fixedInput, zeros(image::Float32)},
        [make](Call& c) {
            Workers workers;
            return runWorkers(c, workers, [&] {
                auto worker = make();
                worker->setImages(c.a, c.b);
                return worker;
            });
        },
        CUTS);
}

void addFields(Operations& table)
{
    table.add("normalize, any components", TAKES_TWO | SILENT | ANSWERS, [](Call& c) {
        ThreeImages3D field(owned(c.a), owned(c.b), owned(c.a));
        field.getValue(c.whole(0), c.whole(0), c.whole(0));
        float *u, *v, *w;
        const int z = c.whole(0);
        field.getAxialSlices(z, &u, &v, &w);
        field.setAxialSlices(z, u, nullptr, w);
        return ArvoImageNormalizeGradients::normalize(field);
    });
    table.add("ThreeImages3D::copyValuesFrom", TAKES_TWO | SILENT, [](Call& c) {
        ThreeImages3D from(owned(c.a), owned(c.a), owned(c.b));
        ThreeImages3D to(owned(c.b), owned(c.b), owned(c.b));
        return to.copyValuesFrom(&from);
    });
    table.add("divergence, any components", TAKES_TWO | SILENT, [](Call& c) {
        const ThreeImages3D field(owned(c.a), owned(c.b), owned(c.a));
        const auto divergence = VectorFieldDivergence::calculate(field);
        c.result().addVolume(divergence.get());
    });
    table.add("divergence, any components and slices", TAKES_TWO | CHANGES_B | SILENT, [](Call& c) {
        const auto component = [&] { return owned(c.flag(false) ? c.b : c.a); };
        if (!c.b)
            return false;
        ArvoImage3D *u = component(), *v = component(), *w = component();
        const ThreeImages3D field(u, v, w);
        const auto [first, last] = c.sliceRange();
        return DifferentialHelper<float>::calculateVectorFieldDivergence(field, *c.b, first, last, c.cancel);
    });
}

} // namespace

void addDifferentialOperations(Operations& table)
{
    table.add("gradient", ANSWERS, {GREYS}, differentiate);
    for (const int direction : {0, 1, 2})
        addWorkers(table, std::string("gradient_") + "xyz"[direction],
                   [direction] { return std::make_unique<GradientWorker>(direction, nullptr); });
    table.add("gradient_norm",
              TAKES_TWO | CHANGES_B | SILENT, // its workers refuse the output, if there are any
              {GREYS, fixedInput, zeros(image::Float32)},
              [](Call& c) { DirectGradientNorm::calculateNormGradient(c.a, c.b); });
    addWorkers(table, "gradient_norm", [] { return std::make_unique<DirectGradientNormWorker>(); });
    table.add("gradient, of one type", TAKES_TWO | CHANGES_B | SILENT, [](Call& c) {
        return c.a && c.b && withElement(c, [&](auto element) {
                   return differentiateSlices<typename decltype(element)::type>(c);
               });
    });
    addFields(table);
    table.add(
        "divergence, by workers", TAKES_TWO | CHANGES_B | SILENT | ANSWERS,
        {GREYS, fixedInput, zeros(image::Float32)},
        [](Call& c) {
            bool isDone = false;
            const bool hasGradient = c.slices() > 0 && image::isOneOf(c.a->dataType(), image::VoxelTypes{});
            const auto field = hasGradient ? gradientOf(c.a, c, isDone) : nullptr;
            Workers workers;
            return runWorkers(c, workers, [&] {
                auto worker = std::make_unique<VectorFieldDivergenceWorker>(field.get(), nullptr);
                worker->setImages(nullptr, c.b);
                return worker;
            });
        },
        CUTS);
}

} // namespace trust
