#include "arvo/filters/ArvoImageConeBeamNoiseEraser.h"
#include "arvo/filters/ArvoImageCubicFilter.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/filters/ArvoImageResample.h"
#include "arvo/filters/ArvoImageSubsample.h"
#include "arvo/geometry/FloatingImageContainerMerger.h"
#include "arvo/geometry/Image3DClipper.h"
#include "arvo/geometry/MainDirectionsCalculator.h"
#include "arvo/geometry/MassCenterCalculator.h"
#include "arvo/geometry/SetVoxelsInside.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ArvoImage3DInfo.h"
#include "arvo/platform/image/FloatingImageContainer.h"
#include "arvo/platform/image/Image2D.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "trust/Operations.h"

#include <algorithm>
#include <array>
#include <new>

namespace trust {

namespace {

using Reslicer = ArvoImage3DReslicer;

template <class Filter> Filter filterOn(const Call& c)
{
    Filter filter;
    filter.setInput(c.a);
    filter.setOutput(c.b);
    return filter;
}

bool gaussian(Call& c, bool isDeprecated)
{
    auto gauss = filterOn<ArvoImageGaussianSmooth>(c);
    gauss.setRadius({std::min(c.i, 1000), 1, std::min(c.i, 100)});
    gauss.setStandardDeviation({c.f, 1.0f, c.f});
    return isDeprecated ? gauss.executeDeprecated(c.cancel) : gauss.execute(c.cancel);
}

bool boxMean(Call& c)
{
    if (!c.a)
        return false;
    try {
        return ArvoImageCubicFilter::applyCubicFilter(
                   *c.a, {static_cast<unsigned long long>(static_cast<long long>(c.i)), 3, 1}) != nullptr;
    } catch (const std::bad_alloc&) { // documented for the table
        return false;
    }
}

bool resample(Call& c, bool hasRecord)
{
    ArvoImage3D placed;
    ArvoImage3D* input = c.a;
    if (hasRecord && c.a && c.a->isValid() && placed.copyFrom(c.a)) {
        const float axes[] = {c.f, 0.0f, 0.0f, 0.0f, 1.0f, c.f, 0.0f, 0.0f, 1.0f};
        const auto bytes = std::clamp<qsizetype>(c.i, 0, sizeof axes);
        placed.addInfo(0x20001, "ImageOrientation", QByteArray(reinterpret_cast<const char*>(axes), bytes));
        input = &placed;
    }
    ArvoImageResample filter;
    filter.setInput(input);
    filter.setOutput(c.b);
    return filter.execute();
}

void addFilters(Operations& list)
{
    list.push_back({"Gaussian", 2, SECOND, 1, false, true, [](Call& c) { return gaussian(c, false); }});
    list.push_back(
        {"Gaussian, deprecated", 2, SECOND, 1, false, true, [](Call& c) { return gaussian(c, true); }});
    list.push_back({"ArvoImageCubicFilter", 1, NOTHING, 1, true, true, boxMean});
    list.push_back({"ArvoImageConeBeamNoiseEraser", 2, SECOND, 1, false, false, [](Call& c) {
                        auto eraser = filterOn<ArvoImageConeBeamNoiseEraser>(c);
                        eraser.setRadius(c.i);
                        eraser.setBoneThreshold(c.i / 2);
                        return eraser.execute();
                    }});
    list.push_back(
        {"ArvoImageResample", 2, SECOND, 1, true, true, [](Call& c) { return resample(c, false); }});
    list.push_back(
        {"ArvoImageResample, placed", 2, SECOND, 1, true, true, [](Call& c) { return resample(c, true); }});
    for (const int method : {-1, 0, 1, 2, 3, 4})
        list.push_back({"ArvoImageSubsample, method " + std::to_string(method), 2, SECOND | CREATES, 1, false,
                        true, [method](Call& c) {
                            auto subsample = filterOn<ArvoImageSubsample>(c);
                            subsample.setSampleFactor(c.i, 1, c.i);
                            return subsample.execute(static_cast<ArvoImageSubsample::SubsampleMethod>(method),
                                                     c.cancel);
                        }});
}

/// Tables of a projection, with hostile numbers among them.
struct Rays {
    float origin[3];
    float columns[12], rows[12], steps[12];

    explicit Rays(float f) : origin{0.0f, f, 1.0f}
    {
        for (int k = 0; k < 12; ++k) {
            columns[k] = k % 3 == 0 ? static_cast<float>(k) / 3.0f : 0.0f;
            rows[k] = k % 3 == 2 ? static_cast<float>(k) / 3.0f : 0.0f;
            steps[k] = k < 3 ? f : k % 3 == 1 ? 1.0f : 0.0f;
        }
    }
};

using Project = std::function<void(Call&, Rays&, int width, int steps, Image2D&)>;

void addProjections(Operations& list)
{
    const auto add = [&](const std::string& name, const Project& project) {
        for (const bool isWidthHostile : {false, true})
            list.push_back({name + (isWidthHostile ? ", width" : ", steps"), 1, NOTHING, 1, false, false,
                            [project, isWidthHostile](Call& c) {
                                Image2D picture(4, 3, Image2D::Float32, {1, 1, 1}, true);
                                Rays rays(c.f);
                                project(c, rays, isWidthHostile ? c.i : 4, isWidthHostile ? 6 : c.i, picture);
                                return false;
                            }});
    };
    add("loadMIPReslice", [](Call& c, Rays& r, int width, int steps, Image2D& picture) {
        Image2D depth(4, 3, Image2D::Float32, {1, 1, 1}, true);
        Reslicer::loadMIPReslice(c.a, r.origin, r.columns, r.rows, width, 3, r.steps, steps, picture,
                                 c.f > 0 ? &depth : nullptr,
                                 static_cast<ArvoImage3DEnums::MIP_COMPARE_FUNCTION>(steps % 4));
    });
    add("loadMIPNormalizedReslice", [](Call& c, Rays& r, int width, int steps, Image2D& picture) {
        Reslicer::loadMIPNormalizedReslice(c.a, r.origin, r.columns, r.rows, width, 3, r.steps, steps,
                                           picture);
    });
    add("loadXRayNormalizedReslice", [](Call& c, Rays& r, int width, int steps, Image2D& picture) {
        Reslicer::loadXRayNormalizedReslice(c.a, r.origin, r.columns, r.rows, width, 3, r.steps, steps,
                                            {-c.f, c.f}, picture);
    });
    add("loadCephNormalizedReslice", [](Call& c, Rays& r, int width, int steps, Image2D& picture) {
        Reslicer::loadCephNormalizedReslice(c.a, r.origin, r.columns, r.rows, width, 3, r.steps, steps,
                                            picture);
    });
    add("loadInterpolatedNormalizedReslice", [](Call& c, Rays& r, int width, int, Image2D& picture) {
        Reslicer::loadInterpolatedNormalizedReslice(c.a, r.origin, r.columns, r.rows, width, 3, picture);
    });
}

void addSlices(Operations& list)
{
    const auto add = [&](const char* name, bool isSilent, std::function<bool(Call&, float*, int*)> run) {
        list.push_back({name, 1, NOTHING, 1, isSilent, false, [run](Call& c) {
                            float vectors[] = {c.f, 0.0f, 1.0f, 1.0f, c.f, 0.0f, 0.0f, 0.5f, c.f};
                            int size[] = {std::min(c.i, 5), 4};
                            return run(c, vectors, size);
                        }});
    };
    using Load = void (*)(ArvoImage3D*, int, int, char*);
    static constexpr Load loads[] = {[](ArvoImage3D* a, int first, int count, char* to) {
                                         Reslicer::loadAxialSlices(a, first, count, to);
                                     },
                                     Reslicer::loadCoronalSlices, Reslicer::loadSagittalSlices};
    for (const Load load : loads) {
        add("load slices", false, [load](Call& c, float*, int*) {
            std::vector<char> buffer(c.a && c.a->isValid() ? c.a->sizeOfAxialSlice() *
                                                                 static_cast<std::size_t>(c.a->imageSize().z)
                                                           : 1);
            load(c.a, c.i, 1, buffer.data());
            return false;
        });
        add("load slices, count", false, [load](Call& c, float*, int*) {
            std::vector<char> buffer(c.a && c.a->isValid() ? c.a->sizeOfAxialSlice() *
                                                                 static_cast<std::size_t>(c.a->imageSize().z)
                                                           : 1);
            load(c.a, 0, c.i, c.f > 1e30f ? nullptr : buffer.data());
            return false;
        });
    }
    static constexpr bool (*loads2D[])(ArvoImage3D*, int, Image2D*) = {
        Reslicer::loadAxialSlice2D, Reslicer::loadCoronalSlice2D, Reslicer::loadSagittalSlice2D};
    for (const auto load : loads2D)
        add("load slice as image", false, [load](Call& c, float*, int*) {
            Image2D image;
            return load(c.a, c.i, c.f > 1e30f ? nullptr : &image);
        });
    add("loadReslice", false, [](Call& c, float* v, int* size) {
        Image2D image(5, 4, static_cast<Image2D::DataType>(c.a ? c.a->dataType() : 0), {1, 1, 1}, true);
        return Reslicer::loadReslice(c.a, v, v + 3, v + 6, size, image), false;
    });
    add("loadInterpolatedReslice", false, [](Call& c, float* v, int* size) {
        Image2D image(5, 4, static_cast<Image2D::DataType>(c.a ? c.a->dataType() : 0), {1, 1, 1}, true);
        return Reslicer::loadInterpolatedReslice(c.a, v, v + 3, v + 6, size, image), false;
    });
    add("loadReslice2D", false, [](Call& c, float* v, int* size) {
        Image2D image;
        return Reslicer::loadReslice2D(c.a, v, v + 3, v + 6, size, &image);
    });
    add("loadInterpolatedReslice, image", false, [](Call& c, float* v, int* size) {
        Image2D image;
        return Reslicer::loadInterpolatedReslice(c.a, v, v + 3, v + 6, size, &image);
    });
}

bool merge(Call& c)
{
    const auto contain = [](const ArvoImage3D* image, const QVector3D& corner) {
        std::unique_ptr<ArvoImage3D> copy;
        if (image) {
            copy = std::make_unique<ArvoImage3D>();
            if (image->isValid())
                copy->copyFrom(image);
        }
        return FloatingImageContainer(std::move(copy), corner, corner + QVector3D(3.0f, 3.0f, 4.0f));
    };
    const FloatingImageContainer first = contain(c.a, {0.0f, 0.0f, 0.0f});
    FloatingImageContainer second = contain(c.b, {c.f, 1.0f, -1.0f});
    std::vector<FloatingImageContainer*> containers = {const_cast<FloatingImageContainer*>(&first), &second};
    if (c.i < 0)
        containers.push_back(nullptr);
    return FloatingImageContainerMerger::mergeByUnion(containers) != nullptr;
}

void addGeometry(Operations& list)
{
    const auto add = [&](const char* name, int inputs, int changes, bool isSilent, bool canAnswer,
                         std::function<bool(Call&)> run) {
        list.push_back({name, inputs, changes, 1, isSilent, canAnswer, std::move(run)});
    };
    add("MassCenterCalculator", 1, NOTHING, false, true, [](Call& c) {
        MassCenterCalculator center;
        center.setImage(c.a);
        center.setThreshold(c.i);
        return center.execute() && center.getMassCenter();
    });
    add("MainDirectionsCalculator", 1, NOTHING, false, true, [](Call& c) {
        MainDirectionsCalculator directions;
        directions.setImage(c.a);
        directions.setThreshold(c.i);
        return directions.execute() && directions.getDirection2();
    });
    add("Image3DClipper", 1, FIRST, false, false, [](Call& c) {
        primitives::Plane plane({c.f, 1.0f, 1.0f}, {0.5f, c.f, 1.0f});
        QMatrix4x4 transform;
        transform.translate(c.f, 0.0f, 1.0f);
        Image3DClipper clipper;
        clipper.setImageToClip(c.a);
        clipper.setClipPlane(c.i == 1 ? nullptr : &plane);
        clipper.setImageTransform(transform);
        return clipper.clip(), false;
    });
    add("setVoxelsInsideBoundingBox", 1, FIRST, true, false, [](Call& c) {
        if (!c.a)
            return false;
        QMatrix4x4 placement;
        placement.scale(1.0f, c.f, 2.0f);
        image3d::setVoxelsInsideBoundingBox(
            *c.a, primitives::OrientedBoundingBox({-1.0f, 0.5f, -c.f, c.f, 2.0f, 3.0f}, placement), 7);
        return false;
    });
    add("setVoxelsInsideScreenspacePolygon", 1, FIRST, true, false, [](Call& c) {
        if (!c.a)
            return false;
        QMatrix4x4 transform;
        transform.scale(0.3f, c.f, 0.2f);
        const QPolygonF polygon({{0.0, 0.0}, {1.0, double{c.f}}, {double{c.f}, 1.0}});
        const int width = c.i > 1000 ? c.i : std::min(c.i, 64);
        image3d::setVoxelsInsideScreenspacePolygon(*c.a, {width, 32}, polygon, transform, 7);
        return false;
    });
    add("mergeByUnion", 2, NOTHING, false, false, merge);
}

void addVolume(Operations& list)
{
    const auto add = [&](const char* name, int inputs, int changes, bool isSilent,
                         std::function<bool(Call&)> run) {
        list.push_back({name, inputs, changes, 1, isSilent, true, std::move(run)});
    };
    add("ArvoImage3D::createFrom", 2, SECOND | CREATES, true,
        [](Call& c) { return c.b && c.b->createFrom(c.a, static_cast<image::DataType>(c.i)); });
    add("ArvoImage3D::copyFrom", 2, SECOND | CREATES, true,
        [](Call& c) { return c.b && c.b->copyFrom(c.a); });
    add("ArvoImage3D::copyFrom, box", 2, SECOND | CREATES, true, [](Call& c) {
        const int origin[] = {c.i == 2 ? 0 : c.i, 0, 1}, size[] = {1, c.i, 1};
        return c.b && c.b->copyFrom(c.a, origin, c.f > 1e30f ? nullptr : size);
    });
    add("ArvoImage3D::copyIn", 2, SECOND, true, [](Call& c) {
        const int origin[] = {0, c.i == 2 ? 0 : c.i, 0};
        return c.b && c.b->copyIn(c.a, origin);
    });
    add("ArvoImage3D, reading", 1, NOTHING, true, [](Call& c) {
        if (!c.a)
            return false;
        const float position[] = {c.f, 1.0f, c.f};
        c.a->getValue(c.i, 0, c.i);
        c.a->getFloatValue(0, c.i, 0);
        c.a->getInterpolatedValue(position);
        c.a->getInterpolatedValue(nullptr);
        c.a->getConstAxialSlice(c.i);
        c.a->info(c.i);
        c.a->editFinished();
        return c.a->isValid() && c.a->minValue() <= c.a->maxValue();
    });
    add("ArvoImage3D, writing", 1, FIRST, true, [](Call& c) {
        if (!c.a)
            return false;
        c.a->changeVoxelValues({{c.i, 0, 0}, {0, 1, 0}, {0, 0, c.i}}, c.i);
        c.a->setAxialSlice(c.i, c.a->getAxialSlice(0));
        c.a->setAxialSlice(0, c.a->getAxialSlice(c.i));
        c.a->memsetSlices(c.i);
        return c.a->isValid();
    });
    add("ArvoImage3D::create", 1, FIRST | CREATES, true, [](Call& c) {
        return c.a && c.a->create(math::Ivec3(c.i, 2, c.i > 1000 ? c.i : 1), {c.f, c.f, c.f}, image::Float32);
    });
}

} // namespace

void addSpatialOperations(Operations& list)
{
    addFilters(list);
    addProjections(list);
    addSlices(list);
    addGeometry(list);
    addVolume(list);
}

} // namespace trust
