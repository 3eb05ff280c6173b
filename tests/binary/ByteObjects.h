#pragma once

#include "support/CancelFlags.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <atomic>
#include <memory>

/// What the tests of the boundary, of the distance map and of the mask tools share.
namespace testing_support {

/// A volume of spacing 1 with `value` from `min` to `max`, both inclusive, and 0 elsewhere.
inline ArvoImage3D boxIn(const math::Ivec3& size, const math::Ivec3& min, const math::Ivec3& max,
                         unsigned char value = 1, image::DataType type = image::Binary)
{
    ArvoImage3D box(size, QVector3D(1, 1, 1), type);
    forEachVoxel(size, [&](int x, int y, int z, std::size_t i) {
        const bool isInside =
            x >= min.x && x <= max.x && y >= min.y && y <= max.y && z >= min.z && z <= max.z;
        voxels<unsigned char>(box)[i] = isInside ? value : 0;
    });
    return box;
}

/// Calls body(object, label) with random objects of several densities, grey values, an inner box, one object on each
/// face and one voxel, in sizes from the smallest accepted on, thin in each axis and around the vector widths.
template <class Body> void forEachObject(Body&& body)
{
    for (const auto& s : {math::Ivec3(3, 3, 3),
                          {4, 3, 5},
                          {3, 7, 3},
                          {8, 3, 4},
                          {16, 5, 6},
                          {17, 6, 5},
                          {9, 4, 11},
                          {33, 7, 4},
                          {3, 3, 40},
                          {3, 40, 3},
                          {70, 3, 5},
                          {24, 24, 5},
                          {13, 11, 9}}) {
        const auto label = [&](int which) {
            return describe(s, image::Binary, 7) + ", object " + std::to_string(which);
        };
        int which = 0;
        for (const double density : {0.0, 0.003, 0.05, 0.5, 0.95, 1.0})
            body(randomMask(s, density, 7), label(which++));
        body(randomVolume(s, image::UInt8, 8, Fill::Extremes), label(which++));
        const math::Ivec3 last(s.x - 1, s.y - 1, s.z - 1);
        const math::Ivec3 middle(s.x / 2, s.y / 2, s.z / 2);
        const std::pair<math::Ivec3, math::Ivec3> boxes[] = {
            {{1, 1, 1}, {last.x - 1, last.y - 1, last.z - 1}},
            {middle, middle},
            {{0, 0, 0}, {0, last.y, last.z}},
            {{last.x, 0, 0}, last},
            {{0, 0, 0}, {last.x, 0, last.z}},
            {{0, last.y, 0}, last},
            {{0, 0, 0}, {last.x, last.y, 0}},
            {{0, 0, last.z}, last}};
        for (const auto& [min, max] : boxes)
            body(boxIn(s, min, max), label(which++));
    }
}

/// Slice by slice, one run from the second voxel of the second row to the last but one of the last but one row.
inline ArvoImage3D boundaryByDefinition(const ArvoImage3D& object)
{
    const math::Ivec3 size = object.imageSize();
    ArvoImage3D boundary(size, object.voxelSize(), image::Binary);
    boundary.zeroSlices();
    for (int z = 1; z <= size.z - 2; ++z) {
        const char* previous = object.getConstAxialSlice(z - 1);
        const char* current = object.getConstAxialSlice(z);
        const char* next = object.getConstAxialSlice(z + 1);
        for (int i = size.x + 1; i <= size.x * size.y - size.x - 2; ++i) {
            const bool isObject = static_cast<signed char>(current[i]) > 0;
            if (isObject && (previous[i] == 0 || current[i - 1] == 0 || current[i + 1] == 0 ||
                             current[i - size.x] == 0 || current[i + size.x] == 0 || next[i] == 0))
                boundary.getAxialSlice(z)[i] = 1;
        }
    }
    return boundary;
}

/// The rules of inputs, results and copies that boundary and distance map share; take(calculation) takes the result.
template <class Calculation, class Take> void expectCommonRules(const Calculation& fresh, Take take)
{
    const auto run = [&](Calculation& calculation) {
        calculation.execute(notCancelled);
        const std::unique_ptr<ArvoImage3D> result(take(calculation));
        EXPECT_EQ(calculation.isSuccess(), result != nullptr);
        EXPECT_EQ(take(calculation), nullptr) << "taken twice";
        return calculation.isSuccess();
    };
    const Warnings warnings;
    ArvoImage3D object = randomMask({5, 4, 4}, 0.5, 1);
    std::vector<ArvoImage3D> unfit(1);
    for (const auto type : {image::UInt16, image::Int16, image::Reserved, image::Float32, image::Int32})
        unfit.emplace_back(math::Ivec3(5, 5, 5), QVector3D(1, 1, 1), type);
    for (const auto& size : {math::Ivec3(2, 10, 10), {10, 2, 10}, {10, 10, 2}, {0, 10, 10}})
        unfit.emplace_back(size, QVector3D(1, 1, 1), image::Binary);
    for (const ArvoImage3D& bad : unfit) {
        Calculation calculation(fresh);
        calculation.setInputImage(&bad);
        EXPECT_FALSE(run(calculation));
        calculation.setInputImage(&object);
        calculation.setInputImage(&bad);
        calculation.setInputImage(nullptr);
        EXPECT_TRUE(run(calculation)) << "the previous input stays";
    }
    Calculation original(fresh);
    original.setInputImage(&object);
    original.execute(notCancelled);
    Calculation copy(original);
    Calculation assigned(fresh);
    assigned = original;
    for (Calculation* other : {&copy, &assigned}) {
        EXPECT_FALSE(other->isSuccess());
        EXPECT_EQ(take(*other), nullptr) << "the result stays with the original";
        EXPECT_TRUE(run(*other)) << "the input is copied";
    }
    EXPECT_TRUE(original.isSuccess());
    object = randomMask({5, 2, 4}, 0.5, 1);
    EXPECT_FALSE(run(original)) << "the input has become unfit, the earlier result is dropped";
    EXPECT_TRUE(warnings.texts().empty());
}

} // namespace testing_support
