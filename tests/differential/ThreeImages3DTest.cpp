#include "arvo/frame/ThreeImages3D.h"

#include "NaiveDifferences.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

using namespace testing_support;

namespace {

const math::Ivec3 SIZE(4, 3, 2);

ArvoImage3D* component(image::DataType type = image::Float32, math::Ivec3 size = SIZE, std::uint64_t seed = 1)
{
    return new ArvoImage3D(randomVolume(size, type, seed));
}

void expectSameFields(const ThreeImages3D& a, const ThreeImages3D& b)
{
    EXPECT_TRUE(sameBits(*a.getU(), *b.getU()));
    EXPECT_TRUE(sameBits(*a.getV(), *b.getV()));
    EXPECT_TRUE(sameBits(*a.getW(), *b.getW()));
}

TEST(ThreeImages3D, IsValidWhenItsVolumesAgree)
{
    EXPECT_TRUE(
        ThreeImages3D(component(image::Int16), component(image::Int16), component(image::Int16)).isValid());
    EXPECT_FALSE(ThreeImages3D(component(), component(), component(image::Int16)).isValid());
    EXPECT_FALSE(ThreeImages3D(component(), component(image::Int32), component()).isValid());
    for (const math::Ivec3 size : {math::Ivec3(5, 3, 2), math::Ivec3(4, 2, 2), math::Ivec3(4, 3, 1)})
        EXPECT_FALSE(ThreeImages3D(component(), component(), component(image::Float32, size)).isValid());
    EXPECT_FALSE(ThreeImages3D(component(), component(), nullptr).isValid());
    EXPECT_FALSE(ThreeImages3D(component(), new ArvoImage3D, component()).isValid());

    const int size[] = {4, 3, 2};
    const float spacing[] = {0.5f, 1.0f, 2.0f};
    const ThreeImages3D made(size, spacing);
    EXPECT_TRUE(made.isValid());
    EXPECT_EQ(made.getW()->dataType(), image::Float32);
    EXPECT_EQ(made.getW()->imageSize(), SIZE);
    EXPECT_EQ(made.getW()->voxelSize(), QVector3D(0.5f, 1.0f, 2.0f));
}

TEST(ThreeImages3D, ReadsAndWritesComponentsInOrder)
{
    ThreeImages3D field(SIZE, QVector3D(1, 1, 1));
    std::vector<float> u(12, 1.0f), v(12, 2.0f), w(12, 3.0f);
    u[6] = 5.0f;
    field.setAxialSlices(0, u.data(), v.data(), w.data());
    field.setAxialSlices(1, w.data(), u.data(), v.data());
    EXPECT_EQ(field.getValue(2, 1, 0), QVector3D(5, 2, 3));
    EXPECT_EQ(field.getValue(2, 1, 1), QVector3D(3, 5, 2));
    float *a = nullptr, *b = nullptr, *c = nullptr;
    field.getAxialSlices(1, &a, &b, &c);
    EXPECT_EQ(std::vector({a[6], b[6], c[6]}), std::vector({3.0f, 5.0f, 2.0f}));
    (void)field.getW()->getValueRange();
    c[0] = 99.0f;
    field.editingFinished();
    EXPECT_EQ(field.getW()->getValueRange().second, 99.0f);
}

TEST(ThreeImages3D, CopiesAreDeepAndIndependent)
{
    const ThreeImages3D field = naive::randomField({5, 4, 3}, image::Int16, 3, false);
    const ThreeImages3D copy(field);
    ThreeImages3D assigned(SIZE, QVector3D(1, 1, 1));
    assigned = field;
    expectSameFields(field, copy);
    expectSameFields(field, assigned);
    EXPECT_NE(copy.getU(), field.getU());
    assigned = *&assigned;
    expectSameFields(field, assigned);
}

TEST(ThreeImages3D, CopiesValuesBetweenFieldsOfOneSize)
{
    ThreeImages3D from = naive::randomField(SIZE, image::Float32, 1, false);
    ThreeImages3D to = naive::randomField(SIZE, image::Float32, 2, false);
    EXPECT_TRUE(to.copyValuesFrom(&from));
    expectSameFields(from, to);

    struct Case {
        ArvoImage3D *u, *v, *w;
        std::size_t warnings;
    };
    for (const Case& c :
         {Case{component(image::Float32, {4, 3, 3}), component(), component(), 0},
          Case{component(), component(), component(image::Int16), 1},
          Case{component(), component(image::Float32, {4, 2, 2}), component(), 1},
          Case{component(), nullptr, component(), 1}, Case{nullptr, component(), component(), 1}}) {
        ThreeImages3D other(c.u, c.v, c.w);
        const Warnings warnings;
        EXPECT_FALSE(to.copyValuesFrom(&other));
        EXPECT_FALSE(other.copyValuesFrom(&to));
        EXPECT_EQ(warnings.texts().size(), 2 * c.warnings);
    }
    EXPECT_FALSE(to.copyValuesFrom(nullptr));
    expectSameFields(from, to);
}

} // namespace
