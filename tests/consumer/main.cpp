// The smallest host: links the installed library and replaces one voxel.
#include <arvo/platform/image/ArvoImage3D.h>
#include <arvo/voxelops/Image3DReplaceVoxels.h>

#include <atomic>

int main()
{
    ArvoImage3D image({2, 2, 2}, {1, 1, 1}, image::Int16);
    ArvoImage3D mask({2, 2, 2}, {1, 1, 1}, image::Binary);
    image.zeroSlices();
    mask.zeroSlices();
    mask.changeVoxelValues({{1, 0, 1}}, 1);

    const std::atomic<bool> cancel{false};
    Image3DReplaceVoxels replace;
    replace.setInputImage(&image);
    replace.setMaskImage(&mask);
    replace.setReplaceValue(42.0f);
    replace.execute(cancel);
    return replace.isSuccess() && image.getValue(1, 0, 1) == 42 && image.getValue(0, 0, 0) == 0 ? 0 : 1;
}
