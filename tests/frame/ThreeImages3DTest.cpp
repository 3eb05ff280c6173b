#include "arvo/frame/ThreeImages3D.h"

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

bool sameFields(const ThreeImages3D& a, const ThreeImages3D& b)
{
    return sameBits(*a.getU(), *b.getU()) && sameBits(*a.getV(), *b.getV()) && sameBits(*a.getW(), *b.getW());
}

TEST(ThreeImages3D, IsValidWhenItsVolumesAgree)
{
    const int size[] = {4, 3, 2};
    const float spacing[] = {0.5f, 1.0f, 2.0f};
    for (const ThreeImages3D& made :
         {ThreeImages3D(size, spacing), ThreeImages3D(SIZE, {0.5f, 1.0f, 2.0f})}) {
        EXPECT_TRUE(made.isValid());
        EXPECT_EQ(made.getW()->dataType(), image::Float32);
        EXPECT_EQ(made.getW()->imageSize(), SIZE);
        EXPECT_EQ(made.getW()->voxelSize(), QVector3D(0.5f, 1.0f, 2.0f));
    }
    EXPECT_FALSE(ThreeImages3D(component(), component(image::Int32), component()).isValid());
    for (ArvoImage3D* odd :
         {component(image::Int32), component(image::Float32, {5, 3, 2}), component(image::Float32, {4, 2, 2}),
          component(image::Float32, {4, 3, 1}), new ArvoImage3D, static_cast<ArvoImage3D*>(nullptr)})
        EXPECT_FALSE(ThreeImages3D(component(), component(), odd).isValid());
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
    for (const ArvoImage3D* volume : {field.getU(), field.getV(), field.getW()})
        (void)volume->getValueRange();
    a[0] = b[0] = c[0] = 99.0f;
    field.editingFinished();
    for (const ArvoImage3D* volume : {field.getU(), field.getV(), field.getW()})
        EXPECT_EQ(volume->getValueRange().second, 99.0f);
}

TEST(ThreeImages3D, CopiesAreDeep)
{
    const ThreeImages3D field{component(image::Int16), component(image::Int16, SIZE, 2),
                              component(image::Int16, SIZE, 3)};
    const ThreeImages3D copy(field);
    ThreeImages3D assigned({5, 4, 3}, QVector3D(1, 1, 1));
    assigned = field;
    EXPECT_TRUE(sameFields(field, copy));
    EXPECT_TRUE(sameFields(field, assigned));
    EXPECT_NE(copy.getU(), field.getU());
}

TEST(ThreeImages3D, CopiesValuesBetweenFieldsOfOneSize)
{
    ThreeImages3D from(component(), component(image::Float32, SIZE, 2), component(image::Float32, SIZE, 3));
    ThreeImages3D to(SIZE, QVector3D(1, 1, 1));
    EXPECT_TRUE(to.copyValuesFrom(&from));
    EXPECT_TRUE(sameFields(from, to));
    EXPECT_FALSE(to.copyValuesFrom(nullptr));

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
    EXPECT_TRUE(sameFields(from, to));
    ThreeImages3D empty(new ArvoImage3D, new ArvoImage3D, new ArvoImage3D);
    EXPECT_TRUE(empty.copyValuesFrom(&empty)) << "no slices to copy";
}

} // namespace
