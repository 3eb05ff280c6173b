#pragma once

#include "arvo/platform/math/OrientedBoundingBox.h"

#include "support/RandomVolume.h"

#include <QMatrix4x4>

#include <cmath>
#include <limits>

namespace testing_support {

/// Random volumes, points and matrices for tests of regions. Steps of halves and quarters make faces that run exactly
/// through voxel centres, and now and then a number or a matrix is none that makes sense.
class Scenes {
public:
    explicit Scenes(std::uint64_t seed) : m_random(seed) {}

    /// 0 to count - 1.
    int pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }
    float uniform(float low, float high)
    {
        return std::uniform_real_distribution<float>(low, high)(m_random);
    }
    /// A multiple of a quarter from -range to range.
    float quarter(int range) { return static_cast<float>(pick(8 * range + 1) - 4 * range) / 4.0f; }
    float coordinate(float range)
    {
        return pick(2) ? uniform(-range, range) : quarter(static_cast<int>(range));
    }
    QVector3D point(float range) { return {coordinate(range), coordinate(range), coordinate(range)}; }

    float scaleFactor()
    {
        const float factors[] = {1.0f, 1.0f,   0.5f,  -2.0f,  0.3f,  1e-3f,
                                 1e4f, 1e-20f, 1e20f, 1e-38f, 3e38f, 0.0f};
        return pick(3) ? uniform(0.2f, 3.0f) : factors[pick(12)];
    }
    float nonsense()
    {
        return pick(2) ? std::numeric_limits<float>::quiet_NaN() : pick(2) ? HUGE_VALF : -HUGE_VALF;
    }

    /// Of every kind that the matrix class treats in its own way, and now and then one that is no placement at all.
    QMatrix4x4 matrix()
    {
        QMatrix4x4 m;
        if (pick(2))
            m.translate(point(10));
        if (pick(3) == 0)
            m.scale(scaleFactor(), scaleFactor(), scaleFactor());
        if (pick(3) == 0)
            m.rotate(pick(2) ? 90.0f * static_cast<float>(pick(4)) : uniform(-180, 180), 0, 0, 1);
        if (pick(3) == 0)
            m.rotate(uniform(-180, 180), uniform(-1, 1), uniform(-1, 1), 1);
        if (pick(12) == 0) // a turn so slight that rows run along a face for long
            m.rotate(1e-5f, uniform(-1, 1), 1, uniform(-1, 1));
        if (pick(8) == 0)
            m(3, pick(3)) = uniform(-0.1f, 0.1f);
        if (pick(16) == 0)
            m(3, 3) = uniform(-2, 2);
        if (pick(24) == 0)
            m(pick(4), pick(4)) = nonsense();
        return m;
    }

    primitives::OrientedBoundingBox box()
    {
        QVector3D corner = point(12);
        if (pick(30) == 0)
            corner[pick(3)] = nonsense();
        return primitives::OrientedBoundingBox(primitives::BoundingBox(corner, point(30)), matrix());
    }

    ArvoImage3D image(image::DataType type)
    {
        const math::Ivec3 sizes[] = {{17, 5, 4}, {33, 6, 7}, {13, 11, 9}, {1, 7, 2}, {300, 3, 2}, {0, 3, 3}};
        const math::Ivec3 size = sizes[pick(6)];
        const ArvoImage3D values = randomVolume(size, type, m_random(), Fill::FewValues);
        ArvoImage3D image(size, spacing(), type);
        std::copy_n(values.dataPtr(), values.sizeOfAxialSlice() * static_cast<std::size_t>(size.z),
                    image.dataPtr());
        return image;
    }

private:
    QVector3D spacing()
    {
        if (pick(8) == 0)
            return {scaleFactor(), scaleFactor(), scaleFactor()};
        return pick(2) ? QVector3D(1, 1, 1) : QVector3D(uniform(0.1f, 2), uniform(0.1f, 2), 0.5f);
    }

    Random m_random;
};

} // namespace testing_support
