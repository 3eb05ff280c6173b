#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/Image3DKeepConnectedPart.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/math/OrientedBoundingBox.h"
#include "fuzz/FuzzedCalls.h"

using trust::Call;
using Tools = ArvoImageBinaryTools;

/// The table calls with one number for all parameters; here each has its own.
trust::Operations fuzz::operationsReading(Bytes& bytes)
{
    trust::Operations list;
    trust::addBinaryOperations(list);
    list.push_back(
        {"Image3DKeepConnectedPart, any point", 1, trust::NOTHING, 1, true, true, [&bytes](Call& c) {
             using Keep = Image3DKeepConnectedPart;
             const auto strategy = static_cast<Keep::KeepStrategy>(bytes.takeBelow(2));
             const auto direction = static_cast<Keep::ConnectionDirection>(bytes.takeBelow(2));
             const auto point = bytes.takeInts<3>();
             if (!c.a)
                 return false;
             Keep keep(*c.a, strategy, direction);
             keep.setReferencePoint({point[0], point[1], point[2]});
             if (c.i > 0)
                 keep.setRelativeTolerance(c.f);
             const bool success = executed(keep, c);
             return keep.takeBinaryOutputImage() && success;
         }});
    list.push_back({"addBoxToMask, any box", 1, trust::FIRST, 1, true, false, [&bytes](Call& c) {
                        const auto min = bytes.takeInts<3>(), max = bytes.takeInts<3>();
                        if (c.a)
                            Tools::addBoxToMask(min, max, *c.a);
                        return false;
                    }});
    list.push_back({"convertBoxToMask, any box", 1, trust::FIRST, 1, false, false, [&bytes](Call& c) {
                        const auto min = bytes.takeInts<3>(), max = bytes.takeInts<3>();
                        Tools::convertBoxToMask(min, max, c.a);
                        return false;
                    }});
    list.push_back({"maskWithBoundingBox, any box", 1, trust::FIRST, 1, false, false, [&bytes](Call& c) {
                        const auto box = bytes.takeFloats<6>();
                        const auto matrix = bytes.takeFloats<16>();
                        Tools::maskWithBoundingBox(
                            c.a,
                            primitives::OrientedBoundingBox({box[0], box[1], box[2], box[3], box[4], box[5]},
                                                            QMatrix4x4(matrix.data())),
                            c.i > 0, c.f);
                        return false;
                    }});
    return list;
}
