#include "arvo/platform/math/OrientedBoundingBox.h"
#include "arvo/platform/math/Plane.h"
#include "arvo/platform/math/RayBoxIntersection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using primitives::BoundingBox;
using primitives::OrientedBoundingBox;
using primitives::RayBoxIntersection;

namespace {

TEST(BoundingBox, UnionWithAnInvertedBoxIsTheOtherBox)
{
    const float big = std::numeric_limits<float>::max();
    const BoundingBox nothing(big, big, big, -big, -big, -big);
    const BoundingBox box(QVector3D(3, -1, 5), QVector3D(1, 2, 4));
    for (const BoundingBox& same : {box, BoundingBox::createUnionOf(nothing, box)}) {
        EXPECT_EQ(same.min(), QVector3D(1, -1, 4));
        EXPECT_EQ(same.max(), QVector3D(3, 2, 5));
    }
}

TEST(OrientedBoundingBox, AppliesTheNewMatrixAfterThePlacement)
{
    QMatrix4x4 shift, scale, flat;
    shift.translate(1, 0, 0);
    scale.scale(2);
    flat.scale(1, 1, 0);
    const OrientedBoundingBox placed(BoundingBox(0, 0, 0, 1, 1, 1), shift), box = placed.transformed(scale);
    EXPECT_TRUE(box.isInside({2, 0, 0})); // faces belong to the box
    EXPECT_TRUE(box.isInside({4, 2, 2}));
    for (const QVector3D& outside : {QVector3D(1.9f, 1, 1), QVector3D(3, 1, 2.1f), QVector3D(3, 1, -0.1f)})
        EXPECT_FALSE(box.isInside(outside));
    EXPECT_EQ(box.getAABBOfTransformedBoundingBox().max(), QVector3D(4, 2, 2));
    EXPECT_FALSE(placed.transformed(flat).isInside({0.5f, 0.5f, 0})) << "without a way back into the box";
}

TEST(OrientedBoundingBox, BoundsATurnedBox)
{
    QMatrix4x4 turn;
    turn.rotate(45, 0, 0, 1);
    const OrientedBoundingBox box(BoundingBox(-1, -1, -1, 1, 1, 1), turn);
    EXPECT_NEAR(box.getAABBOfTransformedBoundingBox().max().x(), std::sqrt(2.0f), 1e-6f);
    EXPECT_EQ(box.getAABBOfTransformedBoundingBox().min().z(), -1.0f);
    EXPECT_TRUE(box.isInside({1.3f, 0, 0}));
    EXPECT_FALSE(box.isInside({0.9f, 0.9f, 0}));
}

TEST(Plane, LeavesItsOwnPointsOut)
{
    const primitives::Plane plane({0, 0, 1}, {0, 0, 2});
    EXPECT_TRUE(plane.isInHalfSpace({5, 5, 1.001f}));
    EXPECT_FALSE(plane.isInHalfSpace({5, 5, 1}));
    EXPECT_FALSE(plane.isInHalfSpace({5, 5, 0}));
}

TEST(RayBoxIntersection, CutsTheWholeLine)
{
    const BoundingBox box(0, 0, 0, 2, 4, 6);
    const float inf = std::numeric_limits<float>::infinity(), nan = std::nanf("");
    const struct {
        QVector3D origin, direction;
        bool isHit;
        float t0 = 0, t1 = 0;
    } cases[] = {
        {{-1, 1, 1}, {1, 0, 0}, true, 1, 3},        // straight through
        {{5, 1, 1}, {1, 0, 0}, true, -5, -3},       // the box lies behind the origin
        {{1, 1, 1}, {0, -2, 0}, true, -1.5f, 0.5f}, // from inside
        {{-1, 4, 1}, {1, 0, 0}, true, 1, 3},        // in a face
        {{-1, 4.001f, 1}, {1, 0, 0}, false},        // beside it
        {{-1, -1, -1}, {1, 1, 1}, true, 1, 3},      // through a corner
        {{-1, 1, 1}, {1, -1, 0}, true, 1, 1},       // touches an edge
        {{0, 7, 0}, {1, -1, 0}, false},             // passes it
        {{1, 1, 1}, {0, 0, 0}, true, -inf, inf},    // a point inside
        {{3, 1, 1}, {0, 0, 0}, false},
        {{nan, 1, 1}, {1, 0, 0}, false},
        {{1, 1, 1}, {nan, 1, 0}, false},
    };
    for (const auto& c : cases) {
        float t0 = 0, t1 = 0;
        EXPECT_EQ(RayBoxIntersection::calculateIntersections(box, c.origin, c.direction, t0, t1), c.isHit);
        EXPECT_EQ(t0, c.t0);
        EXPECT_EQ(t1, c.t1);
    }
    float t0, t1;
    const BoundingBox inverted(0, 0, 0, 2, 2, -0.1f);
    EXPECT_FALSE(RayBoxIntersection::calculateIntersections(inverted, {1, 1, 1}, {1, 1, 1}, t0, t1));
}

} // namespace
