#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"
#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/Image3DBoundary.h"
#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/binary/Image3DHoleClosing.h"
#include "arvo/binary/Image3DKeepConnectedPart.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/math/OrientedBoundingBox.h"
#include "trust/Operations.h"

#include <algorithm>
#include <new>

namespace trust {

namespace {

using Tools = ArvoImageBinaryTools;
using Morphology = ArvoImageBinaryMorphologicalOperations;

Tools toolsOn(const Call& c)
{
    Tools tools;
    tools.setInput(c.a);
    tools.setOutput(c.b);
    return tools;
}

bool withStencil(Call& c, Morphology::Stencil (*make)(std::size_t), bool isErosion)
{
    if (!c.a || !c.b)
        return false;
    const auto radius = static_cast<std::size_t>(c.i);
    if (radius > 8 && radius < 1000000) // a stencil that memory can hold, but not the patience of a test
        return false;
    Morphology::Stencil stencil;
    try {
        stencil = make(radius);
    } catch (const std::bad_alloc&) { // documented
        return false;
    }
    (isErosion ? Morphology::erode : Morphology::dilate)(*c.a, *c.b, stencil);
    return false;
}

template <class Take> bool taken(Take take)
{
    return std::unique_ptr<ArvoImage3D>(take()) != nullptr;
}

void addTools(Operations& list)
{
    const auto add = [&](const char* name, int changes, bool isSilent, bool canAnswer,
                         std::function<bool(Tools&, Call&)> run) {
        list.push_back({name, 2, changes, 1, isSilent, canAnswer, [run](Call& c) {
                            Tools tools = toolsOn(c);
                            return run(tools, c);
                        }});
    };
    add("label", SECOND, false, true,
        [](Tools& t, Call& c) { return t.label(static_cast<Tools::LABEL_TYPE>(c.i)) > 0; });
    add("labelImage", SECOND, false, true, [](Tools&, Call& c) { return Tools::labelImage(c.a, c.b) > 0; });
    add("keepLargestPart", SECOND, true, true, [](Tools& t, Call& c) {
        int parts = 0;
        return t.keepLargestPart(c.i > 0 ? &parts : nullptr);
    });
    add("keepLargestPart, grey", SECOND, false, false,
        [](Tools& t, Call& c) { return t.keepLargestPart(c.i) > 0; });
    add("keepAllConnectedToSlice", SECOND, false, false,
        [](Tools& t, Call& c) { return t.keepAllConnectedToSlice(c.i) > 0; });
    add("keepAllConnectedToSlice, volume", SECOND, false, false,
        [](Tools& t, Call& c) { return t.keepAllConnectedToSlice(0, c.i) > 0; });
    add("erodeZ", SECOND, false, false, [](Tools& t, Call& c) { return t.erodeZ(c.i), false; });
    add("edgeDetection", SECOND, false, false, [](Tools& t, Call&) { return t.edgeDetection(), false; });
    add("thresholdFilter, int", SECOND, true, true,
        [](Tools& t, Call& c) { return t.thresholdFilter(c.i, c.i > 0); });
    add("thresholdFilter, float", SECOND, true, true,
        [](Tools& t, Call& c) { return t.thresholdFilter(c.f, c.i > 0); });
    add("thresholdFilterLowHigh", SECOND, true, true,
        [](Tools& t, Call& c) { return t.thresholdFilterLowHigh(c.i, c.i / -2); });
    add("applyMask", FIRST, false, false,
        [](Tools&, Call& c) { return Tools::applyMask(c.b, c.a, c.i > 0), false; });
    add("convertByteToBinary", SECOND, false, false,
        [](Tools&, Call& c) { return Tools::convertByteToBinary(c.a, c.b), false; });
    add("convertBinaryToByte", SECOND, false, false,
        [](Tools&, Call& c) { return Tools::convertBinaryToByte(c.a, c.b), false; });
    add("convertMaskToBinary", SECOND, false, false,
        [](Tools&, Call& c) { return Tools::convertMaskToBinary(c.a, c.b), false; });
    add("countMismatchedVoxels", NOTHING, true, false,
        [](Tools&, Call& c) { return c.a && c.b && Tools::countMismatchedVoxels(*c.a, *c.b).has_value(); });
    add("compareRegionsOf3DBinaryImages", NOTHING, false, true,
        [](Tools&, Call& c) { return Tools::compareRegionsOf3DBinaryImages(c.a, c.b, c.i, c.i); });
    add("unionBinaryImages", NOTHING, false, true,
        [](Tools&, Call& c) { return taken([&] { return Tools::unionBinaryImages(c.a, c.b); }); });
}

void addBoxes(Operations& list)
{
    const auto add = [&](const char* name, int changes, bool isSilent, std::function<bool(Call&)> run) {
        list.push_back({name, 1, changes, 1, isSilent, false, std::move(run)});
    };
    add("addBoxToMask", FIRST, true, [](Call& c) {
        if (c.a)
            Tools::addBoxToMask({0, 1, c.i}, {c.i, 300, 2}, *c.a);
        return false;
    });
    add("convertBoxToMask", FIRST, false, [](Call& c) {
        Tools::convertBoxToMask({0, c.i / -2, -5}, {c.i, 2, c.i}, c.a);
        return false;
    });
    add("getBoundingBox of a mask", NOTHING, false, [](Call& c) {
        std::array<int, 3> min{}, max{};
        return Tools::getBoundingBox(c.a, min, max);
    });
    add("maskWithBoundingBox", FIRST, false, [](Call& c) {
        QMatrix4x4 placement;
        placement.scale(c.f, 1.0f, 2.0f);
        const primitives::OrientedBoundingBox box({-1.0f, 0.5f, -c.f, c.f, 2.0f, 3.0f}, placement);
        Tools::maskWithBoundingBox(c.a, box, c.i > 0, c.f);
        return false;
    });
    add("countNonZeroVoxels", NOTHING, true,
        [](Call& c) { return c.a && Tools::countNonZeroVoxels(*c.a) > 0; });
}

} // namespace

void addBinaryOperations(Operations& list)
{
    addTools(list);
    addBoxes(list);
    const std::pair<const char*, Morphology::Stencil (*)(std::size_t)> stencils[] = {
        {"cube", Morphology::cube}, {"sphere", Morphology::sphere}, {"axes", Morphology::cardinalAxes}};
    for (const auto& [name, make] : stencils) {
        for (const bool isErosion : {false, true})
            list.push_back({std::string(isErosion ? "erode, " : "dilate, ") + name, 2, SECOND, 1, true, false,
                            [make = make, isErosion](Call& c) { return withStencil(c, make, isErosion); }});
    }
    const auto add = [&](const char* name, std::function<bool(Call&)> run) {
        list.push_back({name, 1, NOTHING, 1, true, true, std::move(run)});
    };
    add("Image3DHoleClosing", [](Call& c) {
        Image3DHoleClosing closing;
        closing.setInputImage(c.a);
        const bool success = executed(closing, c);
        return taken([&] { return closing.takeClosedImage(); }) && success;
    });
    add("Image3DHoleClosing, its steps", [](Call& c) {
        using Closing = Image3DHoleClosing;
        const std::unique_ptr<ArvoImage3D> bordered(Closing::createImageWithExtendedBorder(c.a));
        const std::unique_ptr<ArvoImage3D> inner(Closing::createBinaryImageWithRemovedBorder(c.a));
        const std::unique_ptr<ArvoImage3D> hull(Closing::createHull(bordered.get()));
        const std::unique_ptr<ArvoImage3D> working(Closing::getWorkingSet(bordered.get(), hull.get()));
        const std::unique_ptr<ArvoImage3D> mixed(Closing::getWorkingSet(c.a, hull.get()));
        return inner && bordered && hull && working;
    });
    add("Image3DBoundary", [](Call& c) {
        Image3DBoundary boundary;
        boundary.setInputImage(c.a);
        const bool success = executed(boundary, c);
        return taken([&] { return boundary.takeBoundaryImage(); }) && success;
    });
    add("Image3DDistanceMap", [](Call& c) {
        Image3DDistanceMap map(static_cast<Image3DDistanceMap::DISTANCE_TYPE>(c.i));
        map.setInputImage(c.a);
        const bool success = executed(map, c);
        return taken([&] { return map.takeDistanceImage(); }) && success;
    });
    add("Image3DKeepConnectedPart", [](Call& c) {
        if (!c.a)
            return false;
        using Keep = Image3DKeepConnectedPart;
        Keep keep(*c.a, static_cast<Keep::KeepStrategy>(c.i), static_cast<Keep::ConnectionDirection>(c.i));
        keep.setRelativeTolerance(c.f);
        if (c.i != 2)
            keep.setReferencePoint({c.i, 0, 1});
        const bool success = executed(keep, c);
        return keep.takeBinaryOutputImage() && success;
    });
}

} // namespace trust
