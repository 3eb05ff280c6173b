#include "trust/BigVolumeCorners.h"

#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"
#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/Image3DBoundary.h"
#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/binary/Image3DHoleClosing.h"
#include "arvo/binary/Image3DKeepConnectedPart.h"
#include "arvo/differential/ArvoImageNormalizeGradients.h"
#include "arvo/differential/DifferentialHelper.h"
#include "arvo/differential/DirectGradientNorm.h"
#include "arvo/differential/VectorFieldDivergence.h"
#include "arvo/filters/ArvoImageCubicFilter.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/filters/ArvoImageResample.h"
#include "arvo/filters/ArvoImageSubsample.h"
#include "arvo/frame/ThreeImages3D.h"
#include "arvo/geometry/Image3DClipper.h"
#include "arvo/geometry/SetVoxelsInside.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/math/OrientedBoundingBox.h"
#include "arvo/voxelops/ArvoImage3DConvertor.h"
#include "arvo/voxelops/ArvoImage3DOperations.h"
#include "arvo/voxelops/Image3DReplaceVoxels.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace big {

namespace {

using Tools = ArvoImageBinaryTools;
using Ops = ArvoImage3DOperations;
using Morphology = ArvoImageBinaryMorphologicalOperations;

constexpr float SPACING = 0.5f;
const std::atomic<bool> never{false};

Volume zeros(const ArvoImage3D& like, image::DataType type)
{
    auto volume = std::make_unique<ArvoImage3D>(like.imageSize(), like.voxelSize(), type);
    volume->zeroSlices();
    return volume;
}

Volume copyOf(const ArvoImage3D& image)
{
    auto copy = std::make_unique<ArvoImage3D>();
    copy->copyFrom(&image);
    return copy;
}

Volume otherObject(const ArvoImage3D& like, image::DataType type)
{
    return volumeWithObject(like.imageSize().x, type, 2);
}

/// Where the corner begins, in voxels.
int cornerOf(const ArvoImage3D& image)
{
    return image.imageSize().x - CORNER;
}

QVector3D pointInCorner(const ArvoImage3D& image, float x, float y, float z)
{
    const auto corner = static_cast<float>(cornerOf(image));
    return SPACING * QVector3D(corner + x, corner + y, corner + z);
}

primitives::OrientedBoundingBox boxInCorner(const ArvoImage3D& image)
{
    QMatrix4x4 placement;
    placement.translate(pointInCorner(image, 24.0f, 26.0f, 25.0f));
    return primitives::OrientedBoundingBox({0, 0, 0, 5, 4, 6}, placement);
}

/// What a calculation that hands its result over made of the volume.
template <class Calculation, class Take> Volume executed(Calculation&& calculation, Take take)
{
    calculation.execute(never);
    return Volume((calculation.*take)());
}

/// What the tools write to a volume of another type.
Volume byTools(ArvoImage3D& input, image::DataType type, const std::function<void(Tools&)>& run)
{
    Volume output = zeros(input, type);
    Tools tools;
    tools.setInput(&input);
    tools.setOutput(output.get());
    run(tools);
    return output;
}

std::unique_ptr<ThreeImages3D> fieldOf(ArvoImage3D& x)
{
    Volume u = copyOf(x), v = otherObject(x, x.dataType()), w = copyOf(x);
    return std::make_unique<ThreeImages3D>(u.release(), v.release(), w.release());
}

/// The rows; `run` returns a new volume, or nothing when it works in place.
class List {
public:
    template <class Run> void onBytes(const std::string& name, Run run)
    {
        add(name, image::UInt8, run, true);
    }
    template <class Run> void onMask(const std::string& name, Run run, bool isEvenElsewhere = true)
    {
        add(name, image::Binary, run, isEvenElsewhere);
    }
    const std::vector<CornerOperation>& operations() const { return m_operations; }

private:
    template <class Run>
    void add(const std::string& name, image::DataType type, Run run, bool isEvenElsewhere)
    {
        m_operations.push_back({name, type, {}, isEvenElsewhere});
        if constexpr (std::same_as<std::invoke_result_t<Run, ArvoImage3D&>, void>)
            m_operations.back().run = [run](ArvoImage3D& a) { return run(a), Volume(); };
        else
            m_operations.back().run = run;
    }

    std::vector<CornerOperation> m_operations;
};

void addVoxelOperations(List& list)
{
    using BySecond = void (*)(ArvoImage3D&, ArvoImage3D&);
    const std::pair<const char*, BySecond> bySecond[] = {
        {"add", [](ArvoImage3D& a, ArvoImage3D& b) { Ops::add(&a, &b); }},
        {"subtract", [](ArvoImage3D& a, ArvoImage3D& b) { Ops::subtract(&a, &b); }},
        {"minimum", [](ArvoImage3D& a, ArvoImage3D& b) { Ops::min(a, b); }},
        {"maximum", [](ArvoImage3D& a, ArvoImage3D& b) { Ops::max(a, b); }}};
    for (const auto& [name, run] : bySecond)
        list.onBytes(name, [run = run](ArvoImage3D& a) { run(a, *otherObject(a, image::UInt8)); });
    list.onBytes("apply mask",
                 [](ArvoImage3D& a) { Ops::applyMask(&a, otherObject(a, image::Binary).get()); });
    list.onBytes("replace", [](ArvoImage3D& a) {
        const Volume mask = otherObject(a, image::Binary);
        Image3DReplaceVoxels replace;
        replace.setInputImage(&a);
        replace.setMaskImage(mask.get());
        replace.setReplaceValue(77.0f);
        replace.execute(never);
    });
    list.onBytes("clip and rescale", [](ArvoImage3D& a) { Ops::clipAndRescale(&a, 10, 200, 3, 220, 7); });
    list.onMask("invert", [](ArvoImage3D& a) { Ops::invert(&a); });
    for (const image::DataType type : {image::Int16, image::Float32})
        list.onBytes(type == image::Int16 ? "convert to short" : "convert to float",
                     [type](ArvoImage3D& a) { return ArvoImage3DConvertor::convertToCopy(&a, type, 3); });
    list.onBytes("copy a part, copy it in", [](ArvoImage3D& a) {
        const int n = a.imageSize().x;
        ArvoImage3D part;
        part.copyFrom(&a, std::array{1, 1, 1}.data(), std::array{n - 1, n - 1, n - 1}.data());
        a.copyIn(&part, std::array{0, 0, 0}.data());
    });
}

void addBinaryOperations(List& list)
{
    list.onBytes("threshold between", [](ArvoImage3D& a) {
        return byTools(a, image::Binary, [](Tools& t) { t.thresholdFilterLowHigh(50, 150); });
    });
    for (const bool isErosion : {false, true})
        list.onMask(isErosion ? "erode" : "dilate", [isErosion](ArvoImage3D& a) {
            Volume output = zeros(a, image::Binary);
            const auto ball = Morphology::sphere(2);
            (isErosion ? Morphology::erode : Morphology::dilate)(a, *output, ball);
            return output;
        });
    list.onMask("label", [](ArvoImage3D& a) {
        return byTools(a, image::Int16, [](Tools& t) { t.label(Tools::LABEL_STRAIGHT); });
    });
    list.onMask("largest part", [](ArvoImage3D& a) {
        return byTools(a, image::Binary, [](Tools& t) { t.keepLargestPart(nullptr); });
    });
    list.onMask("connected to a slice", [](ArvoImage3D& a) {
        return byTools(a, image::Binary,
                       [z = a.imageSize().z - 9](Tools& t) { t.keepAllConnectedToSlice(z); });
    });
    list.onMask("erode along z",
                [](ArvoImage3D& a) { return byTools(a, image::Binary, [](Tools& t) { t.erodeZ(1); }); });
    list.onMask("edges", [](ArvoImage3D& a) {
        return byTools(a, image::Binary, [](Tools& t) { t.edgeDetection(); });
    });
    list.onMask("connected part", [](ArvoImage3D& a) {
        using Keep = Image3DKeepConnectedPart;
        Keep keep(a, Keep::KEEP_PART_AT_REFERENCE_POINT, Keep::STRAIGHT);
        const int last = a.imageSize().x - 3;
        keep.setReferencePoint({last, last, last});
        return executed(keep, &Keep::takeBinaryOutputImage);
    });
    list.onMask("boundary", [](ArvoImage3D& a) {
        Image3DBoundary boundary;
        boundary.setInputImage(&a);
        return executed(boundary, &Image3DBoundary::takeBoundaryImage);
    });
    for (const auto type : {Image3DDistanceMap::UNSIGNED_DISTANCE, Image3DDistanceMap::SIGNED_DISTANCE})
        list.onMask(
            type == Image3DDistanceMap::SIGNED_DISTANCE ? "signed distance" : "distance",
            [type](ArvoImage3D& a) {
                Image3DDistanceMap map(type);
                map.setInputImage(&a);
                return executed(map, &Image3DDistanceMap::takeDistanceImage);
            },
            false);
    list.onMask("hole closing", [](ArvoImage3D& a) {
        Image3DHoleClosing closing;
        closing.setInputImage(&a);
        return executed(closing, &Image3DHoleClosing::takeClosedImage);
    });
    list.onMask("union of masks", [](ArvoImage3D& a) {
        return Volume(Tools::unionBinaryImages(&a, otherObject(a, image::Binary).get()));
    });
    list.onMask("mask to bytes", [](ArvoImage3D& a) {
        Volume output = zeros(a, image::UInt8);
        Tools::convertBinaryToByte(&a, output.get());
        return output;
    });
    list.onMask("paint a box", [](ArvoImage3D& a) {
        const int from = cornerOf(a) + 20, to = cornerOf(a) + 28;
        Tools::addBoxToMask({from, from, from}, {to, to, to}, a);
    });
    list.onBytes("mask with a box",
                 [](ArvoImage3D& a) { Tools::maskWithBoundingBox(&a, boxInCorner(a), false, 0.0f); });
}

void addFilters(List& list)
{
    for (const bool isLegacy : {false, true})
        list.onBytes(isLegacy ? "old Gaussian" : "Gaussian", [isLegacy](ArvoImage3D& a) {
            Volume output = zeros(a, image::UInt8);
            ArvoImageGaussianSmooth gauss;
            gauss.setInput(&a);
            gauss.setOutput(output.get());
            gauss.setRadius({2, 2, 2});
            gauss.setStandardDeviation({1.5f, 0.75f, 2.0f});
            isLegacy ? gauss.executeDeprecated(never) : gauss.execute(never);
            return output;
        });
    list.onBytes("box mean", [](ArvoImage3D& a) {
        return ArvoImageCubicFilter::applyCubicFilter(a, {3, 3, 3});
    });
    list.onBytes("resample", [](ArvoImage3D& a) {
        const math::Ivec3 half = {a.imageSize().x / 2, a.imageSize().y / 2, a.imageSize().z / 2};
        auto output = std::make_unique<ArvoImage3D>(half, 2 * a.voxelSize(), image::UInt8);
        ArvoImageResample resample;
        resample.setInput(&a);
        resample.setOutput(output.get());
        resample.execute();
        return output;
    });
    list.onBytes("subsample by the mean", [](ArvoImage3D& a) {
        auto output = std::make_unique<ArvoImage3D>();
        ArvoImageSubsample subsample;
        subsample.setInput(&a);
        subsample.setOutput(output.get());
        subsample.setSampleFactor(2, 2, 2);
        subsample.execute(ArvoImageSubsample::Average, never);
        return output;
    });
}

void addDifferences(List& list)
{
    using Helper = DifferentialHelper<unsigned char>;
    const std::pair<const char*, decltype(&Helper::calculateGradientX)> components[] = {
        {"gradient along x", Helper::calculateGradientX},
        {"gradient along y", Helper::calculateGradientY},
        {"gradient along z", Helper::calculateGradientZ}};
    for (const auto& [name, calculate] : components) // one by one: three of them would need 26 GB
        list.onBytes(name, [calculate = calculate](ArvoImage3D& a) {
            Volume output = zeros(a, image::Float32);
            calculate(a, *output, 0, a.imageSize().z - 1, never);
            return output;
        });
    list.onBytes("gradient norm", [](ArvoImage3D& a) {
        Volume output = zeros(a, image::Float32);
        DirectGradientNorm::calculateNormGradient(&a, output.get());
        return output;
    });
    list.onBytes("divergence", [](ArvoImage3D& a) { return VectorFieldDivergence::calculate(*fieldOf(a)); });
    list.onBytes("vectors of length 1", [](ArvoImage3D& a) {
        const auto field = fieldOf(a);
        ArvoImageNormalizeGradients::normalize(*field);
        return copyOf(*field->getV());
    });
}

void addGeometry(List& list)
{
    list.onBytes("clip", [](ArvoImage3D& a) {
        primitives::Plane plane(pointInCorner(a, 30.0f, 28.0f, 29.0f), {1.0f, -2.0f, 0.5f});
        Image3DClipper clipper;
        clipper.setImageToClip(&a);
        clipper.setClipPlane(&plane);
        clipper.setImageTransform(QMatrix4x4());
        clipper.clip();
    });
    list.onBytes("voxels in a box",
                 [](ArvoImage3D& a) { image3d::setVoxelsInsideBoundingBox(a, boxInCorner(a), 9); });
}

/// Whether all voxels outside the far corner hold the bytes of one.
bool isEvenOutside(const ArvoImage3D& volume, int corner, const char* voxel)
{
    const math::Ivec3 size = volume.imageSize();
    const std::size_t element = image::elementWidth(volume.dataType());
    const auto width = static_cast<std::size_t>(size.x) * element;
    std::vector<char> even(width);
    for (std::size_t i = 0; i < width; i += element)
        std::memcpy(even.data() + i, voxel, element);
    for (int z = 0; z < size.z; ++z) {
        const char* row = volume.getConstAxialSlice(z);
        for (int y = 0; y < size.y; ++y, row += width) {
            const bool isThroughCorner = z >= size.z - corner && y >= size.y - corner;
            const auto length = width - (isThroughCorner ? static_cast<std::size_t>(corner) * element : 0);
            if (std::memcmp(row, even.data(), length) != 0)
                return false;
        }
    }
    return true;
}

} // namespace

Volume volumeWithObject(int side, image::DataType type, unsigned seed)
{
    auto volume = std::make_unique<ArvoImage3D>(math::Ivec3(side, side, side),
                                                QVector3D(SPACING, SPACING, SPACING), type);
    if (!volume->isValid())
        throw std::bad_alloc();
    volume->zeroSlices();
    constexpr int OBJECT = 16, HOLLOW = 5;
    unsigned random = seed;
    std::vector<math::Ivec3> voxel(1);
    for (int z = 1; z <= OBJECT; ++z) {
        for (int y = 1; y <= OBJECT; ++y) {
            for (int x = 1; x <= OBJECT; ++x) {
                random = random * 1664525u + 1013904223u;
                const bool isHollow = std::min({x, y, z}) > HOLLOW && std::max({x, y, z}) <= OBJECT - HOLLOW;
                voxel[0] = {side - x, side - y, side - z};
                const int value = static_cast<int>(random >> 24);
                if (!isHollow)
                    volume->changeVoxelValues(voxel, type == image::Binary ? value % 8 != 0 : value);
            }
        }
    }
    return volume;
}

std::vector<CornerOperation> cornerOperations()
{
    List list;
    addVoxelOperations(list);
    addBinaryOperations(list);
    addFilters(list);
    addDifferences(list);
    addGeometry(list);
    return list.operations();
}

bool isCornerRight(const CornerOperation& operation, int side)
{
    const auto resultOn = [&](int extent) {
        Volume input = volumeWithObject(extent, operation.type);
        Volume made = operation.run(*input);
        return made ? std::move(made) : std::move(input);
    };
    const Volume small = resultOn(CORNER), large = resultOn(side);
    const math::Ivec3 size = small->imageSize();
    const auto element = static_cast<int>(image::elementWidth(small->dataType()));
    if (!small->isValid() || !large->isValid() || large->dataType() != small->dataType())
        return false;
    // Without the small volume's near border, which the large one does not have there.
    constexpr int MARGIN = 4;
    const int corner = size.x - MARGIN, shift = large->imageSize().x - size.x;
    const auto at = [&](const ArvoImage3D& volume, int x, int y, int z) {
        return volume.getConstAxialSlice(z) + (std::ptrdiff_t{y} * volume.imageSize().x + x) * element;
    };
    bool hasObject = false;
    for (int z = MARGIN; z < size.z; ++z) {
        for (int y = MARGIN; y < size.y; ++y) {
            const char* const expected = at(*small, MARGIN, y, z);
            const auto bytes = static_cast<std::size_t>(corner * element);
            if (std::memcmp(at(*large, shift + MARGIN, shift + y, shift + z), expected, bytes) != 0)
                return false;
            hasObject = hasObject || std::memcmp(expected, expected + element, bytes - element) != 0;
        }
    }
    return hasObject &&
           (!operation.isEvenElsewhere || isEvenOutside(*large, corner, at(*small, MARGIN, MARGIN, MARGIN)));
}

} // namespace big
