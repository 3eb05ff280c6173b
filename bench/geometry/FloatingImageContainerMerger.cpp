#include "arvo/geometry/FloatingImageContainerMerger.h"

#include "arvo/platform/image/FloatingImageContainer.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

struct Scene {
    std::unique_ptr<FloatingImageContainer> first;
    std::unique_ptr<FloatingImageContainer> second;
    std::unique_ptr<FloatingImageContainer> merged;
};

std::unique_ptr<FloatingImageContainer> placed(const ArvoImage3D& image, const QVector3D& corner)
{
    const math::Ivec3 size = image.imageSize();
    const QVector3D extent(static_cast<float>(size.x), static_cast<float>(size.y),
                           static_cast<float>(size.z));
    return std::make_unique<FloatingImageContainer>(std::make_unique<ArvoImage3D>(inputs::copyOf(image)),
                                                    corner, corner + extent);
}

double mergedCount(int edge)
{
    return double(edge) * (edge + edge / 8) * (edge + edge / 4);
}

const bool registered[] = {
    bench::workload(
        {.name = "merge_f32", .isThreaded = true, .nominalCount = mergedCount},
        [](int edge) {
            const QVector3D corner(static_cast<float>(edge / 4), static_cast<float>(edge / 8), 0.0f);
            return Scene{placed(inputs::ctF(edge, 0), {}), placed(inputs::ctF(edge, 1), corner), nullptr};
        },
        [](Scene& scene) {
            scene.merged =
                FloatingImageContainerMerger::mergeByUnion({scene.first.get(), scene.second.get()});
        }),
};

} // namespace
