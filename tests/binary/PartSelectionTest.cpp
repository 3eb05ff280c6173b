#include "arvo/binary/ArvoImageBinaryTools.h"

#include "binary/ToolsOn.h"
#include "NaiveLabelling.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

namespace {

std::vector<int> volumesOf(const naive::Labelled& parts)
{
    std::vector<int> volumes(static_cast<std::size_t>(parts.tableSize));
    for (const short label : voxels<short>(parts.labels))
        volumes[static_cast<std::size_t>(label)] += label != 0;
    return volumes;
}

/// The label of the largest volume above `start`, the first of equals; -1 for none.
int largestAbove(int start, const std::vector<int>& volumes)
{
    int best = -1;
    for (std::size_t label = 0; label < volumes.size(); ++label) {
        if (volumes[label] > start) {
            best = static_cast<int>(label);
            start = volumes[label];
        }
    }
    return best;
}

template <class IsKept> ArvoImage3D maskWhere(const naive::Labelled& parts, const IsKept& isKept)
{
    ArvoImage3D mask;
    mask.createFrom(&parts.labels, image::Binary);
    for (std::size_t i = 0; i < voxels<short>(parts.labels).size(); ++i)
        voxels<unsigned char>(mask)[i] = isKept(voxels<short>(parts.labels)[i]);
    return mask;
}

/// Sparse to dense masks of many shapes, and two with more parts than labels.
template <class Body> void forEachMask(Body&& body)
{
    std::uint64_t seed = 0;
    for (const math::Ivec3& size : someSizes()) {
        for (const double density : {0.0, 0.05, 0.1, 0.2, 1.0}) {
            ++seed;
            body(randomMask(size, density, seed), describe(size, image::Binary, seed));
        }
    }
    for (const double density : {0.03, 0.08})
        body(randomMask(math::Ivec3(129, 127, 101), density, 3), "density " + std::to_string(density));
}

} // namespace

TEST(KeepLargestPart, AgreesWithTheDefinition)
{
    forEachMask([](ArvoImage3D mask, const std::string& what) {
        const naive::Labelled parts = naive::label(mask, true);
        const int best = largestAbove(-1, volumesOf(parts));
        const ArvoImage3D expected = maskWhere(parts, [=](short label) { return label == best; });
        ArvoImage3D actual = copyOf(mask);
        int partCount = 0;
        EXPECT_TRUE(toolsOn(&mask, &actual).keepLargestPart(&partCount)) << what;
        EXPECT_TRUE(sameBits(expected, actual)) << what;
        EXPECT_EQ(parts.tableSize, partCount) << what;
        EXPECT_TRUE(toolsOn(&mask, &mask).keepLargestPart(static_cast<int*>(nullptr))) << what;
        EXPECT_TRUE(sameBits(expected, mask)) << what << ", in place";
    });
}

TEST(KeepLargestPart, KeepsTheFirstOfTwoEqualAndFillsAnEmptyMask)
{
    const math::Ivec3 size(7, 1, 1);
    ArvoImage3D mask = volumeOf<unsigned char>(size, image::Binary, {0, 1, 1, 0, 1, 1, 0});
    ArvoImage3D out = copyOf(mask);
    int partCount = 0;
    EXPECT_TRUE(toolsOn(&mask, &out).keepLargestPart(&partCount));
    EXPECT_EQ(3, partCount);
    EXPECT_TRUE(sameBits(volumeOf<unsigned char>(size, image::Binary, {0, 1, 1, 0, 0, 0, 0}), out));
    mask.zeroSlices();
    EXPECT_TRUE(toolsOn(&mask, &out).keepLargestPart(&partCount));
    EXPECT_EQ(1, partCount);
    EXPECT_TRUE(sameBits(volumeOf<unsigned char>(size, image::Binary, {1, 1, 1, 1, 1, 1, 1}), out));
}

TEST(KeepLargestPart, KeepsGreyValuesAboveAThreshold)
{
    std::uint64_t seed = 0;
    std::vector<math::Ivec3> sizes = someSizes();
    sizes.push_back(math::Ivec3(60, 50, 20));
    for (const math::Ivec3& size : sizes) {
        for (const image::DataType type : {image::Int16, image::UInt16}) {
            ArvoImage3D in = randomVolume(size, type, ++seed);
            in.getAxialSlice(0)[1] = static_cast<char>(0x80); // a value whose sign depends on the type
            in.editFinished();
            for (const int threshold : {-40000, -20000, 0, 25000, 28000, 50000, 60000, 70000}) {
                ArvoImage3D mask;
                mask.createFrom(&in, image::Binary);
                for (std::size_t i = 0; i < voxels<unsigned char>(mask).size(); ++i) {
                    const int value =
                        type == image::Int16 ? voxels<short>(in)[i] : voxels<unsigned short>(in)[i];
                    voxels<unsigned char>(mask)[i] = value > threshold;
                }
                const naive::Labelled parts = naive::label(mask, true);
                const std::vector<int> volumes = volumesOf(parts);
                const int best = largestAbove(0, volumes);
                ArvoImage3D expected = copyOf(in);
                for (std::size_t i = 0; i < voxels<short>(expected).size(); ++i) {
                    if (voxels<short>(parts.labels)[i] != best)
                        voxels<short>(expected)[i] = static_cast<short>(in.minValue());
                }
                const std::string what =
                    describe(size, type, seed) + ", threshold " + std::to_string(threshold);
                const int volume = best < 0 ? 0 : volumes[static_cast<std::size_t>(best)];
                ArvoImage3D actual = copyOf(in);
                actual.zeroSlices();
                EXPECT_EQ(volume, toolsOn(&in, &actual).keepLargestPart(threshold)) << what;
                EXPECT_TRUE(sameBits(expected, actual)) << what;
                ArvoImage3D inPlace = copyOf(in);
                EXPECT_EQ(volume, toolsOn(&inPlace, &inPlace).keepLargestPart(threshold)) << what;
                EXPECT_TRUE(sameBits(expected, inPlace)) << what << ", in place";
            }
        }
    }
}

TEST(KeepAllConnectedToSlice, AgreesWithTheDefinition)
{
    forEachMask([](ArvoImage3D mask, const std::string& what) {
        const naive::Labelled parts = naive::label(mask, true);
        const std::vector<int> volumes = volumesOf(parts);
        for (const int slice : {0, mask.imageSize().z / 2, mask.imageSize().z - 1}) {
            std::vector<unsigned char> isOnSlice(volumes.size());
            const auto* labels = reinterpret_cast<const short*>(parts.labels.getConstAxialSlice(slice));
            for (std::size_t i = 0; i < parts.labels.sizeOfAxialSlice() / sizeof(short); ++i)
                isOnSlice[static_cast<std::size_t>(labels[i])] |= labels[i] != 0;
            for (const int minVolume : {-1, 1, 2, 9}) { // below 0: the form without
                const auto isKept = [&](short label) {
                    const auto l = static_cast<std::size_t>(label);
                    return isOnSlice[l] && volumes[l] >= minVolume;
                };
                int count = 0;
                for (std::size_t l = 0; l < volumes.size(); ++l)
                    count += isKept(static_cast<short>(l));
                ArvoImage3D actual = copyOf(mask);
                Tools tools = toolsOn(&actual, &actual);
                EXPECT_EQ(count, minVolume < 0 ? tools.keepAllConnectedToSlice(slice)
                                               : tools.keepAllConnectedToSlice(slice, minVolume))
                    << what;
                EXPECT_TRUE(sameBits(maskWhere(parts, isKept), actual)) << what << ", slice " << slice;
            }
        }
    });
}
