#include "arvo/geometry/MassCenterCalculator.h"

#include "support/Inputs.h"
#include "support/Workload.h"

namespace {

const bool registered[] = {
    bench::workload(
        {.name = "masscentre_i16"}, [](int edge) { return inputs::copyOf(inputs::ct16(edge)); },
        [](ArvoImage3D& image) {
            MassCenterCalculator calculator;
            calculator.setImage(&image);
            calculator.setThreshold(300);
            calculator.execute();
            benchmark::DoNotOptimize(calculator.getMassCenter());
        }),
};

} // namespace
