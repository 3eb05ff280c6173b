#pragma once

#include "arvo/frame/VolumeView.h"

#include <optional>

namespace frame {

/// Positions in continuous voxel indices, to be sampled together.
struct alignas(64) SamplePositions {
    static constexpr int COUNT = 16;

    float x[COUNT];
    float y[COUNT];
    float z[COUNT];
};

/// How far the positions of a block move together.
struct SampleStep {
    float x, y, z;
};

/// Samples a volume at all positions of a block.
template <class T>
using SampleFunction = void (*)(const VolumeView<const T>&, const SamplePositions&, float* samples);

/// Does so `count` times, the positions moving one step on after each.
template <class T>
using MarchFunction = void (*)(const VolumeView<const T>&, SamplePositions&, const SampleStep&, int count,
                               float* samples);

/// What samples a volume on this processor.
template <class T> struct SamplingPath {
    SampleFunction<T> sample;
    MarchFunction<T> march;
};

/// Trilinear samples of a volume with voxels of type T, a block of positions at a time, in single precision.
///
/// On each axis the index i is the position truncated toward zero and the fraction f the position minus i, so that a
/// position in (-1, 0) extrapolates from voxels 0 and 1. The sample is the sum over the eight neighbours of voxel times
/// weight; the weight is the product of f (upper) or 1 - f (lower) along x, y and z, the neighbours are added in the
/// order 000, 100, 010, 110, 001, 101, 011, 111, x first. A neighbour past an end of an axis is replaced by the voxel at
/// that end: every position can be sampled, NaN and infinities included.
///
/// T is unsigned char, short, unsigned short or float.
template <class T> class TrilinearSampler {
public:
    /// Of a volume that holds at least one voxel and outlives the sampler.
    explicit TrilinearSampler(const ArvoImage3D& volume);

    /// samples[i] = the sample at (x[i], y[i], z[i]), for all SamplePositions::COUNT positions.
    void sample(const SamplePositions& positions, float* samples) const
    {
        m_path.sample(m_voxels, positions, samples);
    }

    /// The samples of `count` steps, a block each, positions[i] += step after each of them.
    void march(SamplePositions& positions, const SampleStep& step, int count, float* samples) const
    {
        m_path.march(m_voxels, positions, step, count, samples);
    }

private:
    VolumeView<const T> m_voxels;
    SamplingPath<T> m_path;
};

/// The sampling itself, one position after the other; the reference for the other paths, which give the same bits.
template <class T>
void sampleOneByOne(const VolumeView<const T>& voxels, const SamplePositions& positions, float* samples);

/// The path for processors with AVX2, where there is one for that volume.
template <class T> std::optional<SamplingPath<T>> widePathFor(const VolumeView<const T>& voxels);

} // namespace frame
