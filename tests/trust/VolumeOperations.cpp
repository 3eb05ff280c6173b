#include "arvo/platform/image/ArvoImage3D.h"
#include "trust/Operations.h"

namespace trust {

namespace {

/// Gives the voxels of a volume that was made anew values that do not depend on what the memory held before.
bool zeroed(bool isMade, ArvoImage3D& image)
{
    if (isMade)
        image.zeroSlices();
    return isMade;
}

} // namespace

void addVolumeOperations(Operations& list)
{
    const auto add = [&](const char* name, int inputs, int changes, bool isSilent,
                         std::function<bool(Call&)> run) {
        list.push_back({name, inputs, changes, 1, isSilent, true, std::move(run)});
    };
    add("ArvoImage3D::createFrom", 2, SECOND | CREATES, true,
        [](Call& c) { return c.b && zeroed(c.b->createFrom(c.a, static_cast<image::DataType>(c.i)), *c.b); });
    add("ArvoImage3D::copyFrom", 2, SECOND | CREATES, true,
        [](Call& c) { return c.b && c.b->copyFrom(c.a); });
    add("ArvoImage3D::copyFrom, box", 2, SECOND | CREATES, true, [](Call& c) {
        const int origin[] = {c.i == 2 ? 0 : c.i, 0, 1}, size[] = {1, c.i, 1};
        return c.b && c.b->copyFrom(c.a, origin, c.f > 1e30f ? nullptr : size);
    });
    add("ArvoImage3D::copyIn", 2, SECOND, true, [](Call& c) {
        const int origin[] = {0, c.i == 2 ? 0 : c.i, 0};
        return c.b && c.b->copyIn(c.a, origin);
    });
    add("ArvoImage3D, reading", 1, NOTHING, true, [](Call& c) {
        if (!c.a)
            return false;
        const float position[] = {c.f, 1.0f, c.f};
        c.a->getValue(c.i, 0, c.i);
        c.a->getFloatValue(0, c.i, 0);
        c.a->getInterpolatedValue(position);
        c.a->getInterpolatedValue(nullptr);
        c.a->getConstAxialSlice(c.i);
        c.a->info(c.i);
        c.a->editFinished();
        return c.a->isValid() && c.a->minValue() <= c.a->maxValue();
    });
    add("ArvoImage3D, writing", 1, FIRST, true, [](Call& c) {
        if (!c.a)
            return false;
        c.a->changeVoxelValues({{c.i, 0, 0}, {0, 1, 0}, {0, 0, c.i}}, c.i);
        c.a->setAxialSlice(c.i, c.a->getAxialSlice(0));
        c.a->setAxialSlice(0, c.a->getAxialSlice(c.i));
        c.a->memsetSlices(c.i);
        return c.a->isValid();
    });
    add("ArvoImage3D::create", 1, FIRST | CREATES, true, [](Call& c) {
        const math::Ivec3 size(c.i, 2, c.i > 1000 ? c.i : 1);
        return c.a && zeroed(c.a->create(size, {c.f, c.f, c.f}, image::Float32), *c.a);
    });
}

} // namespace trust
