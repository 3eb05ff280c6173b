#include "arvo/filters/ArvoImageCubicFilter.h"
#include "arvo/filters/ArvoImageGaussianSmooth.h"
#include "arvo/filters/ArvoImageResample.h"
#include "arvo/filters/ArvoImageSubsample.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ArvoImage3DInfo.h"
#include "fuzz/FuzzedCalls.h"

using trust::Call;

namespace {

bool smooth(Call& c, fuzz::Bytes& bytes)
{
    ArvoImageGaussianSmooth gauss;
    gauss.setInput(c.a);
    gauss.setOutput(c.b);
    const int radii[] = {bytes.takeBelow(40) - 1, bytes.takeBelow(40) - 1, bytes.takeBelow(40) - 1};
    const auto sigmas = bytes.takeFloats<3>();
    gauss.setRadius({radii[0], radii[1], radii[2]});
    gauss.setStandardDeviation({sigmas[0], sigmas[1], sigmas[2]});
    return bytes.takeBool() ? gauss.executeDeprecated(c.cancel) : gauss.execute(c.cancel);
}

bool resample(Call& c, fuzz::Bytes& bytes)
{
    const auto axes = bytes.takeFloats<9>();
    if (!c.a || !c.b || !c.a->isValid() || !c.b->isValid() || c.a == c.b)
        return false;
    // Both are placed on copies: a record stays with its volume, and the next call would see it.
    ArvoImage3D from, to;
    from.copyFrom(c.a);
    to.copyFrom(c.b);
    from.addInfo(0x20001, "ImageOrientation",
                 QByteArray(reinterpret_cast<const char*>(axes.data()), sizeof axes));
    ArvoImageResample filter;
    filter.setInput(c.i % 2 == 0 ? &from : &to);
    filter.setOutput(c.i % 2 == 0 ? &to : &from);
    return filter.execute();
}

} // namespace

/// The table calls with one number for all parameters; here each has its own.
trust::Operations fuzz::operationsReading(Bytes& bytes)
{
    trust::Operations list;
    trust::addFilterOperations(list);
    list.push_back({"Gaussian, any kernel", 2, trust::SECOND, 1, false, true,
                    [&bytes](Call& c) { return smooth(c, bytes); }});
    list.push_back({"ArvoImageCubicFilter, any kernel", 1, trust::NOTHING, 1, true, true, [&bytes](Call& c) {
                        std::array<unsigned long long, 3> kernel{};
                        for (auto& extent : kernel)
                            extent = static_cast<unsigned long long>(bytes.takeBelow(40));
                        return c.a && ArvoImageCubicFilter::applyCubicFilter(*c.a, kernel);
                    }});
    list.push_back({"ArvoImageSubsample, any factors", 2, trust::SECOND | trust::CREATES, 1, false, true,
                    [&bytes](Call& c) {
                        const auto factors = bytes.takeInts<3>();
                        ArvoImageSubsample subsample;
                        subsample.setInput(c.a);
                        subsample.setOutput(c.b);
                        subsample.setSampleFactor(factors[0], factors[1], factors[2]);
                        return subsample.execute(
                            static_cast<ArvoImageSubsample::SubsampleMethod>(bytes.takeBelow(4)), c.cancel);
                    }});
    list.push_back({"ArvoImageResample, any axes", 2, trust::NOTHING, 1, true, true,
                    [&bytes](Call& c) { return resample(c, bytes); }});
    return list;
}
