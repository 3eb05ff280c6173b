#include "arvo/platform/math/RayBoxIntersection.h"
#include "arvo/platform/math/SingularValueDecomp.h"
#include "trust/Operations.h"

#include <array>

namespace trust {

namespace {

/// Gives the voxels of a volume that was made anew values that do not depend on what the memory held before.
bool zeroed(bool isMade, ArvoImage3D& image)
{
    if (isMade)
        image.zeroSlices();
    return isMade;
}

/// What the box of sound numbers holds.
ArvoImage3D fixedPart(const math::Ivec3& size, image::DataType type)
{
    const ArvoImage3D whole = fixedInput(size, type);
    const std::array origin = {3, 2, 1}, extent = {size.x - 4, size.y - 5, size.z - 3};
    ArvoImage3D part;
    part.copyFrom(&whole, origin.data(), extent.data());
    return part;
}

bool read(Call& c)
{
    if (!c.a)
        return false;
    c.a->getValue(c.whole(0), 0, c.whole(0));
    c.a->getFloatValue(0, c.whole(0), 0);
    c.a->getConstAxialSlice(c.whole(0));
    c.a->info(c.whole(0));
    const float position[] = {c.real(0.0f), 1.0f, c.real(0.0f)};
    c.a->getInterpolatedValue(position);
    c.a->getInterpolatedValue(nullptr);
    std::vector<float> values;
    for (int i = 0; i < 500; ++i) {
        const float at[] = {static_cast<float>(i % 97) / 8.0f, static_cast<float>(i % 83) / 8.0f,
                            static_cast<float>(i % 61) / 8.0f};
        values.push_back(c.a->getInterpolatedValue(at));
    }
    c.result("interpolated_value").addFloats(values);
    c.a->editFinished();
    c.result("value_range").add(c.a->getValueRange());
    return c.a->isValid() && c.a->minValue() <= c.a->maxValue();
}

bool write(Call& c)
{
    if (!c.a)
        return false;
    const int i = c.whole(2);
    c.a->changeVoxelValues({{i, 0, 0}, {0, 1, 0}, {0, 0, c.whole(2)}}, i);
    c.a->setAxialSlice(c.whole(1), c.a->getAxialSlice(0));
    c.a->setAxialSlice(0, c.a->getAxialSlice(c.whole(1)));
    c.a->memsetSlices(i);
    return c.a->isValid();
}

void decompose(Call& c)
{
    std::vector<float> matrix;
    for (int i = 0; i < 120; ++i)
        matrix.push_back(static_cast<float>(i * 37 % 101 - 50) / 8.0f);
    c.numbers.reals(matrix);
    SingularValueDecomp decomposition(40, 3, 0);
    if (decomposition.a)
        std::copy(matrix.begin(), matrix.end(), decomposition.a);
    decomposition.svdcmp();
    c.result().add(decomposition.success);
    c.result().addBytes(decomposition.w, 3 * sizeof(double));
    c.result().addBytes(decomposition.v, 9 * sizeof(double));
}

void intersect(Call& c)
{
    std::array<float, 6> box = {0, 1, 2, 7, 6, 5};
    c.numbers.reals(box);
    for (int i = 0; i < 200; ++i) {
        float t0 = 0, t1 = 0;
        const QVector3D direction(static_cast<float>(i % 7 - 3), static_cast<float>(i % 5 - 2),
                                  static_cast<float>(i % 3 - 1));
        c.result().add(primitives::RayBoxIntersection::calculateIntersections(
            {box[0], box[1], box[2], box[3], box[4], box[5]},
            {static_cast<float>(i % 11), static_cast<float>(i % 9), 3.0f}, direction, t0, t1));
        c.result().add(t0);
        c.result().add(t1);
    }
}

} // namespace

void addPlatformOperations(Operations& table)
{
    table.add("createFrom", TAKES_TWO | CHANGES_B | CREATES | SILENT | ANSWERS, [](Call& c) {
        return c.b && zeroed(c.b->createFrom(c.a, static_cast<image::DataType>(c.whole(5))), *c.b);
    });
    table.add("copy", TAKES_TWO | CHANGES_B | CREATES | SILENT | ANSWERS, {STORED},
              [](Call& c) { return c.b && c.b->copyFrom(c.a); });
    table.add("copy_part", TAKES_TWO | CHANGES_B | CREATES | SILENT | ANSWERS, {STORED}, [](Call& c) {
        const math::Ivec3 all = c.a ? c.a->imageSize() : math::Ivec3();
        const std::array origin = {c.whole(3), c.whole(2), c.whole(1)};
        const std::array extent = {c.whole(all.x - 4), c.whole(all.y - 5), c.whole(all.z - 3)};
        return c.b && c.b->copyFrom(c.a, origin.data(), c.orNull(extent.data()));
    });
    table.add("copy_in", TAKES_TWO | CHANGES_B | SILENT | ANSWERS, {STORED, fixedPart, otherVolume(9)},
              [](Call& c) {
                  const std::array origin = {c.whole(3), c.whole(2), c.whole(1)};
                  return c.b && c.b->copyIn(c.a, origin.data());
              });
    table.add("reading", SILENT | ANSWERS, {STORED}, read);
    table.add("writing", CHANGES_A | SILENT | ANSWERS, write);
    table.add("create", CHANGES_A | CREATES | SILENT | ANSWERS, [](Call& c) {
        const int i = c.whole(2);
        const math::Ivec3 size(i, 2, i > 1000 ? i : 1);
        return c.a && zeroed(c.a->create(size, c.vector({1, 1, 1}), image::Float32), *c.a);
    });
    table.add("singular_values", SILENT | THROWS, {FLOAT}, decompose);
    table.add("ray_box", SILENT, {FLOAT}, intersect);
}

} // namespace trust
