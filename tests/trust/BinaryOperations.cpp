#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"
#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/Image3DBoundary.h"
#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/binary/Image3DHoleClosing.h"
#include "arvo/binary/Image3DKeepConnectedPart.h"
#include "arvo/platform/math/OrientedBoundingBox.h"
#include "trust/Operations.h"

#include <array>
#include <new>
#include <stdexcept>

namespace trust {

namespace {

using Tools = ArvoImageBinaryTools;
using Morphology = ArvoImageBinaryMorphologicalOperations;

constexpr unsigned WRITES_MASK = TAKES_TWO | CHANGES_B;

Tools toolsOn(const Call& c)
{
    Tools tools;
    tools.setInput(c.a);
    tools.setOutput(c.b);
    return tools;
}

/// For calculations that leave no result when they fail.
bool takenAfter(bool success, ArvoImage3D* volume, Hash& result)
{
    const bool isTaken = taken(volume, result);
    if (isTaken && !success)
        throw std::logic_error("a result without success");
    return isTaken;
}

/// Those that count parts or layers; the number goes with the output.
void addParts(Operations& table)
{
    const auto add = [&](const char* name, unsigned traits, image::DataType output, auto&& run) {
        table.add(name, WRITES_MASK | traits, {MASK, fixedInput, zeros(output)}, [run](Call& c) {
            Tools tools = toolsOn(c);
            const int count = run(tools, c);
            c.result().add(count);
            return count > 0;
        });
    };
    add("label_straight", ANSWERS, image::Int16, [](Tools& t, Call& c) {
        return t.label(static_cast<Tools::LABEL_TYPE>(c.whole(Tools::LABEL_STRAIGHT)));
    });
    add("label_diagonal", ANSWERS, image::Int16, [](Tools& t, Call& c) {
        return t.label(static_cast<Tools::LABEL_TYPE>(c.whole(Tools::LABEL_DIAGONAL)));
    });
    add("label_image", ANSWERS | LEAVES_ROWS, image::Int16,
        [](Tools&, Call& c) { return Tools::labelImage(c.a, c.b); });
    add("keep_largest_part", ANSWERS | SILENT, image::Binary, [](Tools& t, Call& c) {
        int parts = 1;
        return t.keepLargestPart(c.orNull(&parts)) ? parts : -1;
    });
    add("keep_largest_part_above", READS_ONE, image::Binary,
        [](Tools& t, Call& c) { return t.keepLargestPart(c.whole(1)); });
    add("keep_connected_to_slice", READS_ONE, image::Binary,
        [](Tools& t, Call& c) { return t.keepAllConnectedToSlice(c.whole(4)); });
    add("keep_large_connected_to_slice", READS_ONE, image::Binary, [](Tools& t, Call& c) {
        const int slice = c.whole(4);
        return t.keepAllConnectedToSlice(slice, c.whole(2));
    });
    add("erode_z", READS_ONE, image::Binary, [](Tools& t, Call& c) { return t.erodeZ(c.whole(2)), 0; });
    add("edge_detection", READS_ONE, image::Binary, [](Tools& t, Call&) { return t.edgeDetection(), 0; });

    for (const int strategy : {0, 1}) {
        for (const int direction : {0, 1})
            table.add("keep_part_" + std::to_string(strategy) + "_" + std::to_string(direction),
                      SILENT | ANSWERS, {MASK}, [=](Call& c) {
                          using Keep = Image3DKeepConnectedPart;
                          if (!c.a)
                              return false;
                          const auto kept = static_cast<Keep::KeepStrategy>(c.whole(strategy));
                          Keep keep(*c.a, kept, static_cast<Keep::ConnectionDirection>(c.whole(direction)));
                          keep.setRelativeTolerance(c.real(0.01f));
                          const int x = c.whole(1), y = c.whole(2);
                          keep.setReferencePoint({x, y, c.whole(3)});
                          const bool success = executed(keep, c);
                          return takenAfter(success, keep.takeBinaryOutputImage().release(), c.result());
                      });
    }
    table.add("keep_part, without a point", SILENT | ANSWERS, [](Call& c) {
        using Keep = Image3DKeepConnectedPart;
        if (!c.a)
            return false;
        Keep keep(*c.a, Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::STRAIGHT);
        const bool success = executed(keep, c);
        return takenAfter(success, keep.takeBinaryOutputImage().release(), c.result());
    });
}

void addThresholds(Operations& table)
{
    const auto add = [&](const char* name, std::span<const image::DataType> types, auto&& run) {
        table.add(name, WRITES_MASK | SILENT | ANSWERS, {types, fixedInput, zeros(image::Binary)},
                  [run](Call& c) {
                      Tools tools = toolsOn(c);
                      const bool isDone = run(tools, c);
                      c.result().add(isDone);
                      return isDone;
                  });
    };
    add("threshold_int", GREYS, [](Tools& t, Call& c) {
        const int threshold = c.whole(100);
        return t.thresholdFilter(threshold, c.flag(true));
    });
    add("threshold_float", GREYS, [](Tools& t, Call& c) {
        const float threshold = c.real(99.5f);
        return t.thresholdFilter(threshold, c.flag(false));
    });
    add("threshold_static", GREYS, [](Tools&, Call& c) {
        const float threshold = c.real(50.25f);
        return c.a && c.b && Tools::thresholdFilter(*c.a, *c.b, threshold, c.flag(true));
    });
    add("threshold_low_high", INTEGERS, [](Tools& t, Call& c) {
        const int low = c.whole(20);
        return t.thresholdFilterLowHigh(low, c.whole(120));
    });
}

bool morph(Call& c, Morphology::Stencil (*make)(std::size_t), int radius, bool isErosion)
{
    const auto reach = static_cast<std::size_t>(c.whole(radius));
    const bool isSlow = reach > 8 && reach < 1000000; // memory can hold it, but not the patience of a test
    if (!c.a || !c.b || isSlow)
        return false;
    Morphology::Stencil stencil;
    try {
        stencil = make(reach);
    } catch (const std::bad_alloc&) { // documented
        return false;
    }
    (isErosion ? Morphology::erode : Morphology::dilate)(*c.a, *c.b, stencil);
    return false;
}

void addMorphology(Operations& table)
{
    const std::pair<const char*, Morphology::Stencil (*)(std::size_t)> stencils[] = {
        {"cube", Morphology::cube}, {"sphere", Morphology::sphere}, {"axes", Morphology::cardinalAxes}};
    for (const auto& [name, make] : stencils) {
        for (const int radius : {1, 2}) {
            for (const bool isErosion : {false, true})
                table.add((isErosion ? "erode_" : "dilate_") + (name + std::to_string(radius)),
                          WRITES_MASK | SILENT | LEAVES_ROWS, {MASK, fixedInput, fixedInput},
                          [=, make = make](Call& c) { return morph(c, make, radius, isErosion); });
        }
    }
}

void addShapes(Operations& table)
{
    table.add("boundary", SILENT | ANSWERS, {MASK}, [](Call& c) {
        Image3DBoundary boundary;
        boundary.setInputImage(c.a);
        const bool success = executed(boundary, c);
        return taken(boundary.takeBoundaryImage(), c.result()) && success;
    });
    for (const int kind : {0, 1})
        table.add("distance_map_" + std::to_string(kind), SILENT | ANSWERS, {MASK}, [kind](Call& c) {
            Image3DDistanceMap map(static_cast<Image3DDistanceMap::DISTANCE_TYPE>(c.whole(kind)));
            map.setInputImage(c.a);
            const bool success = executed(map, c);
            return taken(map.takeDistanceImage(), c.result()) && success;
        });
    table.add("hole_closing", SILENT | ANSWERS, {MASK}, [](Call& c) {
        Image3DHoleClosing closing;
        closing.setInputImage(c.a);
        const bool success = executed(closing, c);
        return takenAfter(success, closing.takeClosedImage(), c.result());
    });
    table.add("hole_closing, its steps", SILENT | ANSWERS, {MASK}, [](Call& c) {
        using Closing = Image3DHoleClosing;
        using Volume = std::unique_ptr<ArvoImage3D>;
        const Volume bordered(Closing::createImageWithExtendedBorder(c.a));
        const Volume hullOfBordered(Closing::createHull(bordered.get()));
        const Volume workingOfBordered(Closing::getWorkingSet(bordered.get(), hullOfBordered.get()));
        const Volume mixed(Closing::getWorkingSet(c.a, hullOfBordered.get()));
        const Volume hull(Closing::createHull(c.a));
        c.result("extended_border").addVolume(bordered.get());
        c.result("hull").addVolume(hull.get());
        const bool hasInner =
            taken(Closing::createBinaryImageWithRemovedBorder(c.a), c.result("removed_border"));
        return taken(Closing::getWorkingSet(c.a, hull.get()), c.result("working_set")) && hasInner && hull &&
               workingOfBordered;
    });
}

void addComparisons(Operations& table)
{
    const Hashed twoMasks{MASK, fixedInput, maskFor(4)};
    table.add("mask_count", SILENT, {MASK}, [](Call& c) {
        if (c.a)
            c.result().add(Tools::countNonZeroVoxels(*c.a));
    });
    table.add("mask_mismatched", TAKES_TWO | SILENT, twoMasks, [](Call& c) {
        const auto count = c.a && c.b ? Tools::countMismatchedVoxels(*c.a, *c.b) : std::nullopt;
        c.result().add(count.value_or(0));
    });
    table.add("mask_compared", TAKES_TWO | ANSWERS, twoMasks, [](Call& c) {
        const int smaller = c.whole(1);
        const bool isAlike = Tools::compareRegionsOf3DBinaryImages(c.a, c.b, smaller, c.whole(1));
        c.result().add(isAlike);
        return isAlike;
    });
    table.add("mask_union", TAKES_TWO | ANSWERS, twoMasks,
              [](Call& c) { return taken(Tools::unionBinaryImages(c.a, c.b), c.result()); });
    table.add("mask_box", READS_ONE, {MASK}, [](Call& c) {
        std::array<int, 3> min{}, max{};
        c.result().add(Tools::getBoundingBox(c.a, min, max));
        c.result().add(min);
        c.result().add(max);
    });
}

/// The mask as bytes.
ArvoImage3D fixedBytes(const math::Ivec3& size, image::DataType)
{
    ArvoImage3D mask = fixedMask(size, 3);
    ArvoImage3D bytes(size, mask.voxelSize(), image::UInt8);
    Tools::convertBinaryToByte(&mask, &bytes);
    return bytes;
}

void addConversions(Operations& table)
{
    table.add("mask_to_byte", WRITES_MASK, {MASK, fixedInput, zeros(image::UInt8)},
              [](Call& c) { Tools::convertBinaryToByte(c.a, c.b); });
    table.add("byte_to_mask", WRITES_MASK, {MASK, fixedBytes, maskFor(4)},
              [](Call& c) { Tools::convertByteToBinary(c.a, c.b); });
    table.add("mask_to_binary", WRITES_MASK, {MASK, fixedBytes, maskFor(4)},
              [](Call& c) { Tools::convertMaskToBinary(c.a, c.b); });
}

void addPainting(Operations& table)
{
    const auto corner = [](Call& c, int x, int y, int z) {
        return std::array<int, 3>{c.whole(x), c.whole(y), c.whole(z)};
    };
    table.add("mask_add_box", CHANGES_A | SILENT, {MASK}, [corner](Call& c) {
        const auto min = corner(c, 1, 2, 3), max = corner(c, 6, 7, 5);
        if (c.a)
            Tools::addBoxToMask(min, max, *c.a);
    });
    table.add("mask_of_box", CHANGES_A, {MASK}, [corner](Call& c) {
        const auto min = corner(c, 1, 2, 3), max = corner(c, 6, 7, 5);
        Tools::convertBoxToMask(min, max, c.a);
    });
    for (const bool isInverted : {false, true}) {
        table.add(isInverted ? "mask_inverted_on" : "mask_on", TAKES_TWO | CHANGES_A,
                  {GREYS, fixedInput, maskFor()},
                  [=](Call& c) { Tools::applyMask(c.b, c.a, c.flag(isInverted)); });
        table.add(isInverted ? "mask_in_box" : "mask_outside_box", CHANGES_A, {GREYS}, [=](Call& c) {
            QMatrix4x4 placement;
            placement.translate(2.0f, 1.0f, 0.5f);
            placement.rotate(30.0f, 1.0f, 2.0f, 3.0f);
            std::array<float, 6> n = {0, 0, 0, 5, 4, 6};
            c.numbers.reals(n);
            const primitives::OrientedBoundingBox box({n[0], n[1], n[2], n[3], n[4], n[5]},
                                                      c.matrix(placement));
            const float value = c.real(12.0f);
            Tools::maskWithBoundingBox(c.a, box, c.flag(isInverted), value);
        });
    }
}

} // namespace

void addBinaryOperations(Operations& table)
{
    addParts(table);
    addThresholds(table);
    addMorphology(table);
    addShapes(table);
    addComparisons(table);
    addConversions(table);
    addPainting(table);
}

} // namespace trust
