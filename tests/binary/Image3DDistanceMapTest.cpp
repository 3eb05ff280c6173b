#include "arvo/binary/Image3DDistanceMap.h"

#include "DistanceByDefinition.h"
#include "MaskTests.h"

using namespace testing_support;
using Map = Image3DDistanceMap;

namespace {

Image takeFrom(Map& map)
{
    return Image(map.takeDistanceImage());
}

Image distanceMap(const ArvoImage3D& object, int type)
{
    Map map(static_cast<Map::DISTANCE_TYPE>(type));
    map.setInputImage(&object);
    map.execute(notCancelled);
    EXPECT_TRUE(map.isSuccess());
    return takeFrom(map);
}

void expectAsDefined(const ArvoImage3D& object, const std::string& what)
{
    const Image distance = distanceMap(object, Map::UNSIGNED_DISTANCE);
    EXPECT_TRUE(sameBits(unsignedDistanceByDefinition(object), *distance)) << what;
    EXPECT_EQ(distance->voxelSize(), object.voxelSize());
    for (const int type : {1, -1}) // any type but unsigned is signed
        EXPECT_TRUE(sameBits(signedDistanceByDefinition(object), *distanceMap(object, type))) << what;
}

} // namespace

TEST(Image3DDistanceMap, AgreesWithTheDefinition)
{
    forEachMask(3, expectAsDefined);
    for (const int x : {0, 32785}) // distances past infinity stay infinite
        expectAsDefined(boxIn({32790, 3, 3}, {x, 1, 1}, {x, 1, 1}), "far");
}

TEST(Image3DDistanceMap, TheOuterSlicesMissOneSweep)
{
    const Image inLast = distanceMap(boxIn({5, 5, 3}, {1, 2, 2}, {1, 2, 2}), Map::UNSIGNED_DISTANCE);
    EXPECT_EQ(inLast->getValue(2, 2, 2), 1) << "after the object voxel in raster order";
    EXPECT_EQ(inLast->getValue(0, 2, 2), Map::infinity) << "before it: no backward sweep";
    EXPECT_EQ(inLast->getValue(0, 2, 1), 1);
    const Image inFirst = distanceMap(boxIn({5, 5, 3}, {1, 2, 0}, {1, 2, 0}), Map::UNSIGNED_DISTANCE);
    EXPECT_EQ(inFirst->getValue(0, 2, 0), 1);
    EXPECT_EQ(inFirst->getValue(2, 2, 0), 2) << "by way of slice 1: no forward sweep";
}

TEST(Image3DDistanceMap, TheSignedMapIsNegativeInside)
{
    const Image distance = distanceMap(boxIn({11, 11, 11}, {2, 2, 2}, {8, 8, 8}), Map::SIGNED_DISTANCE);
    const int line[] = {2, 1, 0, -1, -2, -3, -2, -1, 0, 1, 2};
    for (int x = 0; x < 11; ++x)
        EXPECT_EQ(distance->getValue(x, 5, 5), line[x]);
}

TEST(Image3DDistanceMap, FollowsTheCommonRules)
{
    const Map byDistance(Map::UNSIGNED_DISTANCE), bySign(Map::SIGNED_DISTANCE);
    expectCommonRules(byDistance, bySign, takeFrom, false);
    expectCommonRules(bySign, byDistance, takeFrom, false);
}
