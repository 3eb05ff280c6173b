#include "arvo/frame/ThreeImages3D.h"

#include "support/RandomFields.h"
#include "support/Warnings.h"

using namespace testing_support;

namespace {

const math::Ivec3 SIZE(4, 3, 2);

ArvoImage3D* component(image::DataType type = image::Float32, math::Ivec3 size = SIZE)
{
    return new ArvoImage3D(randomVolume(size, type, 1));
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
    for (const math::Ivec3& size : {math::Ivec3(5, 3, 2), math::Ivec3(4, 2, 2), math::Ivec3(4, 3, 1)})
        EXPECT_FALSE(ThreeImages3D(component(), component(), component(image::Float32, size)).isValid());
    EXPECT_FALSE(ThreeImages3D(component(), component(), component(image::Int32)).isValid());
    EXPECT_FALSE(ThreeImages3D(component(), component(), new ArvoImage3D).isValid());
    EXPECT_FALSE(ThreeImages3D(component(), component(), nullptr).isValid());
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
    float* slices[3];
    field.getAxialSlices(1, &slices[0], &slices[1], &slices[2]);
    const ArvoImage3D* volumes[] = {field.getU(), field.getV(), field.getW()};
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(slices[k], reinterpret_cast<const float*>(volumes[k]->getConstAxialSlice(1)));
        EXPECT_LT(volumes[k]->getValueRange().second, 99.0f);
        slices[k][0] = 99.0f;
    }
    field.editingFinished();
    for (const ArvoImage3D* volume : volumes)
        EXPECT_EQ(volume->getValueRange().second, 99.0f);
}

TEST(ThreeImages3D, CopiesAreDeep)
{
    const ThreeImages3D field = randomField(SIZE, image::Int16, 1);
    const ThreeImages3D copy(field);
    ThreeImages3D assigned({5, 4, 3}, QVector3D(1, 1, 1));
    assigned = field;
    EXPECT_TRUE(sameFields(field, copy));
    EXPECT_TRUE(sameFields(field, assigned));
    EXPECT_NE(copy.getU(), field.getU());
}

TEST(ThreeImages3D, CopiesValuesBetweenFieldsOfOneSize)
{
    ThreeImages3D from = randomField(SIZE, image::Float32, 1), to(SIZE, QVector3D(1, 1, 1));
    EXPECT_TRUE(to.copyValuesFrom(&from));
    EXPECT_TRUE(sameFields(from, to));
    EXPECT_FALSE(to.copyValuesFrom(nullptr));

    const std::string noMatch = "ThreeImages3D : the fields to copy between do not match.";
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
        EXPECT_EQ(warnings.texts(), std::vector<std::string>(2 * c.warnings, noMatch));
    }
    EXPECT_TRUE(sameFields(from, to));
    ThreeImages3D empty(new ArvoImage3D, new ArvoImage3D, new ArvoImage3D);
    EXPECT_TRUE(empty.copyValuesFrom(&empty)) << "no slices to copy";
}

} // namespace
