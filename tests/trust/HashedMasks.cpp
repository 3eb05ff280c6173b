#include "trust/ResultHashes.h"

#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"
#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/Image3DBoundary.h"
#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/binary/Image3DHoleClosing.h"
#include "arvo/binary/Image3DKeepConnectedPart.h"
#include "arvo/platform/math/OrientedBoundingBox.h"

namespace trust {

namespace {

const std::atomic<bool> never{false};
using Tools = ArvoImageBinaryTools;
using Volume = std::unique_ptr<ArvoImage3D>;

void hashLabels(Results& results, const math::Ivec3& size)
{
    const std::string suffix = nameOf(image::Binary, size);
    ArvoImage3D mask = fixedMask(size, 3);
    const auto run = [&](const char* name, image::DataType type, const std::function<int(Tools&)>& body) {
        ArvoImage3D output(size, mask.voxelSize(), type);
        output.zeroSlices();
        Tools tools;
        tools.setInput(&mask);
        tools.setOutput(&output);
        Hash hash;
        hash.add(body(tools));
        hash.addVolume(&output);
        results.add(name + suffix, hash);
    };
    run("label_diagonal", image::Int16, [](Tools& tools) { return tools.label(Tools::LABEL_DIAGONAL); });
    run("label_straight", image::Int16, [](Tools& tools) { return tools.label(Tools::LABEL_STRAIGHT); });
    run("label_image", image::Int16, [&](Tools& tools) { return Tools::labelImage(&mask, tools.output()); });
    run("keep_largest_part", image::Binary, [](Tools& tools) {
        int parts = 0;
        return tools.keepLargestPart(&parts) ? parts : -1;
    });
    run("keep_connected_to_slice", image::Binary,
        [](Tools& tools) { return tools.keepAllConnectedToSlice(4); });
    run("keep_large_connected_to_slice", image::Binary,
        [](Tools& tools) { return tools.keepAllConnectedToSlice(4, 2); });
    run("erode_z", image::Binary, [](Tools& tools) { return tools.erodeZ(2), 0; });
    run("edge_detection", image::Binary, [](Tools& tools) { return tools.edgeDetection(), 0; });
}

void hashParts(Results& results, const math::Ivec3& size)
{
    ArvoImage3D mask = fixedMask(size, 3);
    using Keep = Image3DKeepConnectedPart;
    for (const auto strategy : {Keep::KEEP_LARGEST_PARTS, Keep::KEEP_PART_AT_REFERENCE_POINT}) {
        for (const auto direction : {Keep::STRAIGHT, Keep::DIAGONAL}) {
            Keep keep(mask, strategy, direction);
            keep.setRelativeTolerance(0.01f);
            keep.setReferencePoint({1, 2, 3});
            keep.execute(never);
            results.add("keep_part_" + std::to_string(strategy) + "_" + std::to_string(direction) +
                            nameOf(image::Binary, size),
                        keep.takeBinaryOutputImage().get());
        }
    }
}

void hashMorphology(Results& results, const math::Ivec3& size)
{
    using Morphology = ArvoImageBinaryMorphologicalOperations;
    const ArvoImage3D mask = fixedMask(size, 3);
    for (const std::size_t radius : {1u, 2u}) {
        const auto run = [&](const char* name, const Morphology::Stencil& stencil) {
            const std::string suffix =
                std::string(name) + std::to_string(radius) + nameOf(image::Binary, size);
            ArvoImage3D output = copyOf(mask);
            Morphology::dilate(mask, output, stencil);
            results.add("dilate_" + suffix, &output);
            Morphology::erode(mask, output, stencil);
            results.add("erode_" + suffix, &output);
        };
        run("cube", Morphology::cube(radius));
        run("sphere", Morphology::sphere(radius));
        run("axes", Morphology::cardinalAxes(radius));
    }
}

void hashShapes(Results& results, const math::Ivec3& size)
{
    const std::string suffix = nameOf(image::Binary, size);
    ArvoImage3D mask = fixedMask(size, 3);
    Image3DBoundary boundary;
    boundary.setInputImage(&mask);
    boundary.execute(never);
    results.add("boundary" + suffix, Volume(boundary.takeBoundaryImage()).get());

    for (const auto type : {Image3DDistanceMap::UNSIGNED_DISTANCE, Image3DDistanceMap::SIGNED_DISTANCE}) {
        Image3DDistanceMap map(type);
        map.setInputImage(&mask);
        map.execute(never);
        results.add("distance_map_" + std::to_string(type) + suffix, Volume(map.takeDistanceImage()).get());
    }

    Image3DHoleClosing closing;
    closing.setInputImage(&mask);
    closing.execute(never);
    results.add("hole_closing" + suffix, Volume(closing.takeClosedImage()).get());
    const Volume hull(Image3DHoleClosing::createHull(&mask));
    results.add("hull" + suffix, hull.get());
    results.add("working_set" + suffix, Volume(Image3DHoleClosing::getWorkingSet(&mask, hull.get())).get());
    const Volume bordered(Image3DHoleClosing::createImageWithExtendedBorder(&mask));
    results.add("extended_border" + suffix, bordered.get());
    results.add("removed_border" + suffix,
                Volume(Image3DHoleClosing::createBinaryImageWithRemovedBorder(&mask)).get());
}

void hashMaskTools(Results& results, const math::Ivec3& size)
{
    const std::string suffix = nameOf(image::Binary, size);
    ArvoImage3D mask = fixedMask(size, 3);
    ArvoImage3D other = fixedMask(size, 4);
    results.addValue("mask_count" + suffix, Tools::countNonZeroVoxels(mask));
    results.addValue("mask_mismatched" + suffix, Tools::countMismatchedVoxels(mask, other).value_or(0));
    results.addValue("mask_compared" + suffix, Tools::compareRegionsOf3DBinaryImages(&mask, &other, 1, 1));
    results.add("mask_union" + suffix, Volume(Tools::unionBinaryImages(&mask, &other)).get());

    std::array<int, 3> min{}, max{};
    Hash box;
    box.add(Tools::getBoundingBox(&mask, min, max));
    box.add(min);
    box.add(max);
    results.add("mask_box" + suffix, box);
    ArvoImage3D painted = copyOf(mask);
    Tools::addBoxToMask({1, 2, 3}, {6, 7, 5}, painted);
    results.add("mask_add_box" + suffix, &painted);
    Tools::convertBoxToMask({1, 2, 3}, {6, 7, 5}, &painted);
    results.add("mask_of_box" + suffix, &painted);

    ArvoImage3D bytes(size, mask.voxelSize(), image::UInt8), back = copyOf(other);
    Tools::convertBinaryToByte(&mask, &bytes);
    results.add("mask_to_byte" + suffix, &bytes);
    Tools::convertByteToBinary(&bytes, &back);
    results.add("byte_to_mask" + suffix, &back);
    Tools::convertMaskToBinary(&bytes, &back);
    results.add("mask_to_binary" + suffix, &back);
}

void hashThresholds(Results& results, const math::Ivec3& size, image::DataType type)
{
    const std::string suffix = nameOf(type, size);
    ArvoImage3D volume = fixedVolume(size, type, 1);
    const ArvoImage3D mask = fixedMask(size, 3);
    ArvoImage3D output(size, volume.voxelSize(), image::Binary);
    Tools tools;
    tools.setInput(&volume);
    tools.setOutput(&output);
    const auto run = [&](const char* name, const std::function<bool()>& threshold) {
        output.zeroSlices();
        Hash hash;
        hash.add(threshold());
        hash.addVolume(&output);
        results.add(name + suffix, hash);
    };
    run("threshold_int", [&] { return tools.thresholdFilter(100, true); });
    run("threshold_float", [&] { return tools.thresholdFilter(99.5f, false); });
    run("threshold_static", [&] { return Tools::thresholdFilter(volume, output, 50.25f, true); });
    if (type != image::Float32)
        run("threshold_low_high", [&] { return tools.thresholdFilterLowHigh(20, 120); });

    for (const bool invert : {false, true}) {
        ArvoImage3D masked = copyOf(volume);
        Tools::applyMask(&mask, &masked, invert);
        results.add((invert ? "mask_inverted_on" : "mask_on") + suffix, &masked);
        ArvoImage3D boxed = copyOf(volume);
        QMatrix4x4 placement;
        placement.translate(2.0f, 1.0f, 0.5f);
        placement.rotate(30.0f, 1.0f, 2.0f, 3.0f);
        Tools::maskWithBoundingBox(&boxed, primitives::OrientedBoundingBox({0, 0, 0, 5, 4, 6}, placement),
                                   invert, 12.0f);
        results.add((invert ? "mask_in_box" : "mask_outside_box") + suffix, &boxed);
    }
}

} // namespace

void hashMasks(Results& results)
{
    for (const math::Ivec3& size : fixedSizes()) {
        hashLabels(results, size);
        hashParts(results, size);
        hashMorphology(results, size);
        hashShapes(results, size);
        hashMaskTools(results, size);
        for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Float32})
            hashThresholds(results, size, type);
    }
}

} // namespace trust
