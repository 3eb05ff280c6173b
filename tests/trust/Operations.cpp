#include "trust/Operations.h"

#include <algorithm>
#include <array>
#include <memory>

namespace trust {

QVector3D Call::vector(const QVector3D& sound)
{
    return {real(sound.x()), real(sound.y()), real(sound.z())};
}

QMatrix4x4 Call::matrix(const QMatrix4x4& sound)
{
    std::array<float, 16> values{};
    sound.copyDataTo(values.data());
    numbers.reals(values);
    const QMatrix4x4 read(values.data());
    return read == sound ? sound : read; // it knows its kind, which one made of numbers does not
}

std::pair<int, int> Call::sliceRange(int margin)
{
    const int one = whole(margin), other = whole(std::max(slices() - 1 - margin, margin));
    return {std::min(one, other), std::max(one, other)};
}

const std::vector<Operation>& allOperations()
{
    static const Operations operations = [] {
        Operations table;
        for (const auto add :
             {addVoxelOperations, addDifferentialOperations, addBinaryOperations, addFilterOperations,
              addResliceOperations, addGeometryOperations, addPlatformOperations})
            add(table);
        return table;
    }();
    return operations.list();
}

bool isGiven(const Call& call, bool takesTwo)
{
    const bool isGiven = call.a && (call.b || !takesTwo);
    if (!isGiven)
        qWarning("no reference to nothing");
    return isGiven;
}

bool taken(ArvoImage3D* volume, Hash& result)
{
    const std::unique_ptr<ArvoImage3D> owned(volume);
    result.addVolume(volume);
    return volume != nullptr;
}

} // namespace trust
