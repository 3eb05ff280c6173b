#include "NaiveLabelling.h"

#include "support/RandomVolume.h"

#include <algorithm>
#include <cstdlib>

using namespace testing_support;

namespace naive {

namespace {

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
        const auto fresh = static_cast<short>(table.size());
        if (fresh < 0)
            return 32767;
        table.push_back(fresh);
        return fresh;
    }
    const int smallest = *std::ranges::min_element(roots);
    for (const int root : roots)
        table[static_cast<std::size_t>(root)] = smallest;
    return static_cast<short>(smallest);
}

} // namespace

Labelled label(const ArvoImage3D& mask, bool isDiagonal)
{
    Labelled result;
    result.labels.createFrom(&mask, image::Int16);
    const math::Ivec3 size = mask.imageSize();
    const auto labels = voxels<short>(result.labels);
    Table table{0};
    std::vector<int> roots;
    forEachVoxel(size, [&](int x, int y, int z, std::size_t here) {
        roots.clear();
        labels[here] = 0;
        if (voxels<unsigned char>(mask)[here] == 0)
            return;
        for (int n = 0; n < 13; ++n) { // the 13 of the 26 neighbours that come before the voxel
            const int dx = n % 3 - 1, dy = n / 3 % 3 - 1, dz = n / 9 - 1;
            const bool isNeighbour = isDiagonal || std::abs(dx) + std::abs(dy) + std::abs(dz) == 1;
            if (!isNeighbour || !holds(size, x + dx, y + dy, z + dz))
                continue;
            if (const short other = labels[indexOf(size, x + dx, y + dy, z + dz)])
                roots.push_back(rootOf(table, other));
        }
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

} // namespace naive
