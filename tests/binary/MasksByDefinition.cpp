#include "MasksByDefinition.h"

#include "support/RandomVolume.h"

#include <algorithm>
#include <cstdlib>

namespace testing_support {

namespace {

/// Calls body(index, steps along the axes that lead there) for the 13 of a voxel's neighbours that a scan meets before it;
/// `direction` is 1 or, for a scan from the last voxel to the first, -1.
template <class Body>
void forEachNeighbourBefore(const math::Ivec3& size, const math::Ivec3& voxel, int direction, Body&& body)
{
    for (int n = 0; n < 13; ++n) {
        const int dx = n % 3 - 1, dy = n / 3 % 3 - 1, dz = n / 9 - 1;
        const int x = voxel.x + dx * direction, y = voxel.y + dy * direction, z = voxel.z + dz * direction;
        if (holds(size, x, y, z))
            body(indexOf(size, x, y, z), std::abs(dx) + std::abs(dy) + std::abs(dz));
    }
}

/// One raster sweep, from the second slice that it meets to the last.
void sweep(ArvoImage3D& distance, int direction)
{
    const math::Ivec3 size = distance.imageSize();
    const auto value = voxels<short>(distance);
    forEachVoxel({size.x, size.y, size.z - 1}, [&](int x, int y, int z, std::size_t) {
        const math::Ivec3 voxel = direction > 0 ? math::Ivec3(x, y, z + 1)
                                                : math::Ivec3(size.x - 1 - x, size.y - 1 - y, size.z - 2 - z);
        short& here = value[indexOf(size, voxel.x, voxel.y, voxel.z)];
        forEachNeighbourBefore(size, voxel, direction, [&](std::size_t neighbour, int) {
            here = static_cast<short>(std::min<int>(here, value[neighbour] + 1));
        });
    });
}

/// Which label each provisional label was merged into; a root is its own.
using Table = std::vector<int>;

int rootOf(const Table& table, int label)
{
    while (table[static_cast<std::size_t>(label)] != label)
        label = table[static_cast<std::size_t>(label)];
    return label;
}

/// The label of an object voxel whose labelled neighbours have these roots.
short resolve(const std::vector<int>& roots, Table& table)
{
    if (roots.empty()) {
        if (table.size() > 32767)
            return 32767;
        table.push_back(static_cast<int>(table.size()));
        return static_cast<short>(table.back());
    }
    const int smallest = *std::ranges::min_element(roots);
    for (const int root : roots)
        table[static_cast<std::size_t>(root)] = smallest;
    return static_cast<short>(smallest);
}

} // namespace

/// Slice by slice, one run from the second voxel of the second row to the last but one of the last but one row.
ArvoImage3D boundaryByDefinition(const ArvoImage3D& object)
{
    const math::Ivec3 size = object.imageSize();
    ArvoImage3D boundary(size, object.voxelSize(), image::Binary);
    boundary.zeroSlices();
    const int slice = size.x * size.y;
    for (int i = slice; i < slice * (size.z - 1); ++i) {
        const signed char* voxel = voxels<signed char>(object).data() + i;
        const bool isInRun = i % slice > size.x && i % slice < slice - size.x - 1;
        if (isInRun && *voxel > 0 &&
            (voxel[-slice] == 0 || voxel[-1] == 0 || voxel[1] == 0 || voxel[-size.x] == 0 ||
             voxel[size.x] == 0 || voxel[slice] == 0))
            boundary.dataPtr()[i] = 1;
    }
    return boundary;
}

ArvoImage3D unsignedDistanceByDefinition(const ArvoImage3D& object)
{
    ArvoImage3D distance(object.imageSize(), object.voxelSize(), image::Int16);
    for (std::size_t i = 0; i < voxels<short>(distance).size(); ++i)
        voxels<short>(distance)[i] = voxels<unsigned char>(object)[i] ? 0 : 32766;
    sweep(distance, 1);
    sweep(distance, -1);
    return distance;
}

ArvoImage3D signedDistanceByDefinition(const ArvoImage3D& object)
{
    ArvoImage3D distance = unsignedDistanceByDefinition(boundaryByDefinition(object));
    for (std::size_t i = 0; i < voxels<short>(distance).size(); ++i) {
        if (voxels<unsigned char>(object)[i])
            voxels<short>(distance)[i] = static_cast<short>(-voxels<short>(distance)[i]);
    }
    return distance;
}

Labelled labelledByDefinition(const ArvoImage3D& mask, bool isDiagonal)
{
    Labelled result;
    result.labels.createFrom(&mask, image::Int16);
    const math::Ivec3 size = mask.imageSize();
    const auto labels = voxels<short>(result.labels);
    Table table{0};
    std::vector<int> roots;
    forEachVoxel(size, [&](int x, int y, int z, std::size_t here) {
        labels[here] = 0;
        if (voxels<unsigned char>(mask)[here] == 0)
            return;
        roots.clear();
        forEachNeighbourBefore(size, {x, y, z}, 1, [&](std::size_t neighbour, int steps) {
            if (labels[neighbour] != 0 && (isDiagonal || steps == 1))
                roots.push_back(rootOf(table, labels[neighbour]));
        });
        labels[here] = resolve(roots, table);
    });
    std::vector<short> numbers;
    for (int label = 0; label < static_cast<int>(table.size()); ++label) {
        const int root = rootOf(table, label);
        if (root == label)
            result.volumes.push_back(0);
        numbers.push_back(root == label ? static_cast<short>(result.volumes.size() - 1)
                                        : numbers[static_cast<std::size_t>(root)]);
    }
    for (short& voxel : labels) {
        voxel = numbers[static_cast<std::size_t>(voxel)];
        result.volumes[static_cast<std::size_t>(voxel)] += voxel != 0;
    }
    result.labels.editFinished();
    return result;
}

ArvoImage3D keptParts(const Labelled& parts, const std::function<bool(std::size_t)>& isKept)
{
    ArvoImage3D kept;
    kept.createFrom(&parts.labels, image::Binary);
    std::ranges::transform(voxels<short>(parts.labels), voxels<unsigned char>(kept).begin(),
                           [&](short label) { return isKept(static_cast<std::size_t>(label)); });
    return kept;
}

} // namespace testing_support
