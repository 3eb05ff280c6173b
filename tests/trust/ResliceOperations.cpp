#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/Image2D.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "trust/Operations.h"

#include <algorithm>

namespace trust {

namespace {

using Reslicer = ArvoImage3DReslicer;

/// Tables of a projection, with hostile numbers among them.
struct Rays {
    float origin[3];
    float columns[12], rows[12], steps[12];

    explicit Rays(float f) : origin{0.0f, f, 1.0f}
    {
        for (int k = 0; k < 12; ++k) {
            columns[k] = k % 3 == 0 ? static_cast<float>(k) / 3.0f : 0.0f;
            rows[k] = k % 3 == 2 ? static_cast<float>(k) / 3.0f : 0.0f;
            steps[k] = k < 3 ? f : k % 3 == 1 ? 1.0f : 0.0f;
        }
    }
};

using Project = std::function<void(Call&, Rays&, int width, int steps, Image2D&)>;

void addProjections(Operations& list)
{
    const auto add = [&](const std::string& name, const Project& project) {
        for (const bool isWidthHostile : {false, true})
            list.push_back({name + (isWidthHostile ? ", width" : ", steps"), 1, NOTHING, 1, false, false,
                            [project, isWidthHostile](Call& c) {
                                Image2D picture(4, 3, Image2D::Float32, {1, 1, 1}, true);
                                Rays rays(c.f);
                                project(c, rays, isWidthHostile ? c.i : 4, isWidthHostile ? 6 : c.i, picture);
                                return false;
                            }});
    };
    add("loadMIPReslice", [](Call& c, Rays& r, int width, int steps, Image2D& picture) {
        Image2D depth(4, 3, Image2D::Float32, {1, 1, 1}, true);
        Reslicer::loadMIPReslice(c.a, r.origin, r.columns, r.rows, width, 3, r.steps, steps, picture,
                                 c.f > 0 ? &depth : nullptr,
                                 static_cast<ArvoImage3DEnums::MIP_COMPARE_FUNCTION>(steps % 4));
    });
    add("loadMIPNormalizedReslice", [](Call& c, Rays& r, int width, int steps, Image2D& picture) {
        Reslicer::loadMIPNormalizedReslice(c.a, r.origin, r.columns, r.rows, width, 3, r.steps, steps,
                                           picture);
    });
    add("loadXRayNormalizedReslice", [](Call& c, Rays& r, int width, int steps, Image2D& picture) {
        Reslicer::loadXRayNormalizedReslice(c.a, r.origin, r.columns, r.rows, width, 3, r.steps, steps,
                                            {-c.f, c.f}, picture);
    });
    add("loadCephNormalizedReslice", [](Call& c, Rays& r, int width, int steps, Image2D& picture) {
        Reslicer::loadCephNormalizedReslice(c.a, r.origin, r.columns, r.rows, width, 3, r.steps, steps,
                                            picture);
    });
    add("loadInterpolatedNormalizedReslice", [](Call& c, Rays& r, int width, int, Image2D& picture) {
        Reslicer::loadInterpolatedNormalizedReslice(c.a, r.origin, r.columns, r.rows, width, 3, picture);
    });
}

void addSlices(Operations& list)
{
    const auto add = [&](const char* name, bool isSilent, std::function<bool(Call&, float*, int*)> run) {
        list.push_back({name, 1, NOTHING, 1, isSilent, false, [run](Call& c) {
                            float vectors[] = {c.f, 0.0f, 1.0f, 1.0f, c.f, 0.0f, 0.0f, 0.5f, c.f};
                            int size[] = {std::min(c.i, 5), 4};
                            return run(c, vectors, size);
                        }});
    };
    using Load = void (*)(ArvoImage3D*, int, int, char*);
    static constexpr Load loads[] = {[](ArvoImage3D* a, int first, int count, char* to) {
                                         Reslicer::loadAxialSlices(a, first, count, to);
                                     },
                                     Reslicer::loadCoronalSlices, Reslicer::loadSagittalSlices};
    for (const Load load : loads) {
        add("load slices", false, [load](Call& c, float*, int*) {
            std::vector<char> buffer(c.a && c.a->isValid() ? c.a->sizeOfAxialSlice() *
                                                                 static_cast<std::size_t>(c.a->imageSize().z)
                                                           : 1);
            load(c.a, c.i, 1, buffer.data());
            return false;
        });
        add("load slices, count", false, [load](Call& c, float*, int*) {
            std::vector<char> buffer(c.a && c.a->isValid() ? c.a->sizeOfAxialSlice() *
                                                                 static_cast<std::size_t>(c.a->imageSize().z)
                                                           : 1);
            load(c.a, 0, c.i, c.f > 1e30f ? nullptr : buffer.data());
            return false;
        });
    }
    static constexpr bool (*loads2D[])(ArvoImage3D*, int, Image2D*) = {
        Reslicer::loadAxialSlice2D, Reslicer::loadCoronalSlice2D, Reslicer::loadSagittalSlice2D};
    for (const auto load : loads2D)
        add("load slice as image", false, [load](Call& c, float*, int*) {
            Image2D image;
            return load(c.a, c.i, c.f > 1e30f ? nullptr : &image);
        });
    add("loadReslice", false, [](Call& c, float* v, int* size) {
        Image2D image(5, 4, static_cast<Image2D::DataType>(c.a ? c.a->dataType() : 0), {1, 1, 1}, true);
        return Reslicer::loadReslice(c.a, v, v + 3, v + 6, size, image), false;
    });
    add("loadInterpolatedReslice", false, [](Call& c, float* v, int* size) {
        Image2D image(5, 4, static_cast<Image2D::DataType>(c.a ? c.a->dataType() : 0), {1, 1, 1}, true);
        return Reslicer::loadInterpolatedReslice(c.a, v, v + 3, v + 6, size, image), false;
    });
    add("loadReslice2D", false, [](Call& c, float* v, int* size) {
        Image2D image;
        return Reslicer::loadReslice2D(c.a, v, v + 3, v + 6, size, &image);
    });
    add("loadInterpolatedReslice, image", false, [](Call& c, float* v, int* size) {
        Image2D image;
        return Reslicer::loadInterpolatedReslice(c.a, v, v + 3, v + 6, size, &image);
    });
}

} // namespace

void addResliceOperations(Operations& list)
{
    addProjections(list);
    addSlices(list);
}

} // namespace trust
