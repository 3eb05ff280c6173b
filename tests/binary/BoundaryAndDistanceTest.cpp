#include "arvo/binary/Image3DBoundary.h"
#include "arvo/binary/Image3DDistanceMap.h"

#include "MasksByDefinition.h"
#include "MaskTests.h"

using namespace testing_support;
using Map = Image3DDistanceMap;

namespace {

const Map UNSIGNED(Map::UNSIGNED_DISTANCE), SIGNED(Map::SIGNED_DISTANCE);

Image take(Image3DBoundary& boundary)
{
    return Image(boundary.takeBoundaryImage());
}

Image take(Map& map)
{
    return Image(map.takeDistanceImage());
}

template <class Calculation>
Image resultOf(Calculation calculation, const ArvoImage3D& object,
               const std::atomic<bool>& cancel = notCancelled)
{
    calculation.setInputImage(&object);
    calculation.execute(cancel);
    EXPECT_EQ(calculation.isSuccess(), !cancel);
    return take(calculation);
}

void expectMapsAsDefined(const ArvoImage3D& object, const std::string& what)
{
    expectMade(unsignedDistanceByDefinition(object), resultOf(UNSIGNED, object), what);
    expectMade(signedDistanceByDefinition(object), resultOf(SIGNED, object), what);
    expectMade(signedDistanceByDefinition(object), resultOf(Map(Map::DISTANCE_TYPE(-1)), object), what);
}

std::vector<ArvoImage3D> thinMasks()
{
    std::vector<ArvoImage3D> thin;
    for (const math::Ivec3& size : {math::Ivec3(2, 10, 10), {10, 2, 10}, {10, 10, 2}, {0, 10, 10}})
        thin.emplace_back(size, QVector3D(1, 1, 1), image::Binary);
    return thin;
}

} // namespace

TEST(Image3DBoundary, AgreesWithTheDefinitionEvenWhenCancelled)
{
    forEachMask(3, [](const ArvoImage3D& object, const std::string& what) {
        for (const auto* cancel : {&notCancelled, &cancelled})
            expectMade(boundaryByDefinition(object), resultOf(Image3DBoundary(), object, *cancel), what);
    });
}

TEST(Image3DBoundary, StepsOverTheEndsOfRows)
{
    // In a volume of ones a zero at the end of the middle row touches the voxels above, below, left and, as the next in
    // memory, the first of the next row.
    ArvoImage3D object = boxIn({4, 7, 3}, {0, 0, 0}, {3, 6, 2});
    object.changeVoxelValues({{3, 3, 1}}, 0);
    EXPECT_EQ(std::ranges::count(voxels<unsigned char>(*resultOf(Image3DBoundary(), object)), 1), 4);
}

TEST(Image3DDistanceMap, AgreesWithTheDefinition)
{
    forEachMask(3, expectMapsAsDefined);
    for (const int x : {0, 32785}) // distances past infinity stay infinite
        expectMapsAsDefined(boxIn({32790, 3, 3}, {x, 1, 1}, {x, 1, 1}), "far");
}

TEST(Image3DDistanceMap, IsNegativeInsideAndMissesOneSweepInTheOuterSlices)
{
    const Image box = resultOf(SIGNED, boxIn({11, 11, 11}, {2, 2, 2}, {8, 8, 8}));
    const int line[] = {2, 1, 0, -1, -2, -3, -2, -1, 0, 1, 2};
    for (int x = 0; x < 11; ++x)
        EXPECT_EQ(box->getValue(x, 5, 5), line[x]);
    const Image inLast = resultOf(UNSIGNED, boxIn({5, 5, 3}, {1, 2, 2}, {1, 2, 2}));
    EXPECT_EQ(inLast->getValue(2, 2, 2), 1) << "after the object voxel in raster order";
    EXPECT_EQ(inLast->getValue(0, 2, 2), Map::infinity) << "before it: no backward sweep";
    const Image inFirst = resultOf(UNSIGNED, boxIn({5, 5, 3}, {1, 2, 0}, {1, 2, 0}));
    EXPECT_EQ(inFirst->getValue(2, 2, 0), 2) << "by way of slice 1: no forward sweep";
}

TEST(BoundaryAndDistance, FollowTheCommonRules)
{
    const auto taken = [](auto& calculation) { return take(calculation); };
    expectCommonRules(Image3DBoundary(), Image3DBoundary(), thinMasks(), taken);
    expectCommonRules(UNSIGNED, SIGNED, thinMasks(), taken);
    expectCommonRules(SIGNED, UNSIGNED, thinMasks(), taken);
}
