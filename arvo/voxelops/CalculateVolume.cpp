#include "arvo/voxelops/CalculateVolume.h"

#include "arvo/frame/VolumeView.h"
#include "arvo/voxelops/VoxelSums.h"

float CalculateVolume::calculate(const ArvoImage3D& mask)
{
    const frame::VolumeView<const signed char> voxels(mask);
    const auto sum = static_cast<std::int32_t>(voxelops::sumOf(voxels.data(), voxels.count()));
    const QVector3D spacing = mask.voxelSize();
    return static_cast<float>(sum) * spacing.x() * spacing.y() * spacing.z();
}
