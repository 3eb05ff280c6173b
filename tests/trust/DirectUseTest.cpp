#include "arvo/differential/DirectGradientNormWorker.h"
#include "arvo/differential/GradientWorker.h"
#include "arvo/differential/VectorFieldDivergenceWorker.h"
#include "arvo/voxelops/Image3DReplaceVoxelsWorker.h"
#include "arvo/voxelops/Image3DStatisticsWorker.h"
#include "support/CancelFlags.h"
#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <climits>
#include <utility>
#include <vector>

using namespace testing_support;

// Workers are public: a host may drive them itself, and wrongly.

namespace {

void expectRefusal(SliceWorker& worker)
{
    const Warnings warnings;
    worker.startWithCancel(&notCancelled);
    worker.waitUntilDone();
    EXPECT_FALSE(worker.isSuccessful());
    EXPECT_EQ(1u, warnings.texts().size());
}

struct Workers {
    GradientWorker gradient{0, nullptr};
    DirectGradientNormWorker norm;
    VectorFieldDivergenceWorker divergence{nullptr, nullptr};
    Image3DReplaceVoxelsWorker replace;
    Image3DStatisticsWorker mean{Image3DStatisticsMethod::Mean};
    Image3DStatisticsWorker meanOfNonZero{Image3DStatisticsMethod::MeanOfNonZeroValues};
    Image3DStatisticsWorker median{Image3DStatisticsMethod::Median};

    std::vector<SliceWorker*> all()
    {
        return {&gradient, &norm, &divergence, &replace, &mean, &meanOfNonZero, &median};
    }
};

TEST(DirectUse, WorkersWithoutVolumesRefuse)
{
    Workers workers;
    for (SliceWorker* worker : workers.all())
        expectRefusal(*worker);
    ArvoImage3D image = randomVolume({4, 3, 5}, image::Int16, 1);
    for (SliceWorker* worker : workers.all()) {
        if (worker == &workers.mean || worker == &workers.meanOfNonZero || worker == &workers.median)
            continue; // they need no other volume
        worker->setImages(&image, nullptr);
        expectRefusal(*worker);
    }
}

TEST(DirectUse, SlicesOutsideAreRefused)
{
    ArvoImage3D image = randomVolume({4, 3, 5}, image::UInt8, 1, Fill::FewValues);
    ArvoImage3D output = randomVolume({4, 3, 5}, image::Float32, 2);
    const ArvoImage3D imageBefore = copyOf(image), outputBefore = copyOf(output);
    const std::pair<int, int> ranges[] = {{-1, 2}, {2, 5}, {0, INT_MAX}, {INT_MIN, 0}, {7, 9}};
    for (const auto& [start, stop] : ranges) {
        Workers workers;
        workers.replace.setMaskImage(&image);
        for (SliceWorker* worker : workers.all()) {
            worker->setImages(&image, &output);
            worker->setWork(start, stop);
            expectRefusal(*worker);
        }
    }
    EXPECT_TRUE(sameBits(imageBefore, image));
    EXPECT_TRUE(sameBits(outputBefore, output));
}

} // namespace
