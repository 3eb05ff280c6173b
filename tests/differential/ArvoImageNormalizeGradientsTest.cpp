#include "arvo/differential/ArvoImageNormalizeGradients.h"

#include "arvo/platform/threading/ThreadCount.h"

#include "support/RandomFields.h"
#include "support/Warnings.h"

#include <cmath>

using namespace testing_support;

namespace {

constexpr float EPSILON = 1.1920929e-7f;

/// Squares that wrap at 32 bits, a length cut to the element, integer quotients; 0 and NaN leave the voxel.
template <class T> void normalizeNaively(T& u, T& v, T& w)
{
    T n;
    if constexpr (std::is_floating_point_v<T>) {
        n = std::sqrt((u * u + v * v) + w * w) + EPSILON;
    } else {
        const std::int64_t exact = std::int64_t(u) * u + std::int64_t(v) * v + std::int64_t(w) * w;
        const auto wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(exact));
        if (wrapped < 0)
            return;
        n = static_cast<T>(static_cast<int>(std::sqrt(static_cast<float>(wrapped)) + EPSILON));
        if (n == 0)
            return;
    }
    for (T* component : {&u, &v, &w})
        *component = static_cast<T>(*component / n);
}

void expectNormalized(ThreeImages3D& field, const std::string& name)
{
    const ThreeImages3D expected(field);
    withType(field.getU()->dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        const auto u = voxels<T>(*expected.getU()), v = voxels<T>(*expected.getV()),
                   w = voxels<T>(*expected.getW());
        for (std::size_t i = 0; i < u.size(); ++i)
            normalizeNaively(u[i], v[i], w[i]);
    });
    (void)field.getV()->getValueRange();
    EXPECT_TRUE(ArvoImageNormalizeGradients::normalize(field));
    EXPECT_TRUE(sameFields(expected, field)) << name;
    EXPECT_EQ(copyOf(*field.getV()).getValueRange(), field.getV()->getValueRange()) << name;
}

TEST(NormalizeGradients, AgreesWithTheDefinition)
{
    for (const Fill fill : {Fill::Uniform, Fill::Extremes, Fill::FewValues}) {
        threading::setThreadLimit(fill == Fill::Extremes ? 0 : 1); // one thread takes all slices as one piece
        forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
            ThreeImages3D field = randomField(size, type, seed, fill);
            expectNormalized(field, describe(size, type, seed));
        });
    }
    threading::setThreadLimit(0);
}

/// Lengths that reduce to 0, -1 and 1 among them, and every remainder of small divisions.
TEST(NormalizeGradients, DividesSmallIntegersExactly)
{
    for (const image::DataType type : {image::Int16, image::UInt16, image::UInt8}) {
        ThreeImages3D field = randomField({340, 100, 6}, type, 1);
        withType(type, [&](auto element) {
            using T = typename decltype(element)::type;
            for (std::size_t i = 0; i < 340 * 600; ++i) {
                const int a = static_cast<int>(i / 340) - 300;
                voxels<T>(*field.getU())[i] = static_cast<T>(a * 111);
                voxels<T>(*field.getV())[i] = static_cast<T>(static_cast<int>(i % 340) - 40);
                voxels<T>(*field.getW())[i] = static_cast<T>(a);
            }
        });
        expectNormalized(field, "type " + std::to_string(type));
    }
}

TEST(NormalizeGradients, RefusesFieldsItCannotTake)
{
    const std::string start = "ArvoImageNormalizeGradients : ";
    const struct {
        image::DataType u, others;
        int depth;
        std::vector<std::string> texts;
    } cases[] = {{image::Int16, static_cast<image::DataType>(-1), 2, {}}, // invalid: without a warning
                 {image::Int32, image::Int32, 2, {start + "normalize not implemented for this data type."}},
                 {image::Int16, image::UInt16, 2, {start + "the components do not match."}},
                 {image::Int16, image::Int16, 1, {start + "the components do not match."}}};
    for (const auto& c : cases) {
        const auto other = [&] { return new ArvoImage3D({3, 2, c.depth}, QVector3D(1, 1, 1), c.others); };
        const ArvoImage3D before = randomVolume({3, 2, 2}, c.u, 1);
        ThreeImages3D field(new ArvoImage3D(copyOf(before)), other(), other());
        const Warnings warnings;
        EXPECT_FALSE(ArvoImageNormalizeGradients::normalize(field));
        EXPECT_TRUE(sameBits(before, *field.getU()));
        EXPECT_EQ(warnings.texts(), c.texts);
    }
}

} // namespace
