#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/Image2D.h"
#include "arvo/reslice/ArvoImage3DReslicer.h"
#include "fuzz/FuzzedCalls.h"

using trust::Call;
using Reslicer = ArvoImage3DReslicer;

namespace {

constexpr int WIDTH = 4, HEIGHT = 3;

/// One of the projections, on tables of any numbers.
void project(Call& c, fuzz::Bytes& bytes)
{
    const int kind = bytes.takeBelow(5);
    auto origin = bytes.takeFloats<3>();
    auto columns = bytes.takeFloats<3 * WIDTH>();
    auto rows = bytes.takeFloats<3 * HEIGHT>();
    auto steps = bytes.takeFloats<3 * WIDTH>();
    Image2D picture(WIDTH, HEIGHT, Image2D::Float32, {1, 1, 1}, true);
    Image2D depth(WIDTH, HEIGHT, Image2D::Float32, {1, 1, 1}, true);
    switch (kind) {
    case 0:
        Reslicer::loadMIPReslice(c.a, origin.data(), columns.data(), rows.data(), WIDTH, HEIGHT, steps.data(),
                                 c.i, picture, &depth,
                                 static_cast<ArvoImage3DEnums::MIP_COMPARE_FUNCTION>(bytes.takeBelow(3)));
        break;
    case 1:
        Reslicer::loadMIPNormalizedReslice(c.a, origin.data(), columns.data(), rows.data(), WIDTH, HEIGHT,
                                           steps.data(), c.i, picture);
        break;
    case 2:
        Reslicer::loadXRayNormalizedReslice(c.a, origin.data(), columns.data(), rows.data(), WIDTH, HEIGHT,
                                            steps.data(), c.i, {bytes.takeFloat(), c.f}, picture);
        break;
    case 3:
        Reslicer::loadCephNormalizedReslice(c.a, origin.data(), columns.data(), rows.data(), WIDTH, HEIGHT,
                                            steps.data(), c.i, picture);
        break;
    default:
        Reslicer::loadInterpolatedNormalizedReslice(c.a, origin.data(), columns.data(), rows.data(), WIDTH,
                                                    HEIGHT, picture);
    }
}

bool cut(Call& c, fuzz::Bytes& bytes)
{
    auto vectors = bytes.takeFloats<9>();
    int size[] = {bytes.takeBelow(20), bytes.takeBelow(20)};
    Image2D image;
    return c.i % 2 == 0 ? Reslicer::loadReslice2D(c.a, vectors.data(), vectors.data() + 3, vectors.data() + 6,
                                                  size, &image)
                        : Reslicer::loadInterpolatedReslice(c.a, vectors.data(), vectors.data() + 3,
                                                            vectors.data() + 6, size, &image);
}

} // namespace

/// The table calls with one number for most parameters; here each has its own.
trust::Operations fuzz::operationsReading(Bytes& bytes)
{
    trust::Operations list;
    trust::addResliceOperations(list);
    list.push_back({"any projection", 1, trust::NOTHING, 1, false, false,
                    [&bytes](Call& c) { return project(c, bytes), false; }});
    list.push_back(
        {"any cut", 1, trust::NOTHING, 1, false, false, [&bytes](Call& c) { return cut(c, bytes); }});
    return list;
}
