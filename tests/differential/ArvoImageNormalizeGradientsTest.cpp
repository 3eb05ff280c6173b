#include "arvo/differential/ArvoImageNormalizeGradients.h"

#include "NaiveDifferences.h"

#include "arvo/platform/threading/ThreadCount.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
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
    withType(field.getU()->dataType(), [&](auto element) {
        using T = typename decltype(element)::type;
        if constexpr (!std::is_same_v<T, int>) {
            for (std::size_t i = 0; i < voxels<T>(*expected.getU()).size(); ++i)
                normalizeNaively(voxels<T>(*expected.getU())[i], voxels<T>(*expected.getV())[i],
                                 voxels<T>(*expected.getW())[i]);
        }
    });
    expected.getV()->editFinished();
    (void)field.getV()->getValueRange();
    EXPECT_TRUE(ArvoImageNormalizeGradients::normalize(field));
    EXPECT_TRUE(sameBits(*expected.getU(), *field.getU())) << name;
    EXPECT_TRUE(sameBits(*expected.getV(), *field.getV())) << name;
    EXPECT_TRUE(sameBits(*expected.getW(), *field.getW())) << name;
    EXPECT_EQ(expected.getV()->getValueRange(), field.getV()->getValueRange()) << name;
}

TEST(NormalizeGradients, AgreesWithTheDefinitionForAnyNumberOfThreads)
{
    for (const int limit : {1, 2}) {
        threading::setThreadLimit(limit);
        for (const bool isExtreme : {false, true}) {
            forEachCase(voxelTypes(), [&](auto size, auto type, auto seed) {
                ThreeImages3D field = naive::randomField(size, type, seed, isExtreme);
                expectNormalized(field, describe(size, type, seed));
            });
        }
    }
    threading::setThreadLimit(0);
}

TEST(NormalizeGradients, DividesSmallIntegersExactly)
{
    // Every pair of components from a range that crosses the element's width, and each length that reduces to 0, -1
    // or 1 among them.
    for (const image::DataType type : {image::Int16, image::UInt16, image::UInt8}) {
        withType(type, [&](auto element) {
            using T = typename decltype(element)::type;
            std::vector<T> u, v, w;
            for (int a = -300; a < 300; ++a) {
                for (int b = -40; b < 300; ++b) {
                    u.push_back(static_cast<T>(a * 111));
                    v.push_back(static_cast<T>(b));
                    w.push_back(static_cast<T>(a));
                }
            }
            const math::Ivec3 size(340, 100, 6);
            ThreeImages3D field(new ArvoImage3D(volumeOf<T>(size, type, u)),
                                new ArvoImage3D(volumeOf<T>(size, type, v)),
                                new ArvoImage3D(volumeOf<T>(size, type, w)));
            expectNormalized(field, "type " + std::to_string(type));
        });
    }
}

TEST(NormalizeGradients, GivesUnitLengthAndLeavesZero)
{
    const auto component = [](float a, float b) {
        return new ArvoImage3D(volumeOf<float>({2, 1, 1}, image::Float32, {a, b}));
    };
    ThreeImages3D field(component(3, 0), component(4, 0), component(0, 0));
    EXPECT_TRUE(ArvoImageNormalizeGradients::normalize(field));
    EXPECT_NEAR(field.getValue(0, 0, 0).x(), 0.6f, 1e-7f);
    EXPECT_NEAR(field.getValue(0, 0, 0).y(), 0.8f, 1e-7f);
    EXPECT_EQ(field.getValue(1, 0, 0), QVector3D(0, 0, 0));
}

TEST(NormalizeGradients, RefusesFieldsItCannotTake)
{
    const auto of = [](math::Ivec3 size, image::DataType type) {
        return new ArvoImage3D(randomVolume(size, type, 1));
    };
    const math::Ivec3 size(3, 2, 2), other(3, 2, 1);
    struct Case {
        ArvoImage3D *u, *v, *w;
        std::vector<std::string> texts;
    };
    const std::vector<std::string> unknownType = {
        "ArvoImageNormalizeGradients : normalize not implemented for this data type."};
    const std::vector<std::string> mismatch = {"ArvoImageNormalizeGradients : the components do not match."};
    for (const Case& c :
         {Case{of(size, image::Float32), new ArvoImage3D, of(size, image::Float32), {}},
          Case{of(size, image::Int32), of(size, image::Int32), of(size, image::Int32), unknownType},
          Case{of(size, image::Reserved), of(size, image::UInt8), of(size, image::UInt8), unknownType},
          Case{of(size, image::Float32), of(size, image::Float32), of(other, image::Float32), mismatch},
          Case{of(size, image::Int16), of(size, image::UInt16), of(size, image::Int16), mismatch},
          Case{of(size, image::Int16),
               of(size, image::Int16),
               nullptr,
               {"ArvoImageNormalizeGradients : the field lacks a component."}}}) {
        ThreeImages3D field(c.u, c.v, c.w);
        const ArvoImage3D before = copyOf(*c.u);
        const Warnings warnings;
        EXPECT_FALSE(ArvoImageNormalizeGradients::normalize(field));
        EXPECT_EQ(warnings.texts(), c.texts);
        EXPECT_TRUE(sameBits(before, *c.u));
    }
    ThreeImages3D noSlices(math::Ivec3(2, 2, 0), QVector3D(1, 1, 1));
    EXPECT_TRUE(ArvoImageNormalizeGradients::normalize(noSlices));
}

} // namespace
