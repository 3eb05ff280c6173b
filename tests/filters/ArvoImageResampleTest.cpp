#include "arvo/filters/ArvoImageResample.h"

#include "support/NaiveSampler.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include "arvo/platform/image/ArvoImage3DInfo.h"

#include <QMatrix4x4>
#include <QVector4D>

#include <array>
#include <cmath>
#include <cstring>

using namespace testing_support;

namespace {

using Columns = std::array<float, 9>;
constexpr int ORIENTATION_TAG = 0x20001;

/// The rotation (1/13) * [[12, -3, 4], [4, 12, -3], [-3, 4, 12]] with a spacing, column by column.
Columns rotation(float spacing)
{
    Columns columns = {12 / 13.0f, 4 / 13.0f, -3 / 13.0f, -3 / 13.0f, 12 / 13.0f,
                       4 / 13.0f,  4 / 13.0f, -3 / 13.0f, 12 / 13.0f};
    for (float& c : columns)
        c *= spacing;
    return columns;
}

void orient(ArvoImage3D& image, const Columns& columns, int tag = ORIENTATION_TAG, int bytes = 36)
{
    image.addInfo(tag, "ImageOrientation", QByteArray(reinterpret_cast<const char*>(columns.data()), bytes));
}

ArvoImage3D grid(const math::Ivec3& size, const QVector3D& voxelSize, image::DataType type)
{
    ArvoImage3D out(size, voxelSize, type);
    out.memsetSlices(77);
    return out;
}

bool resample(ArvoImage3D* in, ArvoImage3D* out)
{
    ArvoImageResample operation;
    operation.setInput(in);
    operation.setOutput(out);
    return operation.execute();
}

QMatrix4x4 placementOf(const ArvoImage3D& image)
{
    const QVector3D v = image.voxelSize();
    Columns columns = {v.x(), 0, 0, 0, v.y(), 0, 0, 0, v.z()};
    if (const ArvoImage3DInfo* record = image.info("ImageOrientation"))
        std::memcpy(columns.data(), record->data(), sizeof columns);
    QMatrix4x4 linear, centring;
    for (int column = 0; column < 3; ++column) {
        for (int row = 0; row < 3; ++row)
            linear(row, column) = columns[static_cast<std::size_t>(3 * column + row)];
        centring(column, 3) = -0.5f * static_cast<float>(image.imageSize()[column]);
    }
    return linear * centring;
}

/// The definition, row by row, on the grid of `like`.
template <class T> ArvoImage3D expectedOn(const ArvoImage3D& like, const ArvoImage3D& in)
{
    const QMatrix4x4 r = placementOf(in).inverted() * placementOf(like);
    const auto column = [&](int i) { return r.column(i).toVector3D(); };
    const math::Ivec3 n = in.imageSize();
    const auto width = static_cast<float>(like.imageSize().x);
    QVector3D sliceStart = column(3) / r(3, 3), rowStart = sliceStart, p;
    float first = 0, last = -1;
    ArvoImage3D out = copyOf(like);
    forEachVoxel(like.imageSize(), [&](int x, int y, int z, std::size_t i) {
        if (x == 0) {
            sliceStart += z > 0 && y == 0 ? column(2) : QVector3D();
            rowStart = y == 0 ? sliceStart : rowStart + column(1);
            float tMin = 0.0f, tMax = width;
            bool isHit = n.x > 1 && n.y > 1 && n.z > 1;
            for (int a = 0; a < 3; ++a) {
                const float step = r(a, 0), start = rowStart[a], limit = static_cast<float>(n[a] - 2);
                if (step == 0.0f) {
                    isHit = isHit && start >= 0.0f && start <= limit;
                } else {
                    tMin = std::max(tMin, std::min(-start / step, (limit - start) / step));
                    tMax = std::min(tMax, std::max(-start / step, (limit - start) / step));
                }
            }
            isHit = isHit && tMin <= width && tMax >= 0.0f;
            first = isHit ? std::ceil(tMin) : width;
            last = isHit ? std::floor(tMax) : -1.0f;
        }
        const auto t = static_cast<float>(x);
        p = t == first ? rowStart + t * column(0) : p + column(0);
        const bool isInside = t >= first && t <= last;
        voxels<T>(out)[i] = static_cast<T>(isInside ? static_cast<int>(naive::trilinear(in, p)) : 0);
    });
    return out;
}

TEST(ArvoImageResample, AgreesWithTheDefinition)
{
    const struct {
        math::Ivec3 size;
        QVector3D voxelSize;
        float rotated = 0; ///< the spacing of a rotated grid
    } grids[] = {{{9, 7, 8}, {0.4f, 0.5f, 0.6f}},          {{37, 5, 3}, {0.25f, 1.5f, 2.0f}},
                 {{20, 19, 18}, {1.0f, 1.0f, 1.0f}, 1.0f}, {{33, 12, 9}, {1.0f, 1.0f, 1.0f}, 0.3f},
                 {{8, 9, 7}, {1.0f, 1.0f, 1.0f}, -0.7f},   {{0, 3, 2}, {1.0f, 1.0f, 1.0f}},
                 {{3, 0, 2}, {1.0f, 1.0f, 1.0f}},          {{3, 2, 0}, {1.0f, 1.0f, 1.0f}}};
    std::size_t reached = 0;
    forEachCase({image::UInt16, image::Int16, image::UInt8}, [&](auto size, auto type, auto seed) {
        for (const auto& to : grids) {
            ArvoImage3D in = randomVolume(size, type, seed), out = grid(to.size, to.voxelSize, type);
            if (seed == 2)
                orient(in, rotation(0.8f));
            if (to.rotated != 0)
                orient(out, rotation(to.rotated));
            image::withElementType(type, image::IntegerTypes{}, nullptr, [&](auto element) {
                const ArvoImage3D expected = expectedOn<typename decltype(element)::type>(out, in);
                EXPECT_TRUE(resample(&in, &out));
                EXPECT_TRUE(sameBits(expected, out))
                    << describe(size, type, seed) << " to width " << to.size.x;
                reached += expected.maxValue() > 0;
            });
        }
    });
    EXPECT_GT(reached, 100u);
}

TEST(ArvoImageResample, EqualGridsCopyAllButTheLastVoxels)
{
    std::vector<short> values(120);
    for (short& value : values)
        value = static_cast<short>(&value - values.data() + 1);
    ArvoImage3D in = volumeOf({6, 5, 4}, image::Int16, values),
                out = grid({6, 5, 4}, {1, 1, 1}, image::Int16);
    ArvoImage3D tagged = copyOf(out);
    orient(tagged, rotation(1.0f), 5); // not the tag of an orientation
    for (ArvoImage3D* copy : {&out, &tagged}) {
        EXPECT_TRUE(resample(&in, copy));
        forEachVoxel({6, 5, 4}, [&](int x, int y, int z, std::size_t) {
            EXPECT_EQ(copy->getValue(x, y, z), x < 5 && y < 4 && z < 3 ? in.getValue(x, y, z) : 0);
        });
    }
}

TEST(ArvoImageResample, RefusesBadCalls)
{
    ArvoImage3D in = randomVolume({3, 3, 3}, image::Int16, 1), out = copyOf(in), invalid;
    ArvoImage3D other = randomVolume({3, 3, 3}, image::UInt16, 1), flat = copyOf(in), cut = copyOf(in);
    orient(flat, Columns{});
    orient(cut, rotation(1.0f), ORIENTATION_TAG, 35);
    const std::string prefix = "ArvoImageResample : ", noPlace = "the placement of an image cannot be used.";
    const struct {
        ArvoImage3D *in, *out;
        std::string text;
    } cases[] = {{nullptr, &out, "no input image or no output image"},
                 {&in, nullptr, "no input image or no output image"},
                 {&invalid, &out, prefix + "invalid input image or output image."},
                 {&in, &invalid, prefix + "invalid input image or output image."},
                 {&in, &other, prefix + "images must have the same data type."},
                 {&flat, &out, prefix + noPlace},
                 {&in, &cut, prefix + noPlace}};
    for (const auto& [input, output, text] : cases) {
        const Warnings warnings;
        EXPECT_FALSE(resample(input, output));
        EXPECT_EQ(warnings.texts(), std::vector<std::string>{text});
    }
    EXPECT_TRUE(sameBits(in, out));
    const Warnings warnings;
    for (const image::DataType type : {image::Binary, image::Float32, image::Int32, image::Reserved}) {
        ArvoImage3D silent = randomVolume({3, 3, 3}, type, 1);
        EXPECT_FALSE(resample(&silent, &silent));
    }
    EXPECT_TRUE(warnings.texts().empty());
}

} // namespace
