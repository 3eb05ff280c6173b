#pragma once

#include "arvo/platform/math/Ivec3.h"

#include <QVector3D>

#include <atomic>

class ArvoImage3D;

namespace legacy_gaussian {

/// The Gaussian of ArvoImageGaussianSmooth::executeDeprecated on voxels of type T: float, unsigned char, unsigned short
/// or short. Does not call editFinished().
template <class T>
bool smooth(const math::Ivec3& radius, const QVector3D& sigma, const ArvoImage3D& in, ArvoImage3D& out,
            const std::atomic<bool>& cancel);

} // namespace legacy_gaussian
