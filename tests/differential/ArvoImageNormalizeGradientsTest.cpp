#include "arvo/differential/ArvoImageNormalizeGradients.h"

#include "NaiveDifferences.h"

#include "arvo/platform/threading/ThreadCount.h"

#include "support/Warnings.h"

#include <cmath>

using namespace testing_support;

namespace {

constexpr float EPSILON = 1.1920929e-7f;

void normalizeNaively(float& u, float& v, float& w)
{
    const float n = std::sqrt((u * u + v * v) + w * w) + EPSILON;
    u = u / n;
    v = v / n;
    w = w / n;
}

/// Squares that wrap at 32 bits, a length cut to the element, integer quotients; 0 and NaN leave the voxel.
template <class T> void normalizeNaively(T& u, T& v, T& w)
{
    const std::int64_t exact = std::int64_t(u) * u + std::int64_t(v) * v + std::int64_t(w) * w;
    const auto wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(exact));
    if (wrapped < 0)
        return;
    const auto n = static_cast<T>(static_cast<int>(std::sqrt(static_cast<float>(wrapped)) + EPSILON));
    if (n == 0)
        return;
    u = static_cast<T>(u / n);
    v = static_cast<T>(v / n);
    w = static_cast<T>(w / n);
}

void expectNormalized(ThreeImages3D& field, const std::string& name)
{
    const ThreeImages3D expected(field);
    image::withElementType(field.getU()->dataType(), image::VoxelTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        const auto u = voxels<T>(*expected.getU()), v = voxels<T>(*expected.getV()),
                   w = voxels<T>(*expected.getW());
        for (std::size_t i = 0; i < u.size(); ++i)
            normalizeNaively(u[i], v[i], w[i]);
        return true;
    });
    (void)field.getV()->getValueRange();
    EXPECT_TRUE(ArvoImageNormalizeGradients::normalize(field));
    EXPECT_TRUE(naive::sameFields(expected, field)) << name;
    EXPECT_EQ(copyOf(*field.getV()).getValueRange(), field.getV()->getValueRange()) << name;
}

TEST(NormalizeGradients, AgreesWithTheDefinitionForAnyNumberOfThreads)
{
    for (const int limit : {1, 2}) {
        threading::setThreadLimit(limit);
        for (const Fill fill : {Fill::Uniform, Fill::Extremes, Fill::FewValues}) {
            forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
                ThreeImages3D field = naive::randomField(size, type, seed, fill);
                expectNormalized(field, describe(size, type, seed));
            });
        }
    }
    threading::setThreadLimit(0);
    ThreeImages3D noSlices(math::Ivec3(2, 2, 0), QVector3D(1, 1, 1));
    EXPECT_TRUE(ArvoImageNormalizeGradients::normalize(noSlices));
}

TEST(NormalizeGradients, DividesSmallIntegersExactly)
{
    // Lengths that reduce to 0, -1 and 1 among them, and every remainder of small divisions.
    const auto check = [](image::DataType type, auto element) {
        using T = decltype(element);
        ThreeImages3D field = naive::randomField({340, 100, 6}, type, 1);
        for (std::size_t i = 0; i < 340 * 600; ++i) {
            const int a = static_cast<int>(i / 340) - 300;
            voxels<T>(*field.getU())[i] = static_cast<T>(a * 111);
            voxels<T>(*field.getV())[i] = static_cast<T>(static_cast<int>(i % 340) - 40);
            voxels<T>(*field.getW())[i] = static_cast<T>(a);
        }
        expectNormalized(field, "type " + std::to_string(type));
    };
    check(image::Int16, short());
    check(image::UInt16, static_cast<unsigned short>(0));
    check(image::UInt8, static_cast<unsigned char>(0));
}

TEST(NormalizeGradients, RefusesFieldsItCannotTake)
{
    const auto warningsOf = [](ArvoImage3D u, ArvoImage3D v) {
        const ArvoImage3D before = copyOf(u);
        const auto other = [&] { return v.isValid() ? new ArvoImage3D(copyOf(v)) : new ArvoImage3D; };
        ThreeImages3D field(new ArvoImage3D(std::move(u)), other(), other());
        const Warnings warnings;
        EXPECT_FALSE(ArvoImageNormalizeGradients::normalize(field));
        EXPECT_TRUE(sameBits(before, *field.getU()));
        return warnings.texts();
    };
    using Texts = std::vector<std::string>;
    const ArvoImage3D shorts = randomVolume({3, 2, 2}, image::Int16, 1);
    const ArvoImage3D ints = randomVolume({3, 2, 2}, image::Int32, 1);
    const Texts mismatch = {"ArvoImageNormalizeGradients : the components do not match."};
    EXPECT_EQ(warningsOf(copyOf(shorts), {}), Texts());
    EXPECT_EQ(warningsOf(copyOf(ints), copyOf(ints)),
              Texts{"ArvoImageNormalizeGradients : normalize not implemented for this data type."});
    EXPECT_EQ(warningsOf(copyOf(shorts), randomVolume({3, 2, 2}, image::UInt16, 1)), mismatch);
    EXPECT_EQ(warningsOf(copyOf(shorts), randomVolume({3, 2, 1}, image::Int16, 1)), mismatch);
}

} // namespace
