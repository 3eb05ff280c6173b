#include "arvo/platform/data/Histogram.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/voxelops/ArvoImage3DOperations.h"
#include "arvo/voxelops/CalculateSurfaceHistogram.h"
#include "arvo/voxelops/FloatedBinnedHistogram.h"
#include "fuzz/FuzzedCalls.h"

using trust::Call;

/// The table calls with one number for all parameters; here each has its own.
trust::Operations fuzz::operationsReading(Bytes& bytes)
{
    trust::Operations list;
    trust::addVoxelOperations(list);
    list.push_back({"clipAndRescale, any window", 1, trust::FIRST, 1, false, false, [&bytes](Call& c) {
                        const auto n = bytes.takeInts<5>();
                        ArvoImage3DOperations::clipAndRescale(c.a, n[0], n[1], n[2], n[3], n[4]);
                        return false;
                    }});
    list.push_back({"FloatedBinnedHistogram, any bins", 1, trust::NOTHING, 1, true, false, [&bytes](Call& c) {
                        const double min = bytes.takeFloat(), max = bytes.takeFloat();
                        const auto bins = bytes.takeBool() ? static_cast<std::uint64_t>(bytes.takeBelow(32))
                                                           : bytes.take<std::uint64_t>();
                        if (c.a)
                            image3d::FloatedBinnedHistogram::computeHistogram(*c.a, min, max, bins);
                        return false;
                    }});
    list.push_back(
        {"CalculateSurfaceHistogram, any surface", 1, trust::NOTHING, 1, false, true, [&bytes](Call& c) {
             auto points = bytes.takeFloats<9>();
             auto normals = bytes.takeFloats<9>();
             CalculateSurfaceHistogram surface;
             surface.setImage(c.a);
             surface.setSurface(points.data(), normals.data(), bytes.takeBelow(4));
             surface.setNumberOfSteps(bytes.takeBelow(64));
             surface.setStepSize(c.f);
             const bool success = executed(surface, c);
             const std::unique_ptr<Histogram> histogram(surface.getHistogram());
             return success;
         }});
    return list;
}
