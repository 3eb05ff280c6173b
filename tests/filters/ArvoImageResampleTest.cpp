#include "arvo/filters/ArvoImageResample.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <QMatrix4x4>

#include <cmath>
#include <optional>

using namespace testing_support;

namespace {

using Columns = std::array<float, 9>;

/// A grid to resample to: size, voxel size, and perhaps an orientation.
struct Grid {
    math::Ivec3 size;
    QVector3D voxelSize;
    std::optional<Columns> orientation;
};

// The rotation (1/13) * [[12, -3, 4], [4, 12, -3], [-3, 4, 12]], column by column, and the same with a spacing.
const Columns rotation = {12 / 13.0f, 4 / 13.0f, -3 / 13.0f, -3 / 13.0f, 12 / 13.0f,
                          4 / 13.0f,  4 / 13.0f, -3 / 13.0f, 12 / 13.0f};

Columns scaled(Columns columns, float factor)
{
    for (float& c : columns)
        c *= factor;
    return columns;
}

void orient(ArvoImage3D& image, const std::optional<Columns>& columns, int tag = 0x20001)
{
    if (columns)
        image.addInfo(tag, "ImageOrientation",
                      QByteArray(reinterpret_cast<const char*>(columns->data()), 36));
}

ArvoImage3D outputOf(const Grid& grid, image::DataType type)
{
    ArvoImage3D out(grid.size, grid.voxelSize, type);
    out.memsetSlices(77);
    orient(out, grid.orientation);
    return out;
}

bool resample(ArvoImage3D& in, ArvoImage3D& out)
{
    ArvoImageResample operation;
    operation.setInput(&in);
    operation.setOutput(&out);
    return operation.execute();
}

QMatrix4x4 placementOf(const ArvoImage3D& image, const std::optional<Columns>& orientation)
{
    QMatrix4x4 s, c;
    const auto n = image.imageSize();
    for (int column = 0; column < 3; ++column) {
        for (int row = 0; row < 3; ++row)
            s(row, column) = orientation ? (*orientation)[static_cast<std::size_t>(3 * column + row)]
                                         : (row == column ? image.voxelSize()[row] : 0.0f);
        c(column, 3) = -0.5f * static_cast<float>(n[column]);
    }
    return s * c;
}

template <class T> T blendAt(const ArvoImage3D& in, const std::array<float, 3>& p)
{
    const math::Ivec3 n = in.imageSize();
    const std::array<int, 3> i = {int(p[0]), int(p[1]), int(p[2])};
    float sum = 0.0f;
    for (int k = 0; k < 8; ++k) {
        float weight = 1.0f;
        std::array<int, 3> at;
        for (std::size_t a = 0; a < 3; ++a) {
            const int upper = k >> a & 1;
            const float f = p[a] - float(i[a]);
            weight *= upper ? f : 1.0f - f;
            at[a] = i[a] + upper;
        }
        sum += weight * float(voxels<T>(in)[static_cast<std::size_t>((at[2] * n.y + at[1]) * n.x + at[0])]);
    }
    return static_cast<T>(static_cast<int>(sum));
}

/// The definition, row by row.
template <class T>
void resampleByDefinition(const ArvoImage3D& in, const std::optional<Columns>& inOrientation,
                          ArvoImage3D& out, const std::optional<Columns>& outOrientation)
{
    const QMatrix4x4 r = placementOf(in, inOrientation).inverted() * placementOf(out, outOrientation);
    const math::Ivec3 n = in.imageSize(), m = out.imageSize();
    std::size_t index = 0;
    std::array<float, 3> sliceStart;
    for (int a = 0; a < 3; ++a)
        sliceStart[static_cast<std::size_t>(a)] = r(a, 3) / r(3, 3);
    for (int z = 0; z < m.z; ++z) {
        auto rowStart = sliceStart;
        for (int y = 0; y < m.y; ++y) {
            float tMin = 0.0f, tMax = float(m.x);
            bool isHit = n.x > 1 && n.y > 1 && n.z > 1;
            for (int a = 0; a < 3; ++a) {
                const float inc = r(a, 0), p = rowStart[static_cast<std::size_t>(a)], limit = float(n[a] - 2);
                if (inc == 0.0f) {
                    isHit = isHit && p >= 0.0f && p <= limit;
                } else {
                    tMin = std::max(tMin, std::min(-p / inc, (limit - p) / inc));
                    tMax = std::min(tMax, std::max(-p / inc, (limit - p) / inc));
                }
            }
            isHit = isHit && tMin <= float(m.x) && tMax >= 0.0f;
            const int first = isHit ? int(std::ceil(tMin)) : m.x, last = isHit ? int(std::floor(tMax)) : -1;
            std::array<float, 3> p{};
            for (int x = 0; x < m.x; ++x, ++index) {
                for (std::size_t a = 0; a < 3; ++a)
                    p[a] = x == first ? rowStart[a] + float(x) * r(int(a), 0) : p[a] + r(int(a), 0);
                voxels<T>(out)[index] = x >= first && x <= last ? blendAt<T>(in, p) : T(0);
            }
            for (std::size_t a = 0; a < 3; ++a)
                rowStart[a] += r(int(a), 1);
        }
        for (std::size_t a = 0; a < 3; ++a)
            sliceStart[a] += r(int(a), 2);
    }
}

TEST(ArvoImageResample, AgreesWithTheDefinition)
{
    const std::vector<Grid> grids = {{{9, 7, 8}, {0.4f, 0.5f, 0.6f}, {}},
                                     {{37, 5, 3}, {0.25f, 1.5f, 2.0f}, {}},
                                     {{20, 19, 18}, {1.0f, 1.0f, 1.0f}, rotation},
                                     {{33, 12, 9}, {1.0f, 1.0f, 1.0f}, scaled(rotation, 0.3f)},
                                     {{8, 9, 7}, {1.0f, 1.0f, 1.0f}, scaled(rotation, -0.7f)}};
    std::size_t reached = 0;
    forEachCase({image::UInt16, image::Int16, image::UInt8}, [&](auto size, auto type, auto seed) {
        for (const Grid& grid : grids) {
            ArvoImage3D in = randomVolume(size, type, seed);
            const auto inOrientation = seed == 1 ? std::nullopt : std::optional(scaled(rotation, 0.8f));
            orient(in, inOrientation);
            ArvoImage3D out = outputOf(grid, type), expected = copyOf(out);
            EXPECT_TRUE(resample(in, out));
            withType(type, [&](auto element) {
                using T = typename decltype(element)::type;
                if constexpr (!std::is_same_v<T, float>)
                    resampleByDefinition<T>(in, inOrientation, expected, grid.orientation);
            });
            EXPECT_TRUE(sameBits(expected, out)) << describe(size, type, seed) << " to width " << grid.size.x;
            reached += expected.maxValue() > 0;
        }
    });
    EXPECT_GT(reached, 100u);
}

TEST(ArvoImageResample, EqualGridsCopyAllButTheLastVoxels)
{
    ArvoImage3D in = randomVolume({6, 5, 4}, image::Int16, 1);
    in.create({6, 5, 4}, QVector3D(0.5f, 2.0f, 1.0f), image::Int16);
    for (short i = 0; i < 120; ++i)
        voxels<short>(in)[static_cast<std::size_t>(i)] = static_cast<short>(i + 1);
    ArvoImage3D out = outputOf({{6, 5, 4}, {0.5f, 2.0f, 1.0f}, {}}, image::Int16);
    EXPECT_TRUE(resample(in, out));
    forEachVoxel({6, 5, 4}, [&](int x, int y, int z, std::size_t) {
        EXPECT_EQ(out.getValue(x, y, z), x < 5 && y < 4 && z < 3 ? in.getValue(x, y, z) : 0);
    });
}

TEST(ArvoImageResample, ARowThatEndsInsideTheInputIsNotOverrun)
{
    ArvoImage3D in = randomVolume({40, 9, 8}, image::UInt8, 1);
    in.create({40, 9, 8}, QVector3D(1, 1, 1), image::UInt8);
    in.memsetSlices(9);
    ArvoImage3D out = outputOf({{17, 3, 2}, {1, 1, 1}, {}}, image::UInt8);
    EXPECT_TRUE(resample(in, out));
    EXPECT_EQ(out.minValue(), 9);
    EXPECT_EQ(out.maxValue(), 9);
}

TEST(ArvoImageResample, AnOrientationNeedsItsTag)
{
    ArvoImage3D in = randomVolume({9, 9, 9}, image::Int16, 1);
    ArvoImage3D plain = outputOf({{9, 9, 9}, {1, 1, 1}, {}}, image::Int16), named = copyOf(plain);
    orient(named, rotation, 5);
    EXPECT_TRUE(resample(in, plain));
    EXPECT_TRUE(resample(in, named));
    EXPECT_TRUE(sameBits(plain, named));
}

TEST(ArvoImageResample, AnEmptyOutputIsDoneAtOnce)
{
    const Warnings warnings;
    ArvoImage3D in = randomVolume({3, 4, 5}, image::Int16, 1);
    for (const math::Ivec3& size : {math::Ivec3(0, 3, 2), math::Ivec3(3, 0, 2), math::Ivec3(3, 2, 0)}) {
        ArvoImage3D out = outputOf({size, {1, 1, 1}, {}}, image::Int16);
        EXPECT_TRUE(resample(in, out));
    }
    EXPECT_TRUE(warnings.texts().empty());
}

TEST(ArvoImageResample, RefusesBadCalls)
{
    const Warnings warnings;
    ArvoImage3D in = randomVolume({3, 3, 3}, image::Int16, 1), out = copyOf(in), invalid;
    ArvoImage3D other = randomVolume({3, 3, 3}, image::UInt16, 1), flat = copyOf(in), cut = copyOf(in);
    orient(flat, Columns{});
    cut.addInfo(0x20001, "ImageOrientation", QByteArray(35, 'x'));
    EXPECT_FALSE(ArvoImageResample().execute());
    EXPECT_FALSE(resample(in, invalid));
    EXPECT_FALSE(resample(in, other));
    EXPECT_FALSE(resample(flat, out));
    EXPECT_FALSE(resample(in, cut));
    const std::string prefix = "ArvoImageResample : ";
    const std::vector<std::string> expected = {
        "no input image or no output image", prefix + "invalid input image or output image.",
        prefix + "images must have the same data type.", prefix + "the placement of an image cannot be used.",
        prefix + "the placement of an image cannot be used."};
    for (const image::DataType type : {image::Binary, image::Float32, image::Int32, image::Reserved}) {
        ArvoImage3D silent = randomVolume({3, 3, 3}, type, 1), silentOut = copyOf(silent);
        EXPECT_FALSE(resample(silent, silentOut));
        EXPECT_TRUE(sameBits(silent, silentOut));
    }
    EXPECT_EQ(warnings.texts(), expected);
    EXPECT_TRUE(sameBits(in, out));
}

} // namespace
