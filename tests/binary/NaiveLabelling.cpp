#include "NaiveLabelling.h"

#include "support/RandomVolume.h"

#include <algorithm>
#include <cstdlib>

namespace naive {

namespace {

/// The label of an object voxel with these labelled neighbours, by the table of equivalent labels.
short resolve(const std::vector<short>& neighbours, std::vector<int>& table)
{
    std::vector<int> roots;
    for (const short neighbour : neighbours) {
        int root = table[static_cast<std::size_t>(neighbour)];
        while (table[static_cast<std::size_t>(root)] != root)
            root = table[static_cast<std::size_t>(root)];
        roots.push_back(root);
    }
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
    const auto in = testing_support::voxels<unsigned char>(mask);
    const auto out = testing_support::voxels<short>(result.labels);
    const math::Ivec3 size = mask.imageSize();
    const auto index = [&](int x, int y, int z) {
        return (static_cast<std::size_t>(z) * static_cast<std::size_t>(size.y) +
                static_cast<std::size_t>(y)) *
                   static_cast<std::size_t>(size.x) +
               static_cast<std::size_t>(x);
    };
    std::vector<int> table{0};
    std::vector<short> neighbours;
    for (int z = 0; z < size.z; ++z) {
        for (int y = 0; y < size.y; ++y) {
            for (int x = 0; x < size.x; ++x) {
                out[index(x, y, z)] = 0;
                if (in[index(x, y, z)] == 0)
                    continue;
                neighbours.clear();
                for (int n = 0; n < 13; ++n) { // the 13 of the 26 neighbours that come before the voxel
                    const int dx = n % 3 - 1, dy = n / 3 % 3 - 1, dz = n / 9 - 1;
                    if (!isDiagonal && std::abs(dx) + std::abs(dy) + std::abs(dz) > 1)
                        continue;
                    const int i = x + dx, j = y + dy, k = z + dz;
                    if (i < 0 || j < 0 || k < 0 || i >= size.x || j >= size.y || in[index(i, j, k)] == 0)
                        continue;
                    neighbours.push_back(out[index(i, j, k)]);
                }
                out[index(x, y, z)] = resolve(neighbours, table);
            }
        }
    }
    std::vector<short> numbers(table.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
        while (table[static_cast<std::size_t>(table[i])] != table[i])
            table[i] = table[static_cast<std::size_t>(table[i])];
        numbers[i] = table[i] == static_cast<int>(i) ? static_cast<short>(result.tableSize++)
                                                     : numbers[static_cast<std::size_t>(table[i])];
    }
    for (short& voxel : out)
        voxel = numbers[static_cast<std::size_t>(voxel)];
    result.labels.editFinished();
    return result;
}

} // namespace naive
