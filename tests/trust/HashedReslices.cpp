#include "trust/ResultHashes.h"

#include "arvo/platform/image/Image2D.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "arvo/reslice/ArvoImage3DWorker.h"

namespace trust {

namespace {

using Reslicer = ArvoImage3DReslicer;
using Compare = ArvoImage3DEnums::MIP_COMPARE_FUNCTION;

void add(Results& results, const std::string& name, const Image2D& picture)
{
    Hash hash;
    hash.addPicture(picture);
    results.add(name, hash);
}

void hashSlices(Results& results, ArvoImage3D& volume, const std::string& suffix)
{
    const math::Ivec3 size = volume.imageSize();
    // Three slices of any orientation.
    std::vector<char> buffer(3 * 67 * 67 * sizeof(float));
    const auto loaded = [&](const char* name, const std::function<void(char*)>& load) {
        std::fill(buffer.begin(), buffer.end(), '\0');
        load(buffer.data());
        Hash hash;
        hash.addBytes(buffer.data(), buffer.size());
        results.add(name + suffix, hash);
    };
    loaded("axial_slices", [&](char* out) { Reslicer::loadAxialSlices(&volume, 2, 3, out); });
    loaded("coronal_slices", [&](char* out) { Reslicer::loadCoronalSlices(&volume, 2, 3, out); });
    loaded("sagittal_slices", [&](char* out) { Reslicer::loadSagittalSlices(&volume, 2, 3, out); });
    Image2D picture;
    Reslicer::loadAxialSlice2D(&volume, size.z / 2, &picture);
    add(results, "axial_slice" + suffix, picture);
    Reslicer::loadCoronalSlice2D(&volume, size.y / 2, &picture);
    add(results, "coronal_slice" + suffix, picture);
    Reslicer::loadSagittalSlice2D(&volume, size.x / 2, &picture);
    add(results, "sagittal_slice" + suffix, picture);
}

void hashOblique(Results& results, ArvoImage3D& volume, const std::string& suffix)
{
    float origin[] = {-1.5f, 0.25f, 1.0f};
    float across[] = {0.6875f, 0.125f, 0.0625f};
    float down[] = {-0.09375f, 0.4375f, 0.3125f};
    int size[] = {31, 27};
    Image2D picture;
    Reslicer::loadReslice2D(&volume, origin, across, down, size, &picture);
    add(results, "oblique" + suffix, picture);
    if (volume.dataType() == image::Float32)
        return;
    Reslicer::loadInterpolatedReslice(&volume, origin, across, down, size, &picture);
    add(results, "oblique_interpolated" + suffix, picture);
}

/// The tables of a projection along y, slightly fanned, 29 x 37 pixels.
struct Rays {
    static constexpr int WIDTH = 29;
    static constexpr int HEIGHT = 37;
    static constexpr int STEPS = 40;

    explicit Rays(const math::Ivec3& size)
    {
        const auto scaled = [](int extent, int i, int count) {
            return static_cast<float>(extent * i * 16 / count) / 16.0f;
        };
        origin[1] = static_cast<float>(size.y) / 2.0f;
        for (int c = 0; c < WIDTH; ++c) {
            columns.insert(columns.end(), {scaled(size.x, c, WIDTH), static_cast<float>(c % 3) / 4.0f, 0.0f});
            steps.insert(steps.end(), {static_cast<float>(c - 14) / 64.0f, 0.6875f,
                                       static_cast<float>(c % 5 - 2) / 32.0f});
        }
        for (int r = 0; r < HEIGHT; ++r)
            rows.insert(rows.end(), {0.0f, static_cast<float>(r % 2) / 8.0f, scaled(size.z, r, HEIGHT)});
    }

    float origin[3] = {0.0f, 0.0f, 0.0f};
    std::vector<float> columns, rows, steps;
};

/// Runs a projection as an operation and by the bands that 1, 2, 3, 7 and 16 workers would get.
void hashProjection(
    Results& results, const std::string& name, Rays& rays, const std::function<void(Image2D&)>& project,
    const std::function<void(ArvoImage3DWorker&, float* rows, int count, float* result)>& init)
{
    Image2D picture(Rays::WIDTH, Rays::HEIGHT, Image2D::Float32, {1, 1, 1}, true);
    project(picture);
    add(results, name, picture);
    for (const int count : {1, 2, 3, 7, 16}) {
        Image2D banded(Rays::WIDTH, Rays::HEIGHT, Image2D::Float32, {1, 1, 1}, true);
        auto* pixels = reinterpret_cast<float*>(banded.dataPtr());
        std::vector<std::unique_ptr<ArvoImage3DWorker>> workers;
        for (const auto& [first, last] : rangesOf(count, Rays::HEIGHT)) {
            workers.push_back(std::make_unique<ArvoImage3DWorker>());
            init(*workers.back(), rays.rows.data() + 3 * first, last - first + 1,
                 pixels + first * Rays::WIDTH);
        }
        for (const auto& worker : workers)
            worker->start();
        for (const auto& worker : workers)
            worker->waitUntilDone();
        add(results, name, banded);
    }
}

void hashProjections(Results& results, ArvoImage3D& volume, const std::string& suffix)
{
    Rays rays(volume.imageSize());
    float* const origin = rays.origin;
    float* const columns = rays.columns.data();
    float* const rows = rays.rows.data();
    float* const steps = rays.steps.data();
    constexpr int width = Rays::WIDTH, height = Rays::HEIGHT, count = Rays::STEPS;
    const math::Range<float> window(-50.0f, 300.0f);

    for (const Compare compare :
         {ArvoImage3DEnums::MIP_COMPARE_MAXIMUM, ArvoImage3DEnums::MIP_COMPARE_LOCAL_MAXIMA}) {
        Image2D depth(width, height, Image2D::Float32, {1, 1, 1}, true);
        hashProjection(
            results, "mip_" + std::to_string(compare) + suffix, rays,
            [&](Image2D& picture) {
                Reslicer::loadMIPReslice(&volume, origin, columns, rows, width, height, steps, count, picture,
                                         &depth, compare);
            },
            [&](ArvoImage3DWorker& worker, float* band, int bandRows, float* result) {
                worker.initLoadMIPReslice(&volume, origin, columns, band, width, bandRows, steps, count,
                                          result, nullptr, compare);
            });
        add(results, "mip_depth_" + std::to_string(compare) + suffix, depth);
    }
    hashProjection(
        results, "mip_normalized" + suffix, rays,
        [&](Image2D& picture) {
            Reslicer::loadMIPNormalizedReslice(&volume, origin, columns, rows, width, height, steps, count,
                                               picture);
        },
        [&](ArvoImage3DWorker& worker, float* band, int bandRows, float* result) {
            worker.initLoadMIPNormalizedReslice(&volume, origin, columns, band, width, bandRows, steps, count,
                                                result);
        });
    if (volume.dataType() == image::Float32) {
        hashProjection(
            results, "ceph" + suffix, rays,
            [&](Image2D& picture) {
                Reslicer::loadCephNormalizedReslice(&volume, origin, columns, rows, width, height, steps,
                                                    count, picture);
            },
            [&](ArvoImage3DWorker& worker, float* band, int bandRows, float* result) {
                worker.initLoadCephNormalizedReslice(&volume, origin, columns, band, width, bandRows, steps,
                                                     count, result);
            });
        return;
    }
    hashProjection(
        results, "xray" + suffix, rays,
        [&](Image2D& picture) {
            Reslicer::loadXRayNormalizedReslice(&volume, origin, columns, rows, width, height, steps, count,
                                                window, picture);
        },
        [&](ArvoImage3DWorker& worker, float* band, int bandRows, float* result) {
            worker.initLoadXRayNormalizedReslice(&volume, origin, columns, band, width, bandRows, steps,
                                                 count, window, result);
        });
    hashProjection(
        results, "interpolated_plane" + suffix, rays,
        [&](Image2D& picture) {
            Reslicer::loadInterpolatedNormalizedReslice(&volume, origin, columns, rows, width, height,
                                                        picture);
        },
        [&](ArvoImage3DWorker& worker, float* band, int bandRows, float* result) {
            worker.initLoadInterpolatedNormalizedReslice(&volume, origin, columns, band, width, bandRows,
                                                         result);
        });
}

} // namespace

void hashReslices(Results& results)
{
    for (const math::Ivec3& size : fixedSizes()) {
        for (const image::DataType type : {image::UInt16, image::Int16, image::UInt8, image::Float32}) {
            ArvoImage3D volume = fixedVolume(size, type, 1);
            hashSlices(results, volume, nameOf(type, size));
            hashOblique(results, volume, nameOf(type, size));
            hashProjections(results, volume, nameOf(type, size));
        }
    }
}

} // namespace trust
