#include "arvo/reslice/ArvoImage3DReslicer.h"

#include "support/Inputs.h"
#include "support/Workload.h"

#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/Image2D.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace {

constexpr int PIXELS = 512; // edge of the oblique images

using Reslicer = ArvoImage3DReslicer;

/// A volume to read and a buffer that has been written to before.
struct Slice {
    ArvoImage3D* volume;
    char* buffer;
};

/// The interface takes volumes by plain pointer; none of these operations changes them.
ArvoImage3D* readable(const ArvoImage3D& volume)
{
    volume.minValue(); // computed once per volume, on first use
    return const_cast<ArvoImage3D*>(&volume);
}

Slice prepareSlice(int edge)
{
    static std::vector<char> buffer;
    buffer.resize(static_cast<std::size_t>(edge) * static_cast<std::size_t>(edge) * sizeof(short));
    return {readable(inputs::ct16(edge)), buffer.data()};
}

int middle(const Slice& slice)
{
    return slice.volume->imageSize().x / 2;
}

/// CTF + 1100, so that all samples are positive.
const ArvoImage3D& positiveFloats(int edge)
{
    static ArvoImage3D volume;
    if (volume.imageSize().x != edge) {
        volume = inputs::copyOf(inputs::ctF(edge));
        const frame::VolumeView<float> voxels(volume);
        std::for_each_n(voxels.data(), voxels.count(), [](float& voxel) { voxel += 1100.0f; });
        volume.editFinished();
    }
    return volume;
}

/// An oblique image through the centre: 0.75 voxels a pixel along two columns of a rotation, rays along the third.
struct Oblique {
    ArvoImage3D* volume;
    std::array<float, 3> origin;
    std::array<float, 3> dir1;
    std::array<float, 3> dir2;
    std::array<int, 2> size{PIXELS, PIXELS};
    std::vector<float> columns;
    std::vector<float> rows;
    std::vector<float> steps;
    int stepCount;
    Image2D image;
};

Oblique prepareOblique(const ArvoImage3D& volume, Image2D::DataType pixels)
{
    constexpr float R[3][3] = {{12, -3, 4}, {4, 12, -3}, {-3, 4, 12}}; // 13 times the rotation
    Oblique plane;
    plane.volume = readable(volume);
    const int edge = volume.imageSize().x;
    const float pitch = 0.75f * static_cast<float>(edge) / 256.0f;
    plane.stepCount = 7 * edge / 4;
    for (std::size_t a = 0; a < 3; ++a) {
        plane.dir1[a] = pitch * R[a][0] / 13.0f;
        plane.dir2[a] = pitch * R[a][1] / 13.0f;
        plane.origin[a] = static_cast<float>(edge) / 2.0f - PIXELS / 2 * (plane.dir1[a] + plane.dir2[a]);
    }
    for (int i = 0; i < PIXELS; ++i) {
        for (std::size_t a = 0; a < 3; ++a) {
            plane.columns.push_back(static_cast<float>(i) * plane.dir1[a]);
            plane.rows.push_back(static_cast<float>(i) * plane.dir2[a]);
            plane.steps.push_back(R[a][2] / 13.0f);
        }
    }
    plane.image = Image2D(PIXELS, PIXELS, pixels, {}, true);
    return plane;
}

std::unique_ptr<Oblique> obliqueShort(int edge)
{
    return std::make_unique<Oblique>(prepareOblique(inputs::ct16(edge), Image2D::Int16));
}

std::unique_ptr<Oblique> raysShort(int edge)
{
    return std::make_unique<Oblique>(prepareOblique(inputs::ct16(edge), Image2D::Float32));
}

std::unique_ptr<Oblique> raysFloat(int edge)
{
    return std::make_unique<Oblique>(prepareOblique(positiveFloats(edge), Image2D::Float32));
}

double slicePixels(int edge)
{
    return static_cast<double>(edge) * edge;
}

double planePixels(int)
{
    return static_cast<double>(PIXELS) * PIXELS;
}

const bool registered[] = {
    bench::workload({.name = "slice_axial_i16", .nominalCount = slicePixels}, prepareSlice,
                    [](Slice& s) { Reslicer::loadAxialSlices(s.volume, middle(s), 1, s.buffer); }),
    bench::workload({.name = "slice_coronal_i16", .nominalCount = slicePixels}, prepareSlice,
                    [](Slice& s) { Reslicer::loadCoronalSlices(s.volume, middle(s), 1, s.buffer); }),
    bench::workload({.name = "slice_sagittal_i16", .nominalCount = slicePixels}, prepareSlice,
                    [](Slice& s) { Reslicer::loadSagittalSlices(s.volume, middle(s), 1, s.buffer); }),
    bench::workload({.name = "reslice_oblique_i16", .nominalCount = planePixels}, obliqueShort,
                    [](auto& p) {
                        Reslicer::loadInterpolatedReslice(p->volume, p->origin.data(), p->dir1.data(),
                                                          p->dir2.data(), p->size.data(), p->image);
                    }),
    bench::workload({.name = "reslice_nearest_i16", .nominalCount = planePixels}, obliqueShort,
                    [](auto& p) {
                        Reslicer::loadReslice(p->volume, p->origin.data(), p->dir1.data(), p->dir2.data(),
                                              p->size.data(), p->image);
                    }),
    bench::workload(
        {.name = "reslice_normalized_i16", .isThreaded = true, .nominalCount = planePixels}, raysShort,
        [](auto& p) {
            Reslicer::loadInterpolatedNormalizedReslice(p->volume, p->origin.data(), p->columns.data(),
                                                        p->rows.data(), PIXELS, PIXELS, p->image);
        }),
    bench::workload({.name = "mip_oblique_i16", .isThreaded = true, .isScaling = true}, raysShort,
                    [](auto& p) {
                        Reslicer::loadMIPReslice(p->volume, p->origin.data(), p->columns.data(),
                                                 p->rows.data(), PIXELS, PIXELS, p->steps.data(),
                                                 p->stepCount, p->image, nullptr,
                                                 ArvoImage3DEnums::MIP_COMPARE_MAXIMUM);
                    }),
    bench::workload({.name = "xray_oblique_i16", .isThreaded = true}, raysShort,
                    [](auto& p) {
                        Reslicer::loadXRayNormalizedReslice(
                            p->volume, p->origin.data(), p->columns.data(), p->rows.data(), PIXELS, PIXELS,
                            p->steps.data(), p->stepCount, math::Range<float>(0, 1500), p->image);
                    }),
    bench::workload({.name = "raysum_f32", .isThreaded = true}, raysFloat,
                    [](auto& p) {
                        Reslicer::loadCephNormalizedReslice(p->volume, p->origin.data(), p->columns.data(),
                                                            p->rows.data(), PIXELS, PIXELS, p->steps.data(),
                                                            p->stepCount, p->image);
                    }),
};

} // namespace
