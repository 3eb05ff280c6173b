#include "arvo/platform/image/Image2D.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "arvo/reslice/ArvoImage3DWorker.h"
#include "trust/SliceWorkers.h"

#include <algorithm>
#include <array>

namespace trust {

namespace {

using Reslicer = ArvoImage3DReslicer;
using Compare = ArvoImage3DEnums::MIP_COMPARE_FUNCTION;

/// The tables of a projection along y, slightly fanned. Small volumes, those of the hostile calls, get few pixels: each of
/// them may ask for billions of steps.
struct Rays {
    const bool isSmall;
    const int columnCount = isSmall ? 4 : 29;
    const int rowCount = isSmall ? 3 : 37;
    int width, stepCount;
    std::array<float, 3> origin{};
    std::vector<float> columns, rows, steps;

    explicit Rays(Call& c)
        : isSmall(!c.a || c.a->imageSize().x < 13),
          width(c.whole(columnCount)),
          stepCount(c.whole(isSmall ? 6 : 40))
    {
        const math::Ivec3 size = c.a ? c.a->imageSize() : math::Ivec3();
        const auto scaled = [](int extent, int i, int count) {
            return static_cast<float>(extent * i * 16 / count) / 16.0f;
        };
        origin[1] = static_cast<float>(size.y) / 2.0f;
        for (int k = 0; k < columnCount; ++k) {
            columns.insert(columns.end(),
                           {scaled(size.x, k, columnCount), static_cast<float>(k % 3) / 4.0f, 0.0f});
            steps.insert(steps.end(), {static_cast<float>(k - 14) / 64.0f, 0.6875f,
                                       static_cast<float>(k % 5 - 2) / 32.0f});
        }
        for (int k = 0; k < rowCount; ++k)
            rows.insert(rows.end(), {0.0f, static_cast<float>(k % 2) / 8.0f, scaled(size.z, k, rowCount)});
        c.numbers.reals(origin);
        c.numbers.reals(columns);
        c.numbers.reals(rows);
        c.numbers.reals(steps);
    }

    Image2D picture() const { return {columnCount, rowCount, Image2D::Float32, {1, 1, 1}, true}; }
};

/// Adds a projection: project(call, picture, tables...) as an operation, and setUp(call, worker, first pixel, tables...) for
/// the workers of bands of rows. The tables are what projections take first: the volume, the origin, the offsets of columns
/// and rows, their numbers, the steps and their number.
template <class Project, class SetUp>
void addProjection(Operations& table, const std::string& name, std::span<const image::DataType> types,
                   Project project, SetUp setUp)
{
    const auto run = [=](Call& c) {
        Rays rays(c);
        Image2D picture = rays.picture();
        const auto withTables = [&](int firstRow, int rowCount, auto&& body) {
            body(c.a, rays.origin.data(), rays.columns.data(), rays.rows.data() + 3 * firstRow, rays.width,
                 rowCount, rays.steps.data(), rays.stepCount);
        };
        if (c.way == 0) {
            withTables(0, rays.rowCount, [&](auto... tables) { project(c, picture, tables...); });
        } else if (picture.isValid()) {
            auto* const pixels = reinterpret_cast<float*>(picture.dataPtr());
            std::vector<std::unique_ptr<ArvoImage3DWorker>> workers;
            for (const auto& [first, last] : rangesOf(c.way - 1, rays.rowCount)) {
                workers.push_back(std::make_unique<ArvoImage3DWorker>());
                float* const result = pixels + first * rays.width;
                withTables(first, last - first + 1,
                           [&](auto... tables) { setUp(c, *workers.back(), result, tables...); });
            }
            for (const auto& worker : workers)
                worker->start();
            for (const auto& worker : workers)
                worker->waitUntilDone();
        }
        c.result().addPicture(picture);
    };
    table.add(name, READS_ONE, {types}, run, 1 + CUTS);
}

void addProjections(Operations& table)
{
    using Worker = ArvoImage3DWorker;
    for (const int number : {0, 1, 2}) {
        const auto compare = static_cast<Compare>(number);
        const std::string kind = number == 1 ? "1" : "0"; // any other choice is the first
        addProjection(
            table, "mip_" + kind + (number == 2 ? ", by an unknown choice" : ""), GREYS,
            [=](Call& c, Image2D& picture, auto... tables) {
                Image2D depth(picture.width(), picture.height(), Image2D::Float32, {1, 1, 1}, true);
                Reslicer::loadMIPReslice(tables..., picture, c.orNull(&depth), compare);
                c.result("mip_depth_" + kind).addPicture(depth);
            },
            [=](Call&, Worker& worker, float* result, auto... tables) {
                worker.initLoadMIPReslice(tables..., result, nullptr, compare);
            });
    }
    addProjection(
        table, "mip_normalized", GREYS,
        [](Call&, Image2D& picture, auto... tables) {
            Reslicer::loadMIPNormalizedReslice(tables..., picture);
        },
        [](Call&, Worker& worker, float* result, auto... tables) {
            worker.initLoadMIPNormalizedReslice(tables..., result);
        });
    addProjection(
        table, "ceph", FLOAT,
        [](Call&, Image2D& picture, auto... tables) {
            Reslicer::loadCephNormalizedReslice(tables..., picture);
        },
        [](Call&, Worker& worker, float* result, auto... tables) {
            worker.initLoadCephNormalizedReslice(tables..., result);
        });
    const auto window = [](Call& c) {
        const float low = c.real(-50.0f);
        return math::Range<float>(low, c.real(300.0f));
    };
    addProjection(
        table, "xray", INTEGERS,
        [window](Call& c, Image2D& picture, auto... tables) {
            Reslicer::loadXRayNormalizedReslice(tables..., window(c), picture);
        },
        [window](Call& c, Worker& worker, float* result, auto... tables) {
            worker.initLoadXRayNormalizedReslice(tables..., window(c), result);
        });
    addProjection( // a plane, without steps
        table, "interpolated_plane", INTEGERS,
        [](Call& c, Image2D& picture, auto, auto origin, auto columns, auto rows, int width, int height,
           auto...) {
            Reslicer::loadInterpolatedNormalizedReslice(c.a, origin, columns, rows, width, height, picture);
        },
        [](Call& c, Worker& worker, float* result, auto, auto origin, auto columns, auto rows, int width,
           int height, auto...) {
            worker.initLoadInterpolatedNormalizedReslice(c.a, origin, columns, rows, width, height, result);
        });
}

void addSlices(Operations& table)
{
    struct Loads {
        std::string axis;
        void (*slices)(ArvoImage3D*, int, int, char*);
        bool (*picture)(ArvoImage3D*, int, Image2D*);
        int math::Ivec3::*extent;
    };
    const Loads all[] = {
        {"axial",
         [](ArvoImage3D* a, int first, int count, char* to) {
             Reslicer::loadAxialSlices(a, first, count, to);
         },
         Reslicer::loadAxialSlice2D, &math::Ivec3::z},
        {"coronal", Reslicer::loadCoronalSlices, Reslicer::loadCoronalSlice2D, &math::Ivec3::y},
        {"sagittal", Reslicer::loadSagittalSlices, Reslicer::loadSagittalSlice2D, &math::Ivec3::x}};
    for (const Loads& load : all) {
        table.add(load.axis + "_slices", READS_ONE, {GREYS}, [load](Call& c) {
            const std::size_t sliceBytes = c.a ? c.a->sizeOfAxialSlice() : 0;
            std::vector<char> buffer(sliceBytes * static_cast<std::size_t>(c.slices()));
            const int first = c.whole(2), count = c.whole(3);
            load.slices(c.a, first, count, c.orNull(buffer.data()));
            buffer.resize(3 * 67 * 67 * sizeof(float)); // three slices of any axis and any fixed input
            c.result().addBytes(buffer.data(), buffer.size());
        });
        table.add(load.axis + "_slice", READS_ONE, {GREYS}, [load](Call& c) {
            Image2D picture;
            const int slice = c.whole(c.a ? c.a->imageSize().*load.extent / 2 : 0);
            const bool isLoaded = load.picture(c.a, slice, c.orNull(&picture));
            c.result().addPicture(picture);
            return isLoaded;
        });
    }
}

/// The frame of an oblique cut.
struct Cut {
    std::array<float, 3> origin = {-1.5f, 0.25f, 1.0f};
    std::array<float, 3> across = {0.6875f, 0.125f, 0.0625f};
    std::array<float, 3> down = {-0.09375f, 0.4375f, 0.3125f};
    std::array<int, 2> size;

    explicit Cut(Call& c) : size{std::min(c.whole(31), 31), std::min(c.whole(27), 27)}
    {
        c.numbers.reals(origin);
        c.numbers.reals(across);
        c.numbers.reals(down);
    }
};

/// Of a cut into a new picture and one into a picture that is there.
using CutNew = bool (*)(ArvoImage3D*, float*, float*, float*, int*, Image2D*);
using CutInto = void (*)(ArvoImage3D*, float*, float*, float*, int*, Image2D&);

void addCuts(Operations& table)
{
    const auto add = [&](const std::string& name, std::span<const image::DataType> types, CutNew cutNew,
                         CutInto cutInto) {
        table.add(name, READS_ONE, {types}, [cutNew](Call& c) {
            Cut cut(c);
            Image2D picture;
            const bool isDone = cutNew(c.a, cut.origin.data(), cut.across.data(), cut.down.data(),
                                       cut.size.data(), c.orNull(&picture));
            c.result().addPicture(picture);
            return isDone;
        });
        table.add(name + ", into a picture", READS_ONE, [cutInto](Call& c) {
            Cut cut(c);
            Image2D picture(31, 27, static_cast<Image2D::DataType>(c.a ? c.a->dataType() : 0), {1, 1, 1},
                            true);
            cutInto(c.a, cut.origin.data(), cut.across.data(), cut.down.data(), cut.size.data(), picture);
            c.result().addPicture(picture);
        });
    };
    add("oblique", GREYS, Reslicer::loadReslice2D, Reslicer::loadReslice);
    add("oblique_interpolated", INTEGERS, Reslicer::loadInterpolatedReslice,
        Reslicer::loadInterpolatedReslice);
}

} // namespace

void addResliceOperations(Operations& table)
{
    addProjections(table);
    addSlices(table);
    addCuts(table);
}

} // namespace trust
