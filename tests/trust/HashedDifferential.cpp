#include "trust/ResultHashes.h"

#include "arvo/differential/ArvoImageNormalizeGradients.h"
#include "arvo/differential/DirectGradientNorm.h"
#include "arvo/differential/DirectGradientNormWorker.h"
#include "arvo/differential/Gradient.h"
#include "arvo/differential/GradientWorker.h"
#include "arvo/differential/VectorFieldDivergence.h"
#include "arvo/differential/VectorFieldDivergenceWorker.h"
#include "arvo/frame/ThreeImages3D.h"

namespace trust {

namespace {

const std::atomic<bool> never{false};

void hashGradient(Results& results, ArvoImage3D& volume, const std::string& suffix)
{
    Gradient gradient;
    gradient.setInputImage(&volume);
    gradient.execute(never);
    const std::unique_ptr<ThreeImages3D> field(gradient.takeGradientImage());
    const ArvoImage3D* const components[] = {field->getU(), field->getV(), field->getW()};
    for (const int direction : {0, 1, 2}) {
        const std::string name = "gradient_" + std::string(1, "xyz"[direction]) + suffix;
        results.add(name, components[direction]);
        ArvoImage3D output;
        forEachCut(
            volume.imageSize().z, [&] { output.createFrom(&volume, image::Float32); },
            [&](int, int) {
                auto worker = std::make_unique<GradientWorker>(direction, nullptr);
                worker->setImages(&volume, &output);
                return worker;
            },
            [&](int, const Workers&) { results.add(name, &output); });
    }

    const auto divergence = VectorFieldDivergence::calculate(*field);
    results.add("divergence" + suffix, divergence.get());
    ArvoImage3D output;
    forEachCut(
        volume.imageSize().z, [&] { output.createFrom(&volume, image::Float32); },
        [&](int, int) {
            auto worker = std::make_unique<VectorFieldDivergenceWorker>(field.get(), nullptr);
            worker->setImages(nullptr, &output);
            return worker;
        },
        [&](int, const Workers&) { results.add("divergence" + suffix, &output); });

    ArvoImageNormalizeGradients::normalize(*field);
    for (const int axis : {0, 1, 2})
        results.add("normalized_gradient_" + std::string(1, "xyz"[axis]) + suffix, components[axis]);
}

void hashNorm(Results& results, ArvoImage3D& volume, const std::string& suffix)
{
    ArvoImage3D output;
    output.createFrom(&volume, image::Float32);
    DirectGradientNorm::calculateNormGradient(&volume, &output);
    results.add("gradient_norm" + suffix, &output);
    forEachCut(
        volume.imageSize().z, [&] { output.createFrom(&volume, image::Float32); },
        [&](int, int) {
            auto worker = std::make_unique<DirectGradientNormWorker>();
            worker->setImages(&volume, &output);
            return worker;
        },
        [&](int, const Workers&) { results.add("gradient_norm" + suffix, &output); });
}

} // namespace

void hashDifferential(Results& results)
{
    for (const math::Ivec3& size : fixedSizes()) {
        for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Float32}) {
            ArvoImage3D volume = fixedVolume(size, type, 1);
            hashGradient(results, volume, nameOf(type, size));
            hashNorm(results, volume, nameOf(type, size));
        }
    }
}

} // namespace trust
