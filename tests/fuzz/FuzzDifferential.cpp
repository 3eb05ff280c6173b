#include "arvo/differential/DifferentialHelper.h"
#include "arvo/frame/ThreeImages3D.h"
#include "arvo/platform/image/ArvoImage3D.h"
#include "fuzz/FuzzedCalls.h"

using trust::Call;

/// Besides the table, a field whose components differ from each other and from the output.
trust::Operations fuzz::operationsReading(Bytes& bytes)
{
    trust::Operations list;
    trust::addDifferentialOperations(list);
    list.push_back({"calculateVectorFieldDivergence", 2, trust::SECOND, 1, true, false, [&bytes](Call& c) {
                        const int choice = bytes.takeBelow(8);
                        const int last = bytes.takeInt();
                        const auto component = [&](int bit) {
                            const ArvoImage3D* image = (choice & bit) != 0 ? c.b : c.a;
                            auto copy = std::make_unique<ArvoImage3D>();
                            if (image && image->isValid())
                                copy->copyFrom(image);
                            return copy.release();
                        };
                        if (!c.b)
                            return false;
                        const ThreeImages3D field(component(1), component(2), component(4));
                        return DifferentialHelper<float>::calculateVectorFieldDivergence(field, *c.b, c.i,
                                                                                         last, c.cancel);
                    }});
    return list;
}
